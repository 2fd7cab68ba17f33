// Waking, the choice of the adjustment, number fields, the end of a panel.

#include <gtest/gtest.h>

#include <QSignalSpy>

#include "tests/panel/panel_fixture.h"

// After the fixture: the name of a filter number would hide the curves object.
#include "action/apply_image.h"
#include "action/control.h"
#include "action/kelvo_images.h"
#include "action/load_curves.h"
#include "engine/filter_globals.h"

namespace kelvo {
namespace {

using testing::CapturedLog;
using testing::PanelTest;
using testing::PreviewCount;
using testing::Rgb;
using testing::Texts;

using Waking = PanelTest;

TEST_F(Waking, PublishesItselfAndItsCurvesView) {
  EXPECT_EQ(control, &c());
  EXPECT_EQ(curves.get(), &c().curvesView->view());
}

TEST_F(Waking, EditsTheDictionaryItselfNotACopy) {
  EXPECT_EQ(c().params, params_);
  EXPECT_EQ(c().parameters().content(), params_);
}

TEST_F(Waking, TakesTheSampleFromTheAfterView) {
  ASSERT_NE(c().beforeImage, nullptr);
  EXPECT_EQ(c().beforeImage->extent(), (CGRect{0, 0, 256, 2}));
  EXPECT_EQ(renderedPicture(*NSImageFromCIImage(c().beforeImage)), testing::rampPicture());
  EXPECT_EQ(renderedPicture(*c().beforeView->image()), testing::rampPicture());
}

TEST_F(Waking, SetsUpTheFilters) { EXPECT_NE(initialized, 0); }

TEST_F(Waking, LoadsTheStoredCurvesIntoTheView) {
  put("curvesChannel", "2");
  put("gN", "3");
  put("gPoints", "0 0,100 50,191 191");
  put("filterPopUp", "2");
  openPanel();
  const KelvoTQCurvesView& view = c().curvesView->view();
  EXPECT_EQ(view.curve(2).points, (std::vector<CurvePoint>{{0, 0}, {100, 50}, {191, 191}}));
  EXPECT_EQ(view.activeChannel(), 2);
}

TEST_F(Waking, ASecondTimeChangesNothing) {
  const CIImageRef sample = c().beforeImage;
  const auto filter = thresholdFilter;
  put("filterPopUp", "16");
  c().parameters().setContent(std::make_shared<ParameterDictionary>());
  control = nullptr;
  const NSImageRef shown = c().afterView->image();
  c().awakeFromNib();
  EXPECT_EQ(c().beforeImage, sample);
  EXPECT_EQ(thresholdFilter, filter);
  EXPECT_EQ(c().params, params_);
  EXPECT_EQ(control, nullptr);
  EXPECT_EQ(c().afterView->image(), shown);
  EXPECT_EQ(c().tabView->currentIndex(), 0);
}

TEST_F(Waking, ChangesNothingInTheParameters) {
  const Texts before = testing::textsOf(*testing::defaultParameters());
  for (int number = 0; number < 17; ++number) {
    params_ = testing::defaultParameters();
    put("filterPopUp", std::to_string(number).c_str());
    openPanel();
    Texts expected = before;
    expected["filterPopUp"] = std::to_string(number);
    EXPECT_EQ(texts(), expected) << number;
  }
}

TEST_F(Waking, AnOpenedActionWakesItsPanelAndReloadsItsCurves) {
  Kelvo_Images action;
  action.opened();  // without a panel
  action.setControl(&c());
  put("rN", "2");
  put("rPoints", "0 20,191 30");
  action.opened();
  EXPECT_EQ(control, &c());
  EXPECT_EQ(curves.get(), &c().curvesView->view());
  EXPECT_EQ(curves->curve(1).points, (std::vector<CurvePoint>{{0, 20}, {191, 30}}));
}

TEST_F(Waking, AnActionThatIsOpenedFirstWakesThePanel) {
  panel_ = nullptr;
  QWidget view;
  KelvoController sleeping(view);
  sleeping.parameters().setContent(params_);
  sleeping.afterView->setImage(NSImageFromCIImage(imageWithPicture(testing::rampPicture())));
  Kelvo_Images action;
  action.setControl(&sleeping);
  action.opened();
  EXPECT_TRUE(sleeping.awaken);
  EXPECT_EQ(control, &sleeping);
}

// The choice

using Choice = PanelTest;

TEST_F(Choice, ParametersWithoutAnAdjustmentOpenOnLevels) {
  params_ = std::make_shared<ParameterDictionary>();
  openPanel();
  EXPECT_EQ(c().filterPopUp->currentIndex(), 0);
  EXPECT_EQ(c().tabView->currentIndex(), 0);
  EXPECT_EQ(c().levelsHighlightsValue->text(), "0");
}

TEST_F(Choice, EveryAdjustmentHasItsItemAndItsTab) {
  for (const int number : {0, 1, 2, 3, 4, 6, 7, 8, 9, 10, 11, 13, 14, 15, 16}) {
    put("filterPopUp", std::to_string(number).c_str());
    const NSImageRef shown = c().afterView->image();
    c().updateIt();
    EXPECT_EQ(c().filterPopUp->currentIndex(), number);
    EXPECT_EQ(c().tabView->currentIndex(), number);
    EXPECT_NE(c().afterView->image(), shown) << number;
  }
}

TEST_F(Choice, SeparatorsAreSelectedWithoutAPreviewOrAMessage) {
  for (const int number : {5, 12}) {
    const CapturedLog log;
    const NSImageRef shown = c().afterView->image();
    put("filterPopUp", std::to_string(number).c_str());
    c().updateIt();
    EXPECT_EQ(c().filterPopUp->currentIndex(), number);
    EXPECT_EQ(c().tabView->currentIndex(), number);
    EXPECT_EQ(c().afterView->image(), shown);
    EXPECT_EQ(log.lines().size(), 0U);
  }
}

TEST_F(Choice, NumbersThatSelectNothingKeepTheTabAndThePicture) {
  for (const char* number : {"17", "-1", "1000000"}) {
    const CapturedLog log;
    const NSImageRef shown = c().afterView->image();
    put("filterPopUp", number);
    c().updateIt();
    EXPECT_EQ(c().tabView->currentIndex(), 0);
    EXPECT_EQ(c().afterView->image(), shown);
    EXPECT_EQ(log.lines().size(), 0U);
  }
}

TEST_F(Choice, AnItemChosenByPeopleIsStoredAndShowsItsStoredSettings) {
  put("posterizeSlider", "5.000000");
  showActivePanel();
  const Texts before = texts();
  c().filterPopUp->setFocus();
  QTest::keyClick(c().filterPopUp, Qt::Key_End);
  EXPECT_EQ(testing::changes(before, texts()), (Texts{{"filterPopUp", "16"}}));
  EXPECT_EQ(c().tabView->currentIndex(), 16);
  EXPECT_EQ(c().posterizeSlider->doubleValue(), 5);
  EXPECT_EQ(c().posterizeValue->text(), "5");
}

TEST_F(Choice, KeysPassOverTheSeparators) {
  showAdjustment(4);
  showActivePanel();
  QTest::keyClick(c().filterPopUp, Qt::Key_Down);
  EXPECT_EQ(text("filterPopUp"), "6");
  QTest::keyClick(c().filterPopUp, Qt::Key_Up);
  EXPECT_EQ(text("filterPopUp"), "4");
}

TEST_F(Choice, LookingAtEveryAdjustmentLosesNoSetting) {
  put("levelsMidtonesSlider", "77.5");
  put("cmgb", "-12.000000");
  put("rgbN", "3");
  put("rgbPoints", "0.000000 0.000000,50.500000 90.250000,191.000000 191.000000");
  panel_->reload();
  showActivePanel();
  const Texts before = texts();
  for (int i = 0; i < 14; ++i) QTest::keyClick(c().filterPopUp, Qt::Key_Down);
  EXPECT_EQ(testing::changes(before, texts()), (Texts{{"filterPopUp", "16"}}));
}

TEST_F(Choice, SelectIndexMovesTheTabAlone) {
  const Texts before = texts();
  const NSImageRef shown = c().afterView->image();
  c().selectIndex(9);
  EXPECT_EQ(c().tabView->currentIndex(), 9);
  EXPECT_EQ(c().filterPopUp->currentIndex(), 0);
  EXPECT_EQ(texts(), before);
  EXPECT_EQ(c().afterView->image(), shown);
}

TEST_F(Choice, ApplyingByNumberStoresTheControlsWhereASliderDoes) {
  const std::pair<int, std::size_t> storedKeys[] = {{0, 0},  {1, 0},  {2, 0},  {3, 3},  {4, 2},
                                                    {6, 3},  {7, 0},  {8, 6},  {9, 8},  {10, 4},
                                                    {11, 1}, {13, 0}, {14, 0}, {15, 1}, {16, 1}};
  for (const auto& [number, count] : storedKeys) {
    params_ = testing::defaultParameters();
    openPanel();
    showAdjustment(number);
    const Texts before = texts();
    const NSImageRef shown = c().afterView->image();
    c().applyFilterByNumber(number);
    // Defaults such as "128.0" and "0" become "128.000000" and "0.000000".
    EXPECT_EQ(testing::changes(before, texts()).size(), count) << number;
    EXPECT_NE(c().afterView->image(), shown) << number;
  }
}

TEST_F(Choice, ApplyingByANumberOfNothingIsLoggedAndChangesNothing) {
  for (const int number : {5, 12, 17, 18, -1, 1000000}) {
    const CapturedLog log;
    const Texts before = texts();
    const NSImageRef shown = c().afterView->image();
    c().applyFilterByNumber(number);
    EXPECT_EQ(log.texts(), (std::vector<std::string>{"Error: undefined number"})) << number;
    EXPECT_EQ(texts(), before);
    EXPECT_EQ(c().afterView->image(), shown);
  }
}

TEST_F(Choice, ReloadingShowsWhatWasOpened) {
  const QSignalSpy changed(panel_.get(), &Panel::parametersChanged);
  *params_ = *testing::defaultParameters();
  put("filterPopUp", "2");
  put("bN", "2");
  put("bPoints", "0 100,191 100");
  panel_->reload();
  EXPECT_EQ(c().curvesView->view().curve(3).points,
            (std::vector<CurvePoint>{{0, 100}, {191, 100}}));
  EXPECT_EQ(c().tabView->currentIndex(), 2);
  // Blue is 100 of 192 everywhere: 132.8 of 255.
  EXPECT_EQ(after(0, 0)[2], 133);
  EXPECT_EQ(changed.count(), 0);
}

// Typed numbers

using Typing = PanelTest;

TEST_F(Typing, ANumberBeyondTheRangeBecomesItsEnd) {
  showAdjustment(15);
  typeAndConfirm(c().thresholdValue, "300");
  EXPECT_EQ(c().thresholdSlider->doubleValue(), 255);
  EXPECT_EQ(text("thresholdSlider"), "255.000000");
  EXPECT_EQ(c().thresholdValue->text(), "255");
  typeAndConfirm(c().thresholdValue, "-4");
  EXPECT_EQ(text("thresholdSlider"), "0.000000");
}

TEST_F(Typing, LettersReadAsZeroAndAreLimitedToTheRange) {
  showAdjustment(16);
  typeAndConfirm(c().posterizeValue, "9");
  EXPECT_EQ(text("posterizeSlider"), "9.000000");
  typeAndConfirm(c().posterizeValue, "many");
  EXPECT_EQ(text("posterizeSlider"), "2.000000");
  EXPECT_EQ(c().posterizeValue->text(), "2");
  showAdjustment(11);
  typeAndConfirm(c().exposureValue, "30");
  typeAndConfirm(c().exposureValue, "x");
  EXPECT_EQ(text("exposureSlider"), "0.000000");
}

TEST_F(Typing, AFractionIsDropped) {
  showAdjustment(15);
  typeAndConfirm(c().thresholdValue, "12.7");
  EXPECT_EQ(text("thresholdSlider"), "12.000000");
  EXPECT_EQ(c().thresholdValue->text(), "12");
}

TEST_F(Typing, AnEmptyFieldReadsAsZero) {
  showAdjustment(15);
  c().thresholdValue->clear();
  QTest::keyClick(c().thresholdValue, Qt::Key_Return);
  EXPECT_EQ(text("thresholdSlider"), "0.000000");
}

TEST_F(Typing, FractionalEndsOfARangeAreCutTowardsZero) {
  showAdjustment(11);
  c().exposureSlider->setMinValue(-2.5);
  c().exposureSlider->setMaxValue(3.5);
  typeAndConfirm(c().exposureValue, "50");
  EXPECT_EQ(text("exposureSlider"), "3.000000");
  typeAndConfirm(c().exposureValue, "-50");
  EXPECT_EQ(text("exposureSlider"), "-2.000000");
}

TEST_F(Typing, LeavingAFieldThatWasChangedStoresLeavingAnotherDoesNot) {
  showAdjustment(4);
  showActivePanel();
  c().brightnessAndContrastBrightnessValue->setFocus();
  const Texts before = texts();
  c().brightnessAndContrastContrastValue->setFocus();
  EXPECT_EQ(texts(), before);
  c().brightnessAndContrastContrastValue->selectAll();
  QTest::keyClicks(c().brightnessAndContrastContrastValue, "-5");
  EXPECT_EQ(texts(), before);
  c().brightnessAndContrastBrightnessValue->setFocus();
  EXPECT_EQ(text("brightnessAndContrastContrastSlider"), "-5.000000");
}

TEST_F(Typing, AClickOnAStepButtonStartsFromTheTypedNumber) {
  showAdjustment(15);
  showActivePanel();
  c().thresholdValue->setFocus();
  c().thresholdValue->selectAll();
  QTest::keyClicks(c().thresholdValue, "50");
  QTest::mouseClick(button("thresholdUp"), Qt::LeftButton);
  EXPECT_EQ(text("thresholdSlider"), "51.000000");
}

// The end

using Ending = PanelTest;

TEST_F(Ending, TearsDownTheFiltersAndLeavesNothingPointingToThePanel) {
  panel_ = nullptr;
  EXPECT_EQ(initialized, 0);
  EXPECT_EQ(control, nullptr);
  EXPECT_EQ(curves, nullptr);
}

TEST_F(Ending, TheSampleOutlivesThePanel) {
  const std::weak_ptr<const CIImage> sample = c().beforeImage;
  panel_ = nullptr;
  EXPECT_FALSE(sample.expired());
}

TEST_F(Ending, AnotherPanelStartsAfresh) {
  panel_ = nullptr;
  openPanel();
  EXPECT_NE(initialized, 0);
  EXPECT_EQ(control, &c());
  showAdjustment(13);
  EXPECT_EQ(after(10, 0), (Rgb{245, 245, 245}));
}

}  // namespace
}  // namespace kelvo
