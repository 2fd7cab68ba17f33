#include <gtest/gtest.h>

#include <limits>

#include "curves_editor/kelvo_tq_curves_view.h"
#include "tests/curves_editor/recording_host.h"

namespace kelvo {
namespace {

using testing::Calls;
using testing::CurvePoints;
using testing::RecordingHost;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// A view whose active channel is red, in a window, with the pointer over it. Positions are in plot
// units; the view stands at (20, 10) in the window, and the plot at (3, 3) in the view.
class CurvesPointer : public ::testing::Test {
 protected:
  void SetUp() override {
    view_.setActiveChannel(1);
    host_.takeCalls();
  }

  static NSEvent at(NSPoint plot, unsigned modifiers = 0) {
    return {NSEventType::mouseMoved, {plot.x + 23, plot.y + 13}, modifiers, kKeyOther};
  }
  void useCurve(const CurvePoints& inner) {
    view_.resetCurves();
    for (const CurvePoint& point : inner) view_.addPointToCurveAt({point.x, point.y});
    view_.setSelectedIndex(1, -1);
    view_.setPromisedIndexToSelect(-1);
    view_.setMouseDownAction(MouseDownAction::none);
    host_.forgetCursors();
    host_.takeCalls();
    ASSERT_EQ(points().size(), inner.size() + 2);
  }
  // A press after the pointer came there.
  void press(NSPoint plot, unsigned modifiers = 0) {
    view_.mouseMoved(at(plot));
    host_.takeCalls();
    view_.mouseDown(at(plot, modifiers));
  }
  [[nodiscard]] const CurvePoints& points() const { return view_.curve(1).points; }
  [[nodiscard]] int selected() const { return view_.selectedIndex(1); }
  // What a press would do, with the point it would take.
  [[nodiscard]] std::pair<MouseDownAction, int> pending() const {
    return {view_.mouseDownAction(), view_.promisedIndexToSelect()};
  }
  static std::pair<MouseDownAction, int> moveOf(int index) {
    return {MouseDownAction::movePoint, index};
  }

  KelvoTQCurvesView view_;
  RecordingHost host_{view_};
};

TEST_F(CurvesPointer, TakesFirstClicksAndTheKeyboard) {
  EXPECT_TRUE(KelvoTQCurvesView::acceptsFirstResponder());
  EXPECT_TRUE(KelvoTQCurvesView::becomeFirstResponder());
  EXPECT_TRUE(KelvoTQCurvesView::acceptsFirstMouse({}));
  EXPECT_TRUE(KelvoTQCurvesView::canBecomeKeyView());
}

// Moving

TEST_F(CurvesPointer, OverAPointOffersToMoveIt) {
  useCurve({{96, 40}});
  view_.mouseMoved(at({96, 40}));
  EXPECT_EQ(pending(), moveOf(1));
  EXPECT_EQ(host_.takeCalls(), (Calls{"move cursor"}));
}

TEST_F(CurvesPointer, TheReachAroundAPointIs15UnitsInBothDirections) {
  useCurve({{96, 40}});
  const NSPoint nears[] = {{81, 40}, {111, 40}, {96, 55}, {81, 25}, {111, 55}};
  for (const NSPoint& near : nears) {
    useCurve({{96, 40}});
    view_.mouseMoved(at(near));
    EXPECT_EQ(pending(), moveOf(1)) << near.x << ' ' << near.y;
  }
  // Beyond it, near enough to the curve.
  for (const double x : {80.9, 111.1}) {
    useCurve({{96, 96}});
    view_.mouseMoved(at({x, x}));
    EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::addPoint) << x;
  }
}

TEST_F(CurvesPointer, OfTwoNearPointsTheFirstIsTaken) {
  useCurve({{96, 96}, {102, 102}});
  view_.mouseMoved(at({102, 102}));
  EXPECT_EQ(pending(), moveOf(1));
  view_.mouseMoved(at({112, 112}));
  EXPECT_EQ(pending(), moveOf(2));
}

TEST_F(CurvesPointer, LeftOfTheFirstPointOffersToMoveItAtAnyHeight) {
  useCurve({});
  view_.setSelectedIndex(1, 0);
  view_.moveSelectedPointInActiveChannelToPosition({60, 0});
  for (const double y : {0.0, 100.0, 191.0}) {
    view_.setMouseDownAction(MouseDownAction::none);
    view_.mouseMoved(at({59, y}));
    EXPECT_EQ(pending(), moveOf(0)) << y;
  }
}

TEST_F(CurvesPointer, RightOfTheLastPointOffersToMoveItAtAnyHeight) {
  useCurve({{96, 96}});
  view_.setSelectedIndex(1, 2);
  view_.moveSelectedPointInActiveChannelToPosition({140, 191});
  for (const double y : {0.0, 100.0, 191.0}) {
    view_.setMouseDownAction(MouseDownAction::none);
    view_.mouseMoved(at({141, y}));
    EXPECT_EQ(pending(), moveOf(2)) << y;
  }
}

TEST_F(CurvesPointer, NearTheCurveOffersToAddAndKeepsThePromisedPoint) {
  useCurve({});
  view_.mouseMoved(at({0, 0}));
  EXPECT_EQ(pending(), moveOf(0));
  view_.mouseMoved(at({96, 96}));
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::addPoint);
  EXPECT_EQ(view_.promisedIndexToSelect(), 0);
  EXPECT_EQ(host_.takeCalls(), (Calls{"move cursor", "add cursor"}));
}

