#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "curves_editor/kelvo_tq_curves_view.h"
#include "tests/curves_editor/recording_host.h"

namespace kelvo {
namespace {

using testing::Calls;
using testing::CurvePoints;
using testing::RecordingHost;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// A view whose active channel is green, with a window that takes notes.
class CurvesEditing : public ::testing::Test {
 protected:
  void SetUp() override {
    view_.setActiveChannel(2);
    host_.takeCalls();
  }

  // The active curve: its ends and these points between them; nothing selected, nothing noted.
  void useCurve(const CurvePoints& inner) {
    view_.resetCurves();
    for (const CurvePoint& point : inner) view_.addPointToCurveAt({point.x, point.y});
    view_.setSelectedIndex(2, -1);
    view_.setPromisedIndexToSelect(-1);
    view_.setMouseDownAction(MouseDownAction::none);
    host_.forgetCursors();
    host_.takeCalls();
    ASSERT_EQ(points().size(), inner.size() + 2);
  }
  void select(int index) { view_.setSelectedIndex(2, index); }
  [[nodiscard]] const CurvePoints& points() const { return view_.curve(2).points; }
  [[nodiscard]] int selected() const { return view_.selectedIndex(2); }
  // Whether the derived tables belong to the points of now.
  [[nodiscard]] bool isRecalculated() const {
    float sum = 0;
    for (const CurvePoint& point : points()) sum = point.x + point.y + sum;
    if (view_.checksumForChannel(2) != sum) return false;
    if (view_.curve(2).A.size() != points().size() - 1) return false;
    for (std::size_t i = 0; i + 1 < points().size(); ++i) {
      if (view_.curve(2).D[i] != points()[i].y) return false;
    }
    return view_.curve(2).cache[255] == points().back().y;
  }

  KelvoTQCurvesView view_;
  RecordingHost host_{view_};
};

// Adding

TEST_F(CurvesEditing, AnAddedPointStandsBetweenItsNeighboursSelectedAndReadyToBeDragged) {
  useCurve({{100, 50}});
  view_.addPointToCurveAt({60.5, 70.25});
  EXPECT_EQ(points(), (CurvePoints{{0, 0}, {60.5F, 70.25F}, {100, 50}, {191, 191}}));
  EXPECT_EQ(selected(), 1);
  EXPECT_EQ(view_.promisedIndexToSelect(), 1);
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::movePoint);
  EXPECT_TRUE(isRecalculated());
  EXPECT_EQ(host_.takeCalls(), (Calls{"move cursor"}));
  view_.addPointToCurveAt({150, 70});
  EXPECT_EQ(points().size(), 5U);
  EXPECT_EQ(selected(), 3);
  EXPECT_EQ(view_.promisedIndexToSelect(), 3);
}

TEST_F(CurvesEditing, APointOnOrOutsideTheRangeOfThePointsOrAtAPointsXIsNotAdded) {
  useCurve({{100, 50}});
  // Both ends moved in.
  select(0);
  view_.moveSelectedPointInActiveChannelToPosition({20, 0});
  select(2);
  view_.moveSelectedPointInActiveChannelToPosition({180, 191});
  select(-1);
  const CurvePoints before = points();
  ASSERT_EQ(before, (CurvePoints{{20, 0}, {100, 50}, {180, 191}}));
  for (const double x : {0.0, 10.0, 20.0, 100.0, 180.0, 185.0, 191.0, 255.0}) {
    view_.addPointToCurveAt({x, 90});
    EXPECT_EQ(points(), before) << x;
  }
  EXPECT_EQ(selected(), -1);
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::none);
  EXPECT_EQ(host_.takeCalls(), Calls{});
}

TEST_F(CurvesEditing, APointOutside0To255IsNotAdded) {
  useCurve({});
  for (const NSPoint& q :
       {NSPoint{-1, 50}, NSPoint{50, -0.001}, NSPoint{50, 255.001}, NSPoint{256, 50},
        NSPoint{kNan, 50}, NSPoint{50, kNan}, NSPoint{kInfinity, 5}, NSPoint{5, -kInfinity}}) {
    view_.addPointToCurveAt(q);
    EXPECT_EQ(points().size(), 2U) << q.x << ' ' << q.y;
  }
  EXPECT_EQ(host_.takeCalls(), Calls{});
}

