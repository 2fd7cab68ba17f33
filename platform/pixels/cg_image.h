#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "platform/foundation/result.h"
#include "platform/pixels/pixel_layout.h"
#include "platform/pixels/row_source.h"

namespace kelvo {

enum class ColorModel : std::uint8_t { gray, rgb, cmyk, lab };

// A colour space: the model and the ICC profile found with the pixels (empty if there was none).
struct CGColorSpace {
  ColorModel model = ColorModel::rgb;
  std::vector<std::byte> profile;
};
using CGColorSpaceRef = std::shared_ptr<const CGColorSpace>;

// The frame's own RGB numbers, matched to nothing.
CGColorSpaceRef CGColorSpaceCreateDeviceRGB();

// A colour table: straight 8-bit r, g, b, a. At most 256 entries.
using Palette = std::vector<std::array<std::uint8_t, 4>>;

// A picture whose pixels are produced when they are asked for. Cheap to copy; immutable.
struct CGImage {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  PixelLayout layout;
  CGColorSpaceRef colorSpace;

  // Starts a pass over the rows, in `layout`. Thread-safe; each call gives an independent source.
  std::function<Result<std::unique_ptr<RowSource>>()> openRows;

  // Set for an indexed frame, whose rows are then this table looked up (in `layout`: 3 components
  // if every alpha is 255, else 4 with AlphaInfo::last). An adjusted indexed frame is the same
  // indices with another table.
  std::shared_ptr<const Palette> palette;
};

const CGColorSpaceRef& CGImageGetColorSpace(const CGImage& image);

// The same numbers under another colour space. An error if the models differ.
Result<CGImage> CGImageCreateCopyWithColorSpace(const CGImage& image, CGColorSpaceRef space);

// Convenience for memory that is already there (tests, previews): `pixels` holds height rows of
// tightly packed pixels.
CGImage CGImageCreateWithPixels(std::uint32_t width, std::uint32_t height, PixelLayout layout,
                                std::vector<std::byte> pixels, CGColorSpaceRef space);

// Reads the whole picture, tightly packed, in its layout.
Result<std::vector<std::byte>> readAllPixels(const CGImage& image);

}  // namespace kelvo
