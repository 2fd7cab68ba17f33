#include "platform/image_io/codec_module.h"
#include "platform/image_io/tiff/directory.h"

// All that the main library knows of the format; the rest is loaded with the first such file.
namespace kelvo {
namespace {

constexpr const char* kModule = "kelvo-tiff";

bool matches(std::span<const std::byte> head) { return tiff::readHeader(head).ok(); }

Result<std::unique_ptr<CodecSource>> open(FileBytes file, const Limits& limits) {
  const auto module = loadCodecModule(kModule);
  if (!module) return module.error();
  return (*module)->open(std::move(file), limits);
}

Result<std::unique_ptr<CodecWriter>> createWriter(OutputFile& file, std::size_t frames,
                                                  const EncodeOptions& options) {
  const auto module = loadCodecModule(kModule);
  if (!module) return module.error();
  return (*module)->createWriter(file, frames, options);
}

}  // namespace

const Codec kTiffCodec = {
    .type = "public.tiff",
    .displayName = "TIFF",
    .matches = &matches,
    .open = &open,
    .createWriter = &createWriter,
};

}  // namespace kelvo
