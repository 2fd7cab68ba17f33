#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "curves/tqc_values_calculator.h"
#include "engine/apply_filter.h"
#include "engine/basic_adjustments.h"
#include "engine/color_balance.h"
#include "engine/curves_adjustment.h"
#include "engine/equalize.h"
#include "engine/filter_globals.h"
#include "engine/levels.h"
#include "engine/replace_color.h"
#include "tests/support/pixels.h"

// What exactly each adjustment hands to its filters. The filters' names are taken over by a
// recorder here, which is why this file is a program of its own.
namespace kelvo {
namespace {

struct Recorded {
  std::string filter;
  bool defaultsSet = false;
  std::map<std::string, FilterValue> values;
  CIImageRef output;
};

std::vector<std::shared_ptr<Recorded>>& log() {
  static std::vector<std::shared_ptr<Recorded>> filters;
  return filters;
}

// Holds every input of the filters and passes on a picture like its own.
class Recorder final : public CIFilter {
 public:
  explicit Recorder(std::string_view name) : record_(std::make_shared<Recorded>()) {
    record_->filter = name;
    log().push_back(record_);
    for (auto& [key, slot] : numbers_) declareInput(key, &slot);
    for (auto& [key, slot] : vectors_) declareInput(key, &slot);
    for (auto& [key, slot] : colors_) declareInput(key, &slot);
    for (auto& [key, slot] : images_) declareInput(key, &slot);
  }
  void setDefaults() override { record_->defaultsSet = true; }
  [[nodiscard]] CIImageRef outputImage() const override {
    for (const auto& [key, slot] : numbers_) {
      if (slot) record_->values[std::string(key)] = *slot;
    }
    for (const auto& [key, slot] : vectors_) {
      if (slot) record_->values[std::string(key)] = *slot;
    }
    for (const auto& [key, slot] : colors_) {
      if (slot) record_->values[std::string(key)] = *slot;
    }
    for (const auto& [key, slot] : images_) {
      if (slot) record_->values[std::string(key)] = slot;
    }
    const CIImageRef& image = images_.at("inputImage");
    record_->output = std::make_shared<const CIImage>(image->recipe(), image->extent());
    return record_->output;
  }

 private:
  std::shared_ptr<Recorded> record_;
  std::map<std::string_view, std::optional<NSNumber>> numbers_{
      {"inputLevels", {}},   {"threshold", {}},       {"inputEV", {}},
      {"inputContrast", {}}, {"inputSaturation", {}}, {"inputBrightness", {}},
      {"inputAngle", {}},    {"inputIntensity", {}},  {"diameter", {}},
      {"_hue", {}},          {"_saturation", {}},     {"_lightness", {}}};
  std::map<std::string_view, std::optional<CIVector>> vectors_{
      {"inputRVector", {}},    {"inputGVector", {}}, {"inputBVector", {}}, {"inputAVector", {}},
      {"inputBiasVector", {}}, {"linear", {}},       {"midtone", {}},      {"dark", {}},
      {"light", {}},           {"params", {}}};
  std::map<std::string_view, std::optional<CIColor>> colors_{{"inputColor", {}},
                                                             {"sourceColor", {}}};
  std::map<std::string_view, CIImageRef> images_{
      {"inputImage", {}}, {"inputBackgroundImage", {}}, {"rezImage", {}}};
};

class FilterInputs : public ::testing::Test {
 protected:
  void SetUp() override {
    registerAdjustmentFilters();
    for (const char* name :
         {"CIColorPosterize", "CIColorInvert", "CIExposureAdjust", "CIColorControls",
          "CIColorMatrix", "CIColorMonochrome", "CIHueAdjust", "CISourceOverCompositing",
          "TQTresholdFilter", "TQLevelsFilter", "TQEqualizeFilter", "TQReplaceColorSelectiveFilter",
          "TQCurvesFilter"}) {
      CIFilter::registerFilterName_constructor_classAttributes(
          name, [](std::string_view n) { return std::make_shared<Recorder>(n); }, {});
    }
    log().clear();
  }

