#include "curves_editor/acv_file.h"

#include <optional>
#include <string>

namespace kelvo {
namespace {

constexpr int kMostCurves = 64;
constexpr int kFewestPoints = 2;
constexpr int kMostPoints = 19;

class Numbers {
 public:
  explicit Numbers(std::span<const std::byte> bytes) : bytes_(bytes) {}

  std::optional<int> next() {
    if (bytes_.size() < 2) return std::nullopt;
    const int number = std::to_integer<int>(bytes_[0]) * 256 + std::to_integer<int>(bytes_[1]);
    bytes_ = bytes_.subspan(2);
    return number;
  }

 private:
  std::span<const std::byte> bytes_;
};

Result<std::vector<AcvPoint>> parseCurve(Numbers& numbers, const std::string& curve) {
  const Error tooShort{"the file ends in " + curve};
  const auto count = numbers.next();
  if (!count) return tooShort;
  if (*count < kFewestPoints || *count > kMostPoints) {
    return Error{curve + " has " + std::to_string(*count) + " points, not 2 to 19"};
  }
  std::vector<AcvPoint> points;
  for (int i = 0; i < *count; ++i) {
    const auto output = numbers.next();
    const auto input = numbers.next();
    if (!output || !input) return tooShort;
    if (*output > 255 || *input > 255) return Error{curve + " has a level above 255"};
    if (!points.empty() && *input <= points.back().input) {
      return Error{"the inputs of " + curve + " do not ascend"};
    }
    points.push_back({static_cast<std::uint8_t>(*input), static_cast<std::uint8_t>(*output)});
  }
  return points;
}

}  // namespace

Result<std::vector<std::vector<AcvPoint>>> parseAcv(std::span<const std::byte> bytes) {
  Numbers numbers(bytes);
  const auto version = numbers.next();
  const auto count = numbers.next();
  if (!version || !count) return Error{"the file is too short for a curve file"};
  if (*version != 1 && *version != 4) {
    return Error{"the file has version " + std::to_string(*version) +
                 ", and curve files have version 1 or 4"};
  }
  if (*count < 1) return Error{"the file has no curves"};
  if (*count > kMostCurves) {
    return Error{"the file announces " + std::to_string(*count) + " curves, 64 at most are read"};
  }
  std::vector<std::vector<AcvPoint>> curves;
  for (int i = 1; i <= *count; ++i) {
    auto curve = parseCurve(numbers, "curve " + std::to_string(i));
    if (!curve) return curve.error();
    curves.push_back(std::move(curve).value());
  }
  return curves;
}

}  // namespace kelvo
