#include "kernels/curves_filter.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/support/formula.h"

namespace kelvo {
namespace {

using testing::floatImage;
using testing::Rgba;
using testing::Rgba8;
using Ramp = std::vector<std::array<float, 4>>;

Ramp identityRamp() {
  Ramp ramp(256);
  for (std::size_t i = 0; i < 256; ++i) {
    const float level = static_cast<float>(i) / 255.0F;
    ramp[i] = {level, level, level, 1};
  }
  return ramp;
}

// Every column of every channel different, and no curve anywhere.
Ramp noisyRamp() {
  std::mt19937 random(9);
  Ramp ramp(256);
  for (auto& column : ramp) {
    for (std::size_t c = 0; c < 3; ++c) {
      column[c] = static_cast<float>(random() % 65536) / 65535.0F;
    }
    column[3] = 1;
  }
  return ramp;
}

CIImageRef curved(const CIImageRef& input, const Ramp& ramp) {
  TQCurvesFilter::initialize();
  return testing::filtered("TQCurvesFilter", input, {{"rezImage", floatImage(ramp)}});
}

double between(const Ramp& ramp, std::size_t channel, double value) {
  const double at = std::clamp(value, 0.0, 1.0) * 255;
  const double left = std::floor(at);
  const double share = at - left;
  const auto column = static_cast<std::size_t>(left);
  const double next = column < 255 ? ramp[column + 1][channel] : 0;
  return ramp[column][channel] * (1 - share) + next * share;
}

TEST(CurvesFilter, AnIdentityRampGivesTheInput) {
  const Ramp identity = identityRamp();
  for (const auto& pixels : {testing::colorCube(), testing::allGreys()}) {
    EXPECT_EQ(testing::rendered(curved(testing::image(pixels, testing::kOpaque8), identity)),
              pixels);
  }
  const CIImageRef translucent = testing::image(testing::translucentPixels(), testing::kStraight8);
  EXPECT_EQ(testing::rendered(curved(translucent, identity)), testing::rendered(translucent));
}

TEST(CurvesFilter, EachChannelIsLookedUpInItsOwnColumnOfTheRamp) {
  const Ramp ramp = noisyRamp();
  testing::expectFormula(
      [&](const CIImageRef& in) { return curved(in, ramp); },
      [&](const Rgba& c) {
        return Rgba{between(ramp, 0, c[0]), between(ramp, 1, c[1]), between(ramp, 2, c[2]), c[3]};
      });
}

TEST(CurvesFilter, WholeLevelsAreColumnsAndBetweenThemValuesAreInterpolated) {
  const Ramp ramp = noisyRamp();
  Ramp pixels;
  for (int i = 0; i <= 1020; ++i) {
    const float value = static_cast<float>(i) / 1020.0F;
    pixels.push_back({value, value, value, 1});
  }
  const auto out = testing::renderedFloats(curved(floatImage(pixels), ramp));
  ASSERT_EQ(out.size(), pixels.size());
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    for (std::size_t c = 0; c < 3; ++c) {
      EXPECT_NEAR(out[i][c], between(ramp, c, static_cast<double>(i) / 1020), 1e-4) << i;
    }
  }
}

TEST(CurvesFilter, ValuesOutsideZeroToOneAreLimitedBeforeTheyAreLookedUp) {
  const Ramp ramp = noisyRamp();
  const auto out = testing::renderedFloats(
      curved(floatImage({{-0.5F, 1.5F, 1e30F, 1}, {-1e30F, 0, 1, 1}}), ramp));
  EXPECT_EQ(out.at(0), (std::array<float, 4>{ramp[0][0], ramp[255][1], ramp[255][2], 1}));
  EXPECT_EQ(out.at(1), (std::array<float, 4>{ramp[0][0], ramp[0][1], ramp[255][2], 1}));
}

TEST(CurvesFilter, AlphaIsLimitedToOneAndOtherwiseKept) {
  Ramp white(256);
  for (auto& column : white) column = {1, 1, 1, 1};
  const auto out = testing::renderedFloats(
      curved(floatImage({{0, 0, 0, 2}, {0, 0, 0, 0.25F}, {0, 0, 0, 0}}), white));
  EXPECT_EQ(out.at(0), (std::array<float, 4>{1, 1, 1, 1}));
  EXPECT_EQ(out.at(1), (std::array<float, 4>{0.25F, 0.25F, 0.25F, 0.25F}));
  EXPECT_EQ(out.at(2), (std::array<float, 4>{0, 0, 0, 0}));
}

TEST(CurvesFilter, TheRampsRegionIsAlwaysItsWholeStrip) {
  const CGRect part{10, 20, 30, 40};
  EXPECT_EQ(TQCurvesFilter::regionOf_destRect(0, part), part);
  for (const int other : {1, 2, -1}) {
    EXPECT_EQ(TQCurvesFilter::regionOf_destRect(other, part), (CGRect{0, 0, 256, 1}));
  }
}

TEST(CurvesFilter, TheKernelIsToldTheRegions) {
  TQCurvesFilter filter;
  filter.setValue_forKey(testing::image({{1, 2, 3, 255}}, testing::kOpaque8), "inputImage");
  filter.setValue_forKey(floatImage(identityRamp()), "rezImage");
  ASSERT_NE(filter.outputImage(), nullptr);
  ASSERT_TRUE(tqCurvesFilterKernel->regionOfInterest());
  EXPECT_EQ(tqCurvesFilterKernel->regionOfInterest()(1, {5, 6, 7, 8}), (CGRect{0, 0, 256, 1}));
}

TEST(CurvesFilter, APictureWiderAndHigherThanTheRampIsMappedAllOver) {
  Ramp ramp = identityRamp();
  for (auto& column : ramp) column[0] = 1 - column[0];
  std::vector<Rgba8> pixels;
  for (int i = 0; i < 600 * 40; ++i) pixels.push_back({static_cast<std::uint8_t>(i), 7, 200, 255});
  const auto out = testing::rendered(curved(testing::image(pixels, testing::kOpaque8, 600), ramp));
  ASSERT_EQ(out.size(), pixels.size());
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    ASSERT_EQ(out[i], (Rgba8{static_cast<std::uint8_t>(255 - pixels[i][0]), 7, 200, 255})) << i;
  }
}

TEST(CurvesFilter, WithoutARampThereIsNoOutput) {
  TQCurvesFilter filter;
  filter.setValue_forKey(testing::image({{1, 2, 3, 255}}, testing::kOpaque8), "inputImage");
  EXPECT_EQ(filter.outputImage(), nullptr);
}

}  // namespace
}  // namespace kelvo
