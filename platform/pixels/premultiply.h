#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace kelvo {

// 8-bit r g b a pixels, in place; colour is limited to 255.
// c = min(255, floor((255 c + a/2) / a)) with whole a/2; alpha 0 gives colour 0.
void vImageUnpremultiplyData_RGBA8888(std::span<std::uint8_t> rgba);

// c = floor((c a + 127) / 255).
void vImagePremultiplyData_RGBA8888(std::span<std::uint8_t> rgba);

// The same two rules on 16-bit pixels, with 65535 for 255 and 32767 for 127.
void unpremultiplyRGBA16(std::span<std::uint16_t> rgba);
void premultiplyRGBA16(std::span<std::uint16_t> rgba);

}  // namespace kelvo
