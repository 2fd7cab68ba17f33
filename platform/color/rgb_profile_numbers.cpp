#include "platform/color/rgb_profile_numbers.h"

#include <lcms2.h>

#include <memory>

namespace kelvo {
namespace {

struct CloseProfile {
  void operator()(void* profile) const { cmsCloseProfile(profile); }
};

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

RgbProfileNumbers readDeviceRGBNumbers() {
  constexpr cmsTagSignature kColorants[3] = {cmsSigRedColorantTag, cmsSigGreenColorantTag,
                                             cmsSigBlueColorantTag};
  constexpr cmsTagSignature kCurves[3] = {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag};
  RgbProfileNumbers numbers{};
  const std::unique_ptr<void, CloseProfile> profile(cmsCreate_sRGBProfile());
  for (int c = 0; c < 3; ++c) {
    const auto* xyz = static_cast<const cmsCIEXYZ*>(cmsReadTag(profile.get(), kColorants[c]));
    numbers.toXYZ[0][c] = xyz->X;
    numbers.toXYZ[1][c] = xyz->Y;
    numbers.toXYZ[2][c] = xyz->Z;
    const auto* curve = static_cast<const cmsToneCurve*>(cmsReadTag(profile.get(), kCurves[c]));
    const auto channel = static_cast<std::size_t>(c);
    for (std::size_t level = 0; level < 256; ++level) {
      const auto encoded = static_cast<float>(level) / 255.0F;
      numbers.linear[channel][level] = cmsEvalToneCurveFloat(curve, encoded);
      const float between = (static_cast<float>(level) - 0.5F) / 255.0F;
      numbers.thresholds[channel][level] =
          level == 0 ? -1.0 : cmsEvalToneCurveFloat(curve, between);
    }
  }
  invert(numbers.toXYZ, numbers.fromXYZ);
  return numbers;
}

}  // namespace kelvo
