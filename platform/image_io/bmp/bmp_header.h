#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/foundation/result.h"
#include "platform/image_io/limits.h"

namespace kelvo {

// Where a channel's sample stands in a pixel.
struct BmpChannel {
  std::uint32_t mask = 0;  // bits that stand together; 0 if there is no such channel

  [[nodiscard]] unsigned shift() const { return static_cast<unsigned>(std::countr_zero(mask)); }
  [[nodiscard]] unsigned bits() const { return static_cast<unsigned>(std::popcount(mask)); }
  [[nodiscard]] std::uint32_t maximum() const { return mask == 0 ? 0 : mask >> shift(); }
};

enum class BmpCompression : std::uint8_t { none, rle8, rle4 };

struct BmpRange {
  std::uint64_t begin = 0;
  std::uint64_t size = 0;

  [[nodiscard]] std::uint64_t end() const { return begin + size; }
  [[nodiscard]] bool overlaps(const BmpRange& other) const {
    return begin < other.end() && other.begin < end();
  }
};

// What the headers of a BMP file say, whichever of their versions they are.
struct BmpHeader {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  bool topDown = false;    // rows are stored from bottom to top otherwise
  unsigned pixelBits = 0;  // 1, 2, 4 or 8 for indices, 16, 24 or 32 for colours
  BmpCompression compression = BmpCompression::none;
  std::array<BmpChannel, 4> channels{};  // red, green, blue, alpha; of colours

  std::uint64_t fileBytes = 0;  // as told; often wrong
  BmpRange table;               // the colour table of indices
  unsigned entryBytes = 4;  // of it: blue, green, red and, if there are four, one without meaning
  BmpRange pixels;          // compressed ones: to the end of the file if nothing is told
  BmpRange profile;         // empty if there is none

  [[nodiscard]] bool indexed() const { return pixelBits <= 8; }
  [[nodiscard]] std::size_t entries() const { return table.size / entryBytes; }
  [[nodiscard]] std::uint64_t rowBytes() const {
    return (std::uint64_t{width} * pixelBits + 31) / 32 * 4;
  }
  [[nodiscard]] bool deep() const;  // a channel has more than 8 bits
};

// `file` is the whole file. Errors: what is there is no sensible header, or of a kind that is not
// supported; more pixels than the limits allow. That the ranges lie in the file is not looked at.
Result<BmpHeader> readBmpHeader(std::span<const std::byte> file, const Limits& limits);

// Whether the bytes begin like a BMP file; 18 are enough.
bool looksLikeBmp(std::span<const std::byte> head);

}  // namespace kelvo
