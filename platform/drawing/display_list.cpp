#include "platform/drawing/display_list.h"

namespace kelvo {
namespace {

struct Replayer {
  Canvas& canvas;

  void operator()(const drawing::SaveState& /*command*/) const { canvas.saveGraphicsState(); }
  void operator()(const drawing::RestoreState& /*command*/) const { canvas.restoreGraphicsState(); }
  void operator()(const drawing::SetAntialias& command) const {
    canvas.setShouldAntialias(command.antialias);
  }
  void operator()(const drawing::SetColor& command) const { canvas.setColor(command.color); }
  void operator()(const drawing::SetShadow& command) const { canvas.setShadow(command.shadow); }
  void operator()(const drawing::AddClip& command) const { canvas.addClip(command.path); }
  void operator()(const drawing::Stroke& command) const { canvas.stroke(command.path); }
  void operator()(const drawing::Fill& command) const { canvas.fill(command.path); }
  void operator()(const drawing::FrameRect& command) const { canvas.frameRect(command.rect); }
  void operator()(const drawing::FillRect& command) const { canvas.fillRect(command.rect); }
  void operator()(const drawing::Composite& command) const {
    canvas.compositeToPoint_operation_fraction(command.image, command.point, command.operation,
                                               command.fraction);
  }
  void operator()(const drawing::DrawText& command) const {
    canvas.drawTextAtPoint(command.text, command.point, command.attributes);
  }
};

}  // namespace

void DisplayList::saveGraphicsState() { commands_.emplace_back(drawing::SaveState{}); }
void DisplayList::restoreGraphicsState() { commands_.emplace_back(drawing::RestoreState{}); }
void DisplayList::setShouldAntialias(bool antialias) {
  commands_.emplace_back(drawing::SetAntialias{antialias});
}
void DisplayList::setColor(const NSColor& color) {
  commands_.emplace_back(drawing::SetColor{color});
}
void DisplayList::setShadow(const NSShadow& shadow) {
  commands_.emplace_back(drawing::SetShadow{shadow});
}
void DisplayList::addClip(const NSBezierPath& path) {
  commands_.emplace_back(drawing::AddClip{path});
}
void DisplayList::stroke(const NSBezierPath& path) {
  commands_.emplace_back(drawing::Stroke{path});
}
void DisplayList::fill(const NSBezierPath& path) { commands_.emplace_back(drawing::Fill{path}); }
void DisplayList::frameRect(const NSRect& rect) {
  commands_.emplace_back(drawing::FrameRect{rect});
}
void DisplayList::fillRect(const NSRect& rect) { commands_.emplace_back(drawing::FillRect{rect}); }
void DisplayList::compositeToPoint_operation_fraction(const std::shared_ptr<const NSImage>& image,
                                                      NSPoint point,
                                                      NSCompositingOperation operation,
                                                      double fraction) {
  commands_.emplace_back(drawing::Composite{image, point, operation, fraction});
}
void DisplayList::drawTextAtPoint(const std::string& text, NSPoint point,
                                  const TextAttributes& attributes) {
  commands_.emplace_back(drawing::DrawText{text, point, attributes});
}

void DisplayList::replay(Canvas& canvas) const {
  for (const drawing::Command& command : commands_) std::visit(Replayer{canvas}, command);
}

}  // namespace kelvo
