#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "platform/pixels/cg_image.h"

namespace kelvo {

// Looks through an RGB picture with alpha 0 or full for a colour that none of its opaque pixels
// has, to stand for the transparent ones: `preferred` if it can be. Samples of the picture's own
// depth. Nothing if every colour occurs. An error if a pixel is neither opaque nor transparent, or
// if the picture's rows fail.
Result<std::optional<std::array<std::uint16_t, 3>>> findFreeColor(
    const CGImage& image, std::array<std::uint16_t, 3> preferred);

}  // namespace kelvo
