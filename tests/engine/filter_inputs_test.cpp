#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "engine/basic_adjustments.h"
#include "engine/filter_globals.h"
#include "tests/support/pixels.h"

// What exactly each adjustment hands to its filters. The filters' names are taken over by a
// recorder here, which is why this file is a program of its own.
namespace kelvo {
namespace {

struct Recorded {
  std::string filter;
  bool defaultsSet = false;
  std::map<std::string, FilterValue> values;
};

std::vector<std::shared_ptr<Recorded>>& log() {
  static std::vector<std::shared_ptr<Recorded>> filters;
  return filters;
}

// Holds every input of the built-in filters and passes its image on.
class Recorder final : public CIFilter {
 public:
  explicit Recorder(std::string_view name) : record_(std::make_shared<Recorded>()) {
    record_->filter = name;
    log().push_back(record_);
    for (auto& [key, slot] : numbers_) declareInput(key, &slot);
    for (auto& [key, slot] : vectors_) declareInput(key, &slot);
    declareInput("inputColor", &color_);
    declareInput("inputImage", &image_);
  }
  void setDefaults() override { record_->defaultsSet = true; }
  [[nodiscard]] CIImageRef outputImage() const override {
    for (const auto& [key, slot] : numbers_) {
      if (slot) record_->values[std::string(key)] = *slot;
    }
    for (const auto& [key, slot] : vectors_) {
      if (slot) record_->values[std::string(key)] = *slot;
    }
    if (color_) record_->values["inputColor"] = *color_;
    return image_;
  }

 private:
  std::shared_ptr<Recorded> record_;
  std::map<std::string_view, std::optional<NSNumber>> numbers_{
      {"inputLevels", {}},     {"threshold", {}},       {"inputEV", {}},    {"inputContrast", {}},
      {"inputSaturation", {}}, {"inputBrightness", {}}, {"inputAngle", {}}, {"inputIntensity", {}}};
  std::map<std::string_view, std::optional<CIVector>> vectors_{{"inputRVector", {}},
                                                               {"inputGVector", {}},
                                                               {"inputBVector", {}},
                                                               {"inputAVector", {}},
                                                               {"inputBiasVector", {}}};
  std::optional<CIColor> color_;
  CIImageRef image_;
};

class FilterInputs : public ::testing::Test {
 protected:
  void SetUp() override {
    registerAdjustmentFilters();
    for (const char* name :
         {"CIColorPosterize", "CIColorInvert", "CIExposureAdjust", "CIColorControls",
          "CIColorMatrix", "CIColorMonochrome", "CIHueAdjust", "TQTresholdFilter"}) {
      CIFilter::registerFilterName_constructor_classAttributes(
          name, [](std::string_view n) { return std::make_shared<Recorder>(n); }, {});
    }
    log().clear();
  }

  // The next filter of the chain, which must have had its defaults set.
  void expectFilter(const std::string& name, const std::map<std::string, FilterValue>& values) {
    ASSERT_LT(next_, log().size());
    const Recorded& filter = *log()[next_++];
    EXPECT_EQ(filter.filter, name);
    EXPECT_TRUE(filter.defaultsSet);
    EXPECT_EQ(filter.values, values);
  }
  void expectNoMore() { EXPECT_EQ(next_, log().size()); }

  CIImageRef image_ = testing::image({{1, 2, 3, 255}}, testing::kOpaque8);

 private:
  std::size_t next_ = 0;
};

TEST_F(FilterInputs, PosterizeLevelsLoseWhatLiesBeyondTheSixthDecimal) {
  applyPosterizeForCIImage(image_, 2.0000004);
  expectFilter("CIColorPosterize", {{"inputLevels", 2.0}});
  expectNoMore();
}

TEST_F(FilterInputs, ThresholdIsTheFullDoubleOver255) {
  applyThresholdForCIImage(image_, 128);
  expectFilter("TQTresholdFilter", {{"threshold", 128 / 255.0}});
  expectNoMore();
}

TEST_F(FilterInputs, ExposureIsTheFullDoubleOverFifty) {
  applyExposureForCIImage(image_, 1.0 / 3);
  expectFilter("CIExposureAdjust", {{"inputEV", 1.0 / 3 / 50.0}});
  expectNoMore();
}

TEST_F(FilterInputs, InvertSetsNothing) {
  applyInvertForCIImage(image_);
  expectFilter("CIColorInvert", {});
  expectNoMore();
}

TEST_F(FilterInputs, DesaturateSetsSaturationAloneToZero) {
  applyDesaturateForCIImage(image_);
  expectFilter("CIColorControls", {{"inputSaturation", 0.0}});
  expectNoMore();
}

TEST_F(FilterInputs, BrightnessAndContrastAreTextsOfSixDecimals) {
  applyBrightnessAndContrastForCIImage(image_, 100.0 / 3, 1);
  expectFilter("CIColorControls", {{"inputBrightness", 0.333333}, {"inputContrast", 1.03}});
  applyBrightnessAndContrastForCIImage(image_, 0, -1);
  expectFilter("CIColorControls", {{"inputBrightness", 0.0}, {"inputContrast", 0.9925}});
  expectNoMore();
}

TEST_F(FilterInputs, AHueOf180IsAnAngleOfThreePointOneFour) {
  applyHueOrSaturationForCIImage(image_, 180, 25, -50);
  expectFilter("CIColorControls", {{"inputSaturation", 1.25}, {"inputBrightness", -0.5}});
  expectFilter("CIHueAdjust", {{"inputAngle", 3.14}});
  expectNoMore();
}

TEST_F(FilterInputs, ColorizeSetsColourAndIntensityThenTheHueAngle) {
  applyColorizeForCIImage(
      image_, NSColor::colorWithCalibratedRed_green_blue_alpha(0.1, 0.2, 0.3, 0.4), 90, 100.0 / 3);
  expectFilter("CIColorMonochrome", {{"inputColor", CIColor(0.1, 0.2, 0.3, 0.4)},
                                     {"inputIntensity", 100.0 / 3 / 100.0}});
  expectFilter("CIHueAdjust", {{"inputAngle", 1.57}});
  expectNoMore();
}

TEST_F(FilterInputs, MixerRowsAreVectorsOfSixDecimalsAndAlphaAndBiasStayAtTheirDefaults) {
  applyChannelMixerForCIImage(image_, 100.0 / 3, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12);
  expectFilter("CIColorMatrix",
               {{"inputRVector", CIVector::vectorWithX_Y_Z_W(0.333333, 0.02, 0.03, 0.04)},
                {"inputGVector", CIVector::vectorWithX_Y_Z_W(0.05, 0.06, 0.07, 0.08)},
                {"inputBVector", CIVector::vectorWithX_Y_Z_W(0.09, 0.1, 0.11, 0.12)}});
  expectNoMore();
}

TEST_F(FilterInputs, AnUnknownFilterGivesNoImage) {
  CIFilter::registerFilterName_constructor_classAttributes(
      "CIColorInvert", [](std::string_view) { return CIFilterRef(); }, {});
  EXPECT_EQ(applyInvertForCIImage(image_), nullptr);
}

}  // namespace
}  // namespace kelvo
