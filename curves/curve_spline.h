#pragma once

#include <cstddef>
#include <span>
#include <vector>

// The natural cubic spline through a tone curve's points. Shared by everything that draws or
// applies curves, and so fixed to the bit: single precision throughout, but for the coefficients A
// and C, which are computed in double precision from single-precision differences.
namespace kelvo {

struct CurvePoint {
  float x = 0;
  float y = 0;

  friend bool operator==(const CurvePoint&, const CurvePoint&) = default;
};

// One entry per segment between neighbouring points: on [x_i, x_(i+1)] the curve is
// A t^3 + B t^2 + C t + D with t = x - x_i. The points stand in strictly ascending x.

// Gives the four arrays one entry per segment; none for fewer than two points. The tridiagonal
// system for the second derivatives is solved by Thomas's algorithm; they are 0 at both ends.
void fillCurveValuesIntoA_B_C_D_forPoints_count(std::vector<float>& A, std::vector<float>& B,
                                                std::vector<float>& C, std::vector<float>& D,
                                                std::span<const CurvePoint> points);

// The curve at x, rounded to a whole number (halves away from zero) and limited to 0…255. Outside
// the points: the end point's y as it stands. Fewer than two points, or x not a number: 0.
float getCurveValueAtX_withPoints_count_A_B_C_D(float x, std::span<const CurvePoint> points,
                                                std::span<const float> A, std::span<const float> B,
                                                std::span<const float> C, std::span<const float> D);

// The same, neither rounded nor limited.
float getRealCurveValueAtX_withPoints_count_A_B_C_D(float x, std::span<const CurvePoint> points,
                                                    std::span<const float> A,
                                                    std::span<const float> B,
                                                    std::span<const float> C,
                                                    std::span<const float> D);

// Limited to 0…255; a value that is not a number passes through.
float clamp0255(float value);

}  // namespace kelvo
