#include "kernels/equalize_filter.h"

#include <gtest/gtest.h>

#include "tests/support/formula.h"

namespace kelvo {
namespace {

using testing::floatImage;
using testing::Rgba;
using testing::Rgba8;

CIImageRef equalized(const CIImageRef& input, double gain, double offset) {
  TQEqualizeFilter::initialize();
  return testing::filtered("TQEqualizeFilter", input,
                           {{"params", CIVector::vectorWithX_Y(gain, offset)}});
}

TEST(EqualizeFilter, GainOneAndOffsetZeroChangeNothing) {
  const auto cube = testing::colorCube();
  EXPECT_EQ(testing::rendered(equalized(testing::image(cube, testing::kOpaque8), 1, 0)), cube);
  const CIImageRef translucent = testing::image(testing::translucentPixels(), testing::kStraight8);
  EXPECT_EQ(testing::rendered(equalized(translucent, 1, 0)), testing::rendered(translucent));
}

TEST(EqualizeFilter, ColoursAreScaledByTheRatioOfNewToOldLuminance) {
  for (const auto& [gain, offset] : std::initializer_list<std::pair<double, double>>{
           {1.4, -0.15}, {0.5, 0.3}, {-127.5, 64.5}, {3, 0}, {0, 0.4}}) {
    testing::expectFormula([&](const CIImageRef& in) { return equalized(in, gain, offset); },
                           [&](const Rgba& c) -> std::optional<Rgba> {
                             const double y = 0.2125 * c[0] + 0.7154 * c[1] + 0.0721 * c[2];
                             if (y == 0) return c[3] == 0 ? std::optional(c) : std::nullopt;
                             const double ratio = (y * gain + offset) / y;
                             Rgba out = c;
                             for (std::size_t i = 0; i < 3; ++i)
                               out[i] = std::clamp(c[i] * ratio, 0.0, 1.0);
                             return out;
                           });
  }
}

TEST(EqualizeFilter, AChannelThatLeavesTheRangeIsLimitedByItself) {
  // Twice the luminance: red would be 1.5, green 0.5.
  const auto out = testing::renderedFloats(equalized(floatImage({{0.75F, 0.25F, 0, 1}}), 2, 0));
  EXPECT_EQ(out.at(0)[0], 1);
  EXPECT_NEAR(out.at(0)[1], 0.5, 1e-6);
  EXPECT_EQ(out.at(0)[2], 0);
  EXPECT_EQ(out.at(0)[3], 1);
}

TEST(EqualizeFilter, BlackHasNoHueToKeepAndStaysBlack) {
  for (const auto& [gain, offset] : std::initializer_list<std::pair<double, double>>{
           {1.4, -0.15}, {0.5, 0.3}, {1, 0}, {-127.5, 64.5}}) {
    EXPECT_EQ(testing::rendered(
                  equalized(testing::image({{0, 0, 0, 255}}, testing::kOpaque8), gain, offset))
                  .at(0),
              (Rgba8{0, 0, 0, 255}))
        << gain;
  }
}

TEST(EqualizeFilter, OnlyGainAndOffsetOfTheVectorCount) {
  const auto cube = testing::colorCube();
  TQEqualizeFilter::initialize();
  const CIImageRef input = testing::image(cube, testing::kOpaque8);
  EXPECT_EQ(testing::rendered(
                testing::filtered("TQEqualizeFilter", input,
                                  {{"params", CIVector::vectorWithX_Y_Z_W(1.3, -0.1, 77, -88)}})),
            testing::rendered(equalized(input, 1.3, -0.1)));
}

}  // namespace
}  // namespace kelvo
