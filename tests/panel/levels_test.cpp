#include <gtest/gtest.h>

#include <QStyle>
#include <QStyleOptionSlider>

#include "tests/panel/panel_fixture.h"

namespace kelvo {
namespace {

using testing::changes;
using testing::PanelTest;
using testing::Rgb;
using testing::Texts;

class Levels : public PanelTest {
 protected:
  void putLevels(const char* shadows, const char* midtones, const char* highlights) {
    put("levelsShadowsSlider", shadows);
    put("levelsMidtonesSlider", midtones);
    put("levelsHighlightsSlider", highlights);
    panel_->reload();
  }
  [[nodiscard]] double shadows() const { return c().levelsShadowsSlider->doubleValue(); }
  [[nodiscard]] double midtones() const { return c().levelsMidtonesSlider->doubleValue(); }
  [[nodiscard]] double highlights() const { return c().levelsHighlightsSlider->doubleValue(); }
};

TEST_F(Levels, AResetStoresTheLiteralsAndTheGeometry) {
  putLevels("10", "100", "200");
  c().resetLevels(nullptr);
  EXPECT_EQ(text("levelsShadowsSlider"), "0.0");
  EXPECT_EQ(text("levelsMidtonesSlider"), "128.0");
  EXPECT_EQ(text("levelsHighlightsSlider"), "255.0");
  EXPECT_EQ(c().levelsLength, 255);
  EXPECT_EQ(c().levelsProportion, 128.0 / 255);
}

TEST_F(Levels, UpdatingShowsTheStoredLevels) {
  putLevels("10.5", "100.25", "200");
  EXPECT_EQ(shadows(), 10.5);
  EXPECT_EQ(midtones(), 100.25);
  EXPECT_EQ(highlights(), 200);
  EXPECT_EQ(c().levelsShadowsValue->text(), "11");
  EXPECT_EQ(c().levelsMidtonesValue->text(), "100");
  EXPECT_EQ(c().levelsLength, 189.5);
  EXPECT_DOUBLE_EQ(c().levelsProportion, 89.75 / 189.5);
}

TEST_F(Levels, TheShadowsStayElevenBelowTheHighlights) {
  putLevels("100", "102", "105");
  c().levelsShadowsSlider->setDoubleValue(100);
  c().levelsShadowsChanged(c().levelsShadowsSlider);
  EXPECT_EQ(shadows(), 94);
  EXPECT_EQ(c().levelsShadowsValue->text(), "94");
  // The midtones stood at 2/5 of the range.
  EXPECT_DOUBLE_EQ(midtones(), 94 + 11 * 0.4);
  EXPECT_EQ(c().levelsMidtonesValue->text(), "98");
}

TEST_F(Levels, ADistanceOfExactlyElevenIsMadeTheSameAgainMoreIsKept) {
  putLevels("0", "100", "200");
  c().levelsShadowsSlider->setDoubleValue(189);
  c().levelsShadowsChanged(nullptr);
  EXPECT_EQ(shadows(), 189);
  c().levelsShadowsSlider->setDoubleValue(188.5);
  c().levelsShadowsChanged(nullptr);
  EXPECT_EQ(shadows(), 188.5);
  c().levelsShadowsSlider->setDoubleValue(189.5);
  c().levelsShadowsChanged(nullptr);
  EXPECT_EQ(shadows(), 189);
}

TEST_F(Levels, TheHighlightsStayElevenAboveTheShadows) {
  putLevels("100", "150", "200");
  c().levelsHighlightsSlider->setDoubleValue(60);
  c().levelsHighlightsChanged(nullptr);
  EXPECT_EQ(highlights(), 111);
  EXPECT_EQ(c().levelsHighlightsValue->text(), "111");
  EXPECT_EQ(midtones(), 105.5);
  EXPECT_EQ(c().levelsMidtonesValue->text(), "106");
}

TEST_F(Levels, TheMidtonesStaySevenFromEitherEnd) {
  putLevels("0", "128", "255");
  c().levelsMidtonesSlider->setDoubleValue(252);
  c().levelsMidtonesChanged(nullptr);
  EXPECT_EQ(midtones(), 248);
  EXPECT_EQ(c().levelsMidtonesValue->text(), "248");
  EXPECT_EQ(c().levelsProportion, 248.0 / 255);
  c().levelsMidtonesSlider->setDoubleValue(3);
  c().levelsMidtonesChanged(nullptr);
  EXPECT_EQ(midtones(), 7);
  EXPECT_EQ(c().levelsProportion, 7.0 / 255);
  EXPECT_EQ(c().levelsLength, 255);
}

TEST_F(Levels, TheMidtonesKeepTheirProportionWhenTheHighlightsMove) {
  putLevels("0", "128", "255");
  c().levelsMidtonesSlider->setDoubleValue(64);
  c().levelsMidtonesChanged(nullptr);
  c().levelsHighlightsSlider->setDoubleValue(128);
  c().levelsHighlightsChanged(nullptr);
  EXPECT_DOUBLE_EQ(midtones(), 128 * (64.0 / 255));  // 32.12…
  EXPECT_EQ(c().levelsMidtonesValue->text(), "32");
  EXPECT_EQ(c().levelsProportion, 64.0 / 255);
}

TEST_F(Levels, MovingASliderStoresNothingAndRefreshesThePreviewFromWhatIsStored) {
  for (NSSlider* slider :
       {c().levelsShadowsSlider, c().levelsMidtonesSlider, c().levelsHighlightsSlider}) {
    const Texts before = texts();
    const NSImageRef shown = c().afterView->image();
    QTest::keyClick(slider, Qt::Key_PageDown);
    QTest::keyClick(slider, Qt::Key_PageUp);
    QTest::keyClick(slider, Qt::Key_PageUp);
    EXPECT_EQ(texts(), before);
    EXPECT_NE(c().afterView->image(), shown);
  }
  for (const int x : {0, 40, 100, 200, 255}) EXPECT_EQ(after(x, 0), (Rgb{x, x, x}));
}

TEST_F(Levels, ADragWithTheMouseMovesTheLevelsAndStoresNothing) {
  showActivePanel();
  NSSlider* slider = c().levelsShadowsSlider;
  QStyleOptionSlider option;
  option.initFrom(slider);
  option.orientation = Qt::Horizontal;
  option.minimum = slider->minimum();
  option.maximum = slider->maximum();
  option.sliderPosition = slider->value();
  const QPoint handle =
      slider->style()
          ->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderHandle, slider)
          .center();
  const Texts before = texts();
  QTest::mousePress(slider, Qt::LeftButton, {}, handle);
  QTest::mouseMove(slider, handle + QPoint(30, 0));
  QTest::mouseRelease(slider, Qt::LeftButton, {}, handle + QPoint(30, 0));
  EXPECT_GT(shadows(), 20);
  EXPECT_GT(midtones(), 130);
  EXPECT_EQ(c().levelsShadowsValue->text(), QString::number(shadows()));
  EXPECT_EQ(texts(), before);
}

TEST_F(Levels, AStepButtonStoresAllThreeAsTheyStand) {
  QTest::mouseClick(button("levelsShadowsUp"), Qt::LeftButton);
  EXPECT_EQ(text("levelsShadowsSlider"), "1.000000");
  EXPECT_EQ(text("levelsMidtonesSlider"), "128.498039");  // 1 + 254 * 128/255
  EXPECT_EQ(text("levelsHighlightsSlider"), "255.000000");
  EXPECT_EQ(c().levelsMidtonesValue->text(), "128");
}

TEST_F(Levels, LevelsThatWereDraggedAreSetByReturnInAField) {
  c().levelsShadowsSlider->setDoubleValue(51);
  c().levelsShadowsChanged(c().levelsShadowsSlider);
  EXPECT_EQ(text("levelsShadowsSlider"), "0.0");
  QTest::keyClick(c().levelsShadowsValue, Qt::Key_Return);
  EXPECT_EQ(text("levelsShadowsSlider"), "51.000000");
  EXPECT_EQ(after(51, 0), (Rgb{0, 0, 0}));
}

TEST_F(Levels, ATypedLevelIsStoredAndKeepsItsDistance) {
  typeAndConfirm(c().levelsHighlightsValue, "5");
  EXPECT_EQ(text("levelsHighlightsSlider"), "11.000000");
  typeAndConfirm(c().levelsMidtonesValue, "300");
  EXPECT_EQ(text("levelsMidtonesSlider"), "4.000000");
  typeAndConfirm(c().levelsHighlightsValue, "255");
  typeAndConfirm(c().levelsShadowsValue, "254");
  EXPECT_EQ(text("levelsShadowsSlider"), "244.000000");
}

TEST_F(Levels, ARangeWithoutLengthGetsItsMidtonesInTheMiddle) {
  *params_ = ParameterDictionary();
  panel_->reload();
  EXPECT_EQ(c().levelsLength, 0);
  typeAndConfirm(c().levelsHighlightsValue, "200");
  EXPECT_EQ(text("levelsShadowsSlider"), "0.000000");
  EXPECT_EQ(text("levelsMidtonesSlider"), "100.000000");
  EXPECT_EQ(text("levelsHighlightsSlider"), "200.000000");
}

TEST_F(Levels, StoringChangesTheThreeKeysAlone) {
  const Texts before = texts();
  QTest::mouseClick(button("levelsHighlightsDown"), Qt::LeftButton);
  EXPECT_EQ(changes(before, texts()),
            (Texts{{"levelsShadowsSlider", "0.000000"},
                   {"levelsMidtonesSlider", "127.498039"},  // 254 * 128/255
                   {"levelsHighlightsSlider", "254.000000"}}));
}

}  // namespace
}  // namespace kelvo