TEST_F(CurvesPointer, TheCurveIsNearWithin15UnitsInAnyOfElevenColumns) {
  useCurve({});
  // On the straight curve, five columns to the right it is 5 units higher.
  view_.mouseMoved(at({96, 116}));
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::addPoint);
  view_.mouseMoved(at({96, 116.1}));
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::none);
  view_.mouseMoved(at({96, 76}));
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::addPoint);
  view_.mouseMoved(at({96, 75.9}));
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::none);
}

TEST_F(CurvesPointer, TheColumnsAreCutOffTowardsZeroAndLimitedToThePlot) {
  useCurve({});
  // 96.9 - 5 = 91.9 begins at column 91, whose curve is at 91.
  view_.mouseMoved(at({96.9, 76}));
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::addPoint);
  view_.mouseMoved(at({96.9, 75.9}));
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::none);
  // At the plot's right edge the last column is 191.
  view_.updateCursorStateForInsidePoint_isPseudoOutside({190, 175}, false);
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::addPoint);
}

TEST_F(CurvesPointer, APlaceThatIsNoNumberDoesNoHarm) {
  useCurve({});
  view_.updateCursorStateForInsidePoint_isPseudoOutside({kNan, 150}, false);
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::none);
  view_.mouseMoved(at({kNan, kNan}));
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::none);
}

TEST_F(CurvesPointer, FarFromEverythingOffersNothing) {
  useCurve({});
  view_.mouseMoved(at({0, 0}));
  host_.takeCalls();
  view_.mouseMoved(at({40, 150}));
  EXPECT_EQ(pending(), std::pair(MouseDownAction::none, -1));
  EXPECT_EQ(host_.takeCalls(), (Calls{"pop", "main cursor"}));
}

TEST_F(CurvesPointer, GoingBackToNothingTakesTheEditorsCursorsOffDownToTheMainOne) {
  useCurve({});
  view_.mouseEntered({});
  view_.mouseMoved(at({0, 0}));
  view_.mouseMoved(at({96, 96}));
  view_.mouseMoved(at({0, 0}));
  EXPECT_EQ(host_.cursors(), (Calls{"usual", "main", "move", "add", "move"}));
  host_.takeCalls();
  view_.mouseMoved(at({40, 150}));
  EXPECT_EQ(host_.takeCalls(), (Calls{"pop", "pop", "pop"}));
  EXPECT_EQ(host_.cursors(), (Calls{"usual", "main"}));
}

TEST_F(CurvesPointer, GoingBackToNothingLeavesOtherCursorsAndPutsTheMainOneOnTop) {
  useCurve({});
  view_.mouseMoved(at({0, 0}));
  host_.pushOtherCursor();
  host_.takeCalls();
  view_.mouseMoved(at({40, 150}));
  EXPECT_EQ(host_.takeCalls(), (Calls{"main cursor"}));
  EXPECT_EQ(host_.cursors(), (Calls{"move", "other", "main"}));
}

TEST_F(CurvesPointer, ACursorThatShowsAlreadyIsNotPushedAgain) {
  useCurve({});
  for (int i = 0; i < 3; ++i) view_.mouseMoved(at({96, 96}));
  EXPECT_EQ(host_.takeCalls(), (Calls{"add cursor"}));
}

