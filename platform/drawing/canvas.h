#pragma once

#include <memory>
#include <string>

#include "platform/color/ns_color.h"
#include "platform/drawing/ns_bezier_path.h"
#include "platform/drawing/ns_geometry.h"
#include "platform/drawing/text_attributes.h"

namespace kelvo {

class NSImage;

// A soft copy under everything that is drawn while it is set; of what is drawn with some alpha it
// has that alpha too. `blurRadius` in view units, twice the standard deviation of the blur.
struct NSShadow {
  NSColor color = NSColor::colorWithCalibratedWhite_alpha(0, 1.0 / 3);
  double blurRadius = 0;

  friend bool operator==(const NSShadow&, const NSShadow&) = default;
};

enum class NSCompositingOperation { sourceOver = 2 };

// What views draw onto, in view units, y upwards. Colour, antialiasing, shadow and clip are its
// graphics state: at first black, antialiased, without shadow, and clipped to the view.
class Canvas {
 public:
  virtual ~Canvas() = default;

  virtual void saveGraphicsState() = 0;
  // Back to the state of the last save that was not restored yet.
  virtual void restoreGraphicsState() = 0;
  virtual void setShouldAntialias(bool antialias) = 0;
  // For strokes and fills alike.
  virtual void setColor(const NSColor& color) = 0;
  virtual void setShadow(const NSShadow& shadow) = 0;
  // Keeps what was inside both the clip so far and the path (non-zero winding rule).
  virtual void addClip(const NSBezierPath& path) = 0;

  // With the path's own width and dashes; flat ends, mitred joints.
  virtual void stroke(const NSBezierPath& path) = 0;
  // By the non-zero winding rule; open sub-paths are taken as closed.
  virtual void fill(const NSBezierPath& path) = 0;
  // A frame of one unit inside the rectangle's edges.
  virtual void frameRect(const NSRect& rect) = 0;
  virtual void fillRect(const NSRect& rect) = 0;

  // `point`: where the picture's lower left corner comes. `fraction` 0…1 multiplies its alpha. A
  // picture that cannot be read is not drawn.
  virtual void compositeToPoint_operation_fraction(const std::shared_ptr<const NSImage>& image,
                                                   NSPoint point, NSCompositingOperation operation,
                                                   double fraction) = 0;
  // One line of UTF-8 text; `point`: the lower left corner of its box.
  virtual void drawTextAtPoint(const std::string& text, NSPoint point,
                               const TextAttributes& attributes) = 0;
};

}  // namespace kelvo
