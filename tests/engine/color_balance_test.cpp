#include "engine/color_balance.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "engine/filter_globals.h"
#include "tests/curves/plain_spline.h"
#include "tests/support/formula.h"

namespace kelvo {
namespace {

using testing::PlainPoint;
using testing::PlainSpline;
using testing::Rgba;
using Settings = std::array<double, 9>;  // shadows, midtones, highlights; CR, MG, YB each
using Points = std::vector<PlainPoint>;

class ColorBalance : public ::testing::Test {
 protected:
  void SetUp() override { registerAdjustmentFilters(); }
};

CIImageRef balanced(const CIImageRef& in, const Settings& s) {
  return applyColorBalanceForCIImage(in, s[0], s[1], s[2], s[3], s[4], s[5], s[6], s[7], s[8]);
}

// A second way to the four curves, with one variable for every quantity.
struct PlainCurves {
  Points master, red, green, blue;
};

float plainY(float x, float mid, float slope, float intercept, float low, float span) {
  const float product = slope * x;
  const float y = product + intercept;
  if (mid == 0) return y;
  const float along = x - low;
  const float share = along / span;
  const float t = share * 256;
  const auto entry = static_cast<std::size_t>(std::trunc(t));
  const float r =
      mid < 0 ? colorbalance_slope1_100Minus.at(entry) : colorbalance_slope1_100Plus.at(entry);
  const float bend = r - t;
  const float times = bend * std::fabs(mid);
  const float percent = times / 100;
  return roundf(y + percent);
}

Points plainCurve(float low, float high, float mid) {
  if (low == high) {
    if (low >= 1) {
      low = high - 1;
    } else if (high <= 254) {
      high = low + 1;
    }
  }
  const float span = high - low;
  const float slope = 255 / span;
  const float intercept = -slope * low;
  Points points{{low, 0}};
  float x = low;
  for (x += 10; x < high; x += 10) {
    points.push_back({x, plainY(x, mid, slope, intercept, low, span)});
  }
  points.push_back({high, 255});
  if (points[0].x > points[1].x) points[0].x = points[1].x;
  return points;
}

PlainCurves plainCurves(const Settings& settings) {
  int s[9];
  for (std::size_t i = 0; i < 9; ++i) s[i] = static_cast<int>(settings[i]);
  int R0 = 0, G0 = 0, B0 = 0;
  int a = s[0], b = s[1], c = s[2];
  if (a < 0) R0 = -a;
  if (a > 0) G0 = B0 = a;
  if (b < 0) G0 += -b;
  if (b > 0) R0 += b, B0 += b;
  if (c < 0) B0 += -c;
  if (c > 0) R0 += c, G0 += c;
  const int least = std::min({R0, G0, B0});
  R0 -= least, G0 -= least, B0 -= least;

  int R1 = 255, G1 = 255, B1 = 255;
  a = s[6], b = s[7], c = s[8];
  if (a > 0) R1 = 255 - a;
  if (a < 0) G1 = B1 = 255 + a;
  if (b > 0) G1 -= b;
  if (b < 0) R1 += b, B1 += b;
  if (c > 0) B1 -= c;
  if (c < 0) R1 += c, G1 += c;
  const int most = std::max({R1, G1, B1});
  R1 += 255 - most, G1 += 255 - most, B1 += 255 - most;

  a = s[3], b = s[4], c = s[5];
  int k = 0;
  if (a < 0 && b < 0 && c < 0) k = std::max({a, b, c});
  if (a > 0 && b > 0 && c > 0) k = std::min({a, b, c});
  const int mR = a - k, mG = b - k, mB = c - k;
  const auto f = [](int value) { return static_cast<float>(value); };

  PlainCurves curves;
  curves.red = plainCurve(f(R0), f(R1), f(mR));
  curves.green = plainCurve(f(G0), f(G1), f(mG));
  curves.blue = plainCurve(f(B0), f(B1), f(mB));
  curves.master = {{0, 0}};
  for (int x = 10; x <= 250; x += 10) {
    curves.master.push_back({f(x), plainY(f(x), f(-(mR + mG + mB)), 1, 0, 0, 255)});
  }
  curves.master.push_back({255, 255});
  return curves;
}

// The picture that these curves make: the channel's, then the master's, in steps of 1/256, straight
// lines between whole levels.
void expectBalanced(const Settings& settings) {
  const PlainCurves curves = plainCurves(settings);
  const auto master = PlainSpline(curves.master).cache();
  const std::array<std::array<float, 256>, 3> own{PlainSpline(curves.red).cache(),
                                                  PlainSpline(curves.green).cache(),
                                                  PlainSpline(curves.blue).cache()};
  const auto column = [&](std::size_t channel, std::size_t i) {
    const float level = std::clamp(own[channel][std::min<std::size_t>(i, 255)], 0.0F, 255.0F);
    const double value = master[static_cast<std::size_t>(level)];
    return std::clamp(value, 0.0, 255.0) / 256;
  };
  testing::expectFormula([&](const CIImageRef& in) { return balanced(in, settings); },
                         [&](const Rgba& c) {
                           Rgba out = c;
                           for (std::size_t i = 0; i < 3; ++i) {
                             const double at = c[i] * 255;
                             const auto left = static_cast<std::size_t>(at);
                             const double share = at - static_cast<double>(left);
                             out[i] = column(i, left) * (1 - share) + column(i, left + 1) * share;
                           }
                           return out;
                         });
}

void expectSamePoints(const std::vector<NSPoint>& actual, const Points& expected) {
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t i = 0; i < actual.size(); ++i) {
    ASSERT_EQ(actual[i], (NSPoint{expected[i].x, expected[i].y})) << i;
  }
}

// The reference curves

TEST_F(ColorBalance, TheReferenceCurvesHaveTheirSums) {
  const auto sums = [](const std::vector<float>& table) {
    std::pair<long, long> result;
    for (std::size_t i = 0; i < table.size(); ++i) {
      const auto entry = static_cast<long>(table[i]);
      result.first += entry;
      result.second += entry * static_cast<long>(i);  // finds entries that changed places
    }
    return result;
  };
  EXPECT_EQ(sums(colorbalance_slope1_100Minus), (std::pair<long, long>{21799, 4177622}));
  EXPECT_EQ(sums(colorbalance_slope1_100Plus), (std::pair<long, long>{43206, 6661405}));
}

TEST_F(ColorBalance, TheReferenceCurvesRunFrom0To255OnTheirSideOfTheDiagonalInWholeLevels) {
  for (const auto* table : {&colorbalance_slope1_100Minus, &colorbalance_slope1_100Plus}) {
    ASSERT_EQ(table->size(), 256U);
    EXPECT_EQ(table->front(), 0);
    EXPECT_EQ(table->back(), 255);
    for (std::size_t i = 1; i < 256; ++i) {
      EXPECT_GE((*table)[i], (*table)[i - 1]) << i;
      EXPECT_EQ((*table)[i], std::trunc((*table)[i])) << i;
    }
  }
  for (std::size_t i = 0; i < 256; ++i) {
    EXPECT_LE(colorbalance_slope1_100Minus[i], static_cast<float>(i));
    EXPECT_GE(colorbalance_slope1_100Plus[i], static_cast<float>(i));
  }
}

TEST_F(ColorBalance, SomeEntriesOfTheReferenceCurves) {
  for (const auto& [index, entry] :
       std::initializer_list<std::pair<std::size_t, float>>{{11, 0.0F},
                                                            {12, 1.0F},
                                                            {31, 4.0F},
                                                            {63, 16.0F},
                                                            {64, 16.0F},
                                                            {95, 35.0F},
                                                            {127, 63.0F},
                                                            {136, 73.0F},
                                                            {148, 86.0F},
                                                            {155, 95.0F},
                                                            {156, 95.0F},
                                                            {157, 97.0F},
                                                            {191, 143.0F},
                                                            {223, 195.0F},
                                                            {254, 253.0F}}) {
    EXPECT_EQ(colorbalance_slope1_100Minus[index], entry) << index;
  }
  for (const auto& [index, entry] :
       std::initializer_list<std::pair<std::size_t, float>>{{1, 4.0F},
                                                            {5, 19.0F},
                                                            {31, 89.0F},
                                                            {32, 90.0F},
                                                            {63, 127.0F},
                                                            {71, 135.0F},
                                                            {72, 135.0F},
                                                            {95, 156.0F},
                                                            {96, 157.0F},
                                                            {128, 181.0F},
                                                            {159, 201.0F},
                                                            {191, 221.0F},
                                                            {223, 238.0F},
                                                            {224, 239.0F},
                                                            {254, 254.0F}}) {
    EXPECT_EQ(colorbalance_slope1_100Plus[index], entry) << index;
  }
}

TEST_F(ColorBalance, TheReferenceCurvesAreReadAtTheWholePartOfT) {
  EXPECT_EQ(minusWithSlope1AtX(12), 1);
  EXPECT_EQ(minusWithSlope1AtX(11.999F), 0);
  EXPECT_EQ(minusWithSlope1AtX(255.99F), 255);
  EXPECT_EQ(plusWithSlope1AtX(0.999F), 0);
  EXPECT_EQ(plusWithSlope1AtX(1), 4);
  EXPECT_EQ(plusWithSlope1AtX(128.502F), 181);
}

TEST_F(ColorBalance, OutsideTheReferenceCurvesThereIsNothingToRead) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (const float t : {-1.0F, 256.0F, 1e30F, -std::numeric_limits<float>::infinity(), nan}) {
    EXPECT_EQ(minusWithSlope1AtX(t), 0) << t;
    EXPECT_EQ(plusWithSlope1AtX(t), 0) << t;
  }
}

