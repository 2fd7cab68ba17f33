#pragma once

#include <array>
#include <cstdint>

// The seven passes of an interlaced PNG picture.
namespace kelvo {

struct Adam7Pass {
  std::uint32_t x0, y0;  // its first pixel
  std::uint32_t dx, dy;  // the steps to the next ones

  // Either may be 0: the pass is then not stored at all.
  [[nodiscard]] constexpr std::uint32_t width(std::uint32_t full) const {
    return full > x0 ? (full - x0 - 1) / dx + 1 : 0;
  }
  [[nodiscard]] constexpr std::uint32_t height(std::uint32_t full) const {
    return full > y0 ? (full - y0 - 1) / dy + 1 : 0;
  }
};

constexpr std::array<Adam7Pass, 7> kAdam7 = {{{0, 0, 8, 8},
                                              {4, 0, 8, 8},
                                              {0, 4, 4, 8},
                                              {2, 0, 4, 4},
                                              {0, 2, 2, 4},
                                              {1, 0, 2, 2},
                                              {0, 1, 1, 2}}};

// Stored rows of a picture: those of all passes that are stored.
constexpr std::uint64_t adam7Rows(std::uint32_t width, std::uint32_t height) {
  std::uint64_t rows = 0;
  for (const Adam7Pass& pass : kAdam7) {
    if (pass.width(width) != 0) rows += pass.height(height);
  }
  return rows;
}

}  // namespace kelvo
