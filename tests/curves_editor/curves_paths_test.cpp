#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "curves_editor/kelvo_tq_curves_view.h"
#include "tests/curves_editor/recording_host.h"

namespace kelvo {
namespace {

using testing::CurvePoints;

void setMaster(KelvoTQCurvesView& view, const std::string& points) {
  auto params = std::make_shared<ParameterDictionary>();
  params->setObject_forKey("1000", "rgbN");
  params->setObject_forKey(points, "rgbPoints");
  view.setParams(params);
  view.loadParameters();
}

std::vector<PathElement> elementsOf(const KelvoTQCurvesView& view) {
  return view.getFullCurveBezierPathForChannel(0).elements();
}

// The sub-paths after the curve itself, each as its two ends.
std::vector<std::pair<NSPoint, NSPoint>> edgeRuns(const KelvoTQCurvesView& view) {
  const std::vector<PathElement> elements = elementsOf(view);
  std::vector<std::pair<NSPoint, NSPoint>> runs;
  for (std::size_t i = 1; i + 1 < elements.size(); ++i) {
    if (elements[i].kind != PathElementKind::moveTo) continue;
    EXPECT_EQ(elements[i + 1].kind, PathElementKind::lineTo);
    runs.emplace_back(elements[i].points[0], elements[i + 1].points[0]);
  }
  return runs;
}

// The natural spline through (0, 0), (128, 64), (191, 191) in plot units and double precision, from
// the one second derivative that is not 0.
double threePointSpline(double x) {
  const double h0 = 128;
  const double h1 = 63;
  const double m = 6 * (127 / h1 - 64 / h0) / (2 * (h0 + h1));
  if (x <= 128) return m / (6 * h0) * x * x * x + (64 / h0 - m * h0 / 6) * x;
  const double t = x - 128;
  return -m / (6 * h1) * t * t * t + m / 2 * t * t + (127 / h1 - m * h1 / 3) * t + 64;
}

NSPoint cubicAt(double t, NSPoint p0, NSPoint p1, NSPoint p2, NSPoint p3) {
  const auto mix = [t](NSPoint a, NSPoint b) {
    return NSPoint{a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t};
  };
  const NSPoint a = mix(p0, p1);
  const NSPoint b = mix(p1, p2);
  const NSPoint c = mix(p2, p3);
  return mix(mix(a, b), mix(b, c));
}

TEST(CurvesPaths, TheIdentityIsALineInFourPiecesWithFlatEndsOfNoLength) {
  const KelvoTQCurvesView view;
  const auto elements = elementsOf(view);
  ASSERT_EQ(elements.size(), 7U);
  EXPECT_EQ(elements[0], (PathElement{PathElementKind::moveTo, {NSPoint{3, 3}}}));
  EXPECT_EQ(elements[1], (PathElement{PathElementKind::lineTo, {NSPoint{3, 3}}}));
  for (std::size_t j = 0; j < 4; ++j) {
    const PathElement& curve = elements[2 + j];
    ASSERT_EQ(curve.kind, PathElementKind::curveTo);
    const double from = 3 + 47.75 * static_cast<double>(j);
    const double thirds[] = {from + 47.75 / 3, from + 2 * 47.75 / 3, from + 47.75};
    for (std::size_t k = 0; k < 3; ++k) {
      EXPECT_NEAR(curve.points[k].x, thirds[k], 1e-4);
      EXPECT_NEAR(curve.points[k].y, thirds[k], 1e-4);
    }
  }
  EXPECT_EQ(elements[6], (PathElement{PathElementKind::lineTo, {NSPoint{194, 194}}}));
}

TEST(CurvesPaths, EachSegmentHasFourCubicsThatFollowTheSpline) {
  KelvoTQCurvesView view;
  setMaster(view, "0 0,128 64,191 191");
  const auto elements = elementsOf(view);
  ASSERT_GE(elements.size(), 11U);
  NSPoint from = elements[1].points[0];
  for (std::size_t i = 0; i < 8; ++i) {
    const PathElement& curve = elements[2 + i];
    ASSERT_EQ(curve.kind, PathElementKind::curveTo);
    const double h = i < 4 ? 32 : 63.0 / 4;
    const double start =
        i < 4 ? 32.0 * static_cast<double>(i) : 128 + 63.0 / 4 * static_cast<double>(i - 4);
    EXPECT_NEAR(from.x, start + 3, 1e-4);
    for (int step = 0; step <= 12; ++step) {
      const double t = step / 12.0;
      const NSPoint p = cubicAt(t, from, curve.points[0], curve.points[1], curve.points[2]);
      EXPECT_NEAR(p.x, start + t * h + 3, 1e-3);
      EXPECT_NEAR(p.y, threePointSpline(start + t * h) + 3, 1e-3);
    }
    from = curve.points[2];
  }
}

TEST(CurvesPaths, TheControlPointsAreThoseOfTheCubicThroughFourSamples) {
  KelvoTQCurvesView view;
  setMaster(view, "0 0,128 64,191 191");
  const PathElement curve = elementsOf(view)[2];
  const double third = 32.0 / 3;
  const double y[] = {threePointSpline(0), threePointSpline(third), threePointSpline(2 * third),
                      threePointSpline(32)};
  EXPECT_NEAR(curve.points[0].y, (-5 * y[0] + 18 * y[1] - 9 * y[2] + 2 * y[3]) / 6 + 3, 1e-4);
  EXPECT_NEAR(curve.points[1].y, (2 * y[0] - 9 * y[1] + 18 * y[2] - 5 * y[3]) / 6 + 3, 1e-4);
  EXPECT_NEAR(curve.points[2].y, y[3] + 3, 1e-4);
}

TEST(CurvesPaths, BesideTheEndPointsTheCurveIsFlatToThePlotsEdges) {
  KelvoTQCurvesView view;
  setMaster(view, "40 20,150 171");
  const auto elements = elementsOf(view);
  EXPECT_EQ(elements[0].points[0], (NSPoint{3, 23}));
  EXPECT_EQ(elements[1].points[0], (NSPoint{43, 23}));
  EXPECT_EQ(elements.back().kind, PathElementKind::lineTo);
  EXPECT_EQ(elements.back().points[0], (NSPoint{194, 174}));
}

TEST(CurvesPaths, ThePathFollowsEachEdit) {
  KelvoTQCurvesView view;
  EXPECT_EQ(elementsOf(view).size(), 7U);
  view.addPointToCurveAt({96, 100});
  EXPECT_EQ(elementsOf(view).size(), 11U);
  view.removeSelectedPoint();
  EXPECT_EQ(elementsOf(view).size(), 7U);
}

TEST(CurvesPaths, TheIdentityHasNoLinesAlongTheEdges) {
  const KelvoTQCurvesView view;
  EXPECT_TRUE(edgeRuns(view).empty());
}

TEST(CurvesPaths, AFlatCurveAtTheBottomIsDrawnAlongTheFrame) {
  KelvoTQCurvesView view;
  setMaster(view, "0 0,191 0");
  EXPECT_EQ(edgeRuns(view), (std::vector<std::pair<NSPoint, NSPoint>>{{{2, 3}, {193, 3}}}));
}

TEST(CurvesPaths, AFlatCurveAtTheTopIsDrawnAlongTheFrame) {
  KelvoTQCurvesView view;
  setMaster(view, "0 191,191 191");
  EXPECT_EQ(edgeRuns(view), (std::vector<std::pair<NSPoint, NSPoint>>{{{2, 194}, {193, 194}}}));
}

TEST(CurvesPaths, WithEndsAtEqualHeightsRunsAreWhereTheRoundedCurveTouchesTheEdge) {
  KelvoTQCurvesView view;
  setMaster(view, "0 10,96 -40,191 10");  // dips below the plot in the middle
  const auto& cache = view.curve(0).cache;
  int first = 0;
  while (cache[static_cast<std::size_t>(first)] > 0) ++first;
  int last = 191;
  while (cache[static_cast<std::size_t>(last)] > 0) --last;
  ASSERT_GT(first, 0);
  ASSERT_LT(last, 191);
  EXPECT_EQ(edgeRuns(view),
            (std::vector<std::pair<NSPoint, NSPoint>>{{{first + 2.0, 3}, {last + 2.0, 3}}}));
}

TEST(CurvesPaths, SeveralRunsAreSeveralLines) {
  KelvoTQCurvesView view;
  setMaster(view, "0 20,40 -20,96 40,150 -20,191 20");
  const auto runs = edgeRuns(view);
  ASSERT_EQ(runs.size(), 2U);
  EXPECT_LT(runs[0].second.x, runs[1].first.x);
}

// Where the spline leaves the plot below, the point (x, 3) lies between it and the chord from end
// to end, that is inside the path.
TEST(CurvesPaths, WithEndsAtDifferentHeightsRunsAreWhereTheEdgeIsInsideThePath) {
  KelvoTQCurvesView view;
  setMaster(view, "0 30,60 -30,191 191");
  const std::vector<CurvePoint>& points = view.curve(0).points;
  // The spline in double precision; the one inner second derivative.
  const double h0 = 60;
  const double h1 = 131;
  const double m = 6 * (221 / h1 + 60 / h0) / (2 * (h0 + h1));
  const auto spline = [&](double x) {
    if (x <= 60) return m / (6 * h0) * x * x * x + (-60 / h0 - m * h0 / 6) * x + 30;
    const double t = x - 60;
    return -m / (6 * h1) * t * t * t + m / 2 * t * t + (221 / h1 - m * h1 / 3) * t - 30;
  };
  ASSERT_EQ(points.size(), 3U);
  int first = -1;
  int last = -1;
  for (int x = 3; x <= 191; ++x) {
    if (spline(x - 3.0) < 0) {
      if (first < 0) first = x;
      last = x;
    }
  }
  EXPECT_EQ(edgeRuns(view),
            (std::vector<std::pair<NSPoint, NSPoint>>{
                {{static_cast<double>(first), 3}, {static_cast<double>(last), 3}}}));
}

TEST(CurvesPaths, RunsAtTheTopFollowThoseAtTheBottom) {
  KelvoTQCurvesView view;
  setMaster(view, "0 10,80 5,110 186,191 180");  // beyond both edges
  const auto runs = edgeRuns(view);
  ASSERT_EQ(runs.size(), 2U);
  EXPECT_EQ(runs[0].first.y, 3);
  EXPECT_EQ(runs[0].second.y, 3);
  EXPECT_EQ(runs[1].first.y, 194);
  EXPECT_EQ(runs[1].second.y, 194);
  EXPECT_LE(runs[1].second.x, 191);
}

TEST(CurvesPaths, ARunMayReachColumn191) {
  KelvoTQCurvesView view;
  // The chord from end to end is at the top edge beyond column 191.
  setMaster(view, "0 0,150 250,191 191.5");
  const auto runs = edgeRuns(view);
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_EQ(runs[0].first.y, 194);
  EXPECT_EQ(runs[0].second, (NSPoint{191, 194}));
}

TEST(CurvesPaths, RandomCurvesPassThroughTheirPoints) {
  std::mt19937 random(11);
  for (int round = 0; round < 300; ++round) {
    KelvoTQCurvesView view;
    for (auto i = random() % 10; i > 0; --i) {
      view.addPointToCurveAt(
          {static_cast<double>(random() % 1910) / 10, static_cast<double>(random() % 1910) / 10});
    }
    const CurvePoints& points = view.curve(0).points;
    const auto elements = elementsOf(view);
    for (std::size_t i = 1; i < points.size(); ++i) {
      const PathElement& end = elements[1 + 4 * i];
      ASSERT_EQ(end.kind, PathElementKind::curveTo);
      ASSERT_NEAR(end.points[2].x, points[i].x + 3, 1e-3);
      // Points a tenth apart make slopes of 2000, by which x's rounding error counts.
      ASSERT_NEAR(end.points[2].y, points[i].y + 3, 0.1);
    }
  }
}

}  // namespace
}  // namespace kelvo
