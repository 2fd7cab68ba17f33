#include <gtest/gtest.h>

#include <QPainter>
#include <QSignalSpy>
#include <QTest>
#include <cmath>
#include <limits>

#include "panel/kelvo_button.h"
#include "panel/kelvo_image.h"
#include "panel/kelvo_tab_view.h"
#include "panel/kelvo_text_field.h"
#include "panel/ns_color_well.h"
#include "panel/ns_matrix.h"
#include "panel/setting_controls.h"
#include "tests/panel/action_recorder.h"

namespace kelvo {
namespace {

using testing::ActionRecorder;

class SliderAndButtons : public ::testing::Test {
 protected:
  void SetUp() override {
    slider_.setMinValue(-10);
    slider_.setMaxValue(100);
    slider_.setTargetAction(recorder_.action());
    up_.setTag(1);
    for (KelvoButton* button : {&up_, &down_}) button->setSlider(&slider_);
  }

  ActionRecorder recorder_;
  NSSlider slider_;
  KelvoButton up_;
  KelvoButton down_;
};

// Sliders

TEST_F(SliderAndButtons, ASliderHoldsAnyDoubleOfItsRange) {
  slider_.setDoubleValue(12.625);
  EXPECT_EQ(slider_.doubleValue(), 12.625);
  EXPECT_EQ(slider_.value(), 13);  // where its handle stands
  slider_.setIntValue(7);
  EXPECT_EQ(slider_.doubleValue(), 7);
  EXPECT_EQ(recorder_.senders().size(), 0U);
}

TEST_F(SliderAndButtons, ASliderKeepsToItsRange) {
  slider_.setDoubleValue(100.5);
  EXPECT_EQ(slider_.doubleValue(), 100);
  slider_.setDoubleValue(-11);
  EXPECT_EQ(slider_.doubleValue(), -10);
  slider_.setDoubleValue(std::numeric_limits<double>::infinity());
  EXPECT_EQ(slider_.doubleValue(), 100);
  slider_.setDoubleValue(std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(slider_.doubleValue(), -10);
}

TEST_F(SliderAndButtons, KeysMoveASliderByAnIncrementAndPerformItsAction) {
  slider_.setDoubleValue(12.25);
  QTest::keyClick(&slider_, Qt::Key_Right);
  EXPECT_EQ(slider_.doubleValue(), 13);
  QTest::keyClick(&slider_, Qt::Key_End);
  EXPECT_EQ(slider_.doubleValue(), 100);
  QTest::keyClick(&slider_, Qt::Key_Home);
  EXPECT_EQ(slider_.doubleValue(), -10);
  EXPECT_EQ(recorder_.senders(), (std::vector<QObject*>{&slider_, &slider_, &slider_}));
}

TEST_F(SliderAndButtons, AnIncrementOfOneFourthMakesQuarterSteps) {
  slider_.setMinValue(-0.6);
  slider_.setMaxValue(1.1);
  slider_.setIncrement(0.25);
  slider_.setDoubleValue(0.5);
  QTest::keyClick(&slider_, Qt::Key_Right);
  EXPECT_EQ(slider_.doubleValue(), 0.75);
  QTest::keyClick(&slider_, Qt::Key_Home);
  EXPECT_EQ(slider_.doubleValue(), -0.6);
  QTest::keyClick(&slider_, Qt::Key_End);
  EXPECT_EQ(slider_.doubleValue(), 1.1);
}

// Step buttons

TEST_F(SliderAndButtons, AClickStepsByExactlyOneWhateverTheIncrement) {
  slider_.setIncrement(5);
  slider_.setDoubleValue(12.5);
  QTest::mouseClick(&up_, Qt::LeftButton);
  EXPECT_EQ(slider_.doubleValue(), 13.5);
  EXPECT_EQ(recorder_.senders(), (std::vector<QObject*>{&up_}));
  QTest::mouseClick(&down_, Qt::LeftButton);
  QTest::mouseClick(&down_, Qt::LeftButton);
  EXPECT_EQ(slider_.doubleValue(), 11.5);
  EXPECT_EQ(recorder_.senders(), (std::vector<QObject*>{&up_, &down_, &down_}));
}

TEST_F(SliderAndButtons, TheStepIsMadeWhenTheMouseGoesDown) {
  slider_.setDoubleValue(5);
  QTest::mousePress(&up_, Qt::LeftButton);
  EXPECT_EQ(slider_.doubleValue(), 6);
  EXPECT_TRUE(up_.isDown());  // and the button is pressed as any other
  QTest::mouseRelease(&up_, Qt::LeftButton);
  EXPECT_EQ(slider_.doubleValue(), 6);
}

TEST_F(SliderAndButtons, TheSpaceKeyStepsOnce) {
  slider_.setDoubleValue(5);
  QTest::keyClick(&up_, Qt::Key_Space);
  EXPECT_EQ(slider_.doubleValue(), 6);
  EXPECT_EQ(recorder_.senders().size(), 1U);
}

TEST_F(SliderAndButtons, AnotherMouseButtonDoesNothing) {
  slider_.setDoubleValue(5);
  QTest::mouseClick(&up_, Qt::RightButton);
  EXPECT_EQ(slider_.doubleValue(), 5);
  EXPECT_EQ(recorder_.senders().size(), 0U);
}

TEST_F(SliderAndButtons, AtTheMaximumAStepUpStaysAndStillPerformsTheActionOnce) {
  slider_.setDoubleValue(100);
  QTest::mouseClick(&up_, Qt::LeftButton);
  EXPECT_EQ(slider_.doubleValue(), 100);
  EXPECT_EQ(recorder_.senders(), (std::vector<QObject*>{&up_}));
}

TEST_F(SliderAndButtons, NearTheEndsAStepStopsThere) {
  slider_.setMinValue(0);
  slider_.setDoubleValue(0.4);
  QTest::mouseClick(&down_, Qt::LeftButton);
  EXPECT_EQ(slider_.doubleValue(), 0);
  slider_.setDoubleValue(99.4);
  QTest::mouseClick(&up_, Qt::LeftButton);
  EXPECT_EQ(slider_.doubleValue(), 100);
}

TEST_F(SliderAndButtons, EveryTagButOneStepsDown) {
  for (const int tag : {0, 2, -1}) {
    slider_.setDoubleValue(5);
    down_.setTag(tag);
    QTest::mouseClick(&down_, Qt::LeftButton);
    EXPECT_EQ(slider_.doubleValue(), 4) << tag;
  }
}

TEST_F(SliderAndButtons, AButtonWithoutASliderDoesNothing) {
  KelvoButton lost;
  QTest::mouseClick(&lost, Qt::LeftButton);
  up_.setSlider(nullptr);
  QTest::mouseClick(&up_, Qt::LeftButton);
  EXPECT_EQ(recorder_.senders().size(), 0U);
}

// Number fields

TEST(TextField, ReadsAnIntegerAndNothingElse) {
  KelvoTextField field;
  const std::pair<const char*, int> readings[] = {
      {"12.7", 12}, {"-12.7", -12}, {"100%", 100}, {"  5", 5}, {"", 0}, {"abc", 0}, {"1e3", 1}};
  for (const auto& [typed, value] : readings) {
    field.setText(typed);
    EXPECT_EQ(field.intValue(), value) << typed;
  }
  field.setIntValue(-7);
  EXPECT_EQ(field.text(), "-7");
}

TEST(TextField, KnowsTheSliderOfItsLayout) {
  KelvoTextField field;
  EXPECT_EQ(field.getSlider(), nullptr);
  NSSlider slider;
  ASSERT_TRUE(field.setProperty("slider", QVariant::fromValue(&slider)));
  EXPECT_EQ(field.getSlider(), &slider);
}

TEST(Rounding, IsHalfAwayFromZeroAndStaysWithinInt) {
  EXPECT_EQ(roundedInt(0.5), 1);
  EXPECT_EQ(roundedInt(-0.5), -1);
  EXPECT_EQ(roundedInt(2.5), 3);
  EXPECT_EQ(roundedInt(0.49999999999999994), 0);
  EXPECT_EQ(roundedInt(1e300), std::numeric_limits<int>::max());
  EXPECT_EQ(roundedInt(-1e300), std::numeric_limits<int>::min());
  EXPECT_EQ(roundedInt(std::nan("")), 0);
}

// Radio cells

TEST(Matrix, ARowChosenByAClickIsSelectedAndPerformsTheAction) {
  ActionRecorder recorder;
  NSMatrix matrix;
  matrix.setTitles({"RGB", "Red", "Green", "Blue"});
  matrix.setTargetAction(recorder.action());
  EXPECT_EQ(matrix.selectedRow(), 0);
  matrix.selectCellAtRow_column(3, 0);
  EXPECT_EQ(matrix.selectedRow(), 3);
  EXPECT_EQ(recorder.senders().size(), 0U);
  QTest::mouseClick(matrix.cellAtRow_column(2, 0), Qt::LeftButton, {}, {5, 8});
  EXPECT_EQ(matrix.selectedRow(), 2);
  EXPECT_EQ(matrix.cellAtRow_column(3, 0)->state(), 0);
  EXPECT_EQ(matrix.cellAtRow_column(2, 0)->state(), 1);
  EXPECT_EQ(recorder.senders(), (std::vector<QObject*>{&matrix}));
}

TEST(Matrix, CellsThatDoNotExistAreNotSelected) {
  NSMatrix matrix;
  EXPECT_EQ(matrix.selectedCell(), nullptr);
  matrix.setTitles({"a", "b"});
  matrix.selectCellAtRow_column(1, 0);
  for (const auto& [row, column] : {std::pair{-1, 0}, {2, 0}, {0, 1}}) {
    matrix.selectCellAtRow_column(row, column);
    EXPECT_EQ(matrix.cellAtRow_column(row, column), nullptr);
  }
  EXPECT_EQ(matrix.selectedRow(), 1);
}

TEST(Matrix, ASingleCellIsSelectedWhateverItsState) {
  NSMatrix matrix;
  matrix.setTitles({"Shadows"});
  EXPECT_EQ(matrix.selectedCell(), matrix.cellAtRow_column(0, 0));
  EXPECT_EQ(matrix.selectedCell()->state(), 0);
  matrix.selectedCell()->setState(1);
  EXPECT_EQ(matrix.selectedCell()->state(), 1);
  matrix.selectedCell()->setState(0);
  EXPECT_EQ(matrix.selectedCell()->state(), 0);
}

// Colour wells

TEST(ColorWell, PerformsItsActionForPeopleNotForTheProgram) {
  ActionRecorder recorder;
  NSColorWell well;
  well.setTargetAction(recorder.action());
  const auto color = NSColor::colorWithCalibratedRed_green_blue_alpha(0.0581305, 0.5, 1, 0.25);
  well.setColor(color);
  EXPECT_EQ(well.color(), color);
  EXPECT_EQ(recorder.senders().size(), 0U);
  well.chooseColor(color);  // the same: nothing changed
  EXPECT_EQ(recorder.senders().size(), 0U);
  well.chooseColor(NSColor::colorWithCalibratedRed_green_blue_alpha(1, 0, 0, 1));
  EXPECT_EQ(recorder.senders(), (std::vector<QObject*>{&well}));
}

// Frames

constexpr QRgb kGrey = qRgb(149, 149, 149);
constexpr QRgb kGround = qRgb(10, 200, 30);

// The view drawn over a plain ground at a scale.
QImage drawn(QWidget& view, int scale) {
  view.resize(20, 12);
  QImage picture(QSize(20, 12) * scale, QImage::Format_RGB32);
  picture.setDevicePixelRatio(scale);
  picture.fill(kGround);
  QPainter painter(&picture);
  view.render(&painter, {}, {}, QWidget::DrawChildren);
  return picture;
}

// Rows counted from the top.
void expectFrame(const QImage& picture, int scale, int topRow) {
  const int right = 19;
  const int bottom = 11;
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width(); ++x) {
      const int row = y / scale;
      const int column = x / scale;
      const bool framed =
          row >= topRow && (row == topRow || row == bottom || column == 0 || column == right);
      ASSERT_EQ(picture.pixel(x, y), framed ? kGrey : kGround) << x << ", " << y;
    }
  }
}

TEST(Frames, APicturesFrameLeavesTheTopmostUnitFree) {
  for (const int scale : {1, 2, 3}) {
    KelvoImage view;
    expectFrame(drawn(view, scale), scale, 1);
  }
}

TEST(Frames, ATabViewsFrameIsAllAround) {
  for (const int scale : {1, 2, 3}) {
    KelvoTabView view;
    expectFrame(drawn(view, scale), scale, 0);
  }
}

TEST(Frames, TheBordersUnitIsTakenFromThePages) {
  KelvoTabView view;
  view.addWidget(new QWidget);
  view.setTabViewType(NSTabViewType::noTabsLineBorder);
  view.resize(50, 40);
  view.show();
  EXPECT_EQ(view.currentWidget()->geometry(), QRect(1, 1, 48, 38));
}

TEST(TabView, APageThatDoesNotExistIsNotSelected) {
  KelvoTabView view;
  view.addWidget(new QWidget);
  view.addWidget(new QWidget);
  view.selectTabViewItemAtIndex(1);
  for (const int index : {-1, 2, 1000000}) view.selectTabViewItemAtIndex(index);
  EXPECT_EQ(view.currentIndex(), 1);
}

}  // namespace
}  // namespace kelvo
