#pragma once

#include "platform/drawing/ns_cursor.h"
#include "platform/drawing/ns_geometry.h"
#include "platform/drawing/ns_window.h"

namespace kelvo {

// What the curves view asks of the toolkit around it. A view without a window has none.
class ViewHost {
 public:
  virtual ~ViewHost() = default;

  // Paints the view soon, however often it is asked to.
  virtual void setNeedsDisplay() = 0;
  // Paints the view now.
  virtual void display() = 0;

  [[nodiscard]] virtual NSCursorRef currentCursor() const = 0;
  virtual void pushCursor(const NSCursorRef& cursor) = 0;
  virtual void popCursor() = 0;

  // From now on the pointer's coming into and going out of the rectangle (in view units) is told to
  // the view. Gives a tag to remove it by.
  virtual int addTrackingRect(const NSRect& rect) = 0;
  virtual void removeTrackingRect(int tag) = 0;

  // Keys go to the view.
  virtual void makeFirstResponder() = 0;
  [[nodiscard]] virtual NSPoint convertPointFromWindow(NSPoint point) const = 0;
  // Null while the view is in none.
  [[nodiscard]] virtual NSWindow* window() = 0;
};

}  // namespace kelvo
