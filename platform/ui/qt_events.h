#pragma once

#include <QKeyEvent>
#include <QWidget>

#include "platform/drawing/ns_event.h"

namespace kelvo {

// A place in a widget in its window's units, y upwards: of the pixel that the pointer is on, the
// lower left corner.
NSPoint locationInWindow(const QWidget& widget, QPointF position);
// The other way round, to the widget's units, y upwards.
NSPoint convertPointFromWindow(const QWidget& widget, NSPoint point);

NSEvent toNSEvent(NSEventType type, const QWidget& widget, QPointF position,
                  Qt::KeyboardModifiers modifiers);
NSEvent toNSEvent(const QKeyEvent& event);

}  // namespace kelvo
