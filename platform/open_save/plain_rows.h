#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "platform/pixels/cg_image.h"

namespace kelvo {

// A gray or RGB picture's rows in the samples that a format stores. What is done to a pixel, in
// this order, where the two layouts differ:
//
//   premultiplied -> straight   c = min(M, floor((M c + a/2) / a)), 0 where a is 0; M: the maximum
//   alpha -> none               it must be M everywhere
//   16 -> 8 bits                floor((255 c + 32767) / 65535)
class PlainRows {
 public:
  // `stored` has the picture's colours, as many bits or fewer, and alpha only where the picture has
  // it. `format` names the format in messages ("JPEG").
  static Result<PlainRows> open(const CGImage& image, const PixelLayout& stored,
                                std::string_view format);

  // The next rows, tightly packed; valid until the next call. Errors: of the picture's own rows,
  // passed on unchanged; alpha where there is no room for any.
  Result<std::span<std::byte>> read(std::uint32_t rows);

 private:
  PlainRows(std::unique_ptr<RowSource> rows, const CGImage& image, const PixelLayout& stored,
            std::string_view format);

  template <typename From, typename To>
  bool convert(std::size_t pixels);

  std::unique_ptr<RowSource> rows_;
  std::uint32_t width_;
  PixelLayout from_;
  PixelLayout stored_;
  std::string_view format_;
  std::vector<std::byte> source_;
  std::vector<std::byte> converted_;
};

// Rows of `rowBytes` that are worked on at a time, at least one.
std::uint32_t stripRows(std::size_t rowBytes, std::uint32_t height);

// Hands all rows of the picture on, strip by strip.
template <typename Write>
Result<void> forEachStrip(PlainRows& from, std::uint32_t height, std::uint32_t rowsAtATime,
                          const Write& write) {
  for (std::uint32_t y = 0; y < height;) {
    const std::uint32_t count = std::min(rowsAtATime, height - y);
    auto pixels = from.read(count);
    if (!pixels) return std::move(pixels).error();
    if (auto written = write(*pixels, count); !written) return written;
    y += count;
  }
  return {};
}

}  // namespace kelvo