TEST_F(CurvesEditing, AYBetween191And255IsAdded) {
  useCurve({});
  view_.addPointToCurveAt({50, 255});
  view_.addPointToCurveAt({60, 0});
  EXPECT_EQ(points(), (CurvePoints{{0, 0}, {50, 255}, {60, 0}, {191, 191}}));
}

TEST_F(CurvesEditing, BetweenTwoPointsOneUnitApartAPointCanBeAdded) {
  useCurve({{100, 50}, {101, 60}});
  view_.addPointToCurveAt({100.5, 55});
  EXPECT_EQ(points(), (CurvePoints{{0, 0}, {100, 50}, {100.5F, 55}, {101, 60}, {191, 191}}));
}

TEST_F(CurvesEditing, APointThatRoundingWouldBringOntoANeighbourIsNotAdded) {
  useCurve({{100, 50}});
  view_.addPointToCurveAt({100 + 1e-9, 60});
  view_.addPointToCurveAt({100 - 1e-9, 60});
  EXPECT_EQ(points().size(), 3U);
}

TEST_F(CurvesEditing, ThereIsNoUpperLimitOfPoints) {
  useCurve({});
  for (int i = 1; i < 1900; ++i) view_.addPointToCurveAt({i / 10.0, 100});
  EXPECT_EQ(points().size(), 1901U);
  EXPECT_TRUE(isRecalculated());
}

TEST_F(CurvesEditing, OnlyTheActiveChannelChanges) {
  useCurve({});
  view_.addPointToCurveAt({50, 60});
  for (const int channel : {0, 1, 3}) {
    EXPECT_EQ(view_.curve(channel).points.size(), 2U);
    EXPECT_EQ(view_.selectedIndex(channel), -1);
  }
}

// Dragging

TEST_F(CurvesEditing, ADraggedInnerPointFollowsThePointer) {
  useCurve({{50, 60}});
  select(1);
  view_.moveSelectedPointInActiveChannelToPosition({70.5, 20.25});
  EXPECT_EQ(points(), (CurvePoints{{0, 0}, {70.5F, 20.25F}, {191, 191}}));
  EXPECT_TRUE(isRecalculated());
  EXPECT_EQ(host_.takeCalls(), Calls{});  // redisplaying is its caller's business
}

TEST_F(CurvesEditing, DraggingKeepsToThePlotInBothAxes) {
  useCurve({{50, 60}});
  select(1);
  for (const auto& [y, expected] : std::initializer_list<std::pair<double, float>>{
           {-5, 0.0F}, {300, 191.0F}, {kNan, 0.0F}, {kInfinity, 191.0F}, {191.5, 191.0F}}) {
    view_.moveSelectedPointInActiveChannelToPosition({50, y});
    EXPECT_EQ(points()[1], (CurvePoint{50, expected})) << y;
  }
}

TEST_F(CurvesEditing, TheFirstPointStopsFourUnitsBeforeTheSecond) {
  useCurve({{50, 60}});
  select(0);
  view_.moveSelectedPointInActiveChannelToPosition({46, 9});
  EXPECT_EQ(points()[0], (CurvePoint{46, 9}));
  view_.moveSelectedPointInActiveChannelToPosition({120, 10});
  EXPECT_EQ(points()[0], (CurvePoint{46, 10}));
  view_.moveSelectedPointInActiveChannelToPosition({-30, 11});
  EXPECT_EQ(points()[0], (CurvePoint{0, 11}));
  EXPECT_FALSE(view_.isTemporalyRemoved());
  EXPECT_EQ(points().size(), 3U);
}

TEST_F(CurvesEditing, TheLastPointStopsFourUnitsAfterTheLastButOne) {
  useCurve({{50, 60}});
  select(2);
  view_.moveSelectedPointInActiveChannelToPosition({10, 100});
  EXPECT_EQ(points()[2], (CurvePoint{54, 100}));
  view_.moveSelectedPointInActiveChannelToPosition({kNan, 100});
  EXPECT_EQ(points()[2], (CurvePoint{54, 100}));
  view_.moveSelectedPointInActiveChannelToPosition({1000, 100});
  EXPECT_EQ(points()[2], (CurvePoint{191, 100}));
  EXPECT_FALSE(view_.isTemporalyRemoved());
}