  // The next filter of the chain, whose image is the output of the one before it, or the input.
  // It must have had its defaults set.
  void expectFilter(const std::string& name, std::map<std::string, FilterValue> values,
                    bool defaultsSet = true) {
    ASSERT_LT(next_, log().size());
    values.try_emplace("inputImage", next_ > 0 && chained_ ? log()[next_ - 1]->output : image_);
    const Recorded& filter = *log()[next_++];
    chained_ = true;
    EXPECT_EQ(filter.filter, name);
    EXPECT_EQ(filter.defaultsSet, defaultsSet);
    EXPECT_EQ(filter.values, values);
  }
  // What follows is another adjustment of the same image.
  void nextAdjustment() { chained_ = false; }
  void expectNoMore() { EXPECT_EQ(next_, log().size()); }

  CIImageRef image_ = testing::image({{1, 2, 3, 255}}, testing::kOpaque8);

 private:
  std::size_t next_ = 0;
  bool chained_ = false;
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
  nextAdjustment();
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

CIVector vector(const FilterValue& value) { return std::get<CIVector>(value); }

TEST_F(FilterInputs, LevelsOverTheWholeRangeAreAStraightLineAndHalvedIntervals) {
  applyLevelsForCIImage(image_, 0, 127.5, 255);
  expectFilter("TQLevelsFilter",
               {{"linear", CIVector::vectorWithX_Y(0, 1)},
                {"midtone", CIVector::vectorWithX_Y_Z_W(0.5, 2, -2, 0)},
                {"dark", CIVector::vectorWithX_Y_Z_W(0.25, 4, static_cast<float>(-1 / 0.75), 0)},
                {"light", CIVector::vectorWithX_Y_Z_W(0.75, static_cast<float>(1 / 0.75), -4, 0)}});
  expectNoMore();
}

TEST_F(FilterInputs, LevelsOfAMidtoneInTheMiddleGiveItNoWeight) {
  applyLevelsForCIImage(image_, 50, 125, 200);
  const auto& values = log().at(0)->values;
  EXPECT_NEAR(vector(values.at("linear")).X(), -50.0 / 150, 1e-7);
  EXPECT_NEAR(vector(values.at("linear")).Y(), 255.0 / 150, 1e-6);
  EXPECT_NEAR(vector(values.at("midtone")).X(), 125.0 / 255, 1e-7);
  EXPECT_NEAR(vector(values.at("midtone")).Y(), 255.0 / 75, 1e-5);
  EXPECT_NEAR(vector(values.at("midtone")).Z(), -255.0 / 75, 1e-5);
  EXPECT_NEAR(vector(values.at("midtone")).W(), 0, 1e-7);
}

TEST_F(FilterInputs, LevelsVectorsAreTheFormulasRoundedToSinglePrecision) {
  std::mt19937 random(21);
  const auto single = [](double value) { return static_cast<double>(static_cast<float>(value)); };
  for (int round = 0; round < 2000; ++round) {
    double points[3];
    for (double& point : points) point = static_cast<double>(random() % 255000) / 1000;
    std::ranges::sort(points);
    if (!(points[0] < points[1] && points[1] < points[2])) continue;
    log().clear();
    applyLevelsForCIImage(image_, points[0], points[1], points[2]);
    const double b = points[0] / 255;
    const double w = points[2] / 255;
    const double m = single(points[1] / 255);
    const double d = (m + b) * 0.5;
    const double l = (w + m) * 0.5;
    const auto& values = log().at(0)->values;
    const auto tone = [&](double centre, double weight) {
      return CIVector::vectorWithX_Y_Z_W(single(centre), single(1 / (single(centre) - b)),
                                         single(-1 / (w - single(centre))), single(weight));
    };
    EXPECT_EQ(vector(values.at("linear")),
              CIVector::vectorWithX_Y(-single(b / (w - b)), single(1 / (w - b))));
    EXPECT_EQ(vector(values.at("midtone")), tone(m, (w + b) * 0.5 - m));
    EXPECT_EQ(vector(values.at("dark")), tone(d, d - single(d)));
    EXPECT_EQ(vector(values.at("light")), tone(l, l - single(l)));
    EXPECT_LT(std::abs(vector(values.at("dark")).W()), 1e-7);
    EXPECT_LT(std::abs(vector(values.at("light")).W()), 1e-7);
  }
}

TEST_F(FilterInputs, EqualizeOfASmallPictureHasGainOneAndOffsetZeroAndNoDefaultsAreSet) {
  applyEqualizeForCIImage(image_, 0);  // nothing may be kept, so the filter gets the picture itself
  expectFilter("TQEqualizeFilter", {{"params", CIVector::vectorWithX_Y(1, 0)}}, false);
  expectNoMore();
}

TEST_F(FilterInputs, EqualizeMapsTheBoundsToZeroAndOne) {
  // Of 400 pixels, two are the half percent: levels 10 and 200, so bounds 11 and 199.
  std::vector<testing::Rgba8> pixels(400, {100, 100, 100, 255});
  pixels[0] = pixels[1] = {10, 10, 10, 255};
  pixels[2] = pixels[3] = {200, 200, 200, 255};
  image_ = testing::image(pixels, testing::kOpaque8);
  applyEqualizeForCIImage(image_);
  const CIVector params = vector(log().at(0)->values.at("params"));
  EXPECT_NEAR(params.X(), 255.0 / 188, 1e-6);
  EXPECT_NEAR(params.Y(), -11.0 / 188, 1e-7);
}

TEST_F(FilterInputs, ReplaceColorSelectsAdjustsTurnsAndLaysOverTheInput) {
  applyReplaceColorForCIImage(image_,
                              NSColor::colorWithCalibratedRed_green_blue_alpha(0.1, 0.2, 0.3, 0.4),
                              50.1, 90, 100.0 / 3, -200.0 / 3);
  expectFilter("TQReplaceColorSelectiveFilter", {{"sourceColor", CIColor(0.1, 0.2, 0.3, 0.4)},
                                                 {"diameter", 50.1 / 200.0},
                                                 {"_hue", 90 / 180.0 * 3.14},
                                                 {"_saturation", 100.0 / 3 / 100.0 + 1.0},
                                                 {"_lightness", -200.0 / 3 / 100.0}});
  expectFilter("CIColorControls", {{"inputSaturation", 1.333333}, {"inputBrightness", -0.666667}});
  expectFilter("CIHueAdjust", {{"inputAngle", 1.57}});
  expectFilter("CISourceOverCompositing", {{"inputBackgroundImage", image_}});
  expectNoMore();
}

TEST_F(FilterInputs, CurvesHandsOverTheRamp) {
  const CIImageRef ramp = testing::image(testing::allGreys(), testing::kOpaque8);
  applyCurvesForCIImage(image_, ramp);
  expectFilter("TQCurvesFilter", {{"rezImage", ramp}});
  expectNoMore();
}

TEST_F(FilterInputs, ColorBalanceHandsOverTheCalculatorsRamp) {
  applyColorBalanceForCIImage(image_, 5, -10, 15, 20, -25, 30, -35, 40, -45);
  const CIImageRef ramp = std::get<CIImageRef>(log().at(0)->values.at("rezImage"));
  expectFilter("TQCurvesFilter", {{"rezImage", ramp}});
  expectNoMore();
  EXPECT_EQ(std::get<CIImage::Source>(ramp->recipe()).image.colorSpace, nullptr);
  EXPECT_EQ(testing::renderedFloats(ramp),
            testing::renderedFloats(
                TQCValuesCalculator::sharedInstance().valuesImageForColorSpace_forOKAction(nullptr,
                                                                                           false)));
}

TEST_F(FilterInputs, RunningAFilterSetsItsImageAndNothingElse) {
  const CIFilterRef filter = CIFilter::filterWithName("CIColorPosterize");
  filter->setValue_forKey(7.0, "inputLevels");
  const CIImageRef output = applyFilterForCIImage(image_, filter);
  expectFilter("CIColorPosterize", {{"inputLevels", 7.0}}, false);
  EXPECT_EQ(output, log().at(0)->output);
  // Another image takes the place of the first.
  const CIImageRef other = testing::image({{4, 5, 6, 255}}, testing::kOpaque8);
  applyFilterForCIImage(other, filter);
  EXPECT_EQ(std::get<CIImageRef>(log().at(0)->values.at("inputImage")), other);
  EXPECT_EQ(applyFilterForCIImage(image_, nullptr), nullptr);
}

TEST_F(FilterInputs, AnUnknownFilterGivesNoImage) {
  CIFilter::registerFilterName_constructor_classAttributes(
      "CIColorInvert", [](std::string_view) { return CIFilterRef(); }, {});
  EXPECT_EQ(applyInvertForCIImage(image_), nullptr);
  CIFilter::registerFilterName_constructor_classAttributes(
      "TQLevelsFilter", [](std::string_view) { return CIFilterRef(); }, {});
  EXPECT_EQ(applyLevelsForCIImage(image_, 0, 128, 255), nullptr);
}

}  // namespace
}  // namespace kelvo
