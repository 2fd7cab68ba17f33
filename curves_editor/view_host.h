#pragma once

namespace kelvo {

// The three shapes of the pointer over the curves view.
enum class CurvesCursor { main, addPoint, movePoint };

// What the curves view asks of the window around it. A view without a window has none.
class ViewHost {
 public:
  virtual ~ViewHost() = default;

  virtual void setNeedsDisplay() = 0;
  // Puts the cursor on top unless it is the current one already.
  virtual void pushCursor(CurvesCursor cursor) = 0;
  // The view's place in the window changed: pointer tracking starts anew over its bounds.
  virtual void resetTrackingRect() = 0;
};

}  // namespace kelvo
