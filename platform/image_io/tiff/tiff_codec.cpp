#include <cstddef>
#include <span>

#include "platform/image_io/codec.h"

namespace kelvo {
namespace {

bool matchesTiff(std::span<const std::byte> head) {
  if (head.size() < 8) return false;
  const auto at = [head](std::size_t i) { return std::to_integer<unsigned>(head[i]); };
  const auto is = [&at](unsigned a, unsigned b, unsigned c, unsigned d) {
    return at(0) == a && at(1) == b && at(2) == c && at(3) == d;
  };
  return is('I', 'I', 42, 0) || is('I', 'I', 43, 0) || is('M', 'M', 0, 42) || is('M', 'M', 0, 43);
}

Result<std::unique_ptr<CodecSource>> openTiff(FileBytes, const Limits&) {
  return Error{"TIFF files cannot be read yet"};
}

Result<std::unique_ptr<CodecWriter>> createTiffWriter(OutputFile&, std::size_t,
                                                      const EncodeOptions&) {
  return Error{"TIFF files cannot be written yet"};
}

}  // namespace

const Codec kTiffCodec = {
    .type = "public.tiff",
    .displayName = "TIFF",
    .matches = matchesTiff,
    .open = openTiff,
    .createWriter = createTiffWriter,
};

}  // namespace kelvo
