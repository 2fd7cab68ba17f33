#include "kernels/threshold_filter.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/pixels.h"

namespace kelvo {
namespace {

using testing::image;
using testing::kOpaque8;
using testing::kStraight8;
using testing::Rgba8;

constexpr Rgba8 kBlack{0, 0, 0, 255};
constexpr Rgba8 kWhite{255, 255, 255, 255};

std::vector<Rgba8> thresholded(const CIImageRef& input, double threshold) {
  TQTresholdFilter::initialize();
  const CIFilterRef filter = CIFilter::filterWithName("TQTresholdFilter");
  if (!filter) return {};
  filter->setDefaults();
  filter->setValue_forKey(threshold, "threshold");
  filter->setValue_forKey(input, "inputImage");
  return testing::rendered(std::get<CIImageRef>(filter->valueForKey("outputImage")));
}

double luma(const Rgba8& p) { return (0.299 * p[0] + 0.587 * p[1] + 0.114 * p[2]) / 255; }

TEST(ThresholdFilter, APixelWhoseLumaEqualsTheThresholdIsWhite) {
  EXPECT_EQ(thresholded(image({{0, 0, 0, 255}}, kOpaque8), 0).at(0), kWhite);
  // Red alone has a luma of exactly the weight 0.299 as the kernel holds it.
  EXPECT_EQ(thresholded(image({{255, 0, 0, 255}}, kOpaque8), 0.299F).at(0), kWhite);
  EXPECT_EQ(thresholded(image({{255, 0, 0, 255}}, kOpaque8), std::nextafter(0.299F, 1.0F)).at(0),
            kBlack);
}

TEST(ThresholdFilter, PureRedIsBlackAtPointThreeAndWhiteAtPointTwoNine) {
  EXPECT_EQ(thresholded(image({{255, 0, 0, 255}}, kOpaque8), 0.3).at(0), kBlack);
  EXPECT_EQ(thresholded(image({{255, 0, 0, 255}}, kOpaque8), 0.29).at(0), kWhite);
}

TEST(ThresholdFilter, ThresholdZeroTurnsEverythingWhiteAndKeepsAlpha) {
  const auto pixels = testing::translucentPixels(256);
  const auto actual = thresholded(image(pixels, kStraight8), 0);
  ASSERT_EQ(actual.size(), pixels.size());
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    const std::uint8_t a = pixels[i][3];
    EXPECT_EQ(actual[i], (Rgba8{a, a, a, a}));
  }
}

TEST(ThresholdFilter, AThresholdAboveOneTurnsEverythingBlack) {
  const auto pixels = testing::translucentPixels(256);
  const auto actual = thresholded(image(pixels, kStraight8), 1.01);
  ASSERT_EQ(actual.size(), pixels.size());
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    EXPECT_EQ(actual[i], (Rgba8{0, 0, 0, pixels[i][3]}));
  }
}

TEST(ThresholdFilter, ATransparentPixelStaysTransparent) {
  EXPECT_EQ(thresholded(image({{200, 200, 200, 0}}, kStraight8), 0.1).at(0), (Rgba8{0, 0, 0, 0}));
}

TEST(ThresholdFilter, EveryColourOfACubeFollowsItsLuma) {
  const auto cube = testing::colorCube();
  // None of the cube's lumas lies nearer to these than single precision can tell.
  for (const double threshold : {0.1003, 0.50003, 0.7501}) {
    const auto actual = thresholded(image(cube, kOpaque8), threshold);
    ASSERT_EQ(actual.size(), cube.size());
    for (std::size_t i = 0; i < cube.size(); ++i) {
      if (std::abs(luma(cube[i]) - threshold) < 1e-6) continue;
      EXPECT_EQ(actual[i], luma(cube[i]) >= threshold ? kWhite : kBlack) << i;
    }
  }
}

TEST(ThresholdFilter, ASecondInstanceDoesNotCompileTheKernelAgain) {
  const TQTresholdFilter first;
  const CIKernelRef compiled = tqThresholKernel;
  ASSERT_NE(compiled, nullptr);
  EXPECT_EQ(compiled->name(), "NI_threshold");
  const TQTresholdFilter second;
  EXPECT_EQ(tqThresholKernel, compiled);
}

TEST(ThresholdFilter, IsRegisteredUnderItsClassNameWithItsAttributes) {
  TQTresholdFilter::initialize();
  const auto attributes = CIFilter::attributesOfFilterWithName("TQTresholdFilter");
  ASSERT_TRUE(attributes.has_value());
  EXPECT_EQ(std::get<std::string>(attributes->at(kCIAttributeFilterDisplayName)),
            "Custom Thresh Filter");
  EXPECT_EQ(std::get<std::vector<std::string>>(attributes->at(kCIAttributeFilterCategories)),
            (std::vector<std::string>{kCICategoryCompositeOperation, kCICategoryVideo,
                                      kCICategoryStillImage, kCICategoryInterlaced,
                                      kCICategoryNonSquarePixels}));
}

TEST(ThresholdFilter, WithoutAThresholdItActsAsZero) {
  const TQTresholdFilter unset;
  EXPECT_EQ(unset.outputImage(), nullptr);
  TQTresholdFilter filter;
  filter.setValue_forKey(image({{0, 0, 0, 255}}, kOpaque8), "inputImage");
  EXPECT_EQ(testing::rendered(filter.outputImage()).at(0), kWhite);
}

TEST(ThresholdFilter, WithoutAKernelThereIsNoOutput) {
  TQTresholdFilter filter;
  filter.setValue_forKey(image({{0, 0, 0, 255}}, kOpaque8), "inputImage");
  const CIKernelRef compiled = std::exchange(tqThresholKernel, nullptr);
  EXPECT_EQ(filter.outputImage(), nullptr);
  tqThresholKernel = compiled;
}

}  // namespace
}  // namespace kelvo