TEST_F(CurvesEditing, AnEndPointKeepsItsGapEvenWhereThePlotEnds) {
  useCurve({{2, 60}, {189, 70}});
  select(0);
  view_.moveSelectedPointInActiveChannelToPosition({1, 5});
  EXPECT_EQ(points()[0], (CurvePoint{-2, 5}));
  select(3);
  view_.moveSelectedPointInActiveChannelToPosition({190, 5});
  EXPECT_EQ(points()[3], (CurvePoint{193, 5}));
}

TEST_F(CurvesEditing, AnInnerPointMayComeWithinExactlyFourUnitsOfItsNeighbours) {
  useCurve({{50, 60}, {100, 70}});
  select(1);
  view_.moveSelectedPointInActiveChannelToPosition({96, 60});
  EXPECT_EQ(points()[1], (CurvePoint{96, 60}));
  view_.moveSelectedPointInActiveChannelToPosition({4, 60});
  EXPECT_EQ(points()[1], (CurvePoint{4, 60}));
  EXPECT_FALSE(view_.isTemporalyRemoved());
}

TEST_F(CurvesEditing, AnInnerPointDraggedNearerThanFourUnitsToANeighbourIsTakenOut) {
  for (const double x : {96.5, 150.0, 3.5, -20.0}) {
    useCurve({{50, 60}, {100, 70}});
    view_.setMouseDownAction(MouseDownAction::movePoint);
    select(1);
    view_.moveSelectedPointInActiveChannelToPosition({x, 60});
    EXPECT_EQ(points(), (CurvePoints{{0, 0}, {100, 70}, {191, 191}})) << x;
    EXPECT_EQ(selected(), -1);
    EXPECT_TRUE(view_.isTemporalyRemoved());
    EXPECT_EQ(view_.temporalyRemovedIndex(), 1);
    EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::movePoint);
    EXPECT_TRUE(isRecalculated());
    EXPECT_EQ(host_.takeCalls(), (Calls{"main cursor", "redisplay"}));
    view_.mouseUp({});
  }
}

TEST_F(CurvesEditing, ADragToWhereThePointIsRecalculatesNothing) {
  useCurve({{50, 60}});
  select(1);
  const float* const coefficients = view_.curve(2).A.data();
  const auto cache = view_.curve(2).cache;
  view_.moveSelectedPointInActiveChannelToPosition({50, 60});
  EXPECT_EQ(view_.curve(2).A.data(), coefficients);
  EXPECT_EQ(view_.curve(2).cache, cache);
  EXPECT_EQ(points()[1], (CurvePoint{50, 60}));
  EXPECT_EQ(host_.takeCalls(), Calls{});
}

TEST_F(CurvesEditing, WithoutASelectionADragDoesNothing) {
  useCurve({{50, 60}});
  for (const int none : {-1, 3, 100}) {
    select(none);
    view_.moveSelectedPointInActiveChannelToPosition({70, 80});
    EXPECT_EQ(points(), (CurvePoints{{0, 0}, {50, 60}, {191, 191}}));
  }
  EXPECT_EQ(host_.takeCalls(), Calls{});
}

// Taking out and putting back

class CurvesPointOut : public CurvesEditing {
 protected:
  // The point between (50, 60) and (150, 70) is out.
  void SetUp() override {
    CurvesEditing::SetUp();
    useCurve({{50, 60}, {100, 80}, {150, 70}});
    view_.setMouseDownAction(MouseDownAction::movePoint);
    select(2);
    view_.moveSelectedPointInActiveChannelToPosition({149, 80});
    host_.takeCalls();
    ASSERT_EQ(points(), kWithout);
  }
  const CurvePoints kWithout{{0, 0}, {50, 60}, {150, 70}, {191, 191}};
};

