#include "platform/image_io/webp/vp8_header.h"

#include <algorithm>

namespace kelvo {
namespace {

constexpr std::size_t kTagBytes = 10;  // frame tag, start code, dimensions
constexpr int kMaxQuantizer = 127;
constexpr int kMaxFilterLevel = 63;

// The boolean entropy decoder of RFC 6386 section 7, for bits that are as likely 0 as 1.
class BitReader {
 public:
  explicit BitReader(std::span<const std::byte> bytes) : bytes_(bytes) {
    value_ = next() << 8;
    value_ |= next();
  }

  bool flag() {
    constexpr std::uint32_t kEven = 128;
    const std::uint32_t split = 1 + (((range_ - 1) * kEven) >> 8);
    const bool one = value_ >= split << 8;
    if (one) {
      range_ -= split;
      value_ -= split << 8;
    } else {
      range_ = split;
    }
    while (range_ < 128) {
      value_ <<= 1;
      range_ <<= 1;
      if (++shifted_ == 8) {
        shifted_ = 0;
        value_ |= next();
      }
    }
    return one;
  }

  int number(int bits) {
    int value = 0;
    while (bits-- > 0) value = value << 1 | (flag() ? 1 : 0);
    return value;
  }
  int signedNumber(int bits) {
    const int size = number(bits);
    return flag() ? -size : size;
  }
  int optionalSigned(int bits) { return flag() ? signedNumber(bits) : 0; }

 private:
  std::uint32_t next() {
    return at_ < bytes_.size() ? std::to_integer<std::uint32_t>(bytes_[at_++]) : 0;
  }

  std::span<const std::byte> bytes_;
  std::size_t at_ = 0;
  std::uint32_t value_ = 0;
  std::uint32_t range_ = 255;
  int shifted_ = 0;
};

// A tree of two levels tells a block's segment; each branch has a probability out of 256.
std::array<double, Vp8Header::kSegments> shares(const std::array<int, 3>& probabilities) {
  const auto p = [&](std::size_t i) { return probabilities[i] / 255.0; };
  return {p(0) * p(1), p(0) * (1 - p(1)), (1 - p(0)) * p(2), (1 - p(0)) * (1 - p(2))};
}

}  // namespace

Vp8Header readVp8Header(std::span<const std::byte> bitstream) {
  Vp8Header header;
  BitReader bits(bitstream.subspan(std::min(kTagBytes, bitstream.size())));
  bits.number(2);  // colour space, clamping

  header.segmented = bits.flag();
  bool absolute = true;
  std::array<int, Vp8Header::kSegments> quantizers{};
  std::array<int, Vp8Header::kSegments> levels{};
  std::array<int, 3> probabilities = {255, 255, 255};
  if (header.segmented) {
    const bool hasMap = bits.flag();
    if (bits.flag()) {
      absolute = bits.flag();
      for (int& quantizer : quantizers) quantizer = bits.optionalSigned(7);
      for (int& level : levels) level = bits.optionalSigned(6);
    }
    if (hasMap) {
      for (int& probability : probabilities) probability = bits.flag() ? bits.number(8) : 255;
    }
  }
  header.share = shares(probabilities);

  header.simpleFilter = bits.flag();
  const int level = bits.number(6);
  header.filterSharpness = bits.number(3);
  if (bits.flag() && bits.flag()) {  // changes of the filter's level by block type
    for (int i = 0; i < 8; ++i) bits.optionalSigned(6);
  }
  header.partitions = bits.number(2);
  const int quantizer = bits.number(7);
  for (int i = 0; i < 3; ++i) bits.optionalSigned(4);  // luma's
  header.chromaDcDelta = bits.optionalSigned(4);

  for (std::size_t i = 0; i < Vp8Header::kSegments; ++i) {
    const bool own = header.segmented && absolute;
    header.quantizer[i] =
        std::clamp(own ? quantizers[i] : quantizer + quantizers[i], 0, kMaxQuantizer);
    header.filterLevel[i] = std::clamp(own ? levels[i] : level + levels[i], 0, kMaxFilterLevel);
  }
  return header;
}

}  // namespace kelvo
