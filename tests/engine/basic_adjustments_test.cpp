#include "engine/basic_adjustments.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <numbers>

#include "engine/filter_globals.h"
#include "tests/support/pixels.h"

// Each adjustment from panel units to pixels, against its formula in double precision.
namespace kelvo {
namespace {

using testing::Rgba;
using testing::Rgba8;
using Adjustment = std::function<CIImageRef(const CIImageRef&)>;
using Formula = std::function<Rgba(const Rgba&)>;

constexpr double kOneLevel = 0.5 + 0.01;

double luminance(const Rgba& c) { return 0.2125 * c[0] + 0.7154 * c[1] + 0.0721 * c[2]; }

Rgba turned(const Rgba& v, double t) {
  const double k = 1 / std::numbers::sqrt3;
  const double cross[3] = {k * (v[2] - v[1]), k * (v[0] - v[2]), k * (v[1] - v[0])};
  const double along = k * (v[0] + v[1] + v[2]);
  Rgba out = v;
  for (std::size_t i = 0; i < 3; ++i) {
    out[i] = v[i] * std::cos(t) + cross[i] * std::sin(t) + k * along * (1 - std::cos(t));
  }
  return out;
}

void expectFormula(const Adjustment& adjust, const Formula& formula) {
  for (const auto& opaque : {testing::allGreys(), testing::colorCube()}) {
    const auto actual = testing::rendered(adjust(testing::image(opaque, testing::kOpaque8)));
    ASSERT_EQ(actual.size(), opaque.size());
    for (std::size_t i = 0; i < opaque.size(); ++i) {
      ASSERT_LE(
          testing::distance(actual[i], testing::levels(formula(testing::straight(opaque[i])))),
          kOneLevel)
          << +opaque[i][0] << ' ' << +opaque[i][1] << ' ' << +opaque[i][2];
    }
  }
  const auto translucent = testing::translucentPixels();
  const auto actual = testing::rendered(adjust(testing::image(translucent, testing::kStraight8)));
  ASSERT_EQ(actual.size(), translucent.size());
  for (std::size_t i = 0; i < translucent.size(); ++i) {
    Rgba color = testing::straight(translucent[i]);
    if (color[3] == 0) color = {0, 0, 0, 0};
    ASSERT_LE(testing::distance(actual[i], testing::levels(formula(color))), kOneLevel) << i;
  }
}

TEST(Contrast, BelowNeutralItFallsLinearlyAboveItRisesFourTimesAsFast) {
  EXPECT_EQ(brightcon_contrastFilterValueFromSliderValue(0), 0.25F);
  EXPECT_EQ(brightcon_contrastFilterValueFromSliderValue(100), 1.0F);
  EXPECT_EQ(brightcon_contrastFilterValueFromSliderValue(200), 4.0F);
  EXPECT_EQ(brightcon_contrastFilterValueFromSliderValue(101), 1.03F);
  EXPECT_EQ(brightcon_contrastFilterValueFromSliderValue(99), 0.9925F);
}

TEST(Contrast, AValueThatIsNoNumberCountsAsAboveNeutral) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_TRUE(std::isnan(brightcon_contrastFilterValueFromSliderValue(nan)));
  EXPECT_EQ(brightcon_contrastFilterValueFromSliderValue(-100), -0.5F);
}

TEST(Adjustments, BrightnessAddsPercentAndContrastScalesAboutTheMiddle) {
  for (const auto& [brightness, contrast, factor] : std::initializer_list<std::array<double, 3>>{
           {0, 0, 1}, {20, 0, 1}, {-35, 0, 1}, {0, 100, 4}, {0, -100, 0.25}, {10, 20, 1.6}}) {
    const double b = brightness / 100;
    const double f = factor;
    expectFormula(
        [=](const CIImageRef& in) {
          return applyBrightnessAndContrastForCIImage(in, b * 100, contrast);
        },
        [=](const Rgba& c) {
          Rgba out = c;
          for (std::size_t i = 0; i < 3; ++i) out[i] = (c[i] + b - 0.5) * f + 0.5;
          return out;
        });
  }
}

TEST(Adjustments, HueSaturationAndLightnessWorkInThisOrderWithRoughPi) {
  for (const auto& [hue, saturation, lightness] : std::initializer_list<std::array<double, 3>>{
           {0, 0, 0}, {180, 0, 0}, {-90, 50, 0}, {30, -100, 10}, {45, 20, -15}}) {
    const double angle = hue / 180 * 3.14;
    const double s = (100 + saturation) / 100;
    const double l = lightness / 100;
    expectFormula(
        [&](const CIImageRef& in) {
          return applyHueOrSaturationForCIImage(in, hue, saturation, lightness);
        },
        [=](const Rgba& c) {
          const double y = luminance(c);
          Rgba out = c;
          for (std::size_t i = 0; i < 3; ++i) out[i] = y + (c[i] - y) * s + l;
          return turned(out, angle);
        });
  }
}

TEST(Adjustments, DesaturateLeavesTheLuminance) {
  expectFormula(applyDesaturateForCIImage, [](const Rgba& c) {
    const double y = luminance(c);
    return Rgba{y, y, y, c[3]};
  });
}

TEST(Adjustments, ColorizeTintsThenTurnsTheHue) {
  const NSColor blue = NSColor::colorWithCalibratedRed_green_blue_alpha(0.0581305, 0.0555419, 1, 1);
  for (const auto& [hue, intensity] :
       std::initializer_list<std::pair<double, double>>{{0, 100}, {90, 60}, {-180, 30}, {0, 0}}) {
    const double angle = hue / 180 * 3.14;
    const double share = intensity / 100;
    expectFormula(
        [&](const CIImageRef& in) { return applyColorizeForCIImage(in, blue, hue, intensity); },
        [=](const Rgba& c) {
          const double y = luminance(c);
          const double tint[3] = {0.0581305, 0.0555419, 1};
          Rgba out = c;
          for (std::size_t i = 0; i < 3; ++i) out[i] = c[i] + (y * tint[i] - c[i]) * share;
          return turned(out, angle);
        });
  }
}

TEST(Adjustments, ColorizeWithTransparentBlackFadesToBlack) {
  const NSColor none = NSColor::colorWithCalibratedRed_green_blue_alpha(0, 0, 0, 0);
  EXPECT_EQ(
      testing::rendered(applyColorizeForCIImage(
                            testing::image({{90, 120, 30, 255}}, testing::kOpaque8), none, 0, 100))
          .at(0),
      (Rgba8{0, 0, 0, 255}));
}

TEST(Adjustments, ChannelMixerMixesPercentOfEachChannelIntoEach) {
  expectFormula(
      [](const CIImageRef& in) {
        return applyChannelMixerForCIImage(in, 50, 30, 20, 5, -20, 110, 10, 0, 0, 40, 60, -10);
      },
      [](const Rgba& c) {
        return Rgba{0.5 * c[0] + 0.3 * c[1] + 0.2 * c[2] + 0.05 * c[3],
                    -0.2 * c[0] + 1.1 * c[1] + 0.1 * c[2], 0.4 * c[1] + 0.6 * c[2] - 0.1 * c[3],
                    c[3]};
      });
}

TEST(Adjustments, ChannelMixerWithIdentityRowsChangesNothing) {
  const auto cube = testing::colorCube();
  EXPECT_EQ(testing::rendered(applyChannelMixerForCIImage(
                testing::image(cube, testing::kOpaque8), 100, 0, 0, 0, 0, 100, 0, 0, 0, 0, 100, 0)),
            cube);
}

TEST(Adjustments, AMixerConstantOfFiftyAddsHalfOfFullScaleToAnOpaqueImage) {
  const auto out = testing::rendered(
      applyChannelMixerForCIImage(testing::image({{51, 51, 51, 255}}, testing::kOpaque8), 100, 0, 0,
                                  50, 0, 100, 0, 0, 0, 0, 100, 0));
  EXPECT_NEAR(out.at(0)[0], 51 + 127.5, 0.5);
  EXPECT_EQ(out.at(0)[1], 51);
}

TEST(Adjustments, FiftyOfExposureDoublesLinearLight) {
  const auto decode = [](double v) {
    return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
  };
  const auto encode = [](double v) {
    return v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1 / 2.4) - 0.055;
  };
  for (const double exposure : {50.0, -50.0, 12.0, 0.0}) {
    expectFormula([=](const CIImageRef& in) { return applyExposureForCIImage(in, exposure); },
                  [&](const Rgba& c) {
                    Rgba out = c;
                    for (std::size_t i = 0; i < 3; ++i) {
                      out[i] = encode(decode(c[i]) * std::exp2(exposure / 50));
                    }
                    return out;
                  });
  }
}

