#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/image_io/heif/boxes.h"

namespace kelvo::jxl {

// Numbers as ISO/IEC 18181-1 packs them: the lowest bit comes first. Past the end all is 0 and ok()
// is false.
class BitReader {
 public:
  explicit BitReader(heif::Bytes bytes) : bytes_(bytes) {}

  // At most 32 of them.
  std::uint32_t bits(unsigned count) {
    std::uint32_t value = 0;
    for (unsigned i = 0; i < count; ++i, ++position_) {
      const std::size_t byte = position_ / 8;
      if (byte >= bytes_.size()) {
        ok_ = false;
        return 0;
      }
      value |= (std::to_integer<std::uint32_t>(bytes_[byte]) >> (position_ % 8) & 1U) << i;
    }
    return value;
  }
  bool flag() { return bits(1) != 0; }

  // A number of up to 64 bits.
  std::uint64_t variable() {
    switch (bits(2)) {
      case 0:
        return 0;
      case 1:
        return 1 + bits(4);
      case 2:
        return 17 + bits(8);
      default:
        break;
    }
    constexpr unsigned kLast = 60;
    std::uint64_t value = bits(12);
    for (unsigned shift = 12; flag(); shift += 8) {
      if (shift == kLast) return value | static_cast<std::uint64_t>(bits(4)) << shift;
      value |= static_cast<std::uint64_t>(bits(8)) << shift;
    }
    return value;
  }

  struct Range {
    std::uint32_t first;
    unsigned bits;
  };
  // A number in one of four ranges.
  std::uint32_t ranged(const std::array<Range, 4>& ranges) {
    const Range range = ranges[bits(2)];
    return range.first + bits(range.bits);
  }

  // On to the next whole byte.
  void align() { position_ = (position_ + 7) / 8 * 8; }
  // In bytes; of one begun, its end.
  [[nodiscard]] std::size_t position() const { return (position_ + 7) / 8; }
  [[nodiscard]] bool ok() const { return ok_; }

 private:
  heif::Bytes bytes_;
  std::size_t position_ = 0;
  bool ok_ = true;
};

}  // namespace kelvo::jxl
