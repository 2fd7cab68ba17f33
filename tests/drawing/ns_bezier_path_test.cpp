#include "platform/drawing/ns_bezier_path.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <numbers>

namespace kelvo {
namespace {

using Kind = PathElementKind;

NSBezierPath polygon(std::initializer_list<NSPoint> points) {
  NSBezierPath path;
  for (const NSPoint& point : points) path.lineToPoint(point);
  return path;
}

// A circle of four cubics; the usual approximation is off by less than 0.03 % of the radius.
NSBezierPath circle(NSPoint c, double r) {
  const double k = 4.0 / 3 * (std::numbers::sqrt2 - 1) * r;
  NSBezierPath path;
  path.moveToPoint({c.x + r, c.y});
  path.curveToPoint_controlPoint1_controlPoint2({c.x, c.y + r}, {c.x + r, c.y + k},
                                                {c.x + k, c.y + r});
  path.curveToPoint_controlPoint1_controlPoint2({c.x - r, c.y}, {c.x - k, c.y + r},
                                                {c.x - r, c.y + k});
  path.curveToPoint_controlPoint1_controlPoint2({c.x, c.y - r}, {c.x - r, c.y - k},
                                                {c.x - k, c.y - r});
  path.curveToPoint_controlPoint1_controlPoint2({c.x + r, c.y}, {c.x + k, c.y - r},
                                                {c.x + r, c.y - k});
  return path;
}

TEST(BezierPath, ANewOneIsEmptyOneUnitWideAndSolid) {
  const NSBezierPath path = NSBezierPath::bezierPath();
  EXPECT_TRUE(path.isEmpty());
  EXPECT_EQ(path.lineWidth(), 1);
  EXPECT_TRUE(path.lineDash().empty());
  EXPECT_FALSE(path.containsPoint({0, 0}));
}

TEST(BezierPath, KeepsItsElementsInOrder) {
  NSBezierPath path;
  path.moveToPoint({1, 2});
  path.lineToPoint({3, 4});
  path.curveToPoint_controlPoint1_controlPoint2({9, 10}, {5, 6}, {7, 8});
  path.closePath();
  EXPECT_EQ(path.elements(), (std::vector<PathElement>{
                                 {Kind::moveTo, {NSPoint{1, 2}}},
                                 {Kind::lineTo, {NSPoint{3, 4}}},
                                 {Kind::curveTo, {NSPoint{5, 6}, NSPoint{7, 8}, NSPoint{9, 10}}},
                                 {Kind::close, {}}}));
}

TEST(BezierPath, ARectangleIsASubPathOfItsOwn) {
  NSBezierPath path;
  path.moveToPoint({50, 50});
  path.appendBezierPathWithRect({{1, 2}, {10, 20}});
  ASSERT_EQ(path.elements().size(), 6U);
  const NSPoint corners[] = {{1, 2}, {11, 2}, {11, 22}, {1, 22}};
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(path.elements()[i + 1].points[0], corners[i]);
    EXPECT_EQ(path.elements()[i + 1].kind, i == 0 ? Kind::moveTo : Kind::lineTo);
  }
  EXPECT_EQ(path.elements()[5].kind, Kind::close);
  NSBezierPath alone;
  alone.appendBezierPathWithRect({{1, 2}, {10, 20}});
  EXPECT_EQ(NSBezierPath::bezierPathWithRect({{1, 2}, {10, 20}}), alone);
}

TEST(BezierPath, PointsAreJoinedByLinesGoingOnFromThePathSoFar) {
  const std::array<NSPoint, 3> points{{{0, 0}, {5, 5}, {10, 0}}};
  NSBezierPath path;
  path.appendBezierPathWithPoints_count(points);
  EXPECT_EQ(path.elements()[0].kind, Kind::moveTo);
  path.appendBezierPathWithPoints_count(points);
  ASSERT_EQ(path.elements().size(), 6U);
  EXPECT_EQ(path.elements()[3].kind, Kind::lineTo);
  path.appendBezierPathWithPoints_count({});
  EXPECT_EQ(path.elements().size(), 6U);
}

TEST(BezierPath, WidthAndDashesBelongToIt) {
  NSBezierPath path;
  path.setLineWidth(2.5);
  const double dash[] = {4, 5};
  path.setLineDash_count_phase(dash, 1.5);
  EXPECT_EQ(path.lineWidth(), 2.5);
  EXPECT_EQ(path.lineDash(), (std::vector<double>{4, 5}));
  EXPECT_EQ(path.lineDashPhase(), 1.5);
  EXPECT_NE(path, NSBezierPath());
  path.setLineDash_count_phase({}, 0);
  EXPECT_TRUE(path.lineDash().empty());
}

TEST(BezierPath, ARectangleContainsWhatIsBetweenItsEdges) {
  const NSBezierPath path = NSBezierPath::bezierPathWithRect({{10, 20}, {30, 40}});
  EXPECT_TRUE(path.containsPoint({25, 40}));
  EXPECT_TRUE(path.containsPoint({10.001, 20.001}));
  EXPECT_TRUE(path.containsPoint({39.999, 59.999}));
  for (const NSPoint& outside : {NSPoint{9.99, 40}, NSPoint{40.01, 40}, NSPoint{25, 19.99},
                                 NSPoint{25, 60.01}, NSPoint{0, 0}}) {
    EXPECT_FALSE(path.containsPoint(outside)) << outside.x << ' ' << outside.y;
  }
}

TEST(BezierPath, TwoRectanglesThatTouchShareNoPoint) {
  const NSBezierPath below = NSBezierPath::bezierPathWithRect({{0, 0}, {10, 10}});
  const NSBezierPath above = NSBezierPath::bezierPathWithRect({{0, 10}, {10, 10}});
  const NSBezierPath beside = NSBezierPath::bezierPathWithRect({{10, 0}, {10, 10}});
  EXPECT_NE(below.containsPoint({5, 10}), above.containsPoint({5, 10}));
  EXPECT_NE(below.containsPoint({10, 5}), beside.containsPoint({10, 5}));
}

TEST(BezierPath, AnOpenSubPathCountsAsClosed) {
  const NSBezierPath path = polygon({{0, 0}, {10, 0}, {10, 10}});
  EXPECT_TRUE(path.containsPoint({8, 2}));
  EXPECT_FALSE(path.containsPoint({2, 8}));
}

TEST(BezierPath, AHoleIsInsideIfItWindsTheSameWay) {
  NSBezierPath same = NSBezierPath::bezierPathWithRect({{0, 0}, {30, 30}});
  same.appendBezierPathWithRect({{10, 10}, {10, 10}});
  EXPECT_TRUE(same.containsPoint({15, 15}));  // wound around twice
  // A rectangle of negative width winds the other way round.
  NSBezierPath other = NSBezierPath::bezierPathWithRect({{0, 0}, {30, 30}});
  other.appendBezierPathWithRect({{20, 10}, {-10, 10}});
  EXPECT_FALSE(other.containsPoint({15, 15}));
  EXPECT_TRUE(other.containsPoint({5, 15}));
}

TEST(BezierPath, TheMiddleOfAStarIsInside) {
  NSBezierPath star;
  for (int i = 0; i < 5; ++i) {
    const double angle = 2 * std::numbers::pi * (2.0 * i) / 5;
    star.lineToPoint({std::cos(angle) * 10, std::sin(angle) * 10});
  }
  EXPECT_TRUE(star.containsPoint({0, 0}));
}

TEST(BezierPath, ACircleContainsWhatIsNearerThanItsRadius) {
  const NSBezierPath path = circle({50, 50}, 40);
  for (int i = 0; i < 360; i += 7) {
    const double angle = i * std::numbers::pi / 180;
    const NSPoint direction{std::cos(angle), std::sin(angle)};
    EXPECT_TRUE(path.containsPoint({50 + 39.95 * direction.x, 50 + 39.95 * direction.y})) << i;
    EXPECT_FALSE(path.containsPoint({50 + 40.05 * direction.x, 50 + 40.05 * direction.y})) << i;
  }
}

TEST(BezierPath, FlattenedCurvesStayNearTheCurve) {
  for (const double radius : {1.0, 40.0, 3000.0}) {
    const Polygons polygons = circle({0, 0}, radius).flattened();
    ASSERT_EQ(polygons.size(), 1U);
    const auto& points = polygons[0];
    for (std::size_t i = 0; i + 1 < points.size(); ++i) {
      const NSPoint middle{(points[i].x + points[i + 1].x) / 2,
                           (points[i].y + points[i + 1].y) / 2};
      // The four cubics themselves lie up to 0.03 % beside the circle.
      EXPECT_NEAR(std::hypot(middle.x, middle.y), radius, 0.01 + 0.0003 * radius);
    }
  }
}

TEST(BezierPath, AStraightCurveIsOneLine) {
  NSBezierPath path;
  path.moveToPoint({0, 0});
  path.curveToPoint_controlPoint1_controlPoint2({30, 30}, {10, 10}, {20, 20});
  EXPECT_EQ(path.flattened(), (Polygons{{{0, 0}, {30, 30}}}));
}

TEST(BezierPath, AfterACloseThePathGoesOnFromWhereTheSubPathBegan) {
  NSBezierPath path = NSBezierPath::bezierPathWithRect({{0, 0}, {10, 10}});
  path.lineToPoint({-10, 0});
  path.lineToPoint({-10, -10});
  const Polygons polygons = path.flattened();
  ASSERT_EQ(polygons.size(), 2U);
  EXPECT_EQ(polygons[1], (std::vector<NSPoint>{{0, 0}, {-10, 0}, {-10, -10}}));
}

TEST(BezierPath, ACurveWithoutACurrentPointStartsAtItsFirstControlPoint) {
  NSBezierPath path;
  path.curveToPoint_controlPoint1_controlPoint2({30, 0}, {10, 0}, {20, 0});
  EXPECT_EQ(path.elements()[0], (PathElement{Kind::moveTo, {NSPoint{10, 0}}}));
  NSBezierPath empty;
  empty.closePath();
  EXPECT_TRUE(empty.isEmpty());
}

TEST(BezierPath, CoordinatesThatAreNoNumbersDoNoHarm) {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  NSBezierPath path;
  path.moveToPoint({0, 0});
  path.curveToPoint_controlPoint1_controlPoint2({kNan, 1}, {1, kInfinity}, {2, 3});
  path.lineToPoint({1e300, -1e300});
  EXPECT_LE(path.flattened()[0].size(), 1003U);
  EXPECT_FALSE(path.containsPoint({kNan, kNan}));
}

}  // namespace
}  // namespace kelvo
