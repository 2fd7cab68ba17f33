#include "engine/curves_adjustment.h"

#include <gtest/gtest.h>

#include "engine/basic_adjustments.h"
#include "engine/filter_globals.h"
#include "tests/support/formula.h"

namespace kelvo {
namespace {

using Ramp = std::vector<std::array<float, 4>>;

Ramp rampOf(const std::function<std::array<double, 3>(double)>& curve) {
  Ramp ramp;
  for (int i = 0; i < 256; ++i) {
    const auto out = curve(i / 255.0);
    ramp.push_back(
        {static_cast<float>(out[0]), static_cast<float>(out[1]), static_cast<float>(out[2]), 1});
  }
  return ramp;
}

TEST(CurvesAdjustment, AnIdentityRampGivesTheInput) {
  registerAdjustmentFilters();
  const CIImageRef ramp = testing::floatImage(rampOf([](double v) { return std::array{v, v, v}; }));
  for (const auto& pixels : {testing::allGreys(), testing::colorCube()}) {
    EXPECT_EQ(
        testing::rendered(applyCurvesForCIImage(testing::image(pixels, testing::kOpaque8), ramp)),
        pixels);
  }
  const CIImageRef translucent = testing::image(testing::translucentPixels(), testing::kStraight8);
  EXPECT_EQ(testing::rendered(applyCurvesForCIImage(translucent, ramp)),
            testing::rendered(translucent));
}

TEST(CurvesAdjustment, EachChannelFollowsItsCurveWithStraightLinesBetweenColumns) {
  registerAdjustmentFilters();
  const Ramp ramp = rampOf([](double v) { return std::array{v * v, 1 - v, std::sqrt(v)}; });
  testing::expectFormula(
      [&](const CIImageRef& in) { return applyCurvesForCIImage(in, testing::floatImage(ramp)); },
      [&](const testing::Rgba& c) {
        const auto at = [&](std::size_t channel, double x) {
          const auto left = static_cast<std::size_t>(x);
          const std::size_t right = std::min<std::size_t>(left + 1, 255);
          const double share = x - static_cast<double>(left);
          return ramp[left][channel] * (1 - share) + ramp[right][channel] * share;
        };
        return testing::Rgba{at(0, c[0] * 255), at(1, c[1] * 255), at(2, c[2] * 255), c[3]};
      });
}

TEST(CurvesAdjustment, WhatEarlierFiltersPushedOutOfTheRangeIsLimitedFirst) {
  registerAdjustmentFilters();
  const CIImageRef ramp = testing::floatImage(rampOf([](double v) {
    return std::array{1 - v, 1 - v, 1 - v};
  }));
  const CIImageRef bright = applyBrightnessAndContrastForCIImage(
      testing::image(testing::allGreys(), testing::kOpaque8), 50, 0);
  const auto out = testing::rendered(applyCurvesForCIImage(bright, ramp));
  ASSERT_EQ(out.size(), 256U);
  for (std::size_t v = 0; v < 256; ++v) {
    const double limited = std::min(1.0, static_cast<double>(v) / 255 + 0.5);
    EXPECT_NEAR(out[v][0], 255 * (1 - limited), testing::kOneLevel) << v;
  }
}

TEST(CurvesAdjustment, WithoutARampOrAnImageThereIsNoResult) {
  registerAdjustmentFilters();
  EXPECT_EQ(applyCurvesForCIImage(testing::image({{1, 2, 3, 255}}, testing::kOpaque8), nullptr),
            nullptr);
  EXPECT_EQ(applyCurvesForCIImage(nullptr, testing::floatImage(rampOf([](double v) {
                                    return std::array{v, v, v};
                                  }))),
            nullptr);
}

}  // namespace
}  // namespace kelvo
