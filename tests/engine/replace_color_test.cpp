#include "engine/replace_color.h"

#include <gtest/gtest.h>

#include <limits>
#include <numbers>

#include "engine/filter_globals.h"
#include "tests/support/formula.h"
#include "tests/support/similarity.h"

namespace kelvo {
namespace {

using testing::Rgba;
using testing::Rgba8;

struct Settings {
  Rgba source;
  double radius, hue, saturation, lightness;
};

CIImageRef replaced(const CIImageRef& input, const Settings& s) {
  registerAdjustmentFilters();
  const NSColor color = NSColor::colorWithCalibratedRed_green_blue_alpha(s.source[0], s.source[1],
                                                                         s.source[2], s.source[3]);
  return applyReplaceColorForCIImage(input, color, s.radius, s.hue, s.saturation, s.lightness);
}

// Saturation about the luminance, lightness on top, then the turn about the grey axis.
Rgba adjusted(const Rgba& c, const Settings& s) {
  const double y = 0.2125 * c[0] + 0.7154 * c[1] + 0.0721 * c[2];
  const double saturation = 1 + s.saturation / 100;
  Rgba v = c;
  for (std::size_t i = 0; i < 3; ++i) v[i] = y + (c[i] - y) * saturation + s.lightness / 100;
  const double angle = s.hue / 180 * 3.14;
  const double k = 1 / std::numbers::sqrt3;
  const double cross[3] = {k * (v[2] - v[1]), k * (v[0] - v[2]), k * (v[1] - v[0])};
  const double grey = (v[0] + v[1] + v[2]) / 3;
  Rgba out = v;
  for (std::size_t i = 0; i < 3; ++i) {
    out[i] = v[i] * std::cos(angle) + cross[i] * std::sin(angle) + grey * (1 - std::cos(angle));
  }
  return out;
}

void expectReplaced(const Settings& s) {
  Rgba source = s.source;
  if (source[3] == 0) source = {0, 0, 0, 0};
  testing::expectPremultipliedFormula([&](const CIImageRef& in) { return replaced(in, s); },
                                      [&](const Rgba& c) -> std::optional<Rgba> {
                                        const double a = c[3];
                                        const double beyond =
                                            testing::similarity(c, source) - (1 - s.radius / 200);
                                        if (std::abs(beyond) < 1e-5) return std::nullopt;
                                        if (beyond < 0)
                                          return Rgba{c[0] * a, c[1] * a, c[2] * a, a};
                                        // The selected pixel, as translucent as it is, over the
                                        // input.
                                        const Rgba over = adjusted(c, s);
                                        Rgba out{};
                                        for (std::size_t i = 0; i < 3; ++i)
                                          out[i] = over[i] * a + c[i] * a * (1 - a);
                                        out[3] = a + a * (1 - a);
                                        return out;
                                      });
}

const Rgba kBlue{0.0581305, 0.0555419, 1, 1};

TEST(ReplaceColor, SelectedPixelsAreAdjustedAndLaidOverTheInput) {
  for (const Settings& settings :
       {Settings{kBlue, 60, 90, 20, -10}, Settings{{0.8, 0.3, 0.1, 1}, 100, -45, -50, 15},
        Settings{{0.5, 0.5, 0.5, 1}, 30, 0, 0, 30}, Settings{{0, 0, 0, 1}, 80, 180, 100, 20},
        Settings{{0.9, 0.8, 0.1, 0.5}, 120, 30, 40, 5},
        Settings{{0.9, 0.8, 0.1, 0}, 120, 30, 40, 5}, Settings{kBlue, 1, 120, 0, 0}}) {
    ASSERT_NO_FATAL_FAILURE(expectReplaced(settings)) << settings.radius << ' ' << settings.hue;
  }
}

TEST(ReplaceColor, RadiusZeroGivesTheInput) {
  for (const auto& pixels : {testing::allGreys(), testing::colorCube()}) {
    EXPECT_EQ(testing::rendered(replaced(testing::image(pixels, testing::kOpaque8),
                                         {{0.2, 0.4, 0.6, 1}, 0, 90, 50, 50})),
              pixels);
  }
  const CIImageRef translucent = testing::image(testing::translucentPixels(), testing::kStraight8);
  EXPECT_EQ(testing::rendered(replaced(translucent, {{0.2, 0.4, 0.6, 1}, 0, 90, 50, 50})),
            testing::rendered(translucent));
}

TEST(ReplaceColor, Radius200SelectsEveryPixelThatIsAtAllAlike) {
  ASSERT_NO_FATAL_FAILURE(expectReplaced({kBlue, 200, 60, -30, 10}));
  // No colour of the cube is wholly unlike this one: all are desaturated.
  for (const Rgba8& out :
       testing::rendered(replaced(testing::image(testing::colorCube(), testing::kOpaque8),
                                  {{0.5, 0.4, 0.3, 1}, 200, 0, -100, 0}))) {
    ASSERT_EQ(out[0], out[1]);
    ASSERT_EQ(out[1], out[2]);
  }
}

TEST(ReplaceColor, WithoutAnyChangeAnOpaquePictureStaysAsItIsWhateverTheRadius) {
  const auto cube = testing::colorCube();
  for (const double radius : {0.0, 1.0, 50.0, 120.0, 200.0, 1000.0}) {
    EXPECT_EQ(testing::rendered(
                  replaced(testing::image(cube, testing::kOpaque8), {kBlue, radius, 0, 0, 0})),
              cube)
        << radius;
  }
}

TEST(ReplaceColor, ATransparentPixelStaysTransparent) {
  EXPECT_EQ(testing::rendered(replaced(testing::image({{15, 14, 255, 0}}, testing::kStraight8),
                                       {kBlue, 200, 40, 50, 60}))
                .at(0),
            (Rgba8{0, 0, 0, 0}));
}

TEST(ReplaceColor, RadiusHueSaturationAndLightnessAreTakenInThisOrder) {
  // Each by itself does what its name says to the one colour chosen.
  const CIImageRef input =
      testing::image({{200, 40, 40, 255}, {40, 200, 40, 255}}, testing::kOpaque8);
  const Rgba red{200 / 255.0, 40 / 255.0, 40 / 255.0, 1};
  const auto lighter = testing::rendered(replaced(input, {red, 10, 0, 0, 20}));
  EXPECT_EQ(lighter.at(0), (Rgba8{251, 91, 91, 255}));
  EXPECT_EQ(lighter.at(1), (Rgba8{40, 200, 40, 255}));
  // Y = 0.2125 * 200 + 0.7875 * 40 = 74.
  EXPECT_EQ(testing::rendered(replaced(input, {red, 10, 0, -100, 0})).at(0),
            (Rgba8{74, 74, 74, 255}));
  const auto turned = testing::rendered(replaced(input, {red, 10, 120, 0, 0})).at(0);
  EXPECT_NEAR(turned[0], 40, 1);
  EXPECT_NEAR(turned[1], 200, 1);
}

TEST(ReplaceColor, AnEmptyDictionarysZerosChangeNothing) {
  const auto cube = testing::colorCube();
  EXPECT_EQ(testing::rendered(
                replaced(testing::image(cube, testing::kOpaque8), {{0, 0, 0, 0}, 0, 0, 0, 0})),
            cube);
}

TEST(ReplaceColor, NegativeAndInfiniteAndNoNumbersForARadiusSelectNothingOrEverything) {
  const auto cube = testing::colorCube();
  const CIImageRef input = testing::image(cube, testing::kOpaque8);
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double radius : {-50.0, -infinity, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(testing::rendered(replaced(input, {kBlue, radius, 90, 50, 50})), cube) << radius;
  }
  for (const Rgba8& out : testing::rendered(replaced(input, {kBlue, infinity, 0, -100, 0}))) {
    ASSERT_EQ(out[0], out[2]);
  }
}

TEST(ReplaceColor, ChangesThatAreNoNumbersKeepTheAlphaAndLeaveThePixelsThatAreNotSelected) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  const CIImageRef input =
      testing::image({{200, 40, 40, 255}, {40, 200, 40, 255}}, testing::kOpaque8);
  const Rgba red{200 / 255.0, 40 / 255.0, 40 / 255.0, 1};
  for (const double bad : {nan, infinity, -infinity}) {
    for (const Settings& settings : {Settings{red, 10, bad, 0, 0}, Settings{red, 10, 0, bad, 0},
                                     Settings{red, 10, 0, 0, bad}}) {
      const auto out = testing::rendered(replaced(input, settings));
      ASSERT_EQ(out.size(), 2U);
      EXPECT_EQ(out[0][3], 255);
      EXPECT_EQ(out[1], (Rgba8{40, 200, 40, 255}));
    }
  }
}

TEST(ReplaceColor, WithoutAnImageThereIsNoResult) {
  EXPECT_EQ(replaced(nullptr, {kBlue, 10, 0, 0, 0}), nullptr);
}

}  // namespace
}  // namespace kelvo
