#include "engine/color_balance.h"

#include <algorithm>
#include <cmath>

#include "engine/curves_adjustment.h"
#include "engine/filter_globals.h"

namespace kelvo {
namespace {

// Towards zero, as a whole number; what no whole number can hold is limited, what is no number is
// 0.
int truncated(double setting) {
  constexpr double kLargest = 1e6;
  if (std::isnan(setting)) return 0;
  return static_cast<int>(std::clamp(setting, -kLargest, kLargest));
}

float entryAt(const std::vector<float>& table, float t) {
  if (!(t >= 0 && t < static_cast<float>(table.size()))) return 0;
  return table[static_cast<std::size_t>(t)];
}

// The ends of a curve and the points between them, `step` apart.
std::vector<NSPoint> bentCurve(float low, float high, float mid, float slope, float intercept,
                               float span) {
  constexpr float kStep = 10;
  std::vector<NSPoint> points{{low, 0}};
  // Where the points lie is part of the curve: sums of steps in single precision.
  // NOLINTNEXTLINE(clang-analyzer-security.FloatLoopCounter)
  for (float x = low + kStep; x < high; x += kStep) {
    points.push_back({x, pointYforX(x, mid, slope, intercept, low, span)});
  }
  points.push_back({high, 255});
  points[0].x = std::min(points[0].x, points[1].x);
  return points;
}

}  // namespace

float plusWithSlope1AtX(float t) { return entryAt(colorbalance_slope1_100Plus, t); }
float minusWithSlope1AtX(float t) { return entryAt(colorbalance_slope1_100Minus, t); }

float pointYforX(float x, float mid, float slope, float intercept, float low, float span) {
  const float y = slope * x + intercept;
  if (mid == 0) return y;
  const float t = (x - low) / span * 256.0F;
  const float r = mid < 0 ? minusWithSlope1AtX(t) : plusWithSlope1AtX(t);
  return std::round(y + (r - t) * std::abs(mid) / 100.0F);
}

ColorTriple colorBalanceBlackPoints(const std::array<int, 3>& shadows) {
  // Towards red raises the other two channels' black points; away from it, red's own.
  std::array<int, 3> black{};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const int shift = shadows[axis];
    for (std::size_t c = 0; c < 3; ++c) {
      if (c == axis && shift < 0) black[c] -= shift;
      if (c != axis && shift > 0) black[c] += shift;
    }
  }
  const int smallest = std::ranges::min(black);
  ColorTriple points{};
  for (std::size_t c = 0; c < 3; ++c) points[c] = static_cast<float>(black[c] - smallest);
  return points;
}

ColorTriple colorBalanceWhitePoints(const std::array<int, 3>& highlights) {
  // Towards red lowers red's own white point; away from it, those of the other two.
  std::array<int, 3> white{255, 255, 255};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const int shift = highlights[axis];
    for (std::size_t c = 0; c < 3; ++c) {
      if (c == axis && shift > 0) white[c] -= shift;
      if (c != axis && shift < 0) white[c] += shift;
    }
  }
  const int largest = std::ranges::max(white);
  ColorTriple points{};
  for (std::size_t c = 0; c < 3; ++c) points[c] = static_cast<float>(white[c] + 255 - largest);
  return points;
}

std::array<float, 4> colorBalanceMidtoneShifts(const std::array<int, 3>& midtones) {
  int common = 0;
  if (std::ranges::all_of(midtones, [](int v) { return v < 0; }))
    common = std::ranges::max(midtones);
  if (std::ranges::all_of(midtones, [](int v) { return v > 0; }))
    common = std::ranges::min(midtones);
  std::array<float, 4> shifts{};
  for (std::size_t c = 0; c < 3; ++c) {
    shifts[c] = static_cast<float>(midtones[c] - common);
    shifts[3] -= shifts[c];
  }
  return shifts;
}

std::vector<NSPoint> colorBalanceCurve(float low, float high, float mid) {
  if (low == high) {
    if (low >= 1) {
      low = high - 1;
    } else if (high <= 254) {
      high = low + 1;
    }
  }
  const float span = high - low;
  const float slope = 255.0F / span;
  return bentCurve(low, high, mid, slope, -slope * low, span);
}

std::vector<NSPoint> colorBalanceMasterCurve(float mid) {
  return bentCurve(0, 255, mid, 1, 0, 255);
}

CIImageRef applyColorBalanceForCIImage(const CIImageRef& image, double shadowsCR, double shadowsMG,
                                       double shadowsYB, double midtonesCR, double midtonesMG,
                                       double midtonesYB, double highlightsCR, double highlightsMG,
                                       double highlightsYB) {
  const ColorTriple black =
      colorBalanceBlackPoints({truncated(shadowsCR), truncated(shadowsMG), truncated(shadowsYB)});
  const ColorTriple white = colorBalanceWhitePoints(
      {truncated(highlightsCR), truncated(highlightsMG), truncated(highlightsYB)});
  const std::array<float, 4> shifts = colorBalanceMidtoneShifts(
      {truncated(midtonesCR), truncated(midtonesMG), truncated(midtonesYB)});

  const bool bends = std::ranges::any_of(shifts, [](float shift) { return shift != 0; });
  if (bends && colorbalance_slope1_100Plus.empty()) return nullptr;

  TQCValuesCalculator& calculator = TQCValuesCalculator::sharedInstance();
  calculator.resetCalculator();
  calculator.setPoints_pointsCount_forCgannel(colorBalanceMasterCurve(shifts[3]), 0);
  for (std::size_t c = 0; c < 3; ++c) {
    calculator.setPoints_pointsCount_forCgannel(colorBalanceCurve(black[c], white[c], shifts[c]),
                                                static_cast<int>(c) + 1);
  }
  return applyCurvesForCIImage(image,
                               calculator.valuesImageForColorSpace_forOKAction(nullptr, false));
}

}  // namespace kelvo
