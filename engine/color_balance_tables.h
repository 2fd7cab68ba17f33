#pragma once

#include <array>

namespace kelvo {

// The reference curves that a midtone shift of 100 bends a tone curve to: below the diagonal for a
// negative shift, above it for a positive one. Both run from 0 to 255.
extern const std::array<float, 256> kColorBalanceMinus;
extern const std::array<float, 256> kColorBalancePlus;

}  // namespace kelvo
