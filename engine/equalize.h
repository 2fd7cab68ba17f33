#pragma once

#include "platform/image/ci_image.h"
#include "platform/pixels/cg_image.h"
#include "platform/pixels/kept_pixels.h"

namespace kelvo {

// Stretches the luminance so that its darkest and brightest tones, half a percent of the pixels
// passed over at each end, span the whole range. Reads the picture once to measure it, and keeps it
// in memory for the result if it takes at most `mostKeptBytes`.
CIImageRef applyEqualizeForCIImage(const CIImageRef& image,
                                   std::uint64_t mostKeptBytes = kMostKeptBytes);

// The bounds of the luminance 0.3 R + 0.59 G + 0.11 B, on the 0…1 scale, each one step further in
// than the level at which the count from its end reaches 0.005 of the pixels. 0 and 1 for a picture
// that cannot be measured.
//
// `image` is 8-bit: 3 components, or 4 premultiplied.
void getGrayMin(float& lower, float& upper, const CGImage& image);

}  // namespace kelvo
