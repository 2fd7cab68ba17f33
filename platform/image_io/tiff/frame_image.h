#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/image_io/tiff/tiff_file.h"
#include "platform/pixels/cg_image.h"

namespace kelvo::tiff {

// The lazy picture of one frame. Errors: pixels of a kind that is not supported.
Result<CGImage> makeFrameImage(const std::shared_ptr<const TiffFile>& file, std::size_t frame);

// How the 16-bit numbers of a colour table stand for 8-bit levels.
enum class ColorMapScale : std::uint8_t {
  full,     // level * 257, as the format asks
  shifted,  // level * 256
  byte,     // the level itself, from early writers
};

// A frame's colour table as it is stored: all reds, all greens, all blues.
struct ColorMap {
  std::vector<std::uint16_t> values;
  ColorMapScale scale = ColorMapScale::full;

  [[nodiscard]] std::size_t colors() const { return values.size() / 3; }
  [[nodiscard]] std::uint8_t level(std::size_t index) const;
  // The stored number for a level. A level that is not new keeps its number to the last bit.
  [[nodiscard]] std::uint16_t stored(std::size_t index, std::uint8_t newLevel) const;
};
Result<ColorMap> readColorMap(const TiffFile& file, std::size_t frame);

}  // namespace kelvo::tiff
