#pragma once

#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "platform/drawing/canvas.h"

namespace kelvo {

// What a view draws, as data: one entry for each call of a canvas.
namespace drawing {

struct SaveState {
  friend bool operator==(const SaveState&, const SaveState&) = default;
};
struct RestoreState {
  friend bool operator==(const RestoreState&, const RestoreState&) = default;
};
struct SetAntialias {
  bool antialias;
  friend bool operator==(const SetAntialias&, const SetAntialias&) = default;
};
struct SetColor {
  NSColor color;
  friend bool operator==(const SetColor&, const SetColor&) = default;
};
struct SetShadow {
  NSShadow shadow;
  friend bool operator==(const SetShadow&, const SetShadow&) = default;
};
struct AddClip {
  NSBezierPath path;
  friend bool operator==(const AddClip&, const AddClip&) = default;
};
struct Stroke {
  NSBezierPath path;
  friend bool operator==(const Stroke&, const Stroke&) = default;
};
struct Fill {
  NSBezierPath path;
  friend bool operator==(const Fill&, const Fill&) = default;
};
struct FrameRect {
  NSRect rect;
  friend bool operator==(const FrameRect&, const FrameRect&) = default;
};
struct FillRect {
  NSRect rect;
  friend bool operator==(const FillRect&, const FillRect&) = default;
};
struct Composite {
  std::shared_ptr<const NSImage> image;
  NSPoint point;
  NSCompositingOperation operation;
  double fraction;
  friend bool operator==(const Composite&, const Composite&) = default;
};
struct DrawText {
  std::string text;
  NSPoint point;
  TextAttributes attributes;
  friend bool operator==(const DrawText&, const DrawText&) = default;
};

using Command = std::variant<SaveState, RestoreState, SetAntialias, SetColor, SetShadow, AddClip,
                             Stroke, Fill, FrameRect, FillRect, Composite, DrawText>;

}  // namespace drawing

// A canvas that writes down what is drawn, to be drawn again elsewhere.
class DisplayList final : public Canvas {
 public:
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

  [[nodiscard]] const std::vector<drawing::Command>& commands() const { return commands_; }
  // The same calls in the same order.
  void replay(Canvas& canvas) const;

 private:
  std::vector<drawing::Command> commands_;
};

}  // namespace kelvo
