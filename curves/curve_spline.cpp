#include "curves/curve_spline.h"

#include <cmath>

namespace kelvo {
namespace {

// Second derivatives at the points.
std::vector<float> secondDerivatives(std::span<const CurvePoint> p, std::span<const float> h) {
  const std::size_t n = p.size();
  std::vector<float> lower(n - 1);
  std::vector<float> upper(n - 1);
  std::vector<float> diagonal(n);
  std::vector<float> right(n);
  std::vector<float> m(n);

  diagonal[0] = 1;
  diagonal[n - 1] = 1;
  for (std::size_t i = 1; i + 1 < n; ++i) {
    diagonal[i] = 2.0F * (h[i - 1] + h[i]);
    lower[i - 1] = h[i - 1];
    upper[i] = h[i];
    right[i] = 6.0F * ((p[i + 1].y - p[i].y) / h[i] - (p[i].y - p[i - 1].y) / h[i - 1]);
  }
  for (std::size_t i = 1; i < n; ++i) {
    const float factor = lower[i - 1] / diagonal[i - 1];
    diagonal[i] -= factor * upper[i - 1];
    right[i] -= factor * right[i - 1];
  }
  for (std::size_t i = n - 2; i >= 1; --i) m[i] = (right[i] - upper[i] * m[i + 1]) / diagonal[i];
  return m;
}

// The segment whose half-open range holds x; the number of segments if none does.
std::size_t segmentAt(float x, std::span<const CurvePoint> points) {
  std::size_t i = 0;
  while (i + 1 < points.size() && !(points[i].x <= x && x < points[i + 1].x)) ++i;
  return i;
}

// What the points alone decide; false if x lies on a segment.
bool valueOutsideSegments(float x, std::span<const CurvePoint> points, std::size_t segment,
                          float& value) {
  if (points.size() < 2) {
    value = 0;
  } else if (x < points.front().x) {
    value = points.front().y;
  } else if (x > points.back().x || (segment + 1 == points.size() && x == points.back().x)) {
    value = points.back().y;
  } else if (segment + 1 == points.size()) {
    value = 0;
  } else {
    return false;
  }
  return true;
}

}  // namespace

void fillCurveValuesIntoA_B_C_D_forPoints_count(std::vector<float>& A, std::vector<float>& B,
                                                std::vector<float>& C, std::vector<float>& D,
                                                std::span<const CurvePoint> points) {
  const std::size_t segments = points.size() < 2 ? 0 : points.size() - 1;
  for (std::vector<float>* array : {&A, &B, &C, &D}) array->assign(segments, 0.0F);
  if (segments == 0) return;
  std::vector<float> h(segments);
  for (std::size_t i = 0; i < segments; ++i) h[i] = points[i + 1].x - points[i].x;
  const std::vector<float> m = secondDerivatives(points, h);
  for (std::size_t i = 0; i < segments; ++i) {
    const float bend = m[i + 1] - m[i];
    const float slope = (points[i + 1].y - points[i].y) / h[i];
    const double ends = static_cast<double>(m[i + 1]) + (static_cast<double>(m[i]) + m[i]);
    A[i] = static_cast<float>(bend / (h[i] * 6.0));
    B[i] = m[i] * 0.5F;
    C[i] = static_cast<float>(slope + ends / -6.0 * h[i]);
    D[i] = points[i].y;
  }
}

float getRealCurveValueAtX_withPoints_count_A_B_C_D(float x, std::span<const CurvePoint> points,
                                                    std::span<const float> A,
                                                    std::span<const float> B,
                                                    std::span<const float> C,
                                                    std::span<const float> D) {
  const std::size_t i = segmentAt(x, points);
  float value = 0;
  if (valueOutsideSegments(x, points, i, value)) return value;
  const float t = x - points[i].x;
  return t * A[i] * t * t + t * B[i] * t + t * C[i] + D[i];
}

float getCurveValueAtX_withPoints_count_A_B_C_D(float x, std::span<const CurvePoint> points,
                                                std::span<const float> A, std::span<const float> B,
                                                std::span<const float> C,
                                                std::span<const float> D) {
  float value = 0;
  if (valueOutsideSegments(x, points, segmentAt(x, points), value)) return value;
  return clamp0255(
      std::round(getRealCurveValueAtX_withPoints_count_A_B_C_D(x, points, A, B, C, D)));
}

float clamp0255(float value) {
  if (0 > value) return 0;
  return value > 255 ? 255 : value;
}

}  // namespace kelvo
