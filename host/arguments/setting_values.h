#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/result.h"

// Strict readings of what people type: the whole text must be the value. The same in every locale.
namespace kelvo::host {

// A finite decimal number, with sign, fraction and exponent. "'12a' is not a number".
Result<double> parseNumber(std::string_view text);

// A whole number of at least 1, with an optional suffix: k, M, G, T for powers of 1000.
Result<std::uint64_t> parseCount(std::string_view text);

// The same for bytes, where the suffixes are powers of 1024.
Result<std::uint64_t> parseByteCount(std::string_view text);

// Straight components, 0…1.
struct Color {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;
  friend bool operator==(const Color&, const Color&) = default;
};

// "#rrggbb" or "#rrggbbaa".
Result<Color> parseColor(std::string_view text);

// A point of a curve, in levels 0…255.
struct CurvePoint {
  double x = 0;
  double y = 0;
  friend bool operator==(const CurvePoint&, const CurvePoint&) = default;
};

// "0,0 96,120 255,255": at least two points, x rising.
Result<std::vector<CurvePoint>> parseCurvePoints(std::string_view text);

}  // namespace kelvo::host
