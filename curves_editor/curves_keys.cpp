#include <algorithm>

#include "curves_editor/kelvo_tq_curves_view.h"

// What the keyboard does to curves.
namespace kelvo {
namespace {

constexpr float kStep = 1;
constexpr float kLargeStep = 10;
// As in dragging; a key takes no point out, however near the neighbours.
constexpr float kGap = 4;

// `value` moved by `by`, but no further than the limits; one beyond them may come back.
float moved(float value, float by, float low, float high) {
  return by < 0 ? std::max(value + by, std::min(value, low))
                : std::min(value + by, std::max(value, high));
}

}  // namespace

std::optional<int> KelvoTQCurvesView::neighbouringPoint(bool next) const {
  const int count = static_cast<int>(curves_[index(activeChannel_)].points.size());
  const int s = selectedPoint() ? selected_[index(activeChannel_)] : kNoSelection;
  const int to = next ? s + 1 : s == kNoSelection ? count - 1 : s - 1;
  if (to < 0 || to >= count) return std::nullopt;
  return to;
}

bool KelvoTQCurvesView::takesKey(const NSEvent& event) const {
  const bool shift = (event.modifierFlags & NSShiftKeyMask) != 0;
  const bool command = (event.modifierFlags & NSCommandKeyMask) != 0;
  switch (event.keyCode) {
    case kKeyDelete:
    case kKeyForwardDelete:
      return true;
    case kKeyLeft:
    case kKeyRight:
    case kKeyDown:
    case kKeyUp:
    case kKeyEscape:
      return !command && selectedPoint().has_value();
    case kKeyTab:
      return !command && neighbouringPoint(!shift).has_value();
    case kKeyZ:
      return command && (shift ? canRedo() : canUndo());
    case kKeyY:
      return command && canRedo();
    case kKeyC:
      return command;
    case kKeyV:
      return command && canPasteCurve();
    default:
      return false;
  }
}

void KelvoTQCurvesView::keyDown(const NSEvent& event) {
  if (!takesKey(event)) {
    NSWindow* const window = host_ != nullptr ? host_->window() : nullptr;
    if (window != nullptr) window->keyDown(event);
    return;
  }
  const bool shift = (event.modifierFlags & NSShiftKeyMask) != 0;
  const float step = shift ? kLargeStep : kStep;
  switch (event.keyCode) {
    case kKeyDelete:
    case kKeyForwardDelete:
      asOneStep([this] { removeSelectedPoint(); });
      return postChange();
    case kKeyLeft:
      return moveSelectedPointBy(-step, 0);
    case kKeyRight:
      return moveSelectedPointBy(step, 0);
    case kKeyDown:
      return moveSelectedPointBy(0, -step);
    case kKeyUp:
      return moveSelectedPointBy(0, step);
    case kKeyEscape:
      activeSelection() = kNoSelection;
      return redisplay();
    case kKeyTab:
      activeSelection() = *neighbouringPoint(!shift);
      return redisplay();
    case kKeyZ:
      return shift ? redo() : undo();
    case kKeyY:
      return redo();
    case kKeyC:
      return copyCurve();
    case kKeyV:
      return pasteCurve();
    default:
      return;
  }
}

void KelvoTQCurvesView::moveSelectedPointBy(float dx, float dy) {
  const CurvePoint selected = *selectedPoint();
  const int s = activeSelection();
  std::vector<CurvePoint>& points = active().points;
  const int last = static_cast<int>(points.size()) - 1;
  const float low = s > 0 ? points[index(s) - 1].x + kGap : 0;
  const float high = s < last ? points[index(s) + 1].x - kGap : kPlotMaximum;
  CurvePoint to = selected;
  if (dx != 0) to.x = moved(selected.x, dx, low, high);
  if (dy != 0) to.y = moved(selected.y, dy, 0, kPlotMaximum);
  if (to == selected) return;
  asOneStep([&] {
    points[index(s)] = to;
    recalculateCurveValues(activeChannel_);
  });
  redisplay();
  postChange();
}

}  // namespace kelvo
