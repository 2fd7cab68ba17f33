#pragma once

#include <array>
#include <span>
#include <vector>

#include "platform/drawing/ns_geometry.h"

namespace kelvo {

enum class PathElementKind { moveTo, lineTo, curveTo, close };

// One step of a path. `points`: where a move or a line goes to; a curve's two control points and
// its end; nothing for a close.
struct PathElement {
  PathElementKind kind = PathElementKind::moveTo;
  std::array<NSPoint, 3> points{};

  friend bool operator==(const PathElement&, const PathElement&) = default;
};

// Sub-paths of straight lines, each taken as closed.
using Polygons = std::vector<std::vector<NSPoint>>;

// Whether a point is inside by the non-zero winding rule. Of a horizontal or slanting edge the
// points to its right and at its lower end count as inside, those at its upper end as outside, so
// that neighbouring shapes share no point.
bool containsPoint(const Polygons& polygons, NSPoint point);

// Lines and cubic curves, and how they are stroked. A line or curve without a current point starts
// at its own first point.
class NSBezierPath {
 public:
  static NSBezierPath bezierPath() { return {}; }
  static NSBezierPath bezierPathWithRect(const NSRect& rect);

  void moveToPoint(NSPoint to);
  void lineToPoint(NSPoint to);
  void curveToPoint_controlPoint1_controlPoint2(NSPoint to, NSPoint control1, NSPoint control2);
  void closePath();

  // A sub-path of its own, counter-clockwise from the origin, closed.
  void appendBezierPathWithRect(const NSRect& rect);
  // Lines through the points; starts a sub-path if there is no current point.
  void appendBezierPathWithPoints_count(std::span<const NSPoint> points);

  void setLineWidth(double width) { lineWidth_ = width; }
  [[nodiscard]] double lineWidth() const { return lineWidth_; }
  // Lengths of dashes and gaps in turn, in view units; none: a solid line.
  void setLineDash_count_phase(std::span<const double> pattern, double phase);
  [[nodiscard]] const std::vector<double>& lineDash() const { return lineDash_; }
  [[nodiscard]] double lineDashPhase() const { return lineDashPhase_; }

  [[nodiscard]] const std::vector<PathElement>& elements() const { return elements_; }
  [[nodiscard]] bool isEmpty() const { return elements_.empty(); }

  // The path as straight lines that stay within a hundredth of a unit of its curves.
  [[nodiscard]] Polygons flattened() const;
  // Flattens the path for each call; ask `flattened` once where many points are tested.
  [[nodiscard]] bool containsPoint(NSPoint point) const;

  friend bool operator==(const NSBezierPath&, const NSBezierPath&) = default;

 private:
  std::vector<PathElement> elements_;
  double lineWidth_ = 1;
  std::vector<double> lineDash_;
  double lineDashPhase_ = 0;
};

}  // namespace kelvo