TEST(Adjustments, InvertGivesTheNegative) {
  expectFormula(applyInvertForCIImage, [](const Rgba& c) {
    return Rgba{1 - c[0], 1 - c[1], 1 - c[2], c[3]};
  });
}

TEST(Adjustments, InvertTwiceIsTheIdentityOnOpaqueImages) {
  const auto cube = testing::colorCube();
  EXPECT_EQ(testing::rendered(applyInvertForCIImage(
                applyInvertForCIImage(testing::image(cube, testing::kOpaque8)))),
            cube);
}

TEST(Adjustments, ThresholdOf128MakesEveryGreyBlackBelowAndWhiteAboveIt) {
  registerAdjustmentFilters();
  const auto greys = testing::allGreys();
  const auto out =
      testing::rendered(applyThresholdForCIImage(testing::image(greys, testing::kOpaque8), 128));
  ASSERT_EQ(out.size(), 256U);
  for (std::size_t v = 0; v < 128; ++v) EXPECT_EQ(out[v][0], 0) << v;
  for (std::size_t v = 129; v < 256; ++v) EXPECT_EQ(out[v][0], 255) << v;
}

TEST(Adjustments, PosterizeOfTwoLeavesBlackAndWhitePerChannel) {
  expectFormula([](const CIImageRef& in) { return applyPosterizeForCIImage(in, 2); },
                [](const Rgba& c) {
                  Rgba out = c;
                  for (std::size_t i = 0; i < 3; ++i) out[i] = c[i] >= 0.5 ? 1 : 0;
                  return out;
                });
}

TEST(Adjustments, ResultsAreNewImagesAndTheInputIsUnchanged) {
  const CIImageRef input = testing::image({{10, 20, 30, 255}}, testing::kOpaque8);
  const CIImageRef output = applyInvertForCIImage(input);
  EXPECT_NE(output, input);
  EXPECT_EQ(testing::rendered(output).at(0), (Rgba8{245, 235, 225, 255}));
  EXPECT_EQ(testing::rendered(input).at(0), (Rgba8{10, 20, 30, 255}));
}

TEST(Adjustments, WithoutAnImageThereIsNoResult) {
  EXPECT_EQ(applyInvertForCIImage(nullptr), nullptr);
  EXPECT_EQ(applyColorizeForCIImage(
                nullptr, NSColor::colorWithCalibratedRed_green_blue_alpha(0, 0, 0, 0), 0, 0),
            nullptr);
}

}  // namespace
}  // namespace kelvo
