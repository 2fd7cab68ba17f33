#include "kernels/replace_color_filter.h"

#include <gtest/gtest.h>

#include "tests/support/formula.h"
#include "tests/support/similarity.h"

namespace kelvo {
namespace {

using testing::Rgba;
using testing::Rgba8;
using testing::similarity;

constexpr Rgba8 kGone{0, 0, 0, 0};

CIImageRef selected(const CIImageRef& input, const CIColor& source, double diameter) {
  TQReplaceColorSelectiveFilter::initialize();
  return testing::filtered("TQReplaceColorSelectiveFilter", input,
                           {{"sourceColor", source}, {"diameter", diameter}});
}

bool isKept(const Rgba8& pixel, const CIColor& source, double diameter) {
  const auto out =
      testing::rendered(selected(testing::image({pixel}, testing::kOpaque8), source, diameter));
  if (out.at(0) == pixel) return true;
  EXPECT_EQ(out.at(0), kGone);
  return false;
}

CIColor colorOf(const Rgba8& pixel) {
  return {pixel[0] / 255.0, pixel[1] / 255.0, pixel[2] / 255.0, 1};
}

TEST(ReplaceColorFilter, KeepsWhatIsNearAndMakesTheRestTransparent) {
  for (const CIColor& source : {CIColor(0.0581305, 0.0555419, 1, 1), CIColor(0.8, 0.3, 0.1, 1),
                                CIColor(0.5, 0.5, 0.5, 1), CIColor(0, 0, 0, 1)}) {
    const Rgba color{source.red(), source.green(), source.blue(), 1};
    for (const double diameter : {0.05, 0.3, 0.6, 1.0}) {
      testing::expectFormula([&](const CIImageRef& in) { return selected(in, source, diameter); },
                             [&](const Rgba& c) -> std::optional<Rgba> {
                               const double beyond = similarity(c, color) - (1 - diameter);
                               if (std::abs(beyond) < 1e-5) return std::nullopt;
                               return beyond > 0 ? c : Rgba{0, 0, 0, 0};
                             });
    }
  }
}

TEST(ReplaceColorFilter, ThePixelOfTheSourceColourIsKeptByAnyDiameterAboveZero) {
  for (const Rgba8& pixel : {Rgba8{255, 0, 0, 255}, Rgba8{17, 120, 201, 255},
                             Rgba8{128, 128, 128, 255}, Rgba8{0, 0, 0, 255}}) {
    for (const double diameter : {1.0, 0.1, 1e-4}) {
      EXPECT_TRUE(isKept(pixel, colorOf(pixel), diameter)) << +pixel[0] << ' ' << diameter;
    }
  }
}

TEST(ReplaceColorFilter, WithDiameterZeroNothingIsKept) {
  for (const Rgba8& pixel : {Rgba8{255, 0, 0, 255}, Rgba8{128, 128, 128, 255}}) {
    EXPECT_FALSE(isKept(pixel, colorOf(pixel), 0));
  }
  const auto cube = testing::colorCube();
  for (const Rgba8& out : testing::rendered(
           selected(testing::image(cube, testing::kOpaque8), CIColor(0.4, 0.2, 0.6, 1), 0))) {
    EXPECT_EQ(out, kGone);
  }
}

TEST(ReplaceColorFilter, TwoGreysDifferByTheirValueAlone) {
  // Similarity 1 - (102 / 255) / sqrt 5 = 0.8211.
  const CIColor grey = colorOf({51, 51, 51, 255});
  EXPECT_TRUE(isKept({153, 153, 153, 255}, grey, 0.1790));
  EXPECT_FALSE(isKept({153, 153, 153, 255}, grey, 0.1788));
}

TEST(ReplaceColorFilter, AGreyDiffersFromAPureColourByItsSaturationAndTheValue) {
  // White against pure blue: the same value, saturation 1: similarity 1 - 1 / sqrt 5 = 0.5528.
  EXPECT_TRUE(isKept({255, 255, 255, 255}, colorOf({0, 0, 255, 255}), 0.4473));
  EXPECT_FALSE(isKept({255, 255, 255, 255}, colorOf({0, 0, 255, 255}), 0.4471));
}

TEST(ReplaceColorFilter, RedsOnEitherSideOfTheHuesEndDoNotCoincide) {
  // Pure red has hue 6, a trace of green brings it next to hue 0, and neither is a full turn.
  const CIColor red = colorOf({255, 0, 0, 255});
  EXPECT_FALSE(isKept({255, 1, 0, 255}, red, 0.1));
  EXPECT_TRUE(isKept({255, 1, 0, 255}, red, 0.14));
  EXPECT_TRUE(isKept({255, 0, 1, 255}, red, 0.01));
}

TEST(ReplaceColorFilter, TheSourcesAlphaDoesNotMatterUnlessItIsZero) {
  const auto cube = testing::colorCube();
  const CIImageRef input = testing::image(cube, testing::kOpaque8);
  const auto opaque = testing::rendered(selected(input, CIColor(0.25, 0.5, 0.75, 1), 0.3));
  EXPECT_EQ(testing::rendered(selected(input, CIColor(0.25, 0.5, 0.75, 0.5), 0.3)), opaque);
  EXPECT_EQ(testing::rendered(selected(input, CIColor(0.25, 0.5, 0.75, 0), 0.3)),
            testing::rendered(selected(input, CIColor(0, 0, 0, 1), 0.3)));
}

TEST(ReplaceColorFilter, HueSaturationAndLightnessAreHeldAndNotUsed) {
  TQReplaceColorSelectiveFilter filter;
  const CIImageRef input = testing::image(testing::colorCube(), testing::kOpaque8);
  filter.setValue_forKey(input, "inputImage");
  filter.setValue_forKey(CIColor(0.25, 0.5, 0.75, 1), "sourceColor");
  filter.setValue_forKey(0.3, "diameter");
  const auto before = testing::rendered(filter.outputImage());
  filter.setValue_forKey(1.5, "_hue");
  filter.setValue_forKey(0.25, "_saturation");
  filter.setValue_forKey(-0.75, "_lightness");
  EXPECT_EQ(std::get<NSNumber>(filter.valueForKey("_hue")), 1.5);
  EXPECT_EQ(std::get<NSNumber>(filter.valueForKey("_saturation")), 0.25);
  EXPECT_EQ(std::get<NSNumber>(filter.valueForKey("_lightness")), -0.75);
  EXPECT_EQ(testing::rendered(filter.outputImage()), before);
}

TEST(ReplaceColorFilter, AKeptTranslucentPixelKeepsItsAlpha) {
  const CIImageRef input = testing::image({{255, 128, 0, 100}}, testing::kStraight8);
  EXPECT_EQ(testing::rendered(selected(input, colorOf({255, 128, 0, 255}), 0.1)),
            testing::rendered(input));
}

}  // namespace
}  // namespace kelvo
