#pragma once

#include <algorithm>
#include <cmath>

#include "tests/support/pixels.h"

namespace kelvo::testing {

// How alike two colours are, 0…1: hue (on a 0…6 scale, taken for an angle in radians) and
// saturation as polar coordinates, value as the height above them; the distance of two such points
// over the largest there is, taken from 1.
inline double similarity(const Rgba& left, const Rgba& right) {
  struct Place {
    double x, y, height;
  };
  const auto place = [](const Rgba& c) {
    const double low = std::min({c[0], c[1], c[2]});
    const double high = std::max({c[0], c[1], c[2]});
    if (low == high) return Place{0, 0, high};
    double hue = 0;
    if (c[0] == low) {
      hue = 3 - (c[1] - c[2]) / (high - low);
    } else if (c[1] == low) {
      hue = 5 - (c[2] - c[0]) / (high - low);
    } else {
      hue = 1 - (c[0] - c[1]) / (high - low);
    }
    const double saturation = (high - low) / high;
    return Place{saturation * std::cos(hue), saturation * std::sin(hue), high};
  };
  const Place a = place(left);
  const Place b = place(right);
  return 1 - std::hypot(a.height - b.height, a.x - b.x, a.y - b.y) / std::sqrt(5.0);
}

}  // namespace kelvo::testing
