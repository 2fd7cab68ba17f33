#pragma once

#include <cstdint>
#include <span>

#include "platform/color/color_world.h"
#include "platform/image/ci_image.h"
#include "platform/pixels/kept_pixels.h"

namespace kelvo {

// Stretches the lightness over the full range and leaves the colour: 1 % of the pixels are clipped
// at the dark end of L*, 0.5 % at the bright end. Works on the picture's 8-bit rendering, which is
// read once here to be measured, and kept for the result if it takes at most `mostKeptBytes`, else
// read once more when the result is rendered. Empty if there is no image.
CIImageRef applyAutoForCIImage(const CIImageRef& image,
                               std::uint64_t mostKeptBytes = kMostKeptBytes);

// Converts the source's pixels into the destination: 0 on success. Where there is no way between
// the profiles, bytes are copied between bitmaps alike in everything but memory, and -1 is
// returned; -4 if they are not, or are the same memory.
int matchFromBitmap(const CMBitmap& source, const CMBitmap* destination, ColorProfile sourceProfile,
                    ColorProfile destinationProfile);

// How lightness is stretched: encoded L* from `low` to `high` over 0…255.
struct LightnessStretch {
  int low = 0;
  int high = 255;

  [[nodiscard]] std::uint8_t operator()(std::uint8_t lightness) const;
};

// From the counts of L* of a picture of that size. An empty picture is left alone.
LightnessStretch measureLightness(std::span<const std::uint64_t, 256> histogram,
                                  std::uint32_t width, std::uint32_t height);

}  // namespace kelvo
