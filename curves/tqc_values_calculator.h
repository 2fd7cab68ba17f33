#pragma once

#include <array>
#include <span>
#include <vector>

#include "curves/curve_spline.h"
#include "platform/drawing/ns_geometry.h"
#include "platform/image/ci_image.h"

namespace kelvo {

// One tone curve: its points, their spline, and the curve at the levels 0…255.
struct ToneCurve {
  std::vector<CurvePoint> points;
  std::vector<float> A;
  std::vector<float> B;
  std::vector<float> C;
  std::vector<float> D;
  std::array<float, 256> cache{};
};

// Fits the spline to the curve's points and fills its cache.
void recalculateCurve(ToneCurve& curve);

// Four tone curves (0 RGB master, 1 red, 2 green, 3 blue) and the ramp they make together.
class TQCValuesCalculator {
 public:
  // The one of the process. Not thread-safe.
  static TQCValuesCalculator& sharedInstance();

  // Every curve from (0, 0) to (255, 255).
  void resetCalculator();
  // At least two points in ascending x; channel 0…3, any other is ignored.
  void setPoints_pointsCount_forCgannel(std::span<const NSPoint> points, int channel);
  void recalculateCurveValues(int channel);

  // 256 x 1: column i holds, for each colour channel, the master curve at the channel's curve at i,
  // divided by 256 (so that full level is 0.99609375), and alpha 1. `forOKAction` tags it with
  // device RGB in place of `colorSpace`.
  [[nodiscard]] CIImageRef valuesImageForColorSpace_forOKAction(const CGColorSpaceRef& colorSpace,
                                                                bool forOKAction) const;

  [[nodiscard]] const ToneCurve& curve(int channel) const {
    return curves_[static_cast<std::size_t>(channel)];
  }

 private:
  std::array<ToneCurve, 4> curves_;
};

constexpr int kRampColumns = 256;
using RampPixels = std::array<std::array<float, 4>, kRampColumns>;

// The ramp's pixels from the four curves' values at 0…255 (master, red, green, blue).
RampPixels rampPixels(std::span<const ToneCurve, 4> curves);

// A ramp as an image.
CIImageRef rampImage(const RampPixels& pixels, const CGColorSpaceRef& colorSpace);

}  // namespace kelvo