TEST_F(CurvesPointOut, BackBetweenTheNeighboursItIsPutBackAtTheNewPlace) {
  view_.moveSelectedPointInActiveChannelToPosition({90.5, 33});
  EXPECT_EQ(points(), (CurvePoints{{0, 0}, {50, 60}, {90.5F, 33}, {150, 70}, {191, 191}}));
  EXPECT_EQ(selected(), 2);
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::movePoint);
  EXPECT_TRUE(view_.isTemporalyRemoved());  // until the drag ends
  EXPECT_EQ(view_.temporalyRemovedIndex(), 2);
  EXPECT_TRUE(isRecalculated());
  EXPECT_EQ(host_.takeCalls(), (Calls{"move cursor", "redisplay"}));
}

TEST_F(CurvesPointOut, NearerThanFourUnitsToANeighbourItStaysOut) {
  for (const double x : {50.0, 53.999, 146.001, 150.0, 0.0, 191.0, kNan}) {
    view_.moveSelectedPointInActiveChannelToPosition({x, 33});
    EXPECT_EQ(points(), kWithout) << x;
  }
  EXPECT_EQ(host_.takeCalls(), Calls{});
  view_.moveSelectedPointInActiveChannelToPosition({54, 33});
  EXPECT_EQ(points().size(), 5U);
}

TEST_F(CurvesPointOut, ExactlyFourUnitsFromTheRightNeighbourItIsPutBack) {
  view_.moveSelectedPointInActiveChannelToPosition({146, 33});
  EXPECT_EQ(points().size(), 5U);
}

TEST_F(CurvesPointOut, AboveOrBelowThePlotItStaysOut) {
  for (const double y : {-0.001, 191.001, -500.0, 500.0, kNan}) {
    view_.moveSelectedPointInActiveChannelToPosition({90, y});
    EXPECT_EQ(points(), kWithout) << y;
  }
  EXPECT_EQ(host_.takeCalls(), Calls{});
  view_.moveSelectedPointInActiveChannelToPosition({90, 191});
  EXPECT_EQ(points()[2], (CurvePoint{90, 191}));
}

TEST_F(CurvesPointOut, WithinOneDragItMayGoOutAndComeBackAnyNumberOfTimes) {
  for (int i = 0; i < 5; ++i) {
    view_.moveSelectedPointInActiveChannelToPosition({90, 33});
    EXPECT_EQ(points().size(), 5U);
    EXPECT_EQ(selected(), 2);
    view_.moveSelectedPointInActiveChannelToPosition({10, 33});
    EXPECT_EQ(points(), kWithout);
    EXPECT_EQ(selected(), -1);
  }
}

TEST_F(CurvesPointOut, AfterTheDragItStaysOutForGood) {
  view_.mouseUp({});
  EXPECT_FALSE(view_.isTemporalyRemoved());
  EXPECT_EQ(view_.temporalyRemovedIndex(), -1);
  view_.moveSelectedPointInActiveChannelToPosition({90, 33});
  EXPECT_EQ(points(), kWithout);
}

TEST_F(CurvesPointOut, ACurveThatLostItsPlaceMeanwhileDoesNotGetItBack) {
  view_.resetCurves();
  view_.moveSelectedPointInActiveChannelToPosition({90, 33});
  EXPECT_EQ(points(), (CurvePoints{{0, 0}, {191, 191}}));
}

TEST_F(CurvesPointOut, PuttingBackInsertsAtItsOldIndex) {
  view_.putBackTemporalyRemovedPoint({77, 88});
  EXPECT_EQ(points()[2], (CurvePoint{77, 88}));
  EXPECT_EQ(selected(), 2);
}

TEST_F(CurvesEditing, TakingOutOrPuttingBackWhatIsNotThereDoesNothing) {
  useCurve({{50, 60}});
  view_.putBackTemporalyRemovedPoint({20, 20});
  for (const int index : {-1, 0, 2, 3, 1000}) {
    view_.temporalyRemovePointFromActiveChannelAtIndex(index);
  }
  EXPECT_EQ(points(), (CurvePoints{{0, 0}, {50, 60}, {191, 191}}));
  EXPECT_FALSE(view_.isTemporalyRemoved());
  EXPECT_EQ(host_.takeCalls(), Calls{});
}

