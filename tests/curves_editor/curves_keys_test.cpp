#include <gtest/gtest.h>

#include "curves_editor/kelvo_tq_curves_view.h"
#include "tests/curves_editor/recording_host.h"

namespace kelvo {
namespace {

using testing::Calls;
using testing::CurvePoints;
using testing::RecordingHost;

// A view whose active channel is blue, with a curve of five points.
class CurvesKeys : public ::testing::Test {
 protected:
  void SetUp() override {
    auto params = std::make_shared<ParameterDictionary>();
    params->setObject_forKey("5", "bN");
    params->setObject_forKey("0 0,40 50,90 100,140 120,191 191", "bPoints");
    view_.setParams(params);
    view_.loadParameters();
    view_.setActiveChannel(3);
    host_.takeCalls();
  }

  static NSEvent key(int code, unsigned modifiers = 0) {
    return {NSEventType::keyDown, {}, modifiers, code};
  }
  void select(int index) { view_.setSelectedIndex(3, index); }
  [[nodiscard]] int selected() const { return view_.selectedIndex(3); }
  [[nodiscard]] const CurvePoints& points() const { return view_.curve(3).points; }

  KelvoTQCurvesView view_;
  RecordingHost host_{view_};
};

// Deleting

TEST_F(CurvesKeys, BothDeleteKeysTakeOutTheSelectedPointAndAnnounce) {
  for (const int code : {51, 117}) {
    SetUp();
    select(2);
    view_.keyDown(key(code));
    EXPECT_EQ(points(), (CurvePoints{{0, 0}, {40, 50}, {140, 120}, {191, 191}}));
    EXPECT_EQ(selected(), -1);
    const Calls calls = host_.takeCalls();
    ASSERT_GE(calls.size(), 2U);
    EXPECT_EQ(Calls(calls.end() - 2, calls.end()), (Calls{"redisplay", "changed"}));
  }
}

TEST_F(CurvesKeys, DeletingWithAnEndOrNothingSelectedRemovesNothingButAnnounces) {
  for (const int code : {51, 117}) {
    for (const int index : {-1, 0, 4}) {
      select(index);
      view_.keyDown(key(code));
      EXPECT_EQ(points().size(), 5U);
      EXPECT_EQ(selected(), index);
      EXPECT_EQ(host_.takeCalls(), (Calls{"changed"}));
    }
  }
}

TEST_F(CurvesKeys, DeletingIsAStepToUndo) {
  const CurvePoints before = points();
  select(1);
  view_.keyDown(key(kKeyDelete));
  view_.keyDown(key(kKeyZ, NSCommandKeyMask));
  EXPECT_EQ(points(), before);
  EXPECT_EQ(selected(), 1);
  view_.keyDown(key(kKeyZ, NSCommandKeyMask | NSShiftKeyMask));
  EXPECT_EQ(points().size(), 4U);
}

// Keys for the window

TEST_F(CurvesKeys, EveryOtherKeyGoesToTheWindow) {
  select(1);
  for (const int code : {0, 36, 49, 96, 0xFFFF}) {
    view_.keyDown(key(code));
    EXPECT_EQ(host_.takeCalls(), (Calls{"key " + std::to_string(code)}));
  }
  EXPECT_EQ(points().size(), 5U);
}

TEST_F(CurvesKeys, KeysThatFindNothingToDoGoToTheWindow) {
  for (const int code : {kKeyLeft, kKeyRight, kKeyUp, kKeyDown, kKeyEscape}) {
    view_.keyDown(key(code));
    EXPECT_EQ(host_.takeCalls(), (Calls{"key " + std::to_string(code)}));
  }
  for (const int code : {kKeyZ, kKeyY, kKeyV}) {
    view_.keyDown(key(code, NSCommandKeyMask));
    EXPECT_EQ(host_.takeCalls(), (Calls{"key " + std::to_string(code)}));
  }
}

TEST_F(CurvesKeys, LettersWithoutCommandAndArrowsWithItGoToTheWindow) {
  select(1);
  view_.keyDown(key(kKeyRight));
  host_.takeCalls();
  for (const int code : {kKeyZ, kKeyC, kKeyV, kKeyY}) view_.keyDown(key(code));
  view_.keyDown(key(kKeyLeft, NSCommandKeyMask));
  EXPECT_EQ(host_.takeCalls(), (Calls{"key 6", "key 8", "key 9", "key 16", "key 123"}));
  EXPECT_EQ(points()[1], (CurvePoint{41, 50}));
}

TEST_F(CurvesKeys, WithoutAWindowKeysForItAreDropped) {
  host_.hasWindow = false;
  view_.keyDown(key(0));
  view_.setHost(nullptr);
  view_.keyDown(key(0));
  EXPECT_EQ(host_.takeCalls(), Calls{});
}

// Moving

TEST_F(CurvesKeys, ArrowsMoveTheSelectedPointByOneUnit) {
  select(1);
  view_.keyDown(key(kKeyRight));
  EXPECT_EQ(points()[1], (CurvePoint{41, 50}));
  EXPECT_EQ(host_.takeCalls(), (Calls{"redisplay", "changed"}));
  view_.keyDown(key(kKeyUp));
  EXPECT_EQ(points()[1], (CurvePoint{41, 51}));
  view_.keyDown(key(kKeyLeft));
  view_.keyDown(key(kKeyDown));
  EXPECT_EQ(points()[1], (CurvePoint{40, 50}));
}

TEST_F(CurvesKeys, WithShiftArrowsMoveByTen) {
  select(2);
  view_.keyDown(key(kKeyLeft, NSShiftKeyMask));
  view_.keyDown(key(kKeyDown, NSShiftKeyMask));
  EXPECT_EQ(points()[2], (CurvePoint{80, 90}));
  view_.keyDown(key(kKeyRight, NSShiftKeyMask));
  view_.keyDown(key(kKeyUp, NSShiftKeyMask));
  EXPECT_EQ(points()[2], (CurvePoint{90, 100}));
}

TEST_F(CurvesKeys, ArrowsRecalculateTheCurve) {
  select(1);
  view_.keyDown(key(kKeyUp, NSShiftKeyMask));
  EXPECT_EQ(view_.curve(3).cache[40], 60);
  EXPECT_EQ(view_.checksumForChannel(3), 922 + 10);
}

TEST_F(CurvesKeys, ArrowsStopFourUnitsBesideANeighbourAndTakeNoPointOut) {
  select(2);
  for (int i = 0; i < 20; ++i) view_.keyDown(key(kKeyLeft, NSShiftKeyMask));
  EXPECT_EQ(points()[2].x, 44);
  host_.takeCalls();
  view_.keyDown(key(kKeyLeft));
  EXPECT_EQ(host_.takeCalls(), Calls{});  // nothing changed, nothing announced
  for (int i = 0; i < 20; ++i) view_.keyDown(key(kKeyRight, NSShiftKeyMask));
  EXPECT_EQ(points()[2].x, 136);
  EXPECT_EQ(points().size(), 5U);
}

TEST_F(CurvesKeys, ArrowsStopAtThePlotsEdges) {
  select(0);
  view_.keyDown(key(kKeyLeft));
  view_.keyDown(key(kKeyDown));
  EXPECT_EQ(points()[0], (CurvePoint{0, 0}));
  select(4);
  view_.keyDown(key(kKeyRight, NSShiftKeyMask));
  view_.keyDown(key(kKeyUp, NSShiftKeyMask));
  EXPECT_EQ(points()[4], (CurvePoint{191, 191}));
}

TEST_F(CurvesKeys, APointNearerToItsNeighbourThanTheGapOnlyMovesAway) {
  view_.addPointToCurveAt({42, 60});
  select(2);
  view_.keyDown(key(kKeyLeft));
  EXPECT_EQ(points()[2].x, 42);
  view_.keyDown(key(kKeyUp));
  EXPECT_EQ(points()[2], (CurvePoint{42, 61}));
  view_.keyDown(key(kKeyRight));
  EXPECT_EQ(points()[2].x, 43);
}

TEST_F(CurvesKeys, EachArrowIsAStepToUndo) {
  select(1);
  view_.keyDown(key(kKeyUp));
  view_.keyDown(key(kKeyUp));
  view_.undo();
  EXPECT_EQ(points()[1].y, 51);
  view_.undo();
  EXPECT_EQ(points()[1].y, 50);
  EXPECT_FALSE(view_.canUndo());
}

// Selecting

TEST_F(CurvesKeys, TabSelectsOnePointAfterTheOtherAndThenLeavesTheEditor) {
  for (int i = 0; i < 5; ++i) {
    view_.keyDown(key(kKeyTab));
    EXPECT_EQ(selected(), i);
    EXPECT_EQ(host_.takeCalls(), (Calls{"redisplay"}));
  }
  view_.keyDown(key(kKeyTab));
  EXPECT_EQ(selected(), 4);
  EXPECT_EQ(host_.takeCalls(), (Calls{"key 48"}));
}

TEST_F(CurvesKeys, ShiftTabSelectsBackwardsAndThenLeavesTheEditor) {
  for (int i = 4; i >= 0; --i) {
    view_.keyDown(key(kKeyTab, NSShiftKeyMask));
    EXPECT_EQ(selected(), i);
  }
  host_.takeCalls();
  view_.keyDown(key(kKeyTab, NSShiftKeyMask));
  EXPECT_EQ(selected(), 0);
  EXPECT_EQ(host_.takeCalls(), (Calls{"key 48"}));
}

TEST_F(CurvesKeys, EscapeClearsTheSelectionAndThenGoesToTheWindow) {
  select(2);
  view_.keyDown(key(kKeyEscape));
  EXPECT_EQ(selected(), -1);
  EXPECT_EQ(host_.takeCalls(), (Calls{"redisplay"}));
  view_.keyDown(key(kKeyEscape));
  EXPECT_EQ(host_.takeCalls(), (Calls{"key 53"}));
}

// Undoing

TEST_F(CurvesKeys, RedoHasTwoKeys) {
  select(1);
  view_.keyDown(key(kKeyUp));
  for (const NSEvent& redo :
       {key(kKeyZ, NSCommandKeyMask | NSShiftKeyMask), key(kKeyY, NSCommandKeyMask)}) {
    view_.keyDown(key(kKeyZ, NSCommandKeyMask));
    EXPECT_EQ(points()[1].y, 50);
    view_.keyDown(redo);
    EXPECT_EQ(points()[1].y, 51);
  }
}

TEST_F(CurvesKeys, ANewEditForgetsWhatWasUndone) {
  select(1);
  view_.keyDown(key(kKeyUp));
  view_.undo();
  view_.keyDown(key(kKeyRight));
  EXPECT_FALSE(view_.canRedo());
}

TEST_F(CurvesKeys, LoadingOtherPointsForgetsTheStepsLoadingTheSameKeepsThem) {
  select(1);
  view_.keyDown(key(kKeyUp));
  view_.saveParameters();
  view_.loadParameters();
  EXPECT_TRUE(view_.canUndo());
  view_.undo();
  EXPECT_TRUE(view_.canRedo());
  view_.setParams(nullptr);
  view_.loadParameters();
  EXPECT_FALSE(view_.canUndo());
  EXPECT_FALSE(view_.canRedo());
}

TEST_F(CurvesKeys, AResetCanBeUndone) {
  const CurvePoints before = points();
  view_.resetCurves();
  EXPECT_EQ(points().size(), 2U);
  view_.undo();
  EXPECT_EQ(points(), before);
}

TEST_F(CurvesKeys, UndoWithoutStepsChangesNothing) {
  host_.takeCalls();
  view_.undo();
  view_.redo();
  EXPECT_EQ(host_.takeCalls(), Calls{});
}

TEST_F(CurvesKeys, TheLatestThousandStepsAreKept) {
  select(1);
  for (int i = 0; i < 1200; ++i) view_.keyDown(key(i % 2 == 0 ? kKeyUp : kKeyDown));
  int steps = 0;
  for (; view_.canUndo(); ++steps) view_.undo();
  EXPECT_EQ(steps, 1000);
}

// Copying

TEST_F(CurvesKeys, ACurveIsCopiedFromOneChannelAndPastedIntoAnother) {
  EXPECT_FALSE(view_.canPasteCurve());
  view_.keyDown(key(kKeyC, NSCommandKeyMask));
  view_.setActiveChannel(1);
  view_.setSelectedIndex(1, 1);
  host_.takeCalls();
  view_.keyDown(key(kKeyV, NSCommandKeyMask));
  EXPECT_EQ(view_.curve(1).points, points());
  EXPECT_EQ(view_.curve(1).cache, view_.curve(3).cache);
  EXPECT_EQ(view_.selectedIndex(1), -1);
  EXPECT_EQ(host_.takeCalls(), (Calls{"redisplay", "changed"}));
  view_.undo();
  EXPECT_EQ(view_.curve(1).points, (CurvePoints{{0, 0}, {191, 191}}));
  EXPECT_EQ(view_.curve(3).points.size(), 5U);
}

TEST_F(CurvesKeys, WhatWasCopiedStaysAsItWasCopied) {
  view_.copyCurve();
  select(1);
  view_.keyDown(key(kKeyUp, NSShiftKeyMask));
  view_.pasteCurve();
  EXPECT_EQ(points()[1], (CurvePoint{40, 50}));
}

TEST_F(CurvesKeys, PastingTheSameCurveIsNoStep) {
  view_.copyCurve();
  view_.pasteCurve();
  EXPECT_FALSE(view_.canUndo());
}

TEST_F(CurvesKeys, DuringAPressNothingIsUndoneOrPasted) {
  select(1);
  view_.keyDown(key(kKeyUp));
  view_.copyCurve();
  view_.mouseMoved({NSEventType::mouseMoved, {23, 13}, 0, kKeyOther});
  view_.mouseDown({NSEventType::mouseDown, {23, 13}, 0, kKeyOther});
  EXPECT_FALSE(view_.canUndo());
  EXPECT_FALSE(view_.canPasteCurve());
  view_.mouseUp({});
  EXPECT_TRUE(view_.canUndo());
}

}  // namespace
}  // namespace kelvo