// Points

TEST_F(ColorBalance, WithoutAShiftAPointLiesOnTheLineUnrounded) {
  EXPECT_EQ(pointYforX(128, 0, 1, 0, 0, 255), 128);
  EXPECT_EQ(pointYforX(10, 0, 1.25F, 0.125F, 0, 255), 12.625F);
}

TEST_F(ColorBalance, AShiftOf100BendsToTheReferenceCurve) {
  // t = 128.502, entry 181: 128 + 181 - 128.502 = 180.498.
  EXPECT_EQ(pointYforX(128, 100, 1, 0, 0, 255), 180);
  // Below: entry 64: 128 + 64 - 128.502 = 63.498.
  EXPECT_EQ(pointYforX(128, -100, 1, 0, 0, 255), 63);
  // Half of it: 128 + 52.498 / 2 = 154.249, 128 - 64.502 / 2 = 95.749.
  EXPECT_EQ(pointYforX(128, 50, 1, 0, 0, 255), 154);
  EXPECT_EQ(pointYforX(128, -50, 1, 0, 0, 255), 96);
}

TEST_F(ColorBalance, TheReferenceCurveLiesBetweenLowAndSpan) {
  // The middle of 20…220: t = 128, entry 181; the line gives 127.5: 127.5 + 53 = 180.5, away from
  // 0.
  EXPECT_EQ(pointYforX(120, 100, 1.275F, -25.5F, 20, 200), 181);
}

