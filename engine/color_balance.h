#pragma once

#include <array>
#include <vector>

#include "curves/tqc_values_calculator.h"
#include "platform/image/ci_image.h"

namespace kelvo {

// Shifts the colour of shadows, midtones and highlights, each along three axes: cyan-red,
// magenta-green, yellow-blue, -100…100, negative towards the first colour. Settings are truncated
// to whole numbers. Uses the calculator's shared instance and the reference curves; without them
// (the set-up has not run) midtones cannot be shifted and there is no result.
CIImageRef applyColorBalanceForCIImage(const CIImageRef& image, double shadowsCR, double shadowsMG,
                                       double shadowsYB, double midtonesCR, double midtonesMG,
                                       double midtonesYB, double highlightsCR, double highlightsMG,
                                       double highlightsYB);

// The reference curves at t truncated to a whole number; 0 outside 0…255 or before the set-up.
float plusWithSlope1AtX(float t);
float minusWithSlope1AtX(float t);

// The line slope x + intercept, bent by the reference curve on the side of `mid` to |mid| percent;
// `low` and `span` say where the reference curve lies. Bent values are rounded.
float pointYforX(float x, float mid, float slope, float intercept, float low, float span);

// The steps in between, for one triple each (red, green, blue).
using ColorTriple = std::array<float, 3>;
ColorTriple colorBalanceBlackPoints(const std::array<int, 3>& shadows);
ColorTriple colorBalanceWhitePoints(const std::array<int, 3>& highlights);
// The shifts of red, green and blue, and last that of the master curve.
std::array<float, 4> colorBalanceMidtoneShifts(const std::array<int, 3>& midtones);
std::vector<NSPoint> colorBalanceCurve(float low, float high, float mid);
std::vector<NSPoint> colorBalanceMasterCurve(float mid);

}  // namespace kelvo
