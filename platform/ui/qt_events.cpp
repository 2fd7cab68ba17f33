#include "platform/ui/qt_events.h"

namespace kelvo {
namespace {

unsigned modifierFlags(Qt::KeyboardModifiers modifiers) {
  unsigned flags = 0;
  if (modifiers.testFlag(Qt::ControlModifier)) flags |= NSCommandKeyMask;
  if (modifiers.testFlag(Qt::ShiftModifier)) flags |= NSShiftKeyMask;
  if (modifiers.testFlag(Qt::AltModifier)) flags |= NSAlternateKeyMask;
  return flags;
}

int keyCode(int key) {
  switch (key) {
    case Qt::Key_Backspace:
      return kKeyDelete;
    case Qt::Key_Delete:
      return kKeyForwardDelete;
    case Qt::Key_Left:
      return kKeyLeft;
    case Qt::Key_Right:
      return kKeyRight;
    case Qt::Key_Up:
      return kKeyUp;
    case Qt::Key_Down:
      return kKeyDown;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
      return kKeyTab;
    case Qt::Key_Escape:
      return kKeyEscape;
    case Qt::Key_C:
      return kKeyC;
    case Qt::Key_V:
      return kKeyV;
    case Qt::Key_Y:
      return kKeyY;
    case Qt::Key_Z:
      return kKeyZ;
    default:
      return kKeyOther;
  }
}

}  // namespace

NSPoint locationInWindow(const QWidget& widget, QPointF position) {
  const QWidget& window = *widget.window();
  const QPointF inWindow = widget.mapTo(&window, position);
  return {inWindow.x(), window.height() - 1 - inWindow.y()};
}

NSPoint convertPointFromWindow(const QWidget& widget, NSPoint point) {
  const QWidget& window = *widget.window();
  const QPointF inWidget = widget.mapFrom(&window, QPointF(point.x, window.height() - 1 - point.y));
  return {inWidget.x(), widget.height() - 1 - inWidget.y()};
}

NSEvent toNSEvent(NSEventType type, const QWidget& widget, QPointF position,
                  Qt::KeyboardModifiers modifiers) {
  return {type, locationInWindow(widget, position), modifierFlags(modifiers), kKeyOther};
}

NSEvent toNSEvent(const QKeyEvent& event) {
  return {NSEventType::keyDown, {}, modifierFlags(event.modifiers()), keyCode(event.key())};
}

}  // namespace kelvo