// Black and white points, shifts

using Triple = std::array<int, 3>;

TEST(ColorBalancePoints, ShadowsTowardsAColourRaiseTheOtherChannelsBlackPoints) {
  EXPECT_EQ(colorBalanceBlackPoints(Triple{0, 0, 0}), (ColorTriple{0, 0, 0}));
  EXPECT_EQ(colorBalanceBlackPoints(Triple{20, 0, 0}), (ColorTriple{0, 20, 20}));
  EXPECT_EQ(colorBalanceBlackPoints(Triple{-20, 0, 0}), (ColorTriple{20, 0, 0}));
  EXPECT_EQ(colorBalanceBlackPoints(Triple{0, 30, 0}), (ColorTriple{30, 0, 30}));
  EXPECT_EQ(colorBalanceBlackPoints(Triple{0, -30, 0}), (ColorTriple{0, 30, 0}));
  EXPECT_EQ(colorBalanceBlackPoints(Triple{0, 0, 40}), (ColorTriple{40, 40, 0}));
  EXPECT_EQ(colorBalanceBlackPoints(Triple{0, 0, -40}), (ColorTriple{0, 0, 40}));
  // 0 + 30 + 40, 20 + 40, 20 + 30; the smallest, 50, taken off.
  EXPECT_EQ(colorBalanceBlackPoints(Triple{20, 30, 40}), (ColorTriple{20, 10, 0}));
  EXPECT_EQ(colorBalanceBlackPoints(Triple{-20, -30, -40}), (ColorTriple{0, 10, 20}));
  EXPECT_EQ(colorBalanceBlackPoints(Triple{100, 100, -100}), (ColorTriple{0, 0, 200}));
}

