#include <algorithm>

#include "curves_editor/kelvo_tq_curves_view.h"

// How points are added, moved, taken out and put back.
namespace kelvo {
namespace {

// Dragging keeps points this far apart in x.
constexpr float kDragGap = 4;

// Below 0, or not a number, becomes 0.
double limited(double value) {
  if (!(value >= 0)) return 0;
  return std::min<double>(value, KelvoTQCurvesView::kPlotMaximum);
}

NSPoint limited(NSPoint p) { return {limited(p.x), limited(p.y)}; }

CurvePoint single(NSPoint p) { return {static_cast<float>(p.x), static_cast<float>(p.y)}; }

}  // namespace

bool KelvoTQCurvesView::isInterior(int at) const {
  const std::vector<CurvePoint>& points = curves_[index(activeChannel_)].points;
  return at >= 1 && at <= static_cast<int>(points.size()) - 2;
}

void KelvoTQCurvesView::insertIntoActive(int at, NSPoint point) {
  std::vector<CurvePoint>& points = active().points;
  points.insert(points.begin() + at, single(point));
  activeSelection() = at;
  mouseDownAction_ = MouseDownAction::movePoint;
  recalculateCurveValues(activeChannel_);
}

void KelvoTQCurvesView::removeFromActive(int at) {
  std::vector<CurvePoint>& points = active().points;
  points.erase(points.begin() + at);
  activeSelection() = kNoSelection;
  recalculateCurveValues(activeChannel_);
}

void KelvoTQCurvesView::addPointToCurveAt(NSPoint q) {
  const auto allowed = [](double value) { return value >= 0 && value <= 255; };
  if (!allowed(q.x) || !allowed(q.y)) return;
  const std::vector<CurvePoint>& points = active().points;
  // As it will be stored: rounding must not bring it onto a neighbour.
  const float x = single(q).x;
  for (std::size_t i = 0; i + 1 < points.size(); ++i) {
    if (points[i].x < x && x < points[i + 1].x) {
      promisedIndexToSelect_ = static_cast<int>(i) + 1;
      insertIntoActive(promisedIndexToSelect_, q);
      pushCursor(movePointCursor());
      return;
    }
  }
}

void KelvoTQCurvesView::moveSelectedPointInActiveChannelToPosition(NSPoint p) {
  const NSPoint c = limited(p);
  std::vector<CurvePoint>& points = active().points;
  const int s = activeSelection();
  const int last = static_cast<int>(points.size()) - 1;
  if (s == kNoSelection || s > last) {
    restoreRemovedPoint(p, c);
    return;
  }
  const float low = s > 0 ? points[index(s) - 1].x + kDragGap : 0;
  const float high = s < last ? points[index(s) + 1].x - kDragGap : kPlotMaximum;
  double x = c.x;
  if (s == 0 || s == last) {
    // Neighbours nearer to the plot's edge than the gap push an end point out of the plot.
    if (x < low) {
      x = low;
    } else if (x > high) {
      x = high;
    }
  } else if (!(low <= x && x <= high)) {
    temporalyRemovePointFromActiveChannelAtIndex(s);
    return;
  }
  CurvePoint& point = points[index(s)];
  if (point.x == x && point.y == c.y) return;
  point = single({x, c.y});
  recalculateCurveValues(activeChannel_);
}

// The pointer moves on while the point that it dragged is out.
void KelvoTQCurvesView::restoreRemovedPoint(NSPoint pointer, NSPoint at) {
  const std::vector<CurvePoint>& points = active().points;
  const int t = temporalyRemovedIndex_;
  if (!isTemporalyRemoved_ || !(pointer.y >= 0 && pointer.y <= kPlotMaximum)) return;
  if (t < 1 || t >= static_cast<int>(points.size())) return;
  if (at.x < points[index(t) - 1].x + kDragGap || at.x > points[index(t)].x - kDragGap) return;
  putBackTemporalyRemovedPoint(at);
}

void KelvoTQCurvesView::temporalyRemovePointFromActiveChannelAtIndex(int at) {
  if (!isInterior(at)) return;
  isTemporalyRemoved_ = true;
  temporalyRemovedIndex_ = at;
  removeFromActive(at);
  pushCursor(mainViewCursor());
  redisplay();
}

void KelvoTQCurvesView::putBackTemporalyRemovedPoint(NSPoint p) {
  const int t = temporalyRemovedIndex_;
  if (t < 1 || t >= static_cast<int>(active().points.size())) return;
  insertIntoActive(t, p);
  pushCursor(movePointCursor());
  redisplay();
}

void KelvoTQCurvesView::removeSelectedPoint() {
  const int s = activeSelection();
  if (!isInterior(s)) return;
  removeFromActive(s);
  mouseDownAction_ = MouseDownAction::none;
  pushCursor(mainViewCursor());
  redisplay();
}

void KelvoTQCurvesView::selectPromisedPointInActiveChannelAndDelete() {
  const int p = promisedIndexToSelect_;
  if (!isInterior(p)) return;
  activeSelection() = p;
  removeSelectedPoint();
}

void KelvoTQCurvesView::selectPromisedPointInActiveChannelAndMooveToPoint(NSPoint q) {
  std::vector<CurvePoint>& points = active().points;
  const CurvePoint d = single(limited(q));
  const int p = promisedIndexToSelect_;
  const int last = static_cast<int>(points.size()) - 1;
  if (p < 0 || p > last) return;
  activeSelection() = p;
  CurvePoint& point = points[index(p)];
  if (point == d) return;
  if (p >= 1 && !(points[index(p) - 1].x < d.x)) return;
  if (p < last && !(d.x < points[index(p) + 1].x)) return;
  point = d;
  recalculateCurveValues(activeChannel_);
}

}  // namespace kelvo
