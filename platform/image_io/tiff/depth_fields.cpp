#include "platform/image_io/tiff/depth_fields.h"

#include <functional>
#include <limits>

#include "platform/image_io/tiff/tags.h"

namespace kelvo::tiff {
namespace {

constexpr std::uint64_t kLevels16 = 65536;
constexpr std::uint64_t kStep = 257;  // 65535 / 255

std::uint64_t toEightBits(std::uint64_t sample) { return (sample * 255 + 32767) / 65535; }

std::optional<NewValue> mapped(const View& view, const Entry& entry,
                               const std::function<std::uint64_t(std::uint64_t)>& map) {
  const auto numbers = integers(view, entry);
  if (numbers.empty()) return std::nullopt;
  NewValue value{.type = entry.type, .count = entry.count, .bytes = {}};
  value.bytes.resize(static_cast<std::size_t>(entry.bytes));
  const std::size_t width = fieldBytes(entry.type);
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    storeInteger(std::span(value.bytes).subspan(i * width, width), map(numbers[i]), width,
                 view.format.bigEndian);
  }
  return value;
}

// Every 257th entry of each curve, so that level v finds the value that 257 v had.
std::optional<NewValue> thinned(const View& view, const Entry& entry) {
  if (entry.type != kShort || entry.count % kLevels16 != 0) return std::nullopt;
  const auto curve = valueBytes(view, entry);
  NewValue value{.type = entry.type, .count = entry.count / kLevels16 * 256, .bytes = {}};
  for (std::uint64_t first = 0; first < entry.count; first += kLevels16) {
    for (std::uint64_t level = 0; level < 256; ++level) {
      const auto at = static_cast<std::size_t>((first + level * kStep) * 2);
      value.bytes.push_back(curve[at]);
      value.bytes.push_back(curve[at + 1]);
    }
  }
  return value;
}

// Rationals divided by 257.
std::optional<NewValue> scaledRationals(const View& view, const Entry& entry) {
  if (entry.type != kRational) return std::nullopt;
  NewValue value{.type = entry.type, .count = entry.count, .bytes = {}};
  const auto old = valueBytes(view, entry);
  value.bytes.assign(old.begin(), old.end());
  const bool bigEndian = view.format.bigEndian;
  for (std::size_t at = 0; at < value.bytes.size(); at += 8) {
    const std::span numerator = std::span(value.bytes).subspan(at, 4);
    const std::span denominator = std::span(value.bytes).subspan(at + 4, 4);
    const std::uint64_t above = loadInteger(numerator, 4, bigEndian);
    const std::uint64_t below = loadInteger(denominator, 4, bigEndian);
    if (above % kStep == 0) {
      storeInteger(numerator, above / kStep, 4, bigEndian);
    } else if (below * kStep <= std::numeric_limits<std::uint32_t>::max()) {
      storeInteger(denominator, below * kStep, 4, bigEndian);
    } else {
      storeInteger(numerator, (above + kStep / 2) / kStep, 4, bigEndian);
    }
  }
  return value;
}

}  // namespace

std::optional<NewValue> eightBitValue(const View& view, const Entry& entry) {
  switch (entry.tag) {
    case kBitsPerSample:
      return mapped(view, entry, [](std::uint64_t) { return std::uint64_t{8}; });
    case kMinSampleValue:
    case kMaxSampleValue:
    case kSMinSampleValue:
    case kSMaxSampleValue:
    case kHalftoneHints:
      return mapped(view, entry, toEightBits);
    case kTransferFunction:
      return thinned(view, entry);
    case kReferenceBlackWhite:
      return scaledRationals(view, entry);
    default:
      return std::nullopt;
  }
}

}  // namespace kelvo::tiff