TEST(ColorBalancePoints, HighlightsTowardsAColourLowerItsWhitePoint) {
  EXPECT_EQ(colorBalanceWhitePoints(Triple{0, 0, 0}), (ColorTriple{255, 255, 255}));
  EXPECT_EQ(colorBalanceWhitePoints(Triple{20, 0, 0}), (ColorTriple{235, 255, 255}));
  EXPECT_EQ(colorBalanceWhitePoints(Triple{-20, 0, 0}), (ColorTriple{255, 235, 235}));
  EXPECT_EQ(colorBalanceWhitePoints(Triple{0, 20, 0}), (ColorTriple{255, 235, 255}));
  EXPECT_EQ(colorBalanceWhitePoints(Triple{0, -20, 0}), (ColorTriple{235, 255, 235}));
  EXPECT_EQ(colorBalanceWhitePoints(Triple{0, 0, 30}), (ColorTriple{255, 255, 225}));
  EXPECT_EQ(colorBalanceWhitePoints(Triple{0, 0, -30}), (ColorTriple{225, 225, 255}));
  // 235, 225, 215; raised by 20.
  EXPECT_EQ(colorBalanceWhitePoints(Triple{20, 30, 40}), (ColorTriple{255, 245, 235}));
}

TEST(ColorBalancePoints, MidtoneShiftsLoseWhatAllThreeHaveInCommon) {
  using Shifts = std::array<float, 4>;
  EXPECT_EQ(colorBalanceMidtoneShifts(Triple{0, 0, 0}), (Shifts{0, 0, 0, 0}));
  EXPECT_EQ(colorBalanceMidtoneShifts(Triple{10, 20, 30}), (Shifts{0, 10, 20, -30}));
  EXPECT_EQ(colorBalanceMidtoneShifts(Triple{-10, -20, -30}), (Shifts{0, -10, -20, 30}));
  EXPECT_EQ(colorBalanceMidtoneShifts(Triple{-10, 20, 0}), (Shifts{-10, 20, 0, -10}));
  EXPECT_EQ(colorBalanceMidtoneShifts(Triple{10, 20, 0}), (Shifts{10, 20, 0, -30}));
  EXPECT_EQ(colorBalanceMidtoneShifts(Triple{-10, -20, 0}), (Shifts{-10, -20, 0, 30}));
}

// Curves

TEST_F(ColorBalance, WithoutAnyShiftTheCurvesLieOnTheDiagonalAtMultiplesOfTen) {
  const auto master = colorBalanceMasterCurve(0);
  ASSERT_EQ(master.size(), 27U);
  for (std::size_t i = 0; i < 26; ++i) {
    EXPECT_EQ(master[i], (NSPoint{static_cast<double>(10 * i), static_cast<double>(10 * i)}));
  }
  EXPECT_EQ(master[26], (NSPoint{255, 255}));
  EXPECT_EQ(colorBalanceCurve(0, 255, 0), master);
}

TEST_F(ColorBalance, ACurveRunsFromItsBlackToItsWhitePointInStepsOfTen) {
  const auto curve = colorBalanceCurve(20, 71, 0);
  ASSERT_EQ(curve.size(), 7U);
  EXPECT_EQ(curve[0], (NSPoint{20, 0}));
  for (std::size_t i = 1; i < 6; ++i) {
    EXPECT_EQ(curve[i].x, static_cast<double>(20 + 10 * i));
    EXPECT_NEAR(curve[i].y, static_cast<double>(10 * i) * 255 / 51, 1e-4);
  }
  EXPECT_EQ(curve[6], (NSPoint{71, 255}));
  // A step that would reach the white point is left out.
  EXPECT_EQ(colorBalanceCurve(20, 70, 0).size(), 6U);
  EXPECT_EQ(colorBalanceCurve(20, 30, 0).size(), 2U);
}

