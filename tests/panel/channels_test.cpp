// Color Balance, Channel Mixer and Curves: one set of controls for several channels.

#include <gtest/gtest.h>

#include "tests/panel/panel_fixture.h"

namespace kelvo {
namespace {

using testing::changes;
using testing::PanelTest;
using testing::PreviewCount;
using testing::Rgb;
using testing::Texts;

class Channels : public PanelTest {
 protected:
  static void click(const NSMatrix* matrix, int row = 0) {
    QTest::mouseClick(matrix->cellAtRow_column(row, 0), Qt::LeftButton, {}, {5, 8});
  }
  [[nodiscard]] std::vector<int> mixerCells() const {
    return {c().channelMixerRedChannel->selectedCell()->state(),
            c().channelMixerGreenChannel->selectedCell()->state(),
            c().channelMixerBlueChannel->selectedCell()->state()};
  }
  [[nodiscard]] std::vector<int> balanceCells() const {
    return {c().colorBalanceShadowsChannel->selectedCell()->state(),
            c().colorBalanceMidtonesChannel->selectedCell()->state(),
            c().colorBalanceHighlightsChannel->selectedCell()->state()};
  }
  [[nodiscard]] QStringList mixerTexts() const {
    return {c().channelMixerRedValue->text(), c().channelMixerGreenValue->text(),
            c().channelMixerBlueValue->text(), c().channelMixerConstantValue->text()};
  }
};

// Channel Mixer

TEST_F(Channels, AResetMixerShowsRedWithAllOfItself) {
  put("cmchannel", "2");
  put("cmrg", "50");
  showAdjustment(10);
  c().resetChannelMixer(nullptr);
  EXPECT_EQ(mixerTexts(), QStringList({"100%", "0%", "0%", "0%"}));
  EXPECT_EQ(mixerCells(), (std::vector{1, 0, 0}));
  EXPECT_EQ(text("cmchannel"), "0");
  EXPECT_EQ(text("cmrr"), "100");
}

TEST_F(Channels, AMixerCellSwitchesTheSlidersToItsOutput) {
  put("cmgr", "-12.5");
  put("cmbc", "7");
  showAdjustment(10);
  Texts before = texts();
  click(c().channelMixerGreenChannel);
  EXPECT_EQ(changes(before, texts()), (Texts{{"cmchannel", "1"}}));
  EXPECT_EQ(mixerCells(), (std::vector{0, 1, 0}));
  EXPECT_EQ(mixerTexts(), QStringList({"-13%", "100%", "0%", "0%"}));
  EXPECT_EQ(c().channelMixerRedSlider->doubleValue(), -12.5);
  click(c().channelMixerBlueChannel);
  EXPECT_EQ(text("cmchannel"), "2");
  EXPECT_EQ(mixerCells(), (std::vector{0, 0, 1}));
  EXPECT_EQ(mixerTexts(), QStringList({"0%", "0%", "100%", "7%"}));
  click(c().channelMixerBlueChannel);  // the chosen one again
  EXPECT_EQ(mixerCells(), (std::vector{0, 0, 1}));
  click(c().channelMixerRedChannel);
  EXPECT_EQ(mixerCells(), (std::vector{1, 0, 0}));
  EXPECT_EQ(text("cmchannel"), "0");
}

TEST_F(Channels, TheMixerStoresTheFourKeysOfItsOutput) {
  const std::pair<const char*, std::string> outputs[] = {
      {"0", "cmr"}, {"1", "cmg"}, {"2", "cmb"}, {"7", "cmr"}};
  for (const auto& [channel, prefix] : outputs) {
    *params_ = *testing::defaultParameters();
    put("cmchannel", channel);
    showAdjustment(10);
    for (KelvoTextField* field : {c().channelMixerRedValue, c().channelMixerGreenValue,
                                  c().channelMixerBlueValue, c().channelMixerConstantValue}) {
      typeAndConfirm(field, "12%");
      EXPECT_EQ(field->text(), "12%");
    }
    const Texts changed = changes(testing::textsOf(*testing::defaultParameters()), texts());
    Texts expected{{"filterPopUp", "10"}, {"cmchannel", channel}};
    for (const char* source : {"r", "g", "b", "c"}) expected[prefix + source] = "12.000000";
    if (std::string(channel) == "0") expected.erase("cmchannel");
    EXPECT_EQ(changed, expected) << channel;
  }
}

TEST_F(Channels, TheMixerReachesTwoHundredPercent) {
  showAdjustment(10);
  typeAndConfirm(c().channelMixerConstantValue, "-300%");
  EXPECT_EQ(text("cmrc"), "-200.000000");
  EXPECT_EQ(c().channelMixerConstantValue->text(), "-200%");
}

// Color Balance

TEST_F(Channels, ABalanceCellSwitchesTheSlidersToItsTones) {
  put("colorBalanceMG", "20.5");
  put("colorBalanceHB", "-30");
  showAdjustment(3);
  EXPECT_EQ(balanceCells(), (std::vector{1, 0, 0}));
  const Texts before = texts();
  click(c().colorBalanceMidtonesChannel);
  EXPECT_EQ(changes(before, texts()), (Texts{{"colorBalanceChannel", "1"}}));
  EXPECT_EQ(balanceCells(), (std::vector{0, 1, 0}));
  EXPECT_EQ(c().colorBalanceMGSlider->doubleValue(), 20.5);
  EXPECT_EQ(c().colorBalanceMGValue->text(), "21");
  click(c().colorBalanceHighlightsChannel);
  EXPECT_EQ(balanceCells(), (std::vector{0, 0, 1}));
  EXPECT_EQ(c().colorBalanceYBSlider->doubleValue(), -30);
  EXPECT_EQ(c().colorBalanceMGValue->text(), "0");
}

TEST_F(Channels, TheBalanceStoresTheThreeKeysOfItsTones) {
  for (const auto& [tones, prefix] : {std::pair{"0", "S"}, {"1", "M"}, {"2", "H"}}) {
    *params_ = *testing::defaultParameters();
    put("colorBalanceChannel", tones);
    showAdjustment(3);
    const Texts before = texts();
    QTest::keyClick(c().colorBalanceCRSlider, Qt::Key_Right);
    QTest::mouseClick(button("colorBalanceMGDown"), Qt::LeftButton);
    typeAndConfirm(c().colorBalanceYBValue, "44");
    const std::string key = std::string("colorBalance") + prefix;
    EXPECT_EQ(changes(before, texts()),
              (Texts{{key + "R", "1.000000"}, {key + "G", "-1.000000"}, {key + "B", "44.000000"}}));
  }
}

TEST_F(Channels, TonesOfNoneAreShownAsHighlightsAndStoredAsShadows) {
  put("colorBalanceChannel", "3");
  put("colorBalanceHR", "40");
  showAdjustment(3);
  EXPECT_EQ(c().colorBalanceCRValue->text(), "40");
  EXPECT_EQ(balanceCells(), (std::vector{0, 0, 0}));
  c().applyColorBalance(c().colorBalanceCRSlider);
  EXPECT_EQ(text("colorBalanceSR"), "40.000000");
  EXPECT_EQ(text("colorBalanceHR"), "40");
}

// Curves

class CurvesTab : public Channels {
 protected:
  void SetUp() override {
    PanelTest::SetUp();
    showAdjustment(2);
  }
  [[nodiscard]] KelvoTQCurvesView& view() const { return c().curvesView->view(); }
};

TEST_F(CurvesTab, ARowChoosesTheCurveThatIsEdited) {
  const Texts before = texts();
  click(c().curvesChannel, 3);
  EXPECT_EQ(changes(before, texts()), (Texts{{"curvesChannel", "3"}}));
  EXPECT_EQ(view().activeChannel(), 3);
  click(c().curvesChannel, 0);
  EXPECT_EQ(text("curvesChannel"), "0");
  EXPECT_EQ(view().activeChannel(), 0);
}

TEST_F(CurvesTab, TheStoredRowIsShown) {
  put("curvesChannel", "1");
  panel_->reload();
  EXPECT_EQ(c().curvesChannel->selectedRow(), 1);
  EXPECT_EQ(c().curvesChannel->cellAtRow_column(1, 0)->state(), 1);
  EXPECT_EQ(view().activeChannel(), 1);
}

TEST_F(CurvesTab, ARowThatDoesNotExistIsTheFirst) {
  for (const char* channel : {"4", "-1", "99"}) {
    put("curvesChannel", channel);
    panel_->reload();
    EXPECT_EQ(view().activeChannel(), 0);
    EXPECT_EQ(text("curvesChannel"), channel);
  }
}

TEST_F(CurvesTab, ApplyingStoresThePointsForEverySender) {
  for (QObject* sender : {static_cast<QObject*>(nullptr), static_cast<QObject*>(panel_.get()),
                          static_cast<QObject*>(c().levelsShadowsSlider)}) {
    view().resetCurves();
    view().setActiveChannel(0);
    view().addPointToCurveAt({50.5, 90.25});
    put("rgbN", "9");
    c().applyCurves(sender);
    EXPECT_EQ(text("rgbN"), "3");
    EXPECT_EQ(text("rgbPoints"), "0.000000 0.000000,50.500000 90.250000,191.000000 191.000000");
  }
}

TEST_F(CurvesTab, APointAddedWithTheMouseIsStoredAndShownWhenTheCurveIsDrawn) {
  showActivePanel();
  // The middle of the diagonal, in a widget of 198 x 198 with a margin of 3; then up.
  const QPoint middle(99, 98);
  QTest::mousePress(c().curvesView, Qt::LeftButton, {}, middle);
  QTest::mouseMove(c().curvesView, middle - QPoint(0, 40));
  QTest::mouseRelease(c().curvesView, Qt::LeftButton, {}, middle - QPoint(0, 40));
  QApplication::processEvents();
  EXPECT_EQ(text("rgbN"), "3");
  EXPECT_TRUE(text("rgbPoints").starts_with("0.000000 0.000000,"));
  EXPECT_GT(after(128, 0)[0], 160);
}

TEST_F(CurvesTab, AResetMakesThemStraight) {
  view().addPointToCurveAt({50, 90});
  put("curvesChannel", "2");
  c().resetCurves(nullptr);
  EXPECT_EQ(text("filterPopUp"), "2");
  EXPECT_EQ(text("curvesChannel"), "0");
  EXPECT_EQ(text("rgbN"), "2");
  EXPECT_EQ(text("rgbPoints"), "0.000000 0.000000,191.000000 191.000000");
  EXPECT_EQ(view().activeChannel(), 0);
}

TEST_F(CurvesTab, DrawingRendersThePreviewOnceHoweverManyCurvesAreDrawn) {
  for (const int channel : {0, 1, 2, 3}) {
    view().setActiveChannel(channel);
    view().addPointToCurveAt({50, 90});
  }
  showActivePanel();
  QApplication::processEvents();
  const QImage shown = c().afterView->grab().toImage();
  view().setActiveChannel(0);
  view().addPointToCurveAt({120, 10});
  c().curvesView->repaint();
  EXPECT_NE(c().afterView->grab().toImage(), shown);
}

TEST_F(CurvesTab, PointsAreMarkedWithThePicturesOfTheBundle) {
  showActivePanel();
  view().addPointToCurveAt({96, 96});
  const QImage without = c().curvesView->grab().toImage();
  const auto bundle = NSBundle::bundleWithPath(KELVO_BINARY_DIR "/lib/kelvo/Kelvo Images.action");
  ASSERT_TRUE(bundle.ok());
  panel_->setBundle(*bundle);
  const QImage with = c().curvesView->grab().toImage();
  // Where the point is, and nowhere far from it.
  const auto differs = [&](QRect place) { return with.copy(place) != without.copy(place); };
  EXPECT_TRUE(differs({90, 90, 18, 18}));
  EXPECT_FALSE(differs({120, 20, 40, 40}));
}

TEST_F(CurvesTab, TheHistogramIsOffAtFirstAndShownWhenAskedFor) {
  EXPECT_FALSE(c().curvesHistogram->isChecked());
  showActivePanel();
  const QImage without = c().curvesView->grab().toImage();
  c().curvesHistogram->setFocus();
  QTest::keyClick(c().curvesHistogram, Qt::Key_Space);
  EXPECT_NE(c().curvesView->grab().toImage(), without);
  QTest::keyClick(c().curvesHistogram, Qt::Key_Space);
  EXPECT_EQ(c().curvesView->grab().toImage(), without);
}

}  // namespace
}  // namespace kelvo
