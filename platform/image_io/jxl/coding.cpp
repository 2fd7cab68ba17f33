#include "platform/image_io/jxl/coding.h"

#include <algorithm>
#include <array>

namespace kelvo::jxl {
namespace {

// Numbers as ISO/IEC 18181-1 packs them: the lowest bit comes first. Past the end all is 0 and ok()
// is false.
class BitReader {
 public:
  explicit BitReader(heif::Bytes bytes) : bytes_(bytes) {}

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

  // The lowest bits of a number of up to 64 bits.
  std::uint32_t variable() {
    switch (bits(2)) {
      case 0:
        return 0;
      case 1:
        return 1 + bits(4);
      case 2:
        return 17 + bits(8);
      default:
        return bits(12);
    }
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

  [[nodiscard]] bool ok() const { return ok_; }

 private:
  heif::Bytes bytes_;
  std::size_t position_ = 0;
  bool ok_ = true;
};

constexpr float kUsualDistance = 1;  // what encoders take if nobody asks for another
constexpr float kCarefulDistance = 0.5F;

constexpr std::uint32_t kRegularFrame = 0;
constexpr std::uint32_t kNoise = 1;
constexpr std::uint32_t kPatches = 2;
constexpr std::uint32_t kSplines = 16;
constexpr std::uint32_t kOtherFrameHasLowest = 32;

struct FrameStart {
  bool known = false;
  bool modular = false;
  std::uint32_t flags = 0;
};

FrameStart readStart(heif::Bytes frame) {
  FrameStart start;
  BitReader reader(frame);
  const bool usual = reader.bits(1) != 0;
  if (!usual) {
    const std::uint32_t type = reader.bits(2);
    start.modular = reader.bits(1) != 0;
    start.flags = reader.variable();
    if (type != kRegularFrame) return start;
  }
  start.known = reader.ok();
  return start;
}

// The quantiser of the lowest frequency follows from the distance alone: libjxl makes them
// inversely proportional, up to a distance of 3.
float distanceOf(heif::Bytes sections, std::uint32_t flags) {
  constexpr float kProduct = 1.115F;  // of quantiser and distance, 1.10 to 1.12 by measurement
  constexpr float kClosest = 0.02F;
  constexpr float kFarthest = 3;
  constexpr float kScale = 1 << 16;
  BitReader reader(sections);
  if ((flags & kNoise) != 0) {
    for (int i = 0; i < 8; ++i) reader.bits(10);
  }
  const bool usualWeights = reader.bits(1) != 0;
  const std::uint32_t scale = reader.ranged({{{1, 11}, {2049, 11}, {4097, 12}, {8193, 16}}});
  const std::uint32_t lowest = reader.ranged({{{16, 0}, {1, 5}, {1, 8}, {1, 16}}});
  if (!usualWeights || !reader.ok()) return kUsualDistance;
  const float quantiser = static_cast<float>(scale) * static_cast<float>(lowest) / kScale;
  return std::clamp(kProduct / quantiser, kClosest, kFarthest);
}

}  // namespace

Coding findCoding(heif::Bytes frame, heif::Bytes sections, bool xyb) {
  if (!xyb) return {.lossless = true};
  const FrameStart start = readStart(frame);
  if (!start.known) return {.lossless = false, .distance = kUsualDistance};
  if (start.modular) return {.lossless = false, .distance = kCarefulDistance};
  if ((start.flags & (kPatches | kSplines | kOtherFrameHasLowest)) != 0) {
    return {.lossless = false, .distance = kUsualDistance};
  }
  return {.lossless = false, .distance = distanceOf(sections, start.flags)};
}

}  // namespace kelvo::jxl
