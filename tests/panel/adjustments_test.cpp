// Every adjustment's update, reset and apply: what is shown, what is stored, by whom.

#include <gtest/gtest.h>

#include <QPushButton>

#include "tests/panel/panel_fixture.h"

namespace kelvo {
namespace {

using testing::changes;
using testing::PanelTest;
using testing::PreviewCount;
using testing::Texts;

struct SimpleSetting {
  int number;
  const char* slider;  // also the key
  double low;
  double high;
  const char* resetText;
};

// The adjustments whose sliders store under their own names.
constexpr SimpleSetting kSettings[] = {
    {4, "brightnessAndContrastBrightnessSlider", -100, 100, "0"},
    {4, "brightnessAndContrastContrastSlider", -100, 100, "0"},
    {6, "hueOrSaturationHueSlider", -180, 180, "0"},
    {6, "hueOrSaturationSaturationSlider", -100, 100, "0"},
    {6, "hueOrSaturationLightnessSlider", -100, 100, "0"},
    {8, "colorizeHueSlider", -180, 180, "0"},
    {8, "colorizeIntensitySlider", 0, 100, "0"},
    {9, "replaceColorRadiusSlider", 0, 200, "1"},
    {9, "replaceColorHueSlider", -180, 180, "0"},
    {9, "replaceColorSaturationSlider", -100, 100, "0"},
    {9, "replaceColorLightnessSlider", -100, 100, "0"},
    {11, "exposureSlider", -100, 100, "0.0"},
    {15, "thresholdSlider", 0, 255, "128.0"},
    {16, "posterizeSlider", 2, 64, "2.0"},
};

class Setting : public PanelTest, public ::testing::WithParamInterface<SimpleSetting> {
 protected:
  void SetUp() override {
    PanelTest::SetUp();
    showAdjustment(GetParam().number);
    base_ = QString(GetParam().slider).chopped(6);
    slider_ = panel_->findChild<NSSlider*>(GetParam().slider);
    value_ = panel_->findChild<KelvoTextField*>(base_ + "Value");
    ASSERT_NE(slider_, nullptr);
    ASSERT_NE(value_, nullptr);
    ASSERT_EQ(value_->getSlider(), slider_);
  }
  [[nodiscard]] std::string stored() const { return text(GetParam().slider); }