TEST_F(CurvesPointer, InTheMarginOverTheCurvesRangeNothingChanges) {
  useCurve({});
  view_.mouseMoved(at({96, 96}));
  host_.takeCalls();
  const NSPoint margin[] = {{96, -0.5}, {96, -3}, {96, 191.5}, {96, 194}};
  for (const NSPoint& place : margin) {
    view_.mouseMoved(at(place));
    EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::addPoint) << place.y;
  }
  EXPECT_EQ(host_.takeCalls(), Calls{});
  // The plot's own edge is not the margin.
  view_.mouseMoved(at({96, 191}));
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::none);
}

TEST_F(CurvesPointer, InTheMarginBesideTheEndPointsTheyAreOffered) {
  useCurve({});
  view_.mouseMoved(at({-1, 100}));
  EXPECT_EQ(pending(), moveOf(0));
  view_.mouseMoved(at({191.5, 100}));
  EXPECT_EQ(pending(), moveOf(1));
}

TEST_F(CurvesPointer, OutsideTheViewNothingChanges) {
  useCurve({});
  view_.mouseMoved(at({96, 96}));
  host_.takeCalls();
  const NSPoint outside[] = {{-3.1, 96}, {194.1, 96}, {96, -3.1}, {96, 194.1}};
  for (const NSPoint& place : outside) view_.mouseMoved(at(place));
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::addPoint);
  EXPECT_EQ(host_.takeCalls(), Calls{});
}

TEST_F(CurvesPointer, WhilePressedMovesChangeNothing) {
  useCurve({});
  press({40, 150});  // nothing there: a press without an action
  view_.mouseMoved(at({96, 96}));
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::none);
  view_.mouseUp({});
  view_.mouseMoved(at({96, 96}));
  view_.mouseDown(at({96, 96}));
  host_.takeCalls();
  view_.updateCursorStateForInsidePoint_isPseudoOutside({40, 150}, false);
  EXPECT_EQ(pending(), moveOf(1));
  EXPECT_EQ(host_.takeCalls(), Calls{});
}

TEST_F(CurvesPointer, WithoutAWindowTheStateFollowsAllTheSame) {
  useCurve({});
  view_.setHost(nullptr);
  view_.mouseMoved({NSEventType::mouseMoved, {99, 99}, 0, kKeyOther});
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::addPoint);
  view_.mouseDown({NSEventType::mouseDown, {99, 99}, 0, kKeyOther});
  view_.mouseUp({});
  EXPECT_EQ(points(), (CurvePoints{{0, 0}, {96, 96}, {191, 191}}));
}

// Pressing

TEST_F(CurvesPointer, APressOnNothingOnlyClearsTheSelection) {
  useCurve({{96, 96}});
  view_.setSelectedIndex(1, 1);
  press({40, 150});
  EXPECT_EQ(selected(), -1);
  EXPECT_EQ(host_.takeCalls(), Calls{});
  EXPECT_TRUE(view_.isMousePressed());
  EXPECT_FALSE(view_.needToDrawGuide());
  EXPECT_EQ(view_.controlPoint(), (NSPoint{0, 0}));
}

TEST_F(CurvesPointer, APressOnTheCurveAddsAPointThere) {
  useCurve({});
  press({96, 100});
  EXPECT_EQ(points(), (CurvePoints{{0, 0}, {96, 100}, {191, 191}}));
  EXPECT_EQ(selected(), 1);
  EXPECT_EQ(host_.takeCalls(), (Calls{"move cursor", "redisplay", "changed"}));
  EXPECT_TRUE(view_.needToDrawGuide());
  EXPECT_EQ(view_.controlPoint(), (NSPoint{99, 103}));
}

TEST_F(CurvesPointer, APressBesideAPointMakesItJumpThere) {
  useCurve({{96, 40}});
  press({102, 50});
  EXPECT_EQ(points(), (CurvePoints{{0, 0}, {102, 50}, {191, 191}}));
  EXPECT_EQ(selected(), 1);
  EXPECT_EQ(host_.takeCalls(), (Calls{"redisplay", "changed"}));
}

TEST_F(CurvesPointer, APressLeftOfTheFirstPointMovesItThere) {
  useCurve({{96, 96}});
  view_.setSelectedIndex(1, 0);
  view_.moveSelectedPointInActiveChannelToPosition({60, 10});
  press({30, 120});
  EXPECT_EQ(points(), (CurvePoints{{30, 120}, {96, 96}, {191, 191}}));
  EXPECT_EQ(selected(), 0);
}

