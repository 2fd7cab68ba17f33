#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "platform/image_io/png/png_file.h"

namespace kelvo {

// The data that a chunk beside the picture has in a rewritten file whose samples have `depth` bits,
// if it differs from what it had. All other chunks are copied byte for byte.
//
//   sBIT   says no more significant bits than there are
//   bKGD   a background colour of an RGB picture follows the depth
//   eXIf   loses its thumbnail, which would show the colours of before
std::optional<std::vector<std::byte>> adaptedPngChunk(const PngChunk& chunk,
                                                      const PngHeader& header, unsigned depth);

// 65535 levels to 255, rounded to nearest.
constexpr std::uint16_t scaleTo8Bits(std::uint16_t sample) {
  return static_cast<std::uint16_t>((sample * 255U + 32767U) / 65535U);
}

}  // namespace kelvo