  QString base_;
  NSSlider* slider_ = nullptr;
  KelvoTextField* value_ = nullptr;
};

TEST_P(Setting, HasItsRange) {
  EXPECT_EQ(slider_->minValue(), GetParam().low);
  EXPECT_EQ(slider_->maxValue(), GetParam().high);
}

TEST_P(Setting, TheSliderGetsTheExactDoubleTheFieldTheRoundedNumber) {
  put(GetParam().slider, "20.5");
  panel_->reload();
  EXPECT_EQ(slider_->doubleValue(), 20.5);
  EXPECT_EQ(value_->text(), "21");
  EXPECT_EQ(stored(), "20.5");
}

TEST_P(Setting, AbsentItReadsAsZero) {
  *params_ = ParameterDictionary();
  showAdjustment(GetParam().number);
  EXPECT_EQ(slider_->doubleValue(), std::max(0.0, GetParam().low));
  EXPECT_EQ(value_->text(), "0");
}

TEST_P(Setting, ASliderMovedByTheKeyboardIsStored) {
  put(GetParam().slider, "20");
  panel_->reload();
  QTest::keyClick(slider_, Qt::Key_Right);
  EXPECT_EQ(stored(), "21.000000");
  EXPECT_EQ(value_->text(), "21");
}

TEST_P(Setting, TheStepButtonsStore) {
  put(GetParam().slider, "20.25");
  panel_->reload();
  QTest::mouseClick(panel_->findChild<KelvoButton*>(base_ + "Up"), Qt::LeftButton);
  EXPECT_EQ(stored(), "21.250000");
  EXPECT_EQ(value_->text(), "21");
  auto* down = panel_->findChild<KelvoButton*>(base_ + "Down");
  QTest::mouseClick(down, Qt::LeftButton);
  QTest::keyClick(down, Qt::Key_Space);
  EXPECT_EQ(stored(), "19.250000");
}

TEST_P(Setting, StepButtonsStopAtTheEnds) {
  put(GetParam().slider, "1000");
  panel_->reload();
  QTest::mouseClick(panel_->findChild<KelvoButton*>(base_ + "Up"), Qt::LeftButton);
  EXPECT_EQ(params_->doubleValue(GetParam().slider), GetParam().high);
  put(GetParam().slider, "-1000");
  panel_->reload();
  QTest::mouseClick(panel_->findChild<KelvoButton*>(base_ + "Down"), Qt::LeftButton);
  EXPECT_EQ(params_->doubleValue(GetParam().slider), GetParam().low);
}

TEST_P(Setting, ATypedNumberIsStored) {
  typeAndConfirm(value_, "33");
  EXPECT_EQ(stored(), "33.000000");
  EXPECT_EQ(slider_->doubleValue(), 33);
}

TEST_P(Setting, StoringTouchesTheKeysOfItsAdjustmentAlone) {
  const Texts before = texts();
  typeAndConfirm(value_, "33");
  for (const auto& [key, text] : changes(before, texts())) {
    const bool own = std::ranges::any_of(kSettings, [&](const SimpleSetting& setting) {
      return setting.number == GetParam().number && setting.slider == key;
    });
    const bool color = (GetParam().number == 8 && key.starts_with("colorizeColorWell")) ||
                       (GetParam().number == 9 && key.starts_with("replaceColorWell"));
    EXPECT_TRUE(own || color) << key;
  }
}

TEST_P(Setting, TheResetButtonStoresTheLiteral) {
  typeAndConfirm(value_, "33");
  auto* reset = c().tabView->currentWidget()->findChild<QPushButton*>();
  ASSERT_NE(reset, nullptr);
  QTest::mouseClick(reset, Qt::LeftButton);
  EXPECT_EQ(stored(), GetParam().resetText);
  EXPECT_EQ(slider_->doubleValue(), params_->doubleValue(GetParam().slider));
}

TEST_P(Setting, AStoredChangeRendersThePreviewOnce) {
  const PreviewCount previews(*params_);
  QTest::keyClick(slider_, Qt::Key_Right);
  EXPECT_EQ(previews.count(), 1U);
  QTest::mouseClick(panel_->findChild<KelvoButton*>(base_ + "Up"), Qt::LeftButton);
  EXPECT_EQ(previews.count(), 2U);
  typeAndConfirm(value_, "3");
  EXPECT_EQ(previews.count(), 3U);
}

INSTANTIATE_TEST_SUITE_P(Panel, Setting, ::testing::ValuesIn(kSettings),
                         [](const auto& tested) { return tested.param.slider; });

// Resets

using Resets = PanelTest;

TEST_F(Resets, StoreTheirNumberAndDefaultsAndNothingElse) {
  const Texts defaults = testing::textsOf(*testing::defaultParameters());
  const std::pair<int, std::vector<const char*>> prefixes[] = {
      {0, {"levels"}},
      {1, {}},
      {2,
       {"curvesChannel", "rgbN", "rN", "gN", "bN", "rgbPoints", "rPoints", "gPoints", "bPoints"}},
      {3, {"colorBalance"}},
      {4, {"brightnessAndContrast"}},
      {6, {"hueOrSaturation"}},
      {7, {}},
      {8, {"colorize"}},
      {9, {"replaceColor"}},
      {10, {"cm"}},
      {11, {"exposure"}},
      {13, {}},
      {14, {}},
      {15, {"threshold"}},
      {16, {"posterize"}}};
  for (const auto& [number, own] : prefixes) {
    for (const auto& [key, text] : defaults) {
      put(key.c_str(), key.ends_with("N") ? "2" : key.ends_with("Points") ? "0 9,191 99" : "1.5");
    }
    panel_->reload();
    showAdjustment(number);
    const Texts before = texts();
    auto* reset = c().tabView->currentWidget()->findChild<QPushButton*>();
    ASSERT_NE(reset, nullptr) << number;
    EXPECT_EQ(reset->text(), "Rese&t");
    QTest::mouseClick(reset, Qt::LeftButton);
    Texts expected = before;
    expected["filterPopUp"] = std::to_string(number);
    for (const auto& [key, text] : defaults) {
      for (const char* prefix : own) {
        if (key.starts_with(prefix)) expected[key] = text;
      }
    }
    EXPECT_EQ(texts(), expected) << number;
  }
}

TEST_F(Resets, ShowTheTabThatThePopUpNames) {
  put("filterPopUp", "16");
  c().filterPopUp->setCurrentIndex(16);
  c().resetThreshold(nullptr);  // of another adjustment than the pop-up's
  EXPECT_EQ(text("filterPopUp"), "15");
  EXPECT_EQ(c().tabView->currentIndex(), 16);
}

TEST_F(Resets, ValuesReadTheSameAsLiteralAndAsStoredFromASlider) {
  showAdjustment(16);
  put("posterizeSlider", "2.0");
  panel_->reload();
  const QString literal = c().posterizeValue->text();
  const double position = c().posterizeSlider->doubleValue();
  c().applyPosterize(c().posterizeSlider);
  EXPECT_EQ(text("posterizeSlider"), "2.000000");
  EXPECT_EQ(c().posterizeValue->text(), literal);
  EXPECT_EQ(c().posterizeSlider->doubleValue(), position);
}

// Senders

using Senders = PanelTest;

TEST_F(Senders, OthersThanControlsThatStoreOnlyRefreshThePreview) {
  void (KelvoController::*const applies[])(QObject*) = {
      &KelvoController::applyLevels,
      &KelvoController::applyAuto,
      &KelvoController::applyCurves,
      &KelvoController::applyColorBalance,
      &KelvoController::applyBrightnessAndContrast,
      &KelvoController::applyHueOrSaturation,
      &KelvoController::applyDesaturate,
      &KelvoController::applyColorize,
      &KelvoController::applyReplaceColor,
      &KelvoController::applyChannelMixer,
      &KelvoController::applyExposure,
      &KelvoController::applyInvert,
      &KelvoController::applyEqualize,
      &KelvoController::applyThreshold,
      &KelvoController::applyPosterize};
  const Texts before = texts();
  for (const auto apply : applies) {
    for (QObject* sender : {static_cast<QObject*>(nullptr), static_cast<QObject*>(panel_.get()),
                            static_cast<QObject*>(c().colorBalanceShadowsChannel),
                            static_cast<QObject*>(c().filterPopUp)}) {
      const NSImageRef shown = c().afterView->image();
      (c().*apply)(sender);
      EXPECT_NE(c().afterView->image(), shown);
    }
  }
  EXPECT_EQ(texts(), before);
}

TEST_F(Senders, AColorWellStoresWhereThereIsOneAndNowhereElse) {
  const Texts before = texts();
  c().applyPosterize(c().colorizeColorWell);
  c().applyChannelMixer(c().colorizeColorWell);
  c().applyHueOrSaturation(c().colorizeColorWell);
  c().applyLevels(c().colorizeColorWell);
  EXPECT_EQ(texts(), before);
  showAdjustment(8);
  c().applyColorize(c().colorizeColorWell);
  EXPECT_EQ(text("colorizeColorWellR"), "0.058131");
  EXPECT_EQ(text("colorizeColorWellG"), "0.055542");
  EXPECT_EQ(text("colorizeColorWellB"), "1.000000");
  EXPECT_EQ(text("colorizeColorWellA"), "1.000000");
  EXPECT_EQ(text("replaceColorWellR"), "0.0581305");
}

TEST_F(Senders, AnAdjustmentThatIsNotTheChosenOneIsStoredAndThePreviewShowsTheChosenOne) {
  showAdjustment(13);
  c().posterizeSlider->setDoubleValue(7);
  c().applyPosterize(c().posterizeSlider);
  EXPECT_EQ(text("posterizeSlider"), "7.000000");
  EXPECT_EQ(text("filterPopUp"), "13");
  EXPECT_EQ(after(100, 0), (testing::Rgb{155, 155, 155}));
}

// Colours

using Colors = PanelTest;

TEST_F(Colors, AWellShowsTheStoredColor) {
  put("replaceColorWellR", "0.25");
  put("replaceColorWellA", "0.5");
  showAdjustment(9);
  EXPECT_EQ(c().replaceColorWell->color(),
            NSColor::colorWithCalibratedRed_green_blue_alpha(0.25, 0.0555419, 1, 0.5));
}

TEST_F(Colors, AChosenColorIsStoredWithTheSliders) {
  showAdjustment(9);
  const Texts before = texts();
  c().replaceColorWell->chooseColor(
      NSColor::colorWithCalibratedRed_green_blue_alpha(0.5, 0.25, 0.125, 1));
  EXPECT_EQ(changes(before, texts()), (Texts{{"replaceColorRadiusSlider", "1.000000"},
                                             {"replaceColorHueSlider", "0.000000"},
                                             {"replaceColorSaturationSlider", "0.000000"},
                                             {"replaceColorLightnessSlider", "0.000000"},
                                             {"replaceColorWellR", "0.500000"},
                                             {"replaceColorWellG", "0.250000"},
                                             {"replaceColorWellB", "0.125000"},
                                             {"replaceColorWellA", "1.000000"}}));
}

TEST_F(Colors, AClickOnTheBeforePicturePicksTheColorToReplace) {
  showAdjustment(9);
  panel_->resize(900, 300);
  panel_->show();
  const QRect picture = c().beforeView->pictureRect();
  // In the lower row of the ramp column x is (x, 0, 255 - x).
  const QPoint place(picture.left() + picture.width() / 2, picture.bottom());
  const int x = (place.x() - picture.left()) * 256 / picture.width();
  QTest::mouseClick(c().beforeView, Qt::LeftButton, {}, place);
  const NSColor& color = c().replaceColorWell->color();
  EXPECT_NEAR(color.redComponent(), x / 255.0, 1e-5);
  EXPECT_EQ(color.greenComponent(), 0);
  EXPECT_NEAR(color.blueComponent(), (255 - x) / 255.0, 1e-5);
  EXPECT_EQ(text("replaceColorWellG"), "0.000000");
}

TEST_F(Colors, WithAnotherAdjustmentAClickOnThePictureDoesNothing) {
  for (const int number : {0, 8}) {
    showAdjustment(number);
    panel_->resize(900, 300);
    panel_->show();
    const Texts before = texts();
    QTest::mouseClick(c().beforeView, Qt::LeftButton, {}, c().beforeView->rect().center());
    EXPECT_EQ(texts(), before);
  }
}

}  // namespace
}  // namespace kelvo