// Deleting

TEST_F(CurvesEditing, ASelectedInnerPointIsDeleted) {
  useCurve({{50, 60}, {100, 80}});
  view_.setMouseDownAction(MouseDownAction::movePoint);
  select(1);
  view_.removeSelectedPoint();
  EXPECT_EQ(points(), (CurvePoints{{0, 0}, {100, 80}, {191, 191}}));
  EXPECT_EQ(selected(), -1);
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::none);
  EXPECT_FALSE(view_.isTemporalyRemoved());
  EXPECT_TRUE(isRecalculated());
  EXPECT_EQ(host_.takeCalls(), (Calls{"main cursor", "redisplay"}));
}

TEST_F(CurvesEditing, EndPointsAndNoSelectionDeleteNothing) {
  useCurve({{50, 60}});
  view_.setMouseDownAction(MouseDownAction::movePoint);
  for (const int index : {-1, 0, 2, 3}) {
    select(index);
    view_.removeSelectedPoint();
    EXPECT_EQ(points().size(), 3U);
    EXPECT_EQ(selected(), index);
  }
  EXPECT_EQ(view_.mouseDownAction(), MouseDownAction::movePoint);
  EXPECT_EQ(host_.takeCalls(), Calls{});
}

TEST_F(CurvesEditing, ThePromisedInnerPointIsSelectedAndDeleted) {
  useCurve({{50, 60}, {100, 80}});
  view_.setPromisedIndexToSelect(2);
  view_.selectPromisedPointInActiveChannelAndDelete();
  EXPECT_EQ(points(), (CurvePoints{{0, 0}, {50, 60}, {191, 191}}));
  EXPECT_EQ(selected(), -1);
  EXPECT_EQ(host_.takeCalls(), (Calls{"main cursor", "redisplay"}));
}

TEST_F(CurvesEditing, APromisedEndPointOrNoneIsNeitherSelectedNorDeleted) {
  useCurve({{50, 60}});
  for (const int promised : {-1, 0, 2, 3, 50}) {
    view_.setPromisedIndexToSelect(promised);
    view_.selectPromisedPointInActiveChannelAndDelete();
    EXPECT_EQ(points().size(), 3U);
    EXPECT_EQ(selected(), -1);
  }
  EXPECT_EQ(host_.takeCalls(), Calls{});
}

// Pressing beside a point

TEST_F(CurvesEditing, ThePromisedPointIsSelectedAndJumpsToThePointer) {
  useCurve({{50, 60}});
  view_.setPromisedIndexToSelect(1);
  view_.selectPromisedPointInActiveChannelAndMooveToPoint({55.5, 70});
  EXPECT_EQ(selected(), 1);
  EXPECT_EQ(points()[1], (CurvePoint{55.5F, 70}));
  EXPECT_TRUE(isRecalculated());
  EXPECT_EQ(host_.takeCalls(), Calls{});
}

TEST_F(CurvesEditing, ThatJumpKeepsNoGapButNeverReachesANeighbour) {
  useCurve({{50, 60}, {100, 80}});
  view_.setPromisedIndexToSelect(1);
  view_.selectPromisedPointInActiveChannelAndMooveToPoint({99.5, 60});
  EXPECT_EQ(points()[1], (CurvePoint{99.5F, 60}));
  for (const double x : {100.0, 150.0, 0.0, -5.0, 100 - 1e-9, kNan}) {
    select(-1);
    view_.selectPromisedPointInActiveChannelAndMooveToPoint({x, 10});
    EXPECT_EQ(points()[1], (CurvePoint{99.5F, 60})) << x;
    EXPECT_EQ(selected(), 1);  // selected all the same
  }
}

