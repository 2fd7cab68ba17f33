#include <array>

#include "platform/open_save/plain_writer.h"

namespace kelvo {
namespace {

template <std::unique_ptr<CodecWriter> (*make)(OutputFile& file)>
Codec withWriter(Codec format) {
  format.createWriter = [](OutputFile& file, std::size_t,
                           const EncodeOptions&) -> Result<std::unique_ptr<CodecWriter>> {
    return make(file);
  };
  return format;
}

}  // namespace

std::span<const Codec> plainFormats() {
  static const std::array formats = {
      withWriter<&makePlainJpegWriter>(kJpegCodec), withWriter<&makePlainPngWriter>(kPngCodec),
      withWriter<&makePlainTiffWriter>(kTiffCodec), withWriter<&makePlainBmpWriter>(kBmpCodec),
      withWriter<&makePlainWebpWriter>(kWebpCodec)};
  return formats;
}

}  // namespace kelvo
