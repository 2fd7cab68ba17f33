#include <span>

#include "curves_editor/kelvo_tq_curves_view.h"

// Curves as paths.
namespace kelvo {
namespace {

// The plot's edges in view units.
constexpr double kLow = KelvoTQCurvesView::kMargin;
constexpr double kHigh = KelvoTQCurvesView::kMargin + KelvoTQCurvesView::kPlotMaximum;
constexpr int kLastColumn = 191;

// The control points of the cubic through four equally spaced samples, in one coordinate.
double firstControl(double s0, double s1, double s2, double s3) {
  return (-5 * s0 + 18 * s1 - 9 * s2 + 2 * s3) / 6;
}
double secondControl(double s0, double s1, double s2, double s3) {
  return (2 * s0 - 9 * s1 + 18 * s2 - 5 * s3) / 6;
}

// A line along an edge for each run of columns that lie on or beyond it, ends moved by `offset`.
template <typename IsOnEdge>
void appendRuns(NSBezierPath& path, double edge, double offset, const IsOnEdge& isOnEdge) {
  for (int x = 0; x <= kLastColumn; ++x) {
    if (!isOnEdge(x)) continue;
    const int first = x;
    while (x < kLastColumn && isOnEdge(x + 1)) ++x;
    path.moveToPoint({first + offset, edge});
    path.lineToPoint({x + offset, edge});
  }
}

}  // namespace

void KelvoTQCurvesView::fillBezierControlPointsForChannel(int channel) {
  const ToneCurve& curve = curves_[index(channel)];
  auto& groups = outlines_[index(channel)].bezierPoints;
  groups.clear();
  for (std::size_t i = 0; i + 1 < curve.points.size(); ++i) {
    // No sample lies left of this segment, so that the search for it may begin here.
    const auto from = [i](const auto& values) { return std::span(values).subspan(i); };
    const float h = (curve.points[i + 1].x - curve.points[i].x) * 0.25F;
    for (int j = 0; j < 4; ++j) {
      const float x0 = curve.points[i].x + static_cast<float>(j) * h;
      const float x[4] = {x0, x0 + h / 3, x0 + 2 * h / 3, x0 + h};
      float y[4] = {};
      for (std::size_t k = 0; k < 4; ++k) {
        y[k] = getRealCurveValueAtX_withPoints_count_A_B_C_D(
            x[k], from(curve.points), from(curve.A), from(curve.B), from(curve.C), from(curve.D));
      }
      std::array<NSPoint, 4> group{
          {{x[0], y[0]},
           {firstControl(x[0], x[1], x[2], x[3]), firstControl(y[0], y[1], y[2], y[3])},
           {secondControl(x[0], x[1], x[2], x[3]), secondControl(y[0], y[1], y[2], y[3])},
           {x[3], y[3]}}};
      for (NSPoint& point : group) point = {point.x + kMargin, point.y + kMargin};
      groups.push_back(group);
    }
  }
}

// The curve from edge to edge of the plot. Where it runs along the plot's bottom or top, or leaves
// the plot there, lines along the frame keep it in sight.
NSBezierPath KelvoTQCurvesView::getFullCurveBezierPathForChannel(int channel) const {
  const CurveOutline& outline = outlines_[index(channel)];
  const std::vector<CurvePoint>& points = curves_[index(channel)].points;
  NSBezierPath path;
  const NSPoint start = outline.bezierPoints.front()[0];
  path.moveToPoint({kLow, start.y});
  path.lineToPoint(start);
  for (const auto& [from, control1, control2, to] : outline.bezierPoints) {
    path.curveToPoint_controlPoint1_controlPoint2(to, control1, control2);
  }
  path.lineToPoint({kHigh, outline.bezierPoints.back()[3].y});
  if (points.front().y != points.back().y) {
    const Polygons shape = path.flattened();
    for (const double edge : {kLow, kHigh}) {
      appendRuns(path, edge, 0, [&](int x) {
        return kelvo::containsPoint(shape, {static_cast<double>(x), edge});
      });
    }
  } else {
    const auto curveAt = [&outline](int x) { return outline.curvePoints[index(x)].y; };
    appendRuns(path, kLow, 2, [&](int x) { return curveAt(x) <= kLow; });
    appendRuns(path, kHigh, 2, [&](int x) { return curveAt(x) >= kHigh; });
  }
  return path;
}

}  // namespace kelvo