TEST_F(CurvesPointer, OfTwoNearPointsAPressTakesTheFirst) {
  useCurve({{96, 96}, {102, 102}});
  press({101, 101});
  EXPECT_EQ(points(), (CurvePoints{{0, 0}, {101, 101}, {102, 102}, {191, 191}}));
  EXPECT_EQ(selected(), 1);
}

TEST_F(CurvesPointer, APressThatCannotAddAnnouncesAllTheSame) {
  useCurve({{96, 96}});
  view_.setMouseDownAction(MouseDownAction::addPoint);
  view_.mouseDown(at({96, 96}));  // right at a point's x
  EXPECT_EQ(points().size(), 3U);
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::addPoint);
  EXPECT_EQ(host_.takeCalls(), (Calls{"redisplay", "changed"}));
}

TEST_F(CurvesPointer, ASecondPressBeforeTheReleaseIsIgnored) {
  useCurve({});
  press({96, 96});
  host_.takeCalls();
  view_.mouseDown(at({50, 50}));
  EXPECT_EQ(points().size(), 3U);
  EXPECT_EQ(view_.controlPoint(), (NSPoint{99, 99}));
  EXPECT_EQ(host_.takeCalls(), Calls{});
}

TEST_F(CurvesPointer, ACommandPressOnAPointDeletesIt) {
  useCurve({{96, 40}});
  press({96, 40}, NSCommandKeyMask);
  EXPECT_EQ(points().size(), 2U);
  EXPECT_EQ(selected(), -1);
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::none);
  EXPECT_EQ(host_.takeCalls(), (Calls{"main cursor", "redisplay", "redisplay", "changed"}));
}

TEST_F(CurvesPointer, ACommandPressOnAnEndPointChangesNothingButAnnounces) {
  useCurve({{96, 40}});
  press({5, 5}, NSCommandKeyMask);
  EXPECT_EQ(points(), (CurvePoints{{0, 0}, {96, 40}, {191, 191}}));
  EXPECT_EQ(host_.takeCalls(), (Calls{"redisplay", "changed"}));
}

TEST_F(CurvesPointer, ACommandPressOnTheCurveLeavesItAsItWas) {
  useCurve({});
  press({96, 100}, NSCommandKeyMask);
  EXPECT_EQ(points(), (CurvePoints{{0, 0}, {191, 191}}));
  EXPECT_EQ(host_.takeCalls(),
            (Calls{"move cursor", "main cursor", "redisplay", "redisplay", "changed"}));
}

TEST_F(CurvesPointer, OtherModifiersDoNotDelete) {
  useCurve({{96, 40}});
  press({96, 40}, NSShiftKeyMask | NSAlternateKeyMask);
  EXPECT_EQ(points().size(), 3U);
}

// Dragging

TEST_F(CurvesPointer, ADragMovesThePointAndAnnouncesEachStep) {
  useCurve({});
  press({96, 96});
  host_.takeCalls();
  view_.mouseDragged(at({90, 120}));
  EXPECT_EQ(points()[1], (CurvePoint{90, 120}));
  EXPECT_EQ(view_.controlPoint(), (NSPoint{93, 123}));
  EXPECT_EQ(host_.takeCalls(), (Calls{"redisplay", "changed"}));
  view_.mouseDragged(at({80, 130}));
  EXPECT_EQ(points()[1], (CurvePoint{80, 130}));
}

TEST_F(CurvesPointer, ADragWithoutAPressOrWithoutAnActionIsIgnored) {
  useCurve({{96, 96}});
  view_.mouseMoved(at({96, 96}));
  view_.mouseDragged(at({80, 80}));
  press({40, 150});
  view_.mouseDragged(at({80, 80}));
  EXPECT_EQ(points(), (CurvePoints{{0, 0}, {96, 96}, {191, 191}}));
  EXPECT_EQ(host_.takeCalls(), Calls{});
}

TEST_F(CurvesPointer, ADragWhosePressCouldNotAddMovesNothing) {
  useCurve({{96, 96}});
  view_.setSelectedIndex(1, 1);
  view_.setMouseDownAction(MouseDownAction::addPoint);
  view_.mouseDown(at({96, 120}));
  host_.takeCalls();
  view_.mouseDragged(at({80, 80}));
  EXPECT_EQ(points()[1], (CurvePoint{96, 96}));
  EXPECT_EQ(host_.takeCalls(), (Calls{"redisplay", "changed"}));
}