TEST_F(ColorBalance, EqualBlackAndWhitePointsArePartedByOne) {
  using Curve = std::vector<NSPoint>;
  EXPECT_EQ(colorBalanceCurve(55, 55, 30), (Curve{{54, 0}, {55, 255}}));
  EXPECT_EQ(colorBalanceCurve(255, 255, 0), (Curve{{254, 0}, {255, 255}}));
  EXPECT_EQ(colorBalanceCurve(1, 1, 0), (Curve{{0, 0}, {1, 255}}));
  EXPECT_EQ(colorBalanceCurve(0, 0, 0), (Curve{{0, 0}, {1, 255}}));
}

TEST_F(ColorBalance, ABlackPointAboveTheWhitePointIsMovedOntoIt) {
  EXPECT_EQ(colorBalanceCurve(100, 55, 20), (std::vector<NSPoint>{{55, 0}, {55, 255}}));
}

TEST_F(ColorBalance, AllCurvesEqualAPlainRendering) {
  for (int low = 0; low <= 200; low += 7) {
    for (int high = 55; high <= 255; high += 8) {
      for (const int mid : {0, -200, -33, -1, 1, 50, 100}) {
        const auto l = static_cast<float>(low);
        const auto h = static_cast<float>(high);
        const auto m = static_cast<float>(mid);
        ASSERT_NO_FATAL_FAILURE(expectSamePoints(colorBalanceCurve(l, h, m), plainCurve(l, h, m)))
            << low << ' ' << high << ' ' << mid;
      }
    }
  }
}

TEST_F(ColorBalance, EveryMasterCurveEqualsAPlainRendering) {
  for (int mid = -300; mid <= 300; ++mid) {
    const auto m = static_cast<float>(mid);
    Points expected{{0, 0}};
    for (float x = 10; x < 255; x += 10) expected.push_back({x, plainY(x, m, 1, 0, 0, 255)});
    expected.push_back({255, 255});
    ASSERT_NO_FATAL_FAILURE(expectSamePoints(colorBalanceMasterCurve(m), expected)) << mid;
  }
}

// Pictures

TEST_F(ColorBalance, WithoutAnyShiftEveryLevelLosesOnePartIn256) {
  // Full level is 255/256 in the ramp, so the darker half stays and the lighter half loses a level.
  const auto out =
      testing::rendered(balanced(testing::image(testing::allGreys(), testing::kOpaque8), {}));
  ASSERT_EQ(out.size(), 256U);
  for (int v = 0; v < 256; ++v) {
    const auto level = static_cast<std::size_t>(v);
    EXPECT_EQ(out[level][0], v <= 128 ? v : v - 1) << v;
    EXPECT_EQ(out[level][1], out[level][0]);
    EXPECT_EQ(out[level][2], out[level][0]);
  }
}

TEST_F(ColorBalance, EachSettingByItselfMakesItsOwnPicture) {
  for (std::size_t i = 0; i < 9; ++i) {
    for (const double value : {-100.0, -37.0, 1.0, 64.0, 100.0}) {
      Settings settings{};
      settings[i] = value;
      ASSERT_NO_FATAL_FAILURE(expectBalanced(settings)) << i << ' ' << value;
    }
  }
}

TEST_F(ColorBalance, AllNineSettingsWorkTogether) {
  std::mt19937 random(1234);
  for (int round = 0; round < 60; ++round) {
    Settings settings{};
    for (double& setting : settings) setting = static_cast<double>(random() % 2010) / 10 - 100.5;
    ASSERT_NO_FATAL_FAILURE(expectBalanced(settings)) << round;
  }
}

