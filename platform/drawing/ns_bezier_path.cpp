#include "platform/drawing/ns_bezier_path.h"

#include <algorithm>
#include <cmath>

namespace kelvo {
namespace {

constexpr double kFlatness = 0.01;
constexpr int kMostLinesACurve = 1000;

// How many equal steps keep lines within the flatness of a cubic: a chord over a step h is off by
// at most h^2/8 max |B''|, and |B''| is at most 6 times the larger second difference of the control
// points.
int stepsOf(NSPoint p0, NSPoint p1, NSPoint p2, NSPoint p3) {
  const auto bend = [](NSPoint a, NSPoint b, NSPoint c) {
    return std::hypot(a.x - 2 * b.x + c.x, a.y - 2 * b.y + c.y);
  };
  const double steps =
      std::ceil(std::sqrt(0.75 * std::max(bend(p0, p1, p2), bend(p1, p2, p3)) / kFlatness));
  if (!(steps >= 1)) return 1;
  return steps < kMostLinesACurve ? static_cast<int>(steps) : kMostLinesACurve;
}

NSPoint cubicAt(double t, NSPoint p0, NSPoint p1, NSPoint p2, NSPoint p3) {
  const double s = 1 - t;
  const double b0 = s * s * s;
  const double b1 = 3 * s * s * t;
  const double b2 = 3 * s * t * t;
  const double b3 = t * t * t;
  return {b0 * p0.x + b1 * p1.x + b2 * p2.x + b3 * p3.x,
          b0 * p0.y + b1 * p1.y + b2 * p2.y + b3 * p3.y};
}

// How often a closed polygon winds around a point: the edges that cross the ray to the right, those
// going up less those going down.
int windingNumber(const std::vector<NSPoint>& polygon, NSPoint p) {
  int winding = 0;
  for (std::size_t i = 0; i < polygon.size(); ++i) {
    const NSPoint a = polygon[i];
    const NSPoint b = polygon[(i + 1) % polygon.size()];
    if ((a.y <= p.y) == (b.y <= p.y)) continue;
    const double side = (b.x - a.x) * (p.y - a.y) - (p.x - a.x) * (b.y - a.y);
    if (a.y <= p.y && side > 0) ++winding;
    if (b.y <= p.y && side < 0) --winding;
  }
  return winding;
}

}  // namespace

bool containsPoint(const Polygons& polygons, NSPoint point) {
  int winding = 0;
  for (const std::vector<NSPoint>& polygon : polygons) winding += windingNumber(polygon, point);
  return winding != 0;
}

NSBezierPath NSBezierPath::bezierPathWithRect(const NSRect& rect) {
  NSBezierPath path;
  path.appendBezierPathWithRect(rect);
  return path;
}

void NSBezierPath::moveToPoint(NSPoint to) { elements_.push_back({PathElementKind::moveTo, {to}}); }

void NSBezierPath::lineToPoint(NSPoint to) {
  if (elements_.empty()) return moveToPoint(to);
  elements_.push_back({PathElementKind::lineTo, {to}});
}

void NSBezierPath::curveToPoint_controlPoint1_controlPoint2(NSPoint to, NSPoint control1,
                                                            NSPoint control2) {
  if (elements_.empty()) moveToPoint(control1);
  elements_.push_back({PathElementKind::curveTo, {control1, control2, to}});
}

void NSBezierPath::closePath() {
  if (!elements_.empty()) elements_.push_back({PathElementKind::close, {}});
}

void NSBezierPath::appendBezierPathWithRect(const NSRect& rect) {
  const double right = rect.origin.x + rect.size.width;
  const double top = rect.origin.y + rect.size.height;
  moveToPoint(rect.origin);
  lineToPoint({right, rect.origin.y});
  lineToPoint({right, top});
  lineToPoint({rect.origin.x, top});
  closePath();
}

void NSBezierPath::appendBezierPathWithPoints_count(std::span<const NSPoint> points) {
  for (const NSPoint& point : points) lineToPoint(point);
}

void NSBezierPath::setLineDash_count_phase(std::span<const double> pattern, double phase) {
  lineDash_.assign(pattern.begin(), pattern.end());
  lineDashPhase_ = phase;
}

Polygons NSBezierPath::flattened() const {
  Polygons polygons;
  const auto startAt = [&polygons](NSPoint start) { polygons.push_back({start}); };
  bool closed = false;
  for (const PathElement& element : elements_) {
    // After a close, the path goes on from where the closed sub-path began.
    if (closed && element.kind != PathElementKind::moveTo) startAt(polygons.back().front());
    closed = element.kind == PathElementKind::close;
    switch (element.kind) {
      case PathElementKind::moveTo:
        startAt(element.points[0]);
        break;
      case PathElementKind::lineTo:
        polygons.back().push_back(element.points[0]);
        break;
      case PathElementKind::curveTo: {
        const NSPoint from = polygons.back().back();
        const auto& [control1, control2, to] = element.points;
        const int steps = stepsOf(from, control1, control2, to);
        for (int i = 1; i < steps; ++i) {
          polygons.back().push_back(
              cubicAt(static_cast<double>(i) / steps, from, control1, control2, to));
        }
        polygons.back().push_back(to);
        break;
      }
      case PathElementKind::close:
        break;
    }
  }
  return polygons;
}

bool NSBezierPath::containsPoint(NSPoint point) const {
  return kelvo::containsPoint(flattened(), point);
}

}  // namespace kelvo
