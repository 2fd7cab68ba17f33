#include <algorithm>
#include <cmath>

#include "curves_editor/kelvo_tq_curves_view.h"

// What the pointer does to curves.
namespace kelvo {
namespace {

// How near to a point or to the curve the pointer takes it, in plot units.
constexpr double kReach = 15;
// How far to each side the curve is looked for.
constexpr double kSearchWidth = 5;

NSPoint inPlot(NSPoint v) {
  return {v.x - KelvoTQCurvesView::kMargin, v.y - KelvoTQCurvesView::kMargin};
}

int columnAt(double x) {
  if (!(x >= 0)) return 0;
  return static_cast<int>(std::min<double>(x, KelvoTQCurvesView::kPlotMaximum));
}

bool isNear(double a, double b) { return std::abs(a - b) <= kReach; }

bool isCurveNear(const ToneCurve& curve, NSPoint p) {
  const int last = columnAt(p.x + kSearchWidth);
  for (int column = columnAt(p.x - kSearchWidth); column <= last; ++column) {
    if (isNear(curve.cache[static_cast<std::size_t>(column)], p.y)) return true;
  }
  return false;
}

}  // namespace

NSPoint KelvoTQCurvesView::locationInView(const NSEvent& event) const {
  return host_ != nullptr ? host_->convertPointFromWindow(event.locationInWindow)
                          : event.locationInWindow;
}

void KelvoTQCurvesView::mouseMoved(const NSEvent& event) {
  const NSPoint v = locationInView(event);
  const double right = frame_.size.width - 1;
  const double top = frame_.size.height - 1;
  if (mousePressed_ || !(v.x >= 0 && v.x <= right && v.y >= 0 && v.y <= top)) return;
  const bool inMargin =
      v.x < kMargin || v.y < kMargin || v.x > right - kMargin || v.y > top - kMargin;
  updateCursorStateForInsidePoint_isPseudoOutside(inPlot(v), inMargin);
}

void KelvoTQCurvesView::updateCursorStateForInsidePoint_isPseudoOutside(NSPoint p, bool pseudo) {
  if (mousePressedWithAction_) return;
  const ToneCurve& curve = curves_[index(activeChannel_)];
  const std::vector<CurvePoint>& points = curve.points;
  const auto offerToMove = [this](int at) {
    pushCursor(movePointCursor());
    mouseDownAction_ = MouseDownAction::movePoint;
    promisedIndexToSelect_ = at;
  };
  const int last = static_cast<int>(points.size()) - 1;
  if (p.x < points.front().x) return offerToMove(0);
  if (p.x > points.back().x) return offerToMove(last);
  if (pseudo) return;
  for (int i = 0; i <= last; ++i) {
    const CurvePoint& point = points[index(i)];
    if (isNear(point.x, p.x) && isNear(point.y, p.y)) return offerToMove(i);
  }
  if (isCurveNear(curve, p)) {
    pushCursor(addPointCursor());
    mouseDownAction_ = MouseDownAction::addPoint;
    return;
  }
  while (currentCursor() != mainViewCursor() && isCurvesCursor(currentCursor())) {
    host_->popCursor();
  }
  pushCursor(mainViewCursor());
  mouseDownAction_ = MouseDownAction::none;
  promisedIndexToSelect_ = kNoSelection;
}

void KelvoTQCurvesView::mouseDown(const NSEvent& event) {
  if (mousePressed_) return;
  mousePressed_ = true;
  if (mouseDownAction_ == MouseDownAction::none) {
    activeSelection() = kNoSelection;
    return;
  }
  beforePress_ = state();
  mousePressedWithAction_ = true;
  controlPoint_ = locationInView(event);
  const NSPoint q = inPlot(controlPoint_);
  if (mouseDownAction_ == MouseDownAction::addPoint) addPointToCurveAt(q);
  // An added point is ready to be moved, or deleted at once.
  if (mouseDownAction_ == MouseDownAction::movePoint) {
    if ((event.modifierFlags & NSCommandKeyMask) != 0) {
      selectPromisedPointInActiveChannelAndDelete();
    } else {
      selectPromisedPointInActiveChannelAndMooveToPoint(q);
    }
  }
  needToDrawGuide_ = true;
  redisplay();
  postChange();
}

void KelvoTQCurvesView::mouseDragged(const NSEvent& event) {
  if (!mousePressed_ || mouseDownAction_ == MouseDownAction::none) return;
  controlPoint_ = locationInView(event);
  if (mouseDownAction_ == MouseDownAction::movePoint) {
    moveSelectedPointInActiveChannelToPosition(inPlot(controlPoint_));
  }
  needToDrawGuide_ = true;
  redisplay();
  postChange();
}

void KelvoTQCurvesView::mouseUp(const NSEvent& /*event*/) {
  mousePressed_ = false;
  mousePressedWithAction_ = false;
  isTemporalyRemoved_ = false;
  temporalyRemovedIndex_ = kNoSelection;
  needToDrawGuide_ = false;
  if (beforePress_) {
    history_.record(std::move(*beforePress_), state());
    beforePress_.reset();
  }
  redisplay();
}

}  // namespace kelvo