TEST_F(ColorBalance, SettingsAreTruncatedTowardsZero) {
  const CIImageRef cube = testing::image(testing::colorCube(), testing::kOpaque8);
  for (std::size_t i = 0; i < 9; ++i) {
    for (const double sign : {1.0, -1.0}) {
      Settings fraction{};
      Settings whole{};
      fraction[i] = 22.9 * sign;
      whole[i] = 22 * sign;
      EXPECT_EQ(testing::rendered(balanced(cube, fraction)),
                testing::rendered(balanced(cube, whole)));
    }
    Settings less{};
    less[i] = -0.99;
    EXPECT_EQ(testing::rendered(balanced(cube, less)), testing::rendered(balanced(cube, {})));
  }
}

TEST_F(ColorBalance, AllMidtonesShiftedAlikeChangeNothing) {
  const CIImageRef cube = testing::image(testing::colorCube(), testing::kOpaque8);
  for (const double all : {-70.0, 40.0}) {
    EXPECT_EQ(testing::rendered(balanced(cube, {0, 0, 0, all, all, all, 0, 0, 0})),
              testing::rendered(balanced(cube, {})));
  }
}

TEST_F(ColorBalance, ABlackPointAboveTheWhitePointIsAStep) {
  // Blue: black point 200, white point 55 (both extremes), so below 55 nothing, from 55 on all.
  const auto out =
      testing::rendered(balanced(testing::image(testing::allGreys(), testing::kOpaque8),
                                 {100, 100, -100, 0, 0, 0, -100, -100, 100}));
  ASSERT_EQ(out.size(), 256U);
  for (std::size_t v = 0; v < 256; ++v) EXPECT_EQ(out[v][2], v < 55 ? 0 : 254) << v;
}

TEST_F(ColorBalance, EarlierCallsLeaveNoTrace) {
  const CIImageRef cube = testing::image(testing::colorCube(), testing::kOpaque8);
  const auto first = testing::rendered(balanced(cube, {10, 20, 30, -10, 5, 0, 3, 2, 1}));
  const CIImageRef lazy = balanced(cube, {10, 20, 30, -10, 5, 0, 3, 2, 1});
  (void)testing::rendered(balanced(cube, {-90, 0, 50, 80, -80, 60, 70, -60, 50}));
  EXPECT_EQ(testing::rendered(lazy), first);
  EXPECT_EQ(testing::rendered(balanced(cube, {10, 20, 30, -10, 5, 0, 3, 2, 1})), first);
}

TEST_F(ColorBalance, SettingsBeyondAllBoundsAndNoNumbersStillMakeAnOpaquePicture) {
  const double infinity = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const CIImageRef cube = testing::image(testing::colorCube(), testing::kOpaque8);
  for (const double bad : {infinity, -infinity, 1e300, -1e300, 2147483648.0, 300.0, -300.0}) {
    for (std::size_t i = 0; i < 10; ++i) {
      Settings settings{};
      if (i < 9) settings[i] = bad;
      if (i == 9) settings.fill(bad);
      const auto out = testing::rendered(balanced(cube, settings));
      ASSERT_EQ(out.size(), testing::colorCube().size()) << bad << ' ' << i;
      for (const auto& pixel : out) ASSERT_EQ(pixel[3], 255);
    }
  }
  Settings none{};
  none.fill(nan);
  EXPECT_EQ(testing::rendered(balanced(cube, none)), testing::rendered(balanced(cube, {})));
}

TEST_F(ColorBalance, WithoutTheReferenceCurvesMidtonesCannotBeShiftedAndThereIsNoResult) {
  unregisterAdjustmentFilters();
  const CIImageRef cube = testing::image(testing::colorCube(), testing::kOpaque8);
  EXPECT_EQ(balanced(cube, {0, 0, 0, 10, 0, 0, 0, 0, 0}), nullptr);
  EXPECT_NE(balanced(cube, {20, 0, 0, 0, 0, 0, 0, 0, -20}), nullptr);
  registerAdjustmentFilters();
  EXPECT_NE(balanced(cube, {0, 0, 0, 10, 0, 0, 0, 0, 0}), nullptr);
}

TEST_F(ColorBalance, WithoutAnImageThereIsNoResult) { EXPECT_EQ(balanced(nullptr, {}), nullptr); }

}  // namespace
}  // namespace kelvo
