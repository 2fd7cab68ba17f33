#include "platform/ui/curves_widget.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QEnterEvent>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>
#include <memory>

#include "platform/ui/qt_image.h"
#include "tests/ui/resource_bundle.h"

// The editor in a real window, driven by the events that a mouse and a keyboard make.
namespace kelvo {
namespace {

using Points = std::vector<CurvePoint>;

class CountingController final : public CurvesController {
 public:
  void applyCurves() override { ++calls; }
  int calls = 0;
};

class CurvesWidgetTest : public ::testing::Test {
 protected:
  void SetUp() override {
    auto* layout = new QVBoxLayout(&window_);
    before_ = new QLineEdit(&window_);
    widget_ = new CurvesWidget(&window_);
    left_ = new QLineEdit(&window_);
    bottom_ = new QLineEdit(&window_);
    for (QWidget* each : {static_cast<QWidget*>(before_), static_cast<QWidget*>(widget_),
                          static_cast<QWidget*>(left_), static_cast<QWidget*>(bottom_)}) {
      layout->addWidget(each);
    }
    widget_->setBundle(testing::resourceBundle());
    widget_->setLabels(left_, bottom_);
    window_.show();
    window_.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window_));
    widget_->view().setController(&controller_);
    leave();  // the pointer may stand where the window came up
  }
  void TearDown() override { widget_->view().setController(nullptr); }

  // The widget's pixel at a place of the plot.
  static QPoint at(int x, int y) { return {x + 3, 197 - (y + 3)}; }
  KelvoTQCurvesView& view() { return widget_->view(); }
  const Points& points() { return view().curve(view().activeChannel()).points; }
  int selected() { return view().selectedIndex(view().activeChannel()); }
  // The pointer comes from outside and goes there.
  void enter(QPoint place) {
    QEnterEvent event(place, widget_->mapTo(&window_, place), widget_->mapToGlobal(place));
    QApplication::sendEvent(widget_, &event);
    QTest::mouseMove(widget_, place);
  }
  void leave() {
    QEvent event(QEvent::Leave);
    QApplication::sendEvent(widget_, &event);
  }
  void drag(const std::vector<QPoint>& places) {
    QTest::mousePress(widget_, Qt::LeftButton, {}, places.front());
    for (const QPoint& place : places) {
      QMouseEvent move(QEvent::MouseMove, place, widget_->mapToGlobal(place), Qt::NoButton,
                       Qt::LeftButton, {});
      QApplication::sendEvent(widget_, &move);
    }
    QTest::mouseRelease(widget_, Qt::LeftButton, {}, places.back());
  }
  [[nodiscard]] bool showsPicture(const char* name) const {
    const NSImageRef file =
        NSImage::initByReferencingFile(std::string(KELVO_SOURCE_DIR "/resources/") + name);
    const QImage shown = widget_->cursor().pixmap().toImage();
    const auto straight = [](const QImage& image) {
      return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    };
    return !shown.isNull() && straight(shown) == straight(toQt(*file, 1));
  }

  CountingController controller_;
  QWidget window_;
  QLineEdit* before_ = nullptr;
  CurvesWidget* widget_ = nullptr;
  QLineEdit* left_ = nullptr;
  QLineEdit* bottom_ = nullptr;
};

TEST_F(CurvesWidgetTest, HasAFixedSizeAndSaysWhatItIs) {
  EXPECT_EQ(widget_->size(), QSize(198, 198));
  EXPECT_FALSE(widget_->accessibleName().isEmpty());
  EXPECT_FALSE(widget_->accessibleDescription().isEmpty());
}

TEST_F(CurvesWidgetTest, AClickOnTheCurveAddsAPointWhereThePixelIs) {
  enter(at(60, 60));
  QTest::mouseClick(widget_, Qt::LeftButton, {}, at(96, 100));
  EXPECT_EQ(points(), (Points{{0, 0}, {96, 100}, {191, 191}}));
  EXPECT_EQ(selected(), 1);
}

