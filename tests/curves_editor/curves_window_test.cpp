#include <gtest/gtest.h>

#include "curves_editor/kelvo_tq_curves_view.h"
#include "tests/curves_editor/recording_field.h"
#include "tests/curves_editor/recording_host.h"

namespace kelvo {
namespace {

using testing::Calls;
using testing::RecordingField;
using testing::RecordingHost;

class CurvesWindow : public ::testing::Test {
 protected:
  KelvoTQCurvesView view_;
  RecordingHost host_{view_};
};

TEST_F(CurvesWindow, WakingMakesThreeCursorsWithTheirHotSpot) {
  const NSCursorRef cursors[] = {view_.mainViewCursor(), view_.addPointCursor(),
                                 view_.movePointCursor()};
  for (const NSCursorRef& cursor : cursors) {
    ASSERT_NE(cursor, nullptr);
    EXPECT_EQ(cursor->hotSpot(), (NSPoint{3, 1.5}));
    ASSERT_NE(cursor->image(), nullptr);
    EXPECT_EQ(cursor->image()->referencedFile(), "");  // without a bundle
  }
}

TEST_F(CurvesWindow, CursorsShowThePicturesOfTheBundle) {
  auto bundle = NSBundle::bundleWithPath(KELVO_BINARY_DIR "/lib/kelvo/Kelvo Images.action");
  ASSERT_TRUE(bundle.ok());
  view_.setBundle(std::move(bundle).value());
  view_.awakeFromNib();
  const auto fileOf = [](const NSCursorRef& cursor) {
    const std::string& path = cursor->image()->referencedFile();
    return path.substr(path.find_last_of('/') + 1);
  };
  EXPECT_EQ(fileOf(view_.mainViewCursor()), "CurvesCursor.tif");
  EXPECT_EQ(fileOf(view_.addPointCursor()), "CurvesAdd.tif");
  EXPECT_EQ(fileOf(view_.movePointCursor()), "CurvesMove.tif");
}

// Entering and leaving

TEST_F(CurvesWindow, EnteringTakesTheKeyboardPaintsAndPutsTheMainCursorOnTop) {
  RecordingField left;
  RecordingField bottom;
  view_.setLeftLabel(&left);
  view_.setBottomLabel(&bottom);
  view_.mouseEntered({});
  EXPECT_EQ(host_.takeCalls(), (Calls{"first responder", "moves on", "key window", "display",
                                      "usual cursor", "main cursor"}));
  EXPECT_EQ(left.displays, 1);
  EXPECT_EQ(bottom.displays, 1);
  EXPECT_TRUE(view_.dontNeedToMove());
  EXPECT_FALSE(view_.mouseInsideView());
}

TEST_F(CurvesWindow, EnteringPushesTheCurrentCursorBeneathEvenIfItIsTheMainOne) {
  view_.mouseEntered({});
  view_.mouseEntered({});
  EXPECT_EQ(host_.cursors(), (Calls{"usual", "main", "main", "main"}));
}

TEST_F(CurvesWindow, LeavingPopsTheEditorsCursorsDownToWhatLayBeneath) {
  host_.pushOtherCursor();
  view_.mouseEntered({});
  view_.mouseMoved({NSEventType::mouseMoved, {23, 13}, 0, kKeyOther});
  EXPECT_EQ(host_.cursors(), (Calls{"other", "other", "main", "move"}));
  host_.takeCalls();
  view_.mouseExited({});
  EXPECT_EQ(host_.takeCalls(), (Calls{"pop", "pop"}));
  EXPECT_EQ(host_.cursors(), (Calls{"other", "other"}));
  EXPECT_FALSE(view_.dontNeedToMove());
}

TEST_F(CurvesWindow, APressThatLeavesTheViewKeepsItsCursorAndMayComeBack) {
  view_.mouseEntered({});
  view_.mouseMoved({NSEventType::mouseMoved, {119, 109}, 0, kKeyOther});
  view_.mouseDown({NSEventType::mouseDown, {119, 109}, 0, kKeyOther});
  const auto cursors = host_.cursors();
  view_.mouseExited({});
  EXPECT_EQ(host_.cursors(), cursors);
  EXPECT_FALSE(view_.dontNeedToMove());
  host_.takeCalls();
  view_.mouseEntered({});
  EXPECT_TRUE(view_.mouseInsideView());
  EXPECT_EQ(host_.takeCalls(), (Calls{"first responder", "moves on", "key window", "display"}));
  EXPECT_EQ(host_.cursors(), cursors);
  view_.mouseExited({});
  EXPECT_FALSE(view_.mouseInsideView());
}

TEST_F(CurvesWindow, WithoutAWindowEnteringAndLeavingDoNoHarm) {
  host_.hasWindow = false;
  view_.mouseEntered({});
  EXPECT_EQ(host_.takeCalls(),
            (Calls{"first responder", "display", "usual cursor", "main cursor"}));
  view_.setHost(nullptr);
  view_.mouseEntered({});
  EXPECT_TRUE(view_.dontNeedToMove());
  view_.mouseExited({});
  EXPECT_FALSE(view_.dontNeedToMove());
}

// Tracking

TEST_F(CurvesWindow, TrackingIsSetUpOverTheBounds) {
  view_.reconfigureTrackingRect();
  EXPECT_EQ(host_.takeCalls(), (Calls{"track 1: 198 x 198"}));
}

TEST_F(CurvesWindow, AnOldTrackingRectangleIsRemovedBeforeANewOneIsAdded) {
  view_.resetCursorRects();
  view_.resetCursorRects();
  view_.reconfigureTrackingRect();
  EXPECT_EQ(host_.takeCalls(), (Calls{"track 1: 198 x 198", "untrack 1", "track 2: 198 x 198",
                                      "untrack 2", "track 3: 198 x 198"}));
}

TEST_F(CurvesWindow, TrackingFollowsTheFrame) {
  view_.setFrame({{7, 8}, {300, 250}});
  EXPECT_EQ(view_.bounds(), (NSRect{{0, 0}, {300, 250}}));
  view_.reconfigureTrackingRect();
  EXPECT_EQ(host_.takeCalls(), (Calls{"track 1: 300 x 250"}));
}

TEST_F(CurvesWindow, WithoutAHostThereIsNothingToTrack) {
  view_.setHost(nullptr);
  view_.reconfigureTrackingRect();
  view_.resetCursorRects();
  EXPECT_EQ(host_.takeCalls(), Calls{});
}

// The window above

TEST_F(CurvesWindow, TheTransparentWindowIsMadeOnceAddedOnceAndCentredEachTime) {
  EXPECT_EQ(view_.transparentWindow(), nullptr);
  view_.setupTransparentWindow();
  EXPECT_EQ(host_.takeCalls(), (Calls{"add child 1", "center child", "frame and display child"}));
  const auto first = view_.transparentWindow();
  view_.setupTransparentWindow();
  EXPECT_EQ(host_.takeCalls(), (Calls{"center child", "frame and display child"}));
  EXPECT_EQ(view_.transparentWindow(), first);
  EXPECT_EQ(first->frame().origin, (NSPoint{1, 2}));  // where centring put it
}

TEST_F(CurvesWindow, TheTransparentWindowIsABorderlessOverlayWiderThanItsParent) {
  view_.setupTransparentWindow();
  const CurvesTransparentWindow& window = *view_.transparentWindow();
  EXPECT_EQ(window.frame().size, (NSSize{700, 400}));
  EXPECT_EQ(window.styleMask(), 0);
  EXPECT_EQ(window.backing(), 2);
  EXPECT_FALSE(window.isDeferred());
  EXPECT_EQ(window.backgroundColor, NSColor::clearColor());
  EXPECT_EQ(window.level, CGWindowLevelForKey(13));
  EXPECT_GT(window.level, 0);
  EXPECT_EQ(window.alphaValue, 0.99F);
  EXPECT_FALSE(window.opaque);
  EXPECT_FALSE(window.hasShadow);
  EXPECT_TRUE(window.ignoresMouseEvents);
}

TEST_F(CurvesWindow, TheTransparentWindowHoldsTwoHiddenLabels) {
  view_.setupTransparentWindow();
  const auto& views = view_.transparentWindow()->contentViews;
  ASSERT_EQ(views.size(), 2U);
  EXPECT_EQ(views[0]->frame, (NSRect{{25, 200}, {52, 37}}));
  EXPECT_EQ(views[1]->frame, (NSRect{{200, 40}, {51, 39}}));
  for (const auto& view : views) {
    EXPECT_TRUE(view->hidden);
    EXPECT_NE(view->image, nullptr);
  }
}

TEST_F(CurvesWindow, WhatReachesTheTransparentWindowGoesToItsParent) {
  view_.setupTransparentWindow();
  host_.takeCalls();
  const auto window = view_.transparentWindow();
  window->sendEvent({NSEventType::keyDown, {}, 0, 99});
  EXPECT_EQ(host_.takeCalls(), (Calls{"event 99"}));
  view_.hideTransparentWindow();
  host_.takeCalls();
  window->sendEvent({NSEventType::keyDown, {}, 0, 99});  // without a parent: to nobody
  EXPECT_EQ(host_.takeCalls(), Calls{});
}

TEST_F(CurvesWindow, HidingTakesTheTransparentWindowAwayAndItCanComeBack) {
  view_.hideTransparentWindow();
  EXPECT_EQ(host_.takeCalls(), Calls{});
  view_.setupTransparentWindow();
  host_.takeCalls();
  view_.hideTransparentWindow();
  EXPECT_EQ(host_.takeCalls(), (Calls{"remove child", "order out child"}));
  view_.hideTransparentWindow();
  EXPECT_EQ(host_.takeCalls(), Calls{});
  view_.setupTransparentWindow();
  EXPECT_EQ(host_.takeCalls(), (Calls{"add child 1", "center child", "frame and display child"}));
}

TEST_F(CurvesWindow, WithoutAWindowThereIsNoTransparentWindow) {
  host_.hasWindow = false;
  view_.setupTransparentWindow();
  view_.hideTransparentWindow();
  EXPECT_EQ(view_.transparentWindow(), nullptr);
  EXPECT_EQ(host_.takeCalls(), Calls{});
}

}  // namespace
}  // namespace kelvo
