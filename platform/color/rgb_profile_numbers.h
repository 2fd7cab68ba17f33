#pragma once

#include <array>

namespace kelvo {

// What an RGB profile of curves and a matrix says.
struct RgbProfileNumbers {
  std::array<std::array<double, 256>, 3> linear;  // linear light of each level, 0…1
  // Linear light at which each channel's level k - 1 becomes level k, k = 1…255: that of the
  // encoded value (k - 0.5) / 255.
  std::array<std::array<double, 256>, 3> thresholds;
  double toXYZ[3][3];    // rows X, Y, Z; columns r, g, b; relative to D50
  double fromXYZ[3][3];  // its inverse
};

// The numbers of sRGB, those of the colour-management library's profile to the last bit.
RgbProfileNumbers deviceRGBNumbers();

// The white point of the L*a*b* space, D50.
constexpr double kWhiteXYZ[3] = {0.9642, 1.0, 0.8249};

}  // namespace kelvo
