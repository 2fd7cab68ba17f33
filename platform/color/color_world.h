#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/pixels/level_counter.h"

namespace kelvo {

enum class ColorProfile : std::uint8_t {
  deviceRGB,  // IEC 61966-2-1 (sRGB)
  lab,        // CIE L*a*b*, white point D50
};

// What the bytes of a pixel stand for.
enum class BitmapSpace : std::uint32_t {
  cmRGB24Space = 8449,  // red, green, blue
  cmLAB24Space = 8456,  // L* 0…100 as 0…255, a* and b* with offset 128
  cmARGB32Space,        // alpha, red, green, blue; no way leads from it or to it
};

// Pixels in rows of rowBytes.
struct CMBitmap {
  std::uint8_t* image = nullptr;
  std::size_t width = 0;
  std::size_t height = 0;
  std::size_t rowBytes = 0;
  std::size_t pixelSize = 24;  // bits
  BitmapSpace space = BitmapSpace::cmRGB24Space;
};

// The way from one profile to another, relative to the white point: every pixel to the nearest
// level of what the profiles' own numbers give. Immutable, thread-safe.
class ColorWorld {
 public:
  virtual ~ColorWorld() = default;
  // `count` packed pixels; source and destination may be the same memory.
  virtual void convert(const std::uint8_t* source, std::uint8_t* destination,
                       std::size_t count) const = 0;
  [[nodiscard]] virtual BitmapSpace sourceSpace() const = 0;
  [[nodiscard]] virtual BitmapSpace destinationSpace() const = 0;
};
using ColorWorldRef = std::shared_ptr<const ColorWorld>;

// Empty if there is no way between the two; it leads from device RGB to L*a*b* and back.
ColorWorldRef NCWNewColorWorld(ColorProfile source, ColorProfile destination);

// Counts the L* of every pixel, the first byte of its conversion from device RGB.
void countLightness(const std::uint8_t* rgb, std::size_t count, LevelCounter& counter);

// 0; -1 if the bitmaps are not of the world's spaces or not of one size.
int CWMatchBitmap(const ColorWorld& world, const CMBitmap& source, const CMBitmap& destination);

}  // namespace kelvo
