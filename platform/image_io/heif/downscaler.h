#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace kelvo::heif {

// Makes a small picture of a large one whose rows pass by. Each small pixel is the mean of the area
// it stands for.
class Downscaler {
 public:
  // The small picture is not larger in any direction.
  Downscaler(std::uint32_t fromWidth, std::uint32_t fromHeight, std::uint32_t width,
             std::uint32_t height)
      : fromWidth_(fromWidth),
        fromHeight_(fromHeight),
        width_(width),
        height_(height),
        sums_(std::size_t{3} * width),
        pixels_(std::size_t{3} * width * height) {}

  // r g b rows of the large picture, each once, top to bottom.
  void addRow(std::span<const float> rgb) {
    for (std::uint32_t x = 0; x < width_; ++x) {
      const std::size_t begin = edge(x, fromWidth_, width_);
      const std::size_t end = edge(x + 1, fromWidth_, width_);
      for (std::size_t from = begin; from < end; ++from) {
        for (std::size_t k = 0; k < 3; ++k) {
          sums_[3 * x + k] += rgb[3 * from + k] / static_cast<float>(end - begin);
        }
      }
    }
    ++rows_;
    ++fromY_;
    if (fromY_ < edge(y_ + 1, fromHeight_, height_)) return;
    for (std::size_t i = 0; i < sums_.size(); ++i) {
      pixels_[y_ * sums_.size() + i] = sums_[i] / static_cast<float>(rows_);
      sums_[i] = 0;
    }
    rows_ = 0;
    ++y_;
  }

  [[nodiscard]] std::span<const float> row(std::uint32_t y) const {
    return std::span(pixels_).subspan(y * sums_.size(), sums_.size());
  }

 private:
  static std::size_t edge(std::uint32_t i, std::uint32_t from, std::uint32_t to) {
    return static_cast<std::size_t>(std::uint64_t{i} * from / to);
  }

  std::uint32_t fromWidth_;
  std::uint32_t fromHeight_;
  std::uint32_t width_;
  std::uint32_t height_;
  std::size_t fromY_ = 0;
  std::uint32_t y_ = 0;
  std::uint32_t rows_ = 0;  // summed
  std::vector<float> sums_;
  std::vector<float> pixels_;
};

}  // namespace kelvo::heif
