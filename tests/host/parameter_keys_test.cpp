#include "host/arguments/parameter_keys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kelvo::host {
namespace {

using testing::UnorderedElementsAreArray;

std::string why(const char* key, const char* value) {
  const auto checked = checkParameter(key, value);
  return checked ? "accepted" : checked.error().message;
}

TEST(ParameterKeys, AreThoseOfTheActionParameters) {
  const std::vector<std::string_view> expected = {"filterPopUp",
                                                  "levelsShadowsSlider",
                                                  "levelsMidtonesSlider",
                                                  "levelsHighlightsSlider",
                                                  "curvesChannel",
                                                  "colorBalanceSR",
                                                  "colorBalanceSG",
                                                  "colorBalanceSB",
                                                  "colorBalanceMR",
                                                  "colorBalanceMG",
                                                  "colorBalanceMB",
                                                  "colorBalanceHR",
                                                  "colorBalanceHG",
                                                  "colorBalanceHB",
                                                  "colorBalanceChannel",
                                                  "brightnessAndContrastBrightnessSlider",
                                                  "brightnessAndContrastContrastSlider",
                                                  "hueOrSaturationHueSlider",
                                                  "hueOrSaturationSaturationSlider",
                                                  "hueOrSaturationLightnessSlider",
                                                  "colorizeHueSlider",
                                                  "colorizeIntensitySlider",
                                                  "colorizeColorWellR",
                                                  "colorizeColorWellG",
                                                  "colorizeColorWellB",
                                                  "colorizeColorWellA",
                                                  "replaceColorRadiusSlider",
                                                  "replaceColorHueSlider",
                                                  "replaceColorSaturationSlider",
                                                  "replaceColorLightnessSlider",
                                                  "replaceColorWellR",
                                                  "replaceColorWellG",
                                                  "replaceColorWellB",
                                                  "replaceColorWellA",
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
                                                  "cmchannel",
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
  const auto known = knownParameterKeys();
  EXPECT_THAT(std::vector<std::string_view>(known.begin(), known.end()),
              UnorderedElementsAreArray(expected));
}

TEST(ParameterKeys, HoldNumbersToThePanelsRanges) {
  EXPECT_EQ(why("posterizeSlider", "2"), "accepted");
  EXPECT_EQ(why("posterizeSlider", "64.0"), "accepted");
  EXPECT_EQ(why("posterizeSlider", "1.9"), "must be from 2 to 64, not 1.9");
  EXPECT_EQ(why("cmrc", "-200"), "accepted");
  EXPECT_EQ(why("cmrc", "-200.5"), "must be from -200 to 200, not -200.5");
  EXPECT_EQ(why("colorizeIntensitySlider", "-1"), "must be from 0 to 100, not -1");
  EXPECT_EQ(why("replaceColorRadiusSlider", "200"), "accepted");
  EXPECT_EQ(why("exposureSlider", "bright"), "'bright' is not a number");
}

TEST(ParameterKeys, TakeTheNumbersOfAdjustmentsOnly) {
  EXPECT_EQ(why("filterPopUp", "16"), "accepted");
  for (const char* number : {"5", "12", "17", "-1", "3.0", "1e1", " 3", "x", ""}) {
    EXPECT_NE(why("filterPopUp", number), "accepted") << number;
  }
}

TEST(ParameterKeys, TakeWholeNumbersWhereOnlyTheWholePartIsRead) {
  EXPECT_EQ(why("cmchannel", "2"), "accepted");
  EXPECT_EQ(why("cmchannel", "1.5"), "must be a whole number, not 1.5");
  EXPECT_EQ(why("rgbN", "2e1"), "must be a whole number, not 2e1");
  EXPECT_EQ(why("rgbN", "1"), "must be from 2 to 192, not 1");
}

TEST(ParameterKeys, TakeListsOfCurvePoints) {
  EXPECT_EQ(why("rgbPoints", "0.000000 0.000000,191.000000 191.000000"), "accepted");
  EXPECT_EQ(why("rPoints", "0 0"), "accepted");
  EXPECT_EQ(why("rPoints", "12.5"), "'12.5' is not a point like '96 120'");
  EXPECT_EQ(why("rPoints", "1 2 3"), "'2 3' is not a number");
  EXPECT_EQ(why("rPoints", "0 0,"), "'' is not a point like '96 120'");
  EXPECT_EQ(why("rPoints", "0 192"), "must be from 0 to 191, not 192");
}

TEST(ParameterKeys, AreNoOthers) { EXPECT_EQ(why("posterize", "4"), "is not known"); }

}  // namespace
}  // namespace kelvo::host
