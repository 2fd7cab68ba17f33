#pragma once

#include <QWidget>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "curves_editor/view_host.h"
#include "platform/ui/qt_window.h"

namespace kelvo {

// The toolkit around the curves view: shows its cursors, tracks the pointer, paints when asked.
class CurvesHost final : public ViewHost {
 public:
  using Handler = std::function<void(const NSEvent&)>;

  // `dispatch` gives an event to the view.
  CurvesHost(QWidget& widget, Handler dispatch);

  void setNeedsDisplay() override { widget_.update(); }
  void display() override { widget_.repaint(); }
  [[nodiscard]] NSCursorRef currentCursor() const override { return cursors_.currentCursor(); }
  void pushCursor(const NSCursorRef& cursor) override;
  void popCursor() override;
  int addTrackingRect(const NSRect& rect) override;
  void removeTrackingRect(int tag) override;
  void makeFirstResponder() override { widget_.setFocus(Qt::MouseFocusReason); }
  [[nodiscard]] NSPoint convertPointFromWindow(NSPoint point) const override;
  [[nodiscard]] NSWindow* window() override { return &window_; }

  // The pointer is here (in the widget's units), or gone: tells the view if it came into or went
  // out of the tracking rectangle.
  void trackPointer(std::optional<QPointF> position);
  // Whether a key given to the view was left to the window.
  bool takeKeyLeft() { return std::exchange(keyLeft_, false); }

 private:
  struct TrackingRect {
    int tag = 0;
    NSRect rect;
    bool inside = false;
  };

  void showCursor();

  QWidget& widget_;
  Handler dispatch_;
  QtWindow window_;
  CursorStack cursors_;
  std::vector<TrackingRect> trackingRects_;
  int nextTag_ = 1;
  bool keyLeft_ = false;
};

}  // namespace kelvo
