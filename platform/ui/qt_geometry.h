#pragma once

#include <QPointF>
#include <QRectF>
#include <QSizeF>

#include "platform/drawing/ns_geometry.h"

namespace kelvo {

// The same numbers; which way y grows is up to whoever draws.
QPointF toQt(NSPoint point);
QSizeF toQt(NSSize size);
QRectF toQt(const NSRect& rect);

}  // namespace kelvo