TEST_F(CurvesPointer, APointDraggedOntoItsNeighbourIsOutUntilItComesBack) {
  useCurve({{96, 96}});
  press({96, 96});
  host_.takeCalls();
  view_.mouseDragged(at({189, 100}));
  EXPECT_EQ(points().size(), 2U);
  EXPECT_EQ(host_.takeCalls(), (Calls{"main cursor", "redisplay", "redisplay", "changed"}));
  view_.mouseDragged(at({100, 250}));  // above the plot it stays out
  EXPECT_EQ(points().size(), 2U);
  host_.takeCalls();
  view_.mouseDragged(at({100, 110}));
  EXPECT_EQ(points(), (CurvePoints{{0, 0}, {100, 110}, {191, 191}}));
  EXPECT_EQ(host_.takeCalls(), (Calls{"move cursor", "redisplay", "redisplay", "changed"}));
}

TEST_F(CurvesPointer, APointThatIsOutAtTheReleaseStaysOut) {
  useCurve({{96, 96}});
  press({96, 96});
  view_.mouseDragged(at({189, 100}));
  view_.mouseUp({});
  EXPECT_FALSE(view_.isTemporalyRemoved());
  EXPECT_EQ(view_.temporalyRemovedIndex(), -1);
  view_.mouseDragged(at({100, 100}));
  EXPECT_EQ(points().size(), 2U);
}

// Releasing

TEST_F(CurvesPointer, AReleaseRedisplaysAndLeavesActionPromiseAndCursor) {
  useCurve({});
  press({96, 96});
  host_.takeCalls();
  const auto cursors = host_.cursors();
  view_.mouseUp({});
  EXPECT_EQ(host_.takeCalls(), (Calls{"redisplay"}));
  EXPECT_EQ(pending(), moveOf(1));
  EXPECT_EQ(host_.cursors(), cursors);
  EXPECT_FALSE(view_.isMousePressed());
  EXPECT_FALSE(view_.needToDrawGuide());
  view_.mouseMoved(at({40, 150}));
  EXPECT_EQ(pending(), std::pair(MouseDownAction::none, -1));
}

// Undoing

TEST_F(CurvesPointer, AWholeDragIsOneStepToUndo) {
  useCurve({{50, 60}});
  view_.setParams(nullptr);
  view_.loadParameters();  // forgets what was before
  EXPECT_FALSE(view_.canUndo());
  press({96, 96});
  for (int i = 0; i < 50; ++i) view_.mouseDragged(at({96.0 - i, 96.0 + i}));
  EXPECT_FALSE(view_.canUndo());  // not in the middle of it
  view_.mouseUp({});
  EXPECT_EQ(points()[1], (CurvePoint{47, 145}));
  host_.takeCalls();
  view_.undo();
  EXPECT_EQ(points(), (CurvePoints{{0, 0}, {191, 191}}));
  EXPECT_EQ(host_.takeCalls(), (Calls{"main cursor", "redisplay", "changed"}));
  EXPECT_FALSE(view_.canUndo());
  view_.redo();
  EXPECT_EQ(points()[1], (CurvePoint{47, 145}));
  EXPECT_EQ(selected(), 1);
  EXPECT_FALSE(view_.canRedo());
}

TEST_F(CurvesPointer, APressThatChangesNothingIsNoStep) {
  useCurve({});
  view_.loadParameters();
  press({0, 0});
  view_.mouseUp({});
  press({40, 150});
  view_.mouseUp({});
  EXPECT_FALSE(view_.canUndo());
}

TEST_F(CurvesPointer, AfterUndoAPressDoesNotTakeAPointThatIsGone) {
  useCurve({});
  view_.loadParameters();
  press({96, 96});
  view_.mouseUp({});
  view_.undo();
  view_.mouseDown(at({96, 96}));
  EXPECT_EQ(points(), (CurvePoints{{0, 0}, {191, 191}}));
  EXPECT_EQ(selected(), -1);
}

TEST_F(CurvesPointer, AResetDuringADragIsOneStepWithIt) {
  useCurve({{50, 60}});
  const CurvePoints before = points();
  press({96, 108});
  ASSERT_EQ(points().size(), 4U);
  view_.resetCurves();
  view_.mouseUp({});
  EXPECT_EQ(points().size(), 2U);
  view_.undo();
  EXPECT_EQ(points(), before);
}

}  // namespace
}  // namespace kelvo
