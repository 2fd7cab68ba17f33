#include "platform/ui/qt_geometry.h"

namespace kelvo {

QPointF toQt(NSPoint point) { return {point.x, point.y}; }

QSizeF toQt(NSSize size) { return {size.width, size.height}; }

QRectF toQt(const NSRect& rect) { return {toQt(rect.origin), toQt(rect.size)}; }

}  // namespace kelvo