TEST_F(CurvesEditing, EndPointsJumpInBothAxesWithinThePlot) {
  useCurve({{50, 60}});
  view_.setPromisedIndexToSelect(0);
  view_.selectPromisedPointInActiveChannelAndMooveToPoint({49, -7});
  EXPECT_EQ(points()[0], (CurvePoint{49, 0}));
  view_.selectPromisedPointInActiveChannelAndMooveToPoint({50, 3});
  EXPECT_EQ(points()[0], (CurvePoint{49, 0}));
  view_.setPromisedIndexToSelect(2);
  view_.selectPromisedPointInActiveChannelAndMooveToPoint({60, 400});
  EXPECT_EQ(points()[2], (CurvePoint{60, 191}));
  view_.selectPromisedPointInActiveChannelAndMooveToPoint({500, kNan});
  EXPECT_EQ(points()[2], (CurvePoint{191, 0}));
}

TEST_F(CurvesEditing, WithoutAPromisedPointNothingIsSelectedOrMoved) {
  useCurve({{50, 60}});
  for (const int promised : {-1, 3, 50}) {
    view_.setPromisedIndexToSelect(promised);
    view_.selectPromisedPointInActiveChannelAndMooveToPoint({60, 60});
    EXPECT_EQ(selected(), -1);
    EXPECT_EQ(points(), (CurvePoints{{0, 0}, {50, 60}, {191, 191}}));
  }
}

TEST_F(CurvesEditing, NoEditingOperationAnnouncesAChange) {
  useCurve({{50, 60}});
  view_.addPointToCurveAt({100, 60});
  view_.moveSelectedPointInActiveChannelToPosition({110, 60});
  view_.moveSelectedPointInActiveChannelToPosition({10, 60});
  view_.moveSelectedPointInActiveChannelToPosition({110, 60});
  view_.selectPromisedPointInActiveChannelAndMooveToPoint({120, 60});
  view_.selectPromisedPointInActiveChannelAndDelete();
  select(1);
  view_.removeSelectedPoint();
  EXPECT_EQ(points().size(), 2U);
  for (const std::string& call : host_.takeCalls()) EXPECT_NE(call, "changed");
}

TEST_F(CurvesEditing, EverythingWorksWithoutAWindow) {
  useCurve({{50, 60}});
  view_.setHost(nullptr);
  view_.addPointToCurveAt({100, 60});
  view_.moveSelectedPointInActiveChannelToPosition({10, 60});
  EXPECT_TRUE(view_.isTemporalyRemoved());
  view_.moveSelectedPointInActiveChannelToPosition({110, 60});
  view_.removeSelectedPoint();
  view_.resetCurves();
  EXPECT_EQ(host_.takeCalls(), (Calls{"changed"}));
}

TEST_F(CurvesEditing, WhateverIsDoneTheXAscendAndTheTablesFollowThePoints) {
  std::mt19937 random(12);
  const auto coordinate = [&] { return static_cast<double>(random() % 2600) / 10 - 30; };
  useCurve({});
  for (int step = 0; step < 20000; ++step) {
    const NSPoint at{coordinate(), coordinate()};
    const int index = static_cast<int>(random() % (points().size() + 2)) - 1;
    const std::size_t before = points().size();
    switch (random() % 8) {
      case 0:
      case 1:
        view_.addPointToCurveAt(at);
        break;
      case 2:
        select(index);
        view_.moveSelectedPointInActiveChannelToPosition(at);
        break;
      case 3:
        view_.moveSelectedPointInActiveChannelToPosition(at);
        break;
      case 4:
        select(index);
        view_.removeSelectedPoint();
        break;
      case 5:
        view_.setPromisedIndexToSelect(index);
        view_.selectPromisedPointInActiveChannelAndMooveToPoint(at);
        break;
      case 6:
        if (random() % 8 == 0) view_.mouseUp({});
        break;
      default:
        view_.setPromisedIndexToSelect(index);
        if (points().size() > 12) view_.selectPromisedPointInActiveChannelAndDelete();
        break;
    }
    ASSERT_GE(points().size(), 2U);
    ASSERT_LE(points().size(), before + 1);
    for (std::size_t i = 1; i < points().size(); ++i) {
      ASSERT_LT(points()[i - 1].x, points()[i].x) << "step " << step;
    }
    ASSERT_TRUE(isRecalculated()) << "step " << step;
  }
}

}  // namespace
}  // namespace kelvo
