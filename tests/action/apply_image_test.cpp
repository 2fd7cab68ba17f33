#include "action/apply_image.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <utility>

#include "engine/basic_adjustments.h"
#include "engine/filter_globals.h"
#include "tests/support/captured_log.h"
#include "tests/support/pixels.h"

namespace kelvo {
namespace {

using testing::image;
using testing::kOpaque8;
using testing::rendered;

ActionParameters dictionary(
    std::initializer_list<std::pair<const char*, ParameterValue>> values) {
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
