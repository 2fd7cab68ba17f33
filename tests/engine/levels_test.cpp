#include "engine/levels.h"

#include <gtest/gtest.h>

#include <limits>

#include "engine/basic_adjustments.h"
#include "engine/filter_globals.h"
#include "tests/support/formula.h"

namespace kelvo {
namespace {

using testing::Rgba;
using testing::Rgba8;

double single(double value) { return static_cast<float>(value); }

struct Points {
  double black, midtone, white;
};

// The line from black to white, and bumps of the heights that move the midtone to the middle and
// (by next to nothing) the points half way to the ends.
double leveled(double p, const Points& points) {
  const double b = points.black / 255;
  const double w = points.white / 255;
  const double m = single(points.midtone / 255);
  const double d = (m + b) / 2;
  const double l = (w + m) / 2;
  const auto bump = [&](double centre) {
    double u = p - centre;
    u *= u < 0 ? 1 / (centre - b) : -1 / (w - centre);
    return u + 1 < 0 ? 0 : 1 - 3 * u * u - 2 * u * u * u;
  };
  return (p - b) / (w - b) + bump(m) * ((w + b) / 2 - m) + bump(single(d)) * (d - single(d)) +
         bump(single(l)) * (l - single(l));
}

void expectLeveled(const Points& points) {
  registerAdjustmentFilters();
  testing::expectFormula(
      [&](const CIImageRef& in) {
        return applyLevelsForCIImage(in, points.black, points.midtone, points.white);
      },
      [&](const Rgba& c) {
        return Rgba{leveled(c[0], points), leveled(c[1], points), leveled(c[2], points), c[3]};
      });
}

std::vector<std::array<float, 4>> leveledGreys(const Points& points) {
  registerAdjustmentFilters();
  return testing::renderedFloats(
      applyLevelsForCIImage(testing::image(testing::allGreys(), testing::kOpaque8), points.black,
                            points.midtone, points.white));
}

void expectAllBlack(const Points& points) {
  registerAdjustmentFilters();
  const auto apply = [&](const CIImageRef& in) {
    return applyLevelsForCIImage(in, points.black, points.midtone, points.white);
  };
  for (const Rgba8& pixel :
       testing::rendered(apply(testing::image(testing::colorCube(), testing::kOpaque8)))) {
    ASSERT_EQ(pixel, (Rgba8{0, 0, 0, 255}));
  }
  const auto translucent = testing::translucentPixels();
  const auto out = testing::rendered(apply(testing::image(translucent, testing::kStraight8)));
  ASSERT_EQ(out.size(), translucent.size());
  for (std::size_t i = 0; i < out.size(); ++i) {
    ASSERT_EQ(out[i], (Rgba8{0, 0, 0, translucent[i][3]}));
  }
}

TEST(Levels, EveryPixelFollowsTheLineAndTheMidtoneBump) {
  for (const Points& points :
       {Points{0, 128, 255}, Points{0, 64, 255}, Points{50, 125, 200}, Points{10.5, 180.25, 240.75},
        Points{0, 30, 255}, Points{100, 120, 130}, Points{-20, 90, 300}}) {
    ASSERT_NO_FATAL_FAILURE(expectLeveled(points)) << points.black << ' ' << points.midtone;
  }
}

TEST(Levels, TheWholeRangeWithItsMiddleChangesNothing) {
  registerAdjustmentFilters();
  for (const auto& pixels : {testing::allGreys(), testing::colorCube()}) {
    EXPECT_EQ(testing::rendered(
                  applyLevelsForCIImage(testing::image(pixels, testing::kOpaque8), 0, 127.5, 255)),
              pixels);
  }
  const CIImageRef translucent = testing::image(testing::translucentPixels(), testing::kStraight8);
  EXPECT_EQ(testing::rendered(applyLevelsForCIImage(translucent, 0, 127.5, 255)),
            testing::rendered(translucent));
}

TEST(Levels, AMidtoneOf64ComesOutInTheMiddle) {
  EXPECT_NEAR(leveledGreys({0, 64, 255}).at(64)[0], 0.5, 1e-6);
}

TEST(Levels, BlackBecomesZeroAndWhiteOneAndWhatLiesBeyondLeavesTheRange) {
  const auto out = leveledGreys({50, 125, 200});
  EXPECT_NEAR(out.at(50)[0], 0, 1e-6);
  EXPECT_NEAR(out.at(200)[0], 1, 1e-6);
  EXPECT_NEAR(out.at(125)[0], 0.5, 1e-6);
  for (std::size_t v = 0; v < 50; ++v) EXPECT_LT(out[v][0], 0) << v;
  for (std::size_t v = 201; v < 256; ++v) EXPECT_GT(out[v][0], 1) << v;
  EXPECT_NEAR(out.at(0)[0], -50.0 / 150, 1e-6);
  EXPECT_NEAR(out.at(255)[0], 205.0 / 150, 1e-6);
}

TEST(Levels, WhatLeavesTheRangeIsLimitedOnlyInTheEnd) {
  registerAdjustmentFilters();
  // 30 % less brightness brings back what was above white.
  const auto out = testing::rendered(applyBrightnessAndContrastForCIImage(
      applyLevelsForCIImage(testing::image(testing::allGreys(), testing::kOpaque8), 50, 125, 200),
      -30, 0));
  EXPECT_NEAR(out.at(230)[0], 255 * (180.0 / 150 - 0.3), testing::kOneLevel);
}

TEST(Levels, EqualBlackAndWhitePointsGiveBlack) {
  for (const double point : {0.0, 1.0, 77.0, 128.0, 255.0}) {
    ASSERT_NO_FATAL_FAILURE(expectAllBlack({point, 128, point})) << point;
    ASSERT_NO_FATAL_FAILURE(expectAllBlack({point, point, point})) << point;
  }
}

TEST(Levels, AllPointsZeroAsFromAnEmptyDictionaryGiveBlack) {
  ASSERT_NO_FATAL_FAILURE(expectAllBlack({0, 0, 0}));
}

TEST(Levels, AMidtoneOnTheBlackOrWhitePointFollowsTheFormulaToo) {
  for (const Points& points : {Points{0, 0, 255}, Points{0, 255, 255}, Points{51.5, 51.5, 204.5},
                               Points{51.5, 204.5, 204.5}}) {
    ASSERT_NO_FATAL_FAILURE(expectLeveled(points)) << points.black << ' ' << points.midtone;
  }
}

TEST(Levels, PointsInTheWrongOrderFollowTheFormulaToo) {
  for (const Points& points : {Points{200, 128, 50}, Points{100, 20, 255}, Points{0, 250, 200}}) {
    ASSERT_NO_FATAL_FAILURE(expectLeveled(points)) << points.black << ' ' << points.midtone;
  }
}

TEST(Levels, InfinitePointsFollowTheFormulaToo) {
  const double infinity = std::numeric_limits<double>::infinity();
  for (const Points& points :
       {Points{infinity, 128, 255}, Points{-infinity, 128, 255}, Points{0, infinity, 255},
        Points{0, -infinity, 255}, Points{0, 128, infinity}, Points{0, 128, -infinity},
        Points{infinity, infinity, infinity}}) {
    ASSERT_NO_FATAL_FAILURE(expectLeveled(points))
        << points.black << ' ' << points.midtone << ' ' << points.white;
  }
}

TEST(Levels, PointsThatAreNoNumbersGiveBlack) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const Points& points :
       {Points{nan, 128, 255}, Points{0, nan, 255}, Points{0, 128, nan}, Points{nan, nan, nan}}) {
    ASSERT_NO_FATAL_FAILURE(expectAllBlack(points));
  }
}

TEST(Levels, WithoutAnImageThereIsNoResult) {
  registerAdjustmentFilters();
  EXPECT_EQ(applyLevelsForCIImage(nullptr, 0, 128, 255), nullptr);
}

}  // namespace
}  // namespace kelvo
