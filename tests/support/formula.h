#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <initializer_list>
#include <optional>
#include <utility>
#include <vector>

#include "platform/image/ci_filter.h"
#include "tests/support/pixels.h"

// Filters and adjustments against their formulas in double precision.
namespace kelvo::testing {

// Half a level of rounding, and what single precision may lose before it.
constexpr double kOneLevel = 0.5 + 0.01;

using Adjustment = std::function<CIImageRef(const CIImageRef&)>;

// From a straight colour to the colour expected; nothing where none can be told, because the input
// lies too near to a jump.
using Formula = std::function<std::optional<Rgba>(const Rgba&)>;

// What rendering makes of a premultiplied colour, before rounding. What is no number is 0.
inline std::array<double, 4> premultipliedLevels(const Rgba& color) {
  const auto limited = [](double value, double highest) {
    return std::isnan(value) ? 0.0 : std::clamp(value, 0.0, highest);
  };
  const double a = limited(color[3], 1);
  return {255 * limited(color[0], a), 255 * limited(color[1], a), 255 * limited(color[2], a),
          255 * a};
}

inline void expectLevels(const CIImageRef& output, const std::vector<Rgba8>& input,
                         const Formula& premultipliedFormula) {
  const auto actual = rendered(output);
  ASSERT_EQ(actual.size(), input.size());
  std::size_t compared = 0;
  for (std::size_t i = 0; i < input.size(); ++i) {
    Rgba color = straight(input[i]);
    if (color[3] == 0) color = {0, 0, 0, 0};
    const auto expected = premultipliedFormula(color);
    if (!expected) continue;
    ++compared;
    ASSERT_LE(distance(actual[i], premultipliedLevels(*expected)), kOneLevel)
        << "pixel " << +input[i][0] << ' ' << +input[i][1] << ' ' << +input[i][2] << ' '
        << +input[i][3] << " became " << +actual[i][0] << ' ' << +actual[i][1] << ' '
        << +actual[i][2] << ' ' << +actual[i][3] << ", expected "
        << premultipliedLevels(*expected)[0] << ' ' << premultipliedLevels(*expected)[1] << ' '
        << premultipliedLevels(*expected)[2] << ' ' << premultipliedLevels(*expected)[3];
  }
  // What is left out may only be the exception.
  ASSERT_GE(compared * 100, input.size() * 98);
}

// On all greys, a cube of colours and translucent pixels of all kinds. The formula gives
// premultiplied colour.
inline void expectPremultipliedFormula(const Adjustment& adjust, const Formula& formula) {
  for (const auto& opaque : {allGreys(), colorCube()}) {
    ASSERT_NO_FATAL_FAILURE(expectLevels(adjust(image(opaque, kOpaque8)), opaque, formula));
  }
  const auto translucent = translucentPixels();
  ASSERT_NO_FATAL_FAILURE(
      expectLevels(adjust(image(translucent, kStraight8)), translucent, formula));
}

// The same with a formula that gives straight colour.
inline void expectFormula(const Adjustment& adjust, const Formula& formula) {
  expectPremultipliedFormula(adjust, [&](const Rgba& color) {
    auto result = formula(color);
    if (result) {
      for (std::size_t c = 0; c < 3; ++c) (*result)[c] *= (*result)[3];
    }
    return result;
  });
}

// One row of premultiplied colours in single precision, of any value.
inline CIImageRef floatImage(const std::vector<std::array<float, 4>>& pixels) {
  return CIImage::initWithBitmapData_bytesPerRow_size_format_colorSpace(
      std::as_bytes(std::span(pixels)), pixels.size() * 16,
      static_cast<std::uint32_t>(pixels.size()), 1, kCIFormatRGBAf, nullptr);
}

// What the filter of that name makes of an image, its other inputs set by key.
inline CIImageRef filtered(std::string_view name, const CIImageRef& input,
                           std::initializer_list<std::pair<std::string_view, FilterValue>> values) {
  const CIFilterRef filter = CIFilter::filterWithName(name);
  if (!filter) return nullptr;
  filter->setDefaults();
  for (const auto& [key, value] : values) {
    if (!filter->setValue_forKey(value, key)) return nullptr;
  }
  filter->setValue_forKey(input, "inputImage");
  const FilterValue output = filter->valueForKey("outputImage");
  const auto* result = std::get_if<CIImageRef>(&output);
  return result != nullptr ? *result : nullptr;
}

}  // namespace kelvo::testing
