#include "curves/curve_spline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "tests/curves/plain_spline.h"

namespace kelvo {
namespace {

using testing::PlainSpline;
using testing::sameBits;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// A curve with its coefficients, as callers hold it.
struct Fitted {
  std::vector<CurvePoint> points;
  std::vector<float> A{9}, B, C, D{7, 7};  // what was there before must not matter

  explicit Fitted(std::vector<CurvePoint> through) : points(std::move(through)) {
    fillCurveValuesIntoA_B_C_D_forPoints_count(A, B, C, D, points);
  }
  [[nodiscard]] float level(float x) const {
    return getCurveValueAtX_withPoints_count_A_B_C_D(x, points, A, B, C, D);
  }
  [[nodiscard]] float real(float x) const {
    return getRealCurveValueAtX_withPoints_count_A_B_C_D(x, points, A, B, C, D);
  }
};

PlainSpline plain(const std::vector<CurvePoint>& points) {
  std::vector<testing::PlainPoint> copy;
  for (const CurvePoint& point : points) copy.push_back({point.x, point.y});
  return PlainSpline(copy);
}

void expectSameBits(const std::vector<float>& actual, const std::vector<float>& expected,
                    const char* what) {
  ASSERT_EQ(actual.size(), expected.size()) << what;
  for (std::size_t i = 0; i < actual.size(); ++i) {
    ASSERT_TRUE(sameBits(actual[i], expected[i]))
        << what << '[' << i << "]: " << actual[i] << ' ' << expected[i];
  }
}

void expectLikePlain(const std::vector<CurvePoint>& points, const std::vector<float>& between) {
  const Fitted fitted(points);
  const PlainSpline expected = plain(points);
  ASSERT_NO_FATAL_FAILURE(expectSameBits(fitted.A, expected.a, "A"));
  ASSERT_NO_FATAL_FAILURE(expectSameBits(fitted.B, expected.b, "B"));
  ASSERT_NO_FATAL_FAILURE(expectSameBits(fitted.C, expected.c, "C"));
  ASSERT_NO_FATAL_FAILURE(expectSameBits(fitted.D, expected.d, "D"));
  for (int i = 0; i < 256; ++i) {
    const auto x = static_cast<float>(i);
    ASSERT_TRUE(sameBits(fitted.level(x), expected.level(x))) << i;
    ASSERT_TRUE(sameBits(fitted.real(x), expected.real(x))) << i;
  }
  for (const float x : between) {
    ASSERT_TRUE(sameBits(fitted.level(x), expected.level(x))) << x;
    ASSERT_TRUE(sameBits(fitted.real(x), expected.real(x))) << x;
  }
}

// Any number of points in strictly ascending x, whole or fractional, in or around 0…255.
std::vector<CurvePoint> randomPoints(std::mt19937& random) {
  const auto below = [&](std::uint32_t bound) { return random() % bound; };
  // With all the digits that single precision holds, so that every rounding counts.
  const auto fraction = [&](double from, double to) {
    return static_cast<float>(from + (to - from) * static_cast<double>(random()) / 4294967296.0);
  };
  const std::size_t count = 2 + below(below(8) == 0 ? 60 : 10);
  const bool whole = below(2) == 0;
  std::vector<CurvePoint> points;
  while (points.size() < count) {
    const CurvePoint point =
        whole ? CurvePoint{static_cast<float>(below(256)), static_cast<float>(below(256))}
              : CurvePoint{fraction(-2, 257), fraction(-20, 275)};
    const bool taken =
        std::ranges::any_of(points, [&](const CurvePoint& p) { return p.x == point.x; });
    if (!taken) points.push_back(point);
  }
  std::ranges::sort(points, {}, &CurvePoint::x);
  return points;
}

TEST(CurveSpline, ThousandsOfRandomCurvesEqualThePlainArithmeticToTheBit) {
  std::mt19937 random(1906);
  for (int curve = 0; curve < 5000; ++curve) {
    const std::vector<CurvePoint> points = randomPoints(random);
    std::vector<float> between;
    for (int i = 0; i < 32; ++i) {
      between.push_back(static_cast<float>(random() % (1U << 20)) / 4000.0F - 2.0F);
    }
    ASSERT_NO_FATAL_FAILURE(expectLikePlain(points, between)) << "curve " << curve;
  }
}

TEST(CurveSpline, TwoPointsAreTheStraightLine) {
  const Fitted fitted({{10, 20}, {110, 70}});
  EXPECT_EQ(fitted.A, std::vector<float>{0});
  EXPECT_EQ(fitted.B, std::vector<float>{0});
  EXPECT_EQ(fitted.C, std::vector<float>{0.5F});
  EXPECT_EQ(fitted.D, std::vector<float>{20});
  EXPECT_EQ(fitted.level(60), 45);
  EXPECT_EQ(fitted.real(61), 45.5F);
}

TEST(CurveSpline, TheIdentityMapsEveryWholeLevelToItself) {
  const Fitted identity({{0, 0}, {255, 255}});
  for (int i = 0; i < 256; ++i) {
    EXPECT_EQ(identity.level(static_cast<float>(i)), static_cast<float>(i));
  }
}

TEST(CurveSpline, PointsOnTheDiagonalStayOnIt) {
  std::vector<CurvePoint> points{{0, 0}};
  for (float x = 10; x < 255; x += 10) points.push_back({x, x});
  points.push_back({255, 255});
  const Fitted diagonal(points);
  for (int i = 0; i < 256; ++i) {
    EXPECT_EQ(diagonal.level(static_cast<float>(i)), static_cast<float>(i));
  }
}

TEST(CurveSpline, ThreePointsGiveTheirValuesExactlyAndASmoothCurveWithoutCurvatureAtTheEnds) {
  const Fitted fitted({{0, 0}, {128, 200}, {255, 255}});
  EXPECT_EQ(fitted.level(0), 0);
  EXPECT_EQ(fitted.level(128), 200);
  EXPECT_EQ(fitted.level(255), 255);
  // By hand: one equation, 2 (128 + 127) M = 6 (55/127 - 200/128).
  const double bend = 6 * (55.0 / 127 - 200.0 / 128) / (2 * 255);
  EXPECT_EQ(fitted.B[0], 0);
  EXPECT_NEAR(fitted.B[1], bend / 2, 1e-8);
  EXPECT_NEAR(fitted.A[0], bend / (6 * 128), 1e-10);
  EXPECT_NEAR(fitted.A[1], -bend / (6 * 127), 1e-10);
  EXPECT_NEAR(fitted.C[0], 200.0 / 128 - bend / 6 * 128, 1e-6);
  EXPECT_NEAR(fitted.C[1], 55.0 / 127 - 2 * bend / 6 * 127, 1e-6);
  // Second derivative at the right end: 6 A t + 2 B = 0.
  EXPECT_NEAR(6 * fitted.A[1] * 127 + 2 * fitted.B[1], 0, 1e-7);
  // Value and slope meet in the middle.
  EXPECT_NEAR(fitted.real(std::nextafter(128.0F, 0.0F)), 200, 1e-3);
  EXPECT_NEAR(3 * fitted.A[0] * 128 * 128 + fitted.C[0], fitted.C[1], 1e-5);
}

TEST(CurveSpline, EveryRandomCurvePassesThroughItsPoints) {
  std::mt19937 random(77);
  for (int curve = 0; curve < 1000; ++curve) {
    const Fitted fitted(randomPoints(random));
    for (const CurvePoint& point : fitted.points) {
      EXPECT_EQ(fitted.real(point.x), point.y);
    }
  }
}

TEST(CurveSpline, SlopeAndCurvatureAreContinuousAtInnerPointsAndNoCurvatureIsLeftAtTheEnds) {
  std::mt19937 random(4);
  for (int curve = 0; curve < 500; ++curve) {
    std::vector<CurvePoint> points{{0, 0}};
    while (points.back().x < 230) {
      points.push_back({points.back().x + 8 + static_cast<float>(random() % 24),
                        static_cast<float>(random() % 256)});
    }
    const Fitted fitted(points);
    EXPECT_EQ(fitted.B[0], 0);
    for (std::size_t i = 0; i + 1 < points.size(); ++i) {
      const double t = points[i + 1].x - points[i].x;
      const double A = fitted.A[i];
      const double B = fitted.B[i];
      const double C = fitted.C[i];
      const bool last = i + 2 == points.size();
      EXPECT_NEAR(6 * A * t + 2 * B, last ? 0.0 : 2.0 * fitted.B[i + 1], 1e-3);
      EXPECT_NEAR(((A * t + B) * t + C) * t + fitted.D[i], points[i + 1].y, 1e-3);
      if (!last) {
        EXPECT_NEAR(3 * A * t * t + 2 * B * t + C, fitted.C[i + 1], 1e-3);
      }
    }
  }
}

TEST(CurveSpline, MonotonePointsOnALineGiveAMonotoneCurve) {
  for (const float slope : {0.25F, 0.5F, 0.75F, 1.0F}) {
    std::vector<CurvePoint> points;
    for (const float x : {0.0F, 16.0F, 40.0F, 41.0F, 100.0F, 180.0F, 255.0F}) {
      points.push_back({x, x * slope});
    }
    const Fitted fitted(points);
    for (int i = 1; i < 255; ++i) {  // at the last point the value stands unrounded
      EXPECT_GE(fitted.level(static_cast<float>(i)), fitted.level(static_cast<float>(i - 1)));
    }
  }
}

TEST(CurveSpline, OutsideThePointsTheEndValuesStandUnroundedAndUnlimited) {
  const Fitted fitted({{10, -3.25F}, {100, 90}, {200, 300.75F}});
  for (const float x : {0.0F, 9.99F, -1000.0F, -kInfinity}) {
    EXPECT_EQ(fitted.level(x), -3.25F);
    EXPECT_EQ(fitted.real(x), -3.25F);
  }
  for (const float x : {200.0F, 200.5F, 255.0F, kInfinity}) {
    EXPECT_EQ(fitted.level(x), 300.75F);
    EXPECT_EQ(fitted.real(x), 300.75F);
  }
  // The first point belongs to its segment: rounded and limited there.
  EXPECT_EQ(fitted.level(10), 0);
  EXPECT_EQ(fitted.real(10), -3.25F);
}

TEST(CurveSpline, OvershootsBetweenPointsAreLimitedTo0And255) {
  const Fitted high({{0, 0}, {100, 255}, {150, 255}, {255, 0}});
  EXPECT_GT(high.real(125), 256);
  EXPECT_EQ(high.level(125), 255);
  const Fitted low({{0, 255}, {100, 0}, {150, 0}, {255, 255}});
  EXPECT_LT(low.real(125), -1);
  EXPECT_EQ(low.level(125), 0);
}

TEST(CurveSpline, HalvesRoundAwayFromZero) {
  const Fitted line({{0, 0}, {2, 1}, {4, 2}});
  EXPECT_EQ(line.real(1), 0.5F);
  EXPECT_EQ(line.level(1), 1);
  EXPECT_EQ(line.real(3), 1.5F);
  EXPECT_EQ(line.level(3), 2);
}

TEST(CurveSpline, AnXThatIsNoNumberGivesZero) {
  const Fitted fitted({{0, 40}, {255, 50}});
  EXPECT_EQ(fitted.level(kNan), 0);
  EXPECT_EQ(fitted.real(kNan), 0);
}

TEST(CurveSpline, FewerThanTwoPointsHaveNoSegmentsAndGiveZeroEverywhere) {
  for (const std::vector<CurvePoint>& points :
       {std::vector<CurvePoint>{}, std::vector<CurvePoint>{{50, 60}}}) {
    const Fitted fitted(points);
    EXPECT_TRUE(fitted.A.empty());
    EXPECT_TRUE(fitted.B.empty());
    EXPECT_TRUE(fitted.C.empty());
    EXPECT_TRUE(fitted.D.empty());
    for (const float x : {-1.0F, 0.0F, 50.0F, 255.0F, kNan}) {
      EXPECT_EQ(fitted.level(x), 0);
      EXPECT_EQ(fitted.real(x), 0);
    }
  }
}

TEST(CurveSpline, PointsThatShareAnXOrRunBackGiveTheSameAsThePlainArithmetic) {
  // Nothing useful, but always the same and in reach of no memory but its own.
  for (const std::vector<CurvePoint>& points :
       {std::vector<CurvePoint>{{50, 0}, {50, 255}},
        std::vector<CurvePoint>{{0, 0}, {90, 10}, {90, 200}, {255, 255}},
        std::vector<CurvePoint>{{200, 0}, {100, 30}, {20, 255}},
        std::vector<CurvePoint>{{0, 0}, {kInfinity, 30}, {255, 255}}}) {
    const Fitted fitted(points);
    const PlainSpline expected = plain(points);
    for (int i = 0; i < 256; ++i) {
      const auto x = static_cast<float>(i);
      const float value = fitted.level(x);
      const float wanted = expected.level(x);
      EXPECT_TRUE(value == wanted || (std::isnan(value) && std::isnan(wanted))) << i;
    }
  }
}

TEST(CurveSpline, TwoPointsAtOneXAreAStep) {
  const Fitted step({{50, 0}, {50, 255}});
  EXPECT_EQ(step.level(49), 0);
  EXPECT_EQ(step.level(50), 255);
  EXPECT_EQ(step.level(51), 255);
}

TEST(Clamp0255, LimitsNumbersAndLetsWhatIsNoneThrough) {
  EXPECT_EQ(clamp0255(-0.001F), 0);
  EXPECT_EQ(clamp0255(-kInfinity), 0);
  EXPECT_EQ(clamp0255(0), 0);
  EXPECT_EQ(clamp0255(0.25F), 0.25F);
  EXPECT_EQ(clamp0255(255), 255);
  EXPECT_EQ(clamp0255(255.001F), 255);
  EXPECT_EQ(clamp0255(kInfinity), 255);
  EXPECT_TRUE(std::isnan(clamp0255(kNan)));
}

}  // namespace
}  // namespace kelvo
