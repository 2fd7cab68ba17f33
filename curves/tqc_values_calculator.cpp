#include "curves/tqc_values_calculator.h"

namespace kelvo {
namespace {

constexpr int kChannels = 4;
constexpr NSPoint kIdentity[] = {{0, 0}, {255, 255}};

}  // namespace

TQCValuesCalculator& TQCValuesCalculator::sharedInstance() {
  static TQCValuesCalculator instance;
  return instance;
}

void TQCValuesCalculator::resetCalculator() {
  for (int channel = 0; channel < kChannels; ++channel) {
    setPoints_pointsCount_forCgannel(kIdentity, channel);
  }
}

void TQCValuesCalculator::setPoints_pointsCount_forCgannel(std::span<const NSPoint> points,
                                                           int channel) {
  if (channel < 0 || channel >= kChannels) return;
  std::vector<CurvePoint>& own = curves_[static_cast<std::size_t>(channel)].points;
  own.clear();
  for (const NSPoint& point : points) {
    own.push_back({static_cast<float>(point.x), static_cast<float>(point.y)});
  }
  recalculateCurveValues(channel);
}

void TQCValuesCalculator::recalculateCurveValues(int channel) {
  if (channel < 0 || channel >= kChannels) return;
  recalculateCurve(curves_[static_cast<std::size_t>(channel)]);
}

CIImageRef TQCValuesCalculator::valuesImageForColorSpace_forOKAction(
    const CGColorSpaceRef& colorSpace, bool forOKAction) const {
  return rampImage(rampPixels(curves_), forOKAction ? CGColorSpaceCreateDeviceRGB() : colorSpace);
}

void recalculateCurve(ToneCurve& c) {
  fillCurveValuesIntoA_B_C_D_forPoints_count(c.A, c.B, c.C, c.D, c.points);
  for (std::size_t i = 0; i < c.cache.size(); ++i) {
    c.cache[i] = getCurveValueAtX_withPoints_count_A_B_C_D(static_cast<float>(i), c.points, c.A,
                                                           c.B, c.C, c.D);
  }
}

RampPixels rampPixels(std::span<const ToneCurve, 4> curves) {
  RampPixels pixels{};
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    for (std::size_t c = 0; c < 3; ++c) {
      // The end points' values are not limited by the spline, and may not be numbers at all.
      const float own = clamp0255(curves[c + 1].cache[i]);
      const auto level = static_cast<std::size_t>(own >= 0 ? own : 0);
      pixels[i][c] = clamp0255(curves[0].cache[level]) * 0.00390625F;
    }
    pixels[i][3] = 1;
  }
  return pixels;
}

CIImageRef rampImage(const RampPixels& pixels, const CGColorSpaceRef& colorSpace) {
  return CIImage::initWithBitmapData_bytesPerRow_size_format_colorSpace(
      std::as_bytes(std::span(pixels)), sizeof pixels, kRampColumns, 1, kCIFormatRGBAf, colorSpace);
}

}  // namespace kelvo
