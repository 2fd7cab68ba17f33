#pragma once

#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <vector>

#include "platform/drawing/canvas.h"

namespace kelvo {

QColor toQt(const NSColor& color);
QPainterPath toQt(const NSBezierPath& path);
QFont toQt(const NSFont& font);

// Has the text that views draw measured by Qt from now on. Needs an application.
void measureTextWithQt();

// Draws with a painter whose origin is the upper left corner of an area of `size` view units, and
// turns it upside down: y grows upwards from the lower left corner. Leaves the painter as it was.
class QtCanvas final : public Canvas {
 public:
  // `scale`: pixels to a view unit.
  QtCanvas(QPainter& painter, NSSize size, double scale);
  ~QtCanvas() override;
  QtCanvas(const QtCanvas&) = delete;
  QtCanvas& operator=(const QtCanvas&) = delete;

  void saveGraphicsState() override;
  void restoreGraphicsState() override;
  void setShouldAntialias(bool antialias) override;
  void setColor(const NSColor& color) override;
  void setShadow(const NSShadow& shadow) override;
  void addClip(const NSBezierPath& path) override;
  void stroke(const NSBezierPath& path) override;
  void fill(const NSBezierPath& path) override;
  void frameRect(const NSRect& rect) override;
  void fillRect(const NSRect& rect) override;
  void compositeToPoint_operation_fraction(const std::shared_ptr<const NSImage>& image,
                                           NSPoint point, NSCompositingOperation operation,
                                           double fraction) override;
  void drawTextAtPoint(const std::string& text, NSPoint point,
                       const TextAttributes& attributes) override;

 private:
  struct State {
    NSColor color = NSColor::colorWithCalibratedWhite_alpha(0, 1);
    NSShadow shadow;
    bool hasShadow = false;
  };

  [[nodiscard]] QPen pen(const NSBezierPath& path) const;
  void prepare(QPainter& painter) const;
  // Runs `draw` with a painter of the same coordinates; its shadow first, if one is set.
  template <typename Draw>
  void drawWithShadow(const Draw& draw);

  QPainter& painter_;
  NSSize size_;
  double scale_;
  std::vector<State> states_{State()};
};

}  // namespace kelvo
