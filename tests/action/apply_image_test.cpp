#include "action/apply_image.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <limits>
#include <utility>

#include "action/load_curves.h"
#include "engine/basic_adjustments.h"
#include "engine/color_balance.h"
#include "engine/curves_adjustment.h"
#include "engine/equalize.h"
#include "engine/filter_globals.h"
#include "engine/levels.h"
#include "engine/replace_color.h"
#include "tests/support/captured_log.h"
#include "tests/support/pixels.h"

namespace kelvo {
namespace {

using testing::image;
using testing::kOpaque8;
using testing::rendered;

ActionParameters dictionary(std::initializer_list<std::pair<const char*, ParameterValue>> values) {
  auto parameters = std::make_shared<ParameterDictionary>();
  for (const auto& [key, value] : values) parameters->setObject_forKey(value, key);
  return parameters;
}

class ApplyImage : public ::testing::Test {
 protected:
  void SetUp() override { registerAdjustmentFilters(); }

  void expectSame(const ActionParameters& parameters, const CIImageRef& expected) {
    const auto actual = rendered(applyImage(parameters, image_));
    ASSERT_EQ(actual.size(), cube_.size());
    EXPECT_EQ(actual, rendered(expected));
    EXPECT_NE(actual, cube_);
  }

  std::vector<testing::Rgba8> cube_ = testing::colorCube();
  CIImageRef image_ = image(cube_, kOpaque8);
};

TEST_F(ApplyImage, ZeroIsLevelsFromShadowsMidtonesAndHighlights) {
  expectSame(dictionary({{"filterPopUp", "0"},
                         {"levelsShadowsSlider", "30"},
                         {"levelsMidtonesSlider", "90"},
                         {"levelsHighlightsSlider", "220"}}),
             applyLevelsForCIImage(image_, 30, 90, 220));
}

TEST_F(ApplyImage, AnEmptyDictionaryIsLevelsWithAllPointsZero) {
  expectSame(dictionary({}), applyLevelsForCIImage(image_, 0, 0, 0));
}

TEST_F(ApplyImage, TwoIsCurvesThroughTheCurvesObject) {
  curves = nullptr;
  const auto parameters = dictionary({{"filterPopUp", "2"},
                                      {"rgbN", "3"},
                                      {"rgbPoints", "0 10,60 120,191 180"},
                                      {"bN", "2"},
                                      {"bPoints", "0 191,191 0"}});
  const auto actual = rendered(applyImage(parameters, image_));
  ASSERT_NE(curves, nullptr);
  EXPECT_EQ(actual,
            rendered(applyCurvesForCIImage(
                image_, curves->curvesValuesImageForColorSpace_forOKAction(nullptr, false))));
  EXPECT_NE(actual, cube_);
  curves = nullptr;
}

TEST_F(ApplyImage, ThreeIsColorBalanceFromShadowsMidtonesAndHighlights) {
  expectSame(dictionary({{"filterPopUp", "3"},
                         {"colorBalanceSR", "11"},
                         {"colorBalanceSG", "-22"},
                         {"colorBalanceSB", "33"},
                         {"colorBalanceMR", "-44"},
                         {"colorBalanceMG", "55"},
                         {"colorBalanceMB", "-66"},
                         {"colorBalanceHR", "-17"},
                         {"colorBalanceHG", "28"},
                         {"colorBalanceHB", "-39"}}),
             applyColorBalanceForCIImage(image_, 11, -22, 33, -44, 55, -66, -17, 28, -39));
}

TEST_F(ApplyImage, EachColorBalanceKeyIsItsOwnSetting) {
  const char* const keys[] = {"colorBalanceSR", "colorBalanceSG", "colorBalanceSB",
                              "colorBalanceMR", "colorBalanceMG", "colorBalanceMB",
                              "colorBalanceHR", "colorBalanceHG", "colorBalanceHB"};
  for (std::size_t i = 0; i < 9; ++i) {
    double s[9] = {};
    s[i] = 40;
    expectSame(
        dictionary({{"filterPopUp", "3"}, {keys[i], "40.000000"}}),
        applyColorBalanceForCIImage(image_, s[0], s[1], s[2], s[3], s[4], s[5], s[6], s[7], s[8]));
  }
}

TEST_F(ApplyImage, FourIsBrightnessAndContrast) {
  expectSame(dictionary({{"filterPopUp", "4"},
                         {"brightnessAndContrastBrightnessSlider", "15"},
                         {"brightnessAndContrastContrastSlider", "-30"}}),
             applyBrightnessAndContrastForCIImage(image_, 15, -30));
}

TEST_F(ApplyImage, SixIsHueAndSaturation) {
  expectSame(dictionary({{"filterPopUp", "6"},
                         {"hueOrSaturationHueSlider", "20"},
                         {"hueOrSaturationSaturationSlider", "-40"},
                         {"hueOrSaturationLightnessSlider", "7"}}),
             applyHueOrSaturationForCIImage(image_, 20, -40, 7));
}

TEST_F(ApplyImage, SevenIsDesaturate) {
  expectSame(dictionary({{"filterPopUp", "7"}}), applyDesaturateForCIImage(image_));
}

TEST_F(ApplyImage, EightIsColorize) {
  expectSame(
      dictionary({{"filterPopUp", "8"},
                  {"colorizeColorWellR", "0.9"},
                  {"colorizeColorWellG", "0.5"},
                  {"colorizeColorWellB", "0.1"},
                  {"colorizeColorWellA", "1"},
                  {"colorizeHueSlider", "30"},
                  {"colorizeIntensitySlider", "60"}}),
      applyColorizeForCIImage(
          image_, NSColor::colorWithCalibratedRed_green_blue_alpha(0.9, 0.5, 0.1, 1), 30, 60));
}

TEST_F(ApplyImage, EightWithoutColourComponentsUsesTransparentBlack) {
  expectSame(dictionary({{"filterPopUp", "8"}, {"colorizeIntensitySlider", "50"}}),
             applyColorizeForCIImage(
                 image_, NSColor::colorWithCalibratedRed_green_blue_alpha(0, 0, 0, 0), 0, 50));
}

TEST_F(ApplyImage, NineIsReplaceColorFromItsColourRadiusHueSaturationAndLightness) {
  expectSame(dictionary({{"filterPopUp", "9"},
                         {"replaceColorWellR", "0.9"},
                         {"replaceColorWellG", "0.4"},
                         {"replaceColorWellB", "0.15"},
                         {"replaceColorWellA", "1"},
                         {"replaceColorRadiusSlider", "90"},
                         {"replaceColorHueSlider", "35"},
                         {"replaceColorSaturationSlider", "-20"},
                         {"replaceColorLightnessSlider", "12"}}),
             applyReplaceColorForCIImage(
                 image_, NSColor::colorWithCalibratedRed_green_blue_alpha(0.9, 0.4, 0.15, 1), 90,
                 35, -20, 12));
}

TEST_F(ApplyImage, NineWithoutColourComponentsUsesTransparentBlack) {
  expectSame(
      dictionary({{"filterPopUp", "9"},
                  {"replaceColorRadiusSlider", "60"},
                  {"replaceColorLightnessSlider", "25"}}),
      applyReplaceColorForCIImage(
          image_, NSColor::colorWithCalibratedRed_green_blue_alpha(0, 0, 0, 0), 60, 0, 0, 25));
}

TEST_F(ApplyImage, TenIsTheChannelMixer) {
  expectSame(dictionary({{"filterPopUp", "10"},
                         {"cmrr", "11"},
                         {"cmrg", "22"},
                         {"cmrb", "33"},
                         {"cmrc", "4"},
                         {"cmgr", "55"},
                         {"cmgg", "16"},
                         {"cmgb", "27"},
                         {"cmgc", "8"},
                         {"cmbr", "9"},
                         {"cmbg", "60"},
                         {"cmbb", "21"},
                         {"cmbc", "12"}}),
             applyChannelMixerForCIImage(image_, 11, 22, 33, 4, 55, 16, 27, 8, 9, 60, 21, 12));
}

TEST_F(ApplyImage, ElevenIsExposure) {
  expectSame(dictionary({{"filterPopUp", "11"}, {"exposureSlider", "-25"}}),
             applyExposureForCIImage(image_, -25));
}

TEST_F(ApplyImage, ThirteenIsInvert) {
  expectSame(dictionary({{"filterPopUp", "13"}}), applyInvertForCIImage(image_));
}

TEST_F(ApplyImage, FourteenIsEqualize) {
  // Of low contrast, so that there is something to stretch.
  for (auto& pixel : cube_) {
    for (std::size_t c = 0; c < 3; ++c) pixel[c] = static_cast<std::uint8_t>(90 + pixel[c] / 4);
  }
  image_ = image(cube_, kOpaque8);
  expectSame(dictionary({{"filterPopUp", "14"}}), applyEqualizeForCIImage(image_));
}

TEST_F(ApplyImage, FifteenIsThreshold) {
  expectSame(dictionary({{"filterPopUp", "15"}, {"thresholdSlider", "99"}}),
             applyThresholdForCIImage(image_, 99));
}

TEST_F(ApplyImage, SixteenIsPosterize) {
  expectSame(dictionary({{"filterPopUp", "16"}, {"posterizeSlider", "4"}}),
             applyPosterizeForCIImage(image_, 4));
}

TEST_F(ApplyImage, SeparatorsAndUnknownNumbersGiveNothingAndOneLineEach) {
  for (const char* number : {"5", "12", "-1", "17", "1000000"}) {
    const testing::CapturedLog log;
    EXPECT_EQ(applyImage(dictionary({{"filterPopUp", number}}), image_), nullptr) << number;
    EXPECT_EQ(log.texts(), (std::vector<std::string>{"Error: unknown index"})) << number;
  }
}

TEST_F(ApplyImage, ANumberObjectAndItsDecimalTextGiveTheSame) {
  const auto asText = rendered(
      applyImage(dictionary({{"filterPopUp", "16"}, {"posterizeSlider", "3.000000"}}), image_));
  const auto asNumbers = rendered(applyImage(
      dictionary({{"filterPopUp", std::int64_t{16}}, {"posterizeSlider", 3.0}}), image_));
  EXPECT_EQ(asText, asNumbers);
  EXPECT_NE(asText, cube_);
}

TEST_F(ApplyImage, AMissingKeyReadsAsZero) {
  expectSame(dictionary({{"filterPopUp", "10"}, {"cmrr", "100"}}),
             applyChannelMixerForCIImage(image_, 100, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
}

// Every key that any adjustment reads.
constexpr const char* kSettings[] = {"levelsShadowsSlider",
                                     "levelsMidtonesSlider",
                                     "levelsHighlightsSlider",
                                     "colorBalanceSR",
                                     "colorBalanceSG",
                                     "colorBalanceSB",
                                     "colorBalanceMR",
                                     "colorBalanceMG",
                                     "colorBalanceMB",
                                     "colorBalanceHR",
                                     "colorBalanceHG",
                                     "colorBalanceHB",
                                     "brightnessAndContrastBrightnessSlider",
                                     "brightnessAndContrastContrastSlider",
                                     "hueOrSaturationHueSlider",
                                     "hueOrSaturationSaturationSlider",
                                     "hueOrSaturationLightnessSlider",
                                     "colorizeColorWellR",
                                     "colorizeColorWellG",
                                     "colorizeColorWellB",
                                     "colorizeColorWellA",
                                     "colorizeHueSlider",
                                     "colorizeIntensitySlider",
                                     "replaceColorWellR",
                                     "replaceColorWellG",
                                     "replaceColorWellB",
                                     "replaceColorWellA",
                                     "replaceColorRadiusSlider",
                                     "replaceColorHueSlider",
                                     "replaceColorSaturationSlider",
                                     "replaceColorLightnessSlider",
                                     "cmrr",
                                     "cmrg",
                                     "cmrb",
                                     "cmrc",
                                     "cmgr",
                                     "cmgg",
                                     "cmgb",
                                     "cmgc",
                                     "cmbr",
                                     "cmbg",
                                     "cmbb",
                                     "cmbc",
                                     "exposureSlider",
                                     "thresholdSlider",
                                     "posterizeSlider",
                                     "rgbN",
                                     "rN",
                                     "gN",
                                     "bN",
                                     "rgbPoints",
                                     "rPoints",
                                     "gPoints",
                                     "bPoints"};

TEST_F(ApplyImage, WhateverStandsInTheSettingsAnOpaquePictureComesOutOpaque) {
  for (const ParameterValue& bad :
       {ParameterValue("1e999"), ParameterValue("-1e999"), ParameterValue("inf"),
        ParameterValue("nan"), ParameterValue("many"), ParameterValue(""), ParameterValue("1e300"),
        ParameterValue("-2147483649"), ParameterValue(std::numeric_limits<double>::quiet_NaN()),
        ParameterValue(std::numeric_limits<double>::infinity())}) {
    for (const int number : {0, 1, 2, 3, 4, 6, 7, 8, 9, 10, 11, 13, 14, 15, 16}) {
      curves = nullptr;
      const auto parameters = dictionary({{"filterPopUp", std::int64_t{number}}});
      for (const char* key : kSettings) parameters->setObject_forKey(bad, key);
      const auto out = rendered(applyImage(parameters, image_));
      ASSERT_EQ(out.size(), cube_.size()) << number << ' ' << bad.stringValue();
      for (const auto& pixel : out) ASSERT_EQ(pixel[3], 255) << number;
      // The same again: what comes out is settled, not what happened to be in memory.
      ASSERT_EQ(rendered(applyImage(parameters, image_)), out) << number;
    }
  }
  curves = nullptr;
}

TEST_F(ApplyImage, ANilResultOfAnAdjustmentIsPassedOn) {
  for (const int number : {0, 1, 2, 3, 4, 6, 7, 8, 9, 10, 11, 13, 14, 15, 16}) {
    EXPECT_EQ(applyImage(dictionary({{"filterPopUp", std::int64_t{number}}}), nullptr), nullptr)
        << number;
  }
  curves = nullptr;
}

TEST_F(ApplyImage, SettingsOfOtherAdjustmentsChangeNothing) {
  expectSame(dictionary({{"filterPopUp", "13"}, {"posterizeSlider", "2"}, {"cmrr", "7"}}),
             applyInvertForCIImage(image_));
}

TEST(NSImageFromCIImage, HasTheExtentsSizeAndTheImageAsItsOneRepresentation) {
  const CIImageRef input = image(testing::allGreys(), kOpaque8, 32);
  const NSImageRef display = NSImageFromCIImage(input);
  EXPECT_EQ(display->size(), (NSSize{32, 8}));
  ASSERT_EQ(display->representations().size(), 1U);
  EXPECT_EQ(display->representations()[0].CIImage(), input);
}

}  // namespace
}  // namespace kelvo