TEST_F(CurvesWidgetTest, ADragMovesThePointAndIsOneStepToUndo) {
  enter(at(60, 60));
  drag({at(96, 96), at(90, 110), at(80, 130), at(70, 140)});
  EXPECT_EQ(points(), (Points{{0, 0}, {70, 140}, {191, 191}}));
  QTest::keyClick(widget_, Qt::Key_Z, Qt::ControlModifier);
  EXPECT_EQ(points(), (Points{{0, 0}, {191, 191}}));
  QTest::keyClick(widget_, Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
  EXPECT_EQ(points(), (Points{{0, 0}, {70, 140}, {191, 191}}));
}

TEST_F(CurvesWidgetTest, ADragOutOfTheWidgetTakesThePointOutAndBackIn) {
  enter(at(60, 60));
  QTest::mousePress(widget_, Qt::LeftButton, {}, at(96, 96));
  const auto moveTo = [this](QPoint place) {
    QMouseEvent move(QEvent::MouseMove, place, widget_->mapToGlobal(place), Qt::NoButton,
                     Qt::LeftButton, {});
    QApplication::sendEvent(widget_, &move);
  };
  moveTo(at(260, 96));
  EXPECT_EQ(points().size(), 2U);
  moveTo(at(100, 50));
  EXPECT_EQ(points(), (Points{{0, 0}, {100, 50}, {191, 191}}));
  QTest::mouseRelease(widget_, Qt::LeftButton, {}, at(100, 50));
}

TEST_F(CurvesWidgetTest, AControlClickOnAPointDeletesIt) {
  enter(at(60, 60));
  QTest::mouseClick(widget_, Qt::LeftButton, {}, at(96, 100));
  QTest::mouseClick(widget_, Qt::LeftButton, Qt::ControlModifier, at(96, 100));
  EXPECT_EQ(points().size(), 2U);
}

TEST_F(CurvesWidgetTest, TheRightButtonEditsNothing) {
  enter(at(60, 60));
  QTest::mousePress(widget_, Qt::RightButton, {}, at(96, 96));
  QTest::mouseRelease(widget_, Qt::RightButton, {}, at(96, 96));
  EXPECT_EQ(points().size(), 2U);
}

TEST_F(CurvesWidgetTest, ADoubleClickIsTwoPresses) {
  enter(at(60, 60));
  QTest::mouseClick(widget_, Qt::LeftButton, {}, at(96, 96));
  QTest::mouseMove(widget_, at(40, 40));
  QMouseEvent second(QEvent::MouseButtonDblClick, at(40, 40), widget_->mapToGlobal(at(40, 40)),
                     Qt::LeftButton, Qt::LeftButton, {});
  QApplication::sendEvent(widget_, &second);
  EXPECT_EQ(points(), (Points{{0, 0}, {40, 40}, {96, 96}, {191, 191}}));
  EXPECT_TRUE(view().isMousePressed());
  QTest::mouseRelease(widget_, Qt::LeftButton, {}, at(40, 40));
  EXPECT_FALSE(view().isMousePressed());
}

TEST_F(CurvesWidgetTest, APressWithoutAMoveBeforeItActsOnWhatIsThere) {
  QTest::mouseClick(widget_, Qt::LeftButton, {}, at(96, 100));
  EXPECT_EQ(points().size(), 3U);
  QTest::mouseClick(widget_, Qt::LeftButton, {}, at(40, 150));  // nothing there
  EXPECT_EQ(selected(), -1);
}

// The pointer

TEST_F(CurvesWidgetTest, ThePointerShowsWhatAPressWouldDo) {
  enter(at(40, 150));
  EXPECT_TRUE(showsPicture("CurvesCursor.tif"));
  QTest::mouseMove(widget_, at(96, 96));
  EXPECT_TRUE(showsPicture("CurvesAdd.tif"));
  QTest::mouseMove(widget_, at(2, 2));
  EXPECT_TRUE(showsPicture("CurvesMove.tif"));
  EXPECT_EQ(widget_->cursor().hotSpot(), QPoint(3, 1));
  leave();
  EXPECT_FALSE(widget_->testAttribute(Qt::WA_SetCursor));
}

TEST_F(CurvesWidgetTest, EnteringTakesTheFocus) {
  before_->setFocus();
  ASSERT_TRUE(before_->hasFocus());
  enter(at(40, 150));
  EXPECT_TRUE(widget_->hasFocus());
  EXPECT_TRUE(view().dontNeedToMove());
  leave();
  EXPECT_FALSE(view().dontNeedToMove());
}

TEST_F(CurvesWidgetTest, WithoutTheBundleTheSystemsCursorShowsAndDrawingGoesOn) {
  widget_->setBundle(nullptr);
  enter(at(40, 150));
  EXPECT_EQ(widget_->cursor().shape(), Qt::ArrowCursor);
  EXPECT_FALSE(widget_->grab().isNull());
}

// Keys

TEST_F(CurvesWidgetTest, BothDeleteKeysDeleteTheSelectedPoint) {
  enter(at(60, 60));
  for (const Qt::Key key : {Qt::Key_Backspace, Qt::Key_Delete}) {
    QTest::mouseClick(widget_, Qt::LeftButton, {}, at(96, 96));
    ASSERT_EQ(points().size(), 3U);
    QTest::keyClick(widget_, key);
    EXPECT_EQ(points().size(), 2U);
  }
}

TEST_F(CurvesWidgetTest, ArrowsMoveThePoint) {
  enter(at(60, 60));
  QTest::mouseClick(widget_, Qt::LeftButton, {}, at(96, 96));
  QTest::keyClick(widget_, Qt::Key_Right);
  QTest::keyClick(widget_, Qt::Key_Up, Qt::ShiftModifier);
  EXPECT_EQ(points()[1], (CurvePoint{97, 106}));
  QTest::keyClick(widget_, Qt::Key_Left, Qt::ShiftModifier);
  QTest::keyClick(widget_, Qt::Key_Down);
  EXPECT_EQ(points()[1], (CurvePoint{87, 105}));
}

TEST_F(CurvesWidgetTest, TabGoesThroughThePointsAndThenOnInTheWindow) {
  widget_->setFocus();
  QTest::keyClick(widget_, Qt::Key_Tab);
  EXPECT_EQ(selected(), 0);
  QTest::keyClick(widget_, Qt::Key_Tab);
  EXPECT_EQ(selected(), 1);
  EXPECT_TRUE(widget_->hasFocus());
  QTest::keyClick(widget_, Qt::Key_Tab);
  EXPECT_EQ(selected(), 1);
  EXPECT_TRUE(left_->hasFocus());
  widget_->setFocus();
  QTest::keyClick(widget_, Qt::Key_Backtab, Qt::ShiftModifier);
  EXPECT_EQ(selected(), 0);
  QTest::keyClick(widget_, Qt::Key_Backtab, Qt::ShiftModifier);
  EXPECT_TRUE(before_->hasFocus());
}

TEST_F(CurvesWidgetTest, EscapeClearsTheSelectionThenGoesToTheWindow) {
  struct Window : QWidget {
    void keyPressEvent(QKeyEvent* event) override { escapes += event->key() == Qt::Key_Escape; }
    int escapes = 0;
  } window;
  CurvesWidget widget(&window);
  window.show();
  widget.view().setSelectedIndex(0, 1);
  QTest::keyClick(&widget, Qt::Key_Escape);
  EXPECT_EQ(widget.view().selectedIndex(0), -1);
  EXPECT_EQ(window.escapes, 0);
  QTest::keyClick(&widget, Qt::Key_Escape);
  EXPECT_EQ(window.escapes, 1);
}

TEST_F(CurvesWidgetTest, CopyAndPasteWorkBetweenChannels) {
  enter(at(60, 60));
  QTest::mouseClick(widget_, Qt::LeftButton, {}, at(96, 100));
  const Points copied = points();
  ASSERT_EQ(copied.size(), 3U);
  QTest::keyClick(widget_, Qt::Key_C, Qt::ControlModifier);
  view().setActiveChannel(2);
  QTest::keyClick(widget_, Qt::Key_V, Qt::ControlModifier);
  EXPECT_EQ(points(), copied);
}

TEST_F(CurvesWidgetTest, TakesItsKeysBeforeTheWindowsShortcuts) {
  QAction undo(&window_);
  undo.setShortcut(QKeySequence::Undo);
  window_.addAction(&undo);
  QSignalSpy triggered(&undo, &QAction::triggered);
  enter(at(60, 60));
  QTest::keyClick(widget_, Qt::Key_Z, Qt::ControlModifier);  // nothing to undo here
  EXPECT_EQ(triggered.count(), 1);
  QTest::mouseClick(widget_, Qt::LeftButton, {}, at(96, 100));
  ASSERT_EQ(points().size(), 3U);
  QTest::keyClick(widget_, Qt::Key_Z, Qt::ControlModifier);
  EXPECT_EQ(triggered.count(), 1);
  EXPECT_EQ(points().size(), 2U);
}

// Labels

TEST_F(CurvesWidgetTest, TheFieldsShowTheSelectedPoint) {
  enter(at(60, 60));
  QTest::mouseClick(widget_, Qt::LeftButton, {}, at(96, 96));
  QTest::keyClick(widget_, Qt::Key_Right);
  widget_->grab();
  EXPECT_EQ(bottom_->text(), "129");  // 97 * 4/3
  EXPECT_EQ(left_->text(), "128");
}

TEST_F(CurvesWidgetTest, ReturnInAFieldMovesThePoint) {
  QTest::mouseClick(widget_, Qt::LeftButton, {}, at(96, 96));
  leave();
  bottom_->setFocus();
  bottom_->selectAll();
  QTest::keyClicks(bottom_, "201");
  QTest::keyClick(bottom_, Qt::Key_Return);
  EXPECT_EQ(points()[1].x, 150);
  left_->setFocus();
  left_->selectAll();
  QTest::keyClicks(left_, "201");
  QTest::keyClick(left_, Qt::Key_Return);
  EXPECT_EQ(points()[1].y, 150.75F);
}

TEST_F(CurvesWidgetTest, AnEditedFieldThatLosesTheFocusToThePointerIsSwallowedOnce) {
  QTest::mouseClick(widget_, Qt::LeftButton, {}, at(96, 96));
  leave();
  bottom_->setFocus();
  bottom_->selectAll();
  QTest::keyClicks(bottom_, "30");
  enter(at(40, 150));  // the field's action comes now
  EXPECT_EQ(points()[1].x, 96);
  EXPECT_FALSE(view().dontNeedToMove());
}

TEST_F(CurvesWidgetTest, AFieldThatWasNotEditedMovesNothingWhenItLosesTheFocus) {
  QTest::mouseClick(widget_, Qt::LeftButton, {}, at(95, 95));  // 127, which would mean 93
  leave();
  widget_->grab();
  bottom_->setFocus();
  left_->setFocus();
  EXPECT_EQ(points()[1].x, 95);
}

TEST_F(CurvesWidgetTest, TextThatIsBeingTypedIsNotReplaced) {
  QTest::mouseClick(widget_, Qt::LeftButton, {}, at(96, 96));
  leave();
  left_->setFocus();
  left_->selectAll();
  QTest::keyClicks(left_, "7");
  widget_->grab();
  EXPECT_EQ(left_->text(), "7");
}

TEST_F(CurvesWidgetTest, FieldsCanBeExchangedAndTakenAway) {
  widget_->setLabels(nullptr, nullptr);
  QTest::mouseClick(widget_, Qt::LeftButton, {}, at(96, 96));
  left_->setText("10");
  QTest::keyClick(left_, Qt::Key_Return);
  EXPECT_EQ(points()[1].y, 96);
  widget_->setLabels(left_, bottom_);
  delete left_;
  left_ = nullptr;
  EXPECT_FALSE(widget_->grab().isNull());
}

// Painting

TEST_F(CurvesWidgetTest, EachPaintingTellsTheControllerOfTheNewestPoints) {
  controller_.calls = 0;
  widget_->repaint();
  EXPECT_EQ(controller_.calls, 1);
}

TEST_F(CurvesWidgetTest, ManyMovesArePaintedOnce) {
  enter(at(60, 60));
  QTest::mousePress(widget_, Qt::LeftButton, {}, at(96, 96));
  QApplication::processEvents();
  controller_.calls = 0;
  for (int i = 0; i < 100; ++i) {
    const QPoint place = at(96, 50 + i);
    QMouseEvent move(QEvent::MouseMove, place, widget_->mapToGlobal(place), Qt::NoButton,
                     Qt::LeftButton, {});
    QApplication::sendEvent(widget_, &move);
  }
  EXPECT_EQ(controller_.calls, 0);
  QApplication::processEvents();
  EXPECT_EQ(controller_.calls, 1);
  EXPECT_EQ(points()[1].y, 149);
  QTest::mouseRelease(widget_, Qt::LeftButton, {}, at(96, 149));
}

TEST_F(CurvesWidgetTest, TheTransparentWindowShowsAboveAndIsHiddenAgain) {
  view().setupTransparentWindow();
  const auto overlays = window_.findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly);
  QWidget* overlay = nullptr;
  for (QWidget* each : overlays) {
    if (each->isWindow()) overlay = each;
  }
  ASSERT_NE(overlay, nullptr);
  EXPECT_TRUE(overlay->isVisible());
  EXPECT_EQ(overlay->width(), window_.frameGeometry().width() + 100);
  EXPECT_TRUE(overlay->windowFlags().testFlag(Qt::WindowTransparentForInput));
  EXPECT_TRUE(overlay->windowFlags().testFlag(Qt::FramelessWindowHint));
  // A key that reaches it goes on to the editor.
  view().setSelectedIndex(0, 1);
  QTest::keyClick(overlay, Qt::Key_Escape);
  EXPECT_EQ(selected(), -1);
  view().hideTransparentWindow();
  for (QWidget* each : window_.findChildren<QWidget*>()) EXPECT_FALSE(each->isWindow());
}

}  // namespace
}  // namespace kelvo
