#include "platform/color/rgb_profile_numbers.h"

#include <cmath>
#include <cstddef>

namespace kelvo {
namespace {

// The colorants of sRGB (IEC 61966-2-1), relative to D50 by the Bradford method, as the
// colour-management library computes them: X, Y and Z of red, green and blue.
constexpr double kColorants[3][3] = {
    {0.43604125161605084, 0.22248454022947742, 0.013920187471375375},
    {0.38511291079815568, 0.71690507860845787, 0.097067238697124067},
    {0.14304583758579362, 0.060610381162065304, 0.71391257383150097}};

// Linear light of an encoded value, in the order of operations and the precision of that library.
double linearLight(float encoded) {
  const auto value = static_cast<double>(encoded);
  const double light =
      value >= 0.04045 ? std::pow(value * (1 / 1.055) + 0.055 / 1.055, 2.4) : value * (1 / 12.92);
  return static_cast<float>(light);
}

void invert(const double (&m)[3][3], double (&out)[3][3]) {
  // By cofactors: the inverse of a 3 x 3 matrix is its adjugate over its determinant.
  const auto minor = [&](int r, int c) {
    const int r1 = (r + 1) % 3;
    const int r2 = (r + 2) % 3;
    const int c1 = (c + 1) % 3;
    const int c2 = (c + 2) % 3;
    return m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1];
  };
  const double determinant = m[0][0] * minor(0, 0) + m[0][1] * minor(0, 1) + m[0][2] * minor(0, 2);
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) out[c][r] = minor(r, c) / determinant;
  }
}

}  // namespace

RgbProfileNumbers deviceRGBNumbers() {
  RgbProfileNumbers numbers{};
  for (std::size_t channel = 0; channel < 3; ++channel) {
    for (std::size_t row = 0; row < 3; ++row) {
      numbers.toXYZ[row][channel] = kColorants[channel][row];
    }
    for (std::size_t level = 0; level < 256; ++level) {
      const auto place = static_cast<float>(level);
      numbers.linear[channel][level] = linearLight(place / 255.0F);
      numbers.thresholds[channel][level] = level == 0 ? -1.0 : linearLight((place - 0.5F) / 255.0F);
    }
  }
  invert(numbers.toXYZ, numbers.fromXYZ);
  return numbers;
}

}  // namespace kelvo
