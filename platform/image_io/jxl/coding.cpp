#include "platform/image_io/jxl/coding.h"

#include <algorithm>

#include "platform/image_io/jxl/bit_reader.h"

namespace kelvo::jxl {
namespace {

constexpr float kUsualDistance = 1;  // what encoders take if nobody asks for another
constexpr float kCarefulDistance = 0.5F;

constexpr std::uint32_t kRegularFrame = 0;
constexpr std::uint64_t kNoise = 1;
constexpr std::uint64_t kPatches = 2;
constexpr std::uint64_t kSplines = 16;
constexpr std::uint64_t kOtherFrameHasLowest = 32;

struct FrameStart {
  bool known = false;
  bool modular = false;
  std::uint64_t flags = 0;
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
float distanceOf(heif::Bytes sections, std::uint64_t flags) {
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
