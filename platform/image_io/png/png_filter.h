#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kelvo {

// Turns rows of samples into rows that compress well: each row is replaced by its difference from a
// prediction, of the five that the format knows the one whose differences are smallest in sum.
// Rows of one picture or one interlaced pass, from top to bottom.
class PngRowFilter {
 public:
  // `pixelBytes` is 1 where pixels are smaller than a byte.
  PngRowFilter(std::size_t rowBytes, std::size_t pixelBytes);

  // The filter's number and the differences: rowBytes + 1 bytes, valid until the next call.
  std::span<const std::uint8_t> filter(std::span<const std::uint8_t> row);

 private:
  std::size_t rowBytes_;
  std::size_t pixelBytes_;
  // Rows with a pixel of zeros before them.
  std::vector<std::uint8_t> current_;
  std::vector<std::uint8_t> previous_;
  std::vector<std::uint8_t> best_;
  std::vector<std::uint8_t> trial_;
};

}  // namespace kelvo
