#include "platform/ui/curves_host.h"

#include <QCursor>
#include <QPixmap>
#include <algorithm>
#include <cmath>

#include "platform/ui/qt_events.h"
#include "platform/ui/qt_image.h"

namespace kelvo {
namespace {

// The system's arrow if the cursor's picture cannot be read.
QCursor toQt(const NSCursor& cursor, double scale) {
  const QImage picture = cursor.image() != nullptr ? kelvo::toQt(*cursor.image(), scale) : QImage();
  if (picture.isNull()) return QCursor(Qt::ArrowCursor);
  return QCursor(QPixmap::fromImage(picture), static_cast<int>(std::floor(cursor.hotSpot().x)),
                 static_cast<int>(std::floor(cursor.hotSpot().y)));
}

}  // namespace

CurvesHost::CurvesHost(QWidget& widget, Handler dispatch)
    : widget_(widget),
      dispatch_(std::move(dispatch)),
      window_(widget, dispatch_, [this](const NSEvent& /*event*/) { keyLeft_ = true; }) {}

void CurvesHost::pushCursor(const NSCursorRef& cursor) {
  cursors_.push(cursor);
  showCursor();
}

void CurvesHost::popCursor() {
  cursors_.pop();
  showCursor();
}

void CurvesHost::showCursor() {
  const NSCursorRef cursor = cursors_.currentCursor();
  if (cursor == nullptr) {
    widget_.unsetCursor();
  } else {
    widget_.setCursor(toQt(*cursor, widget_.devicePixelRatioF()));
  }
}

int CurvesHost::addTrackingRect(const NSRect& rect) {
  trackingRects_.push_back({nextTag_, rect, false});
  return nextTag_++;
}

void CurvesHost::removeTrackingRect(int tag) {
  std::erase_if(trackingRects_, [tag](const TrackingRect& tracked) { return tracked.tag == tag; });
}

NSPoint CurvesHost::convertPointFromWindow(NSPoint point) const {
  return kelvo::convertPointFromWindow(widget_, point);
}

void CurvesHost::trackPointer(std::optional<QPointF> position) {
  // What the view does when it is told may change the rectangles.
  const std::vector<TrackingRect> before = trackingRects_;
  for (const TrackingRect& tracked : before) {
    const QPointF where = position.value_or(QPointF(-1, -1));
    const double y = widget_.height() - 1 - where.y();
    const bool inside = position && where.x() >= tracked.rect.origin.x &&
                        where.x() < tracked.rect.origin.x + tracked.rect.size.width &&
                        y >= tracked.rect.origin.y &&
                        y < tracked.rect.origin.y + tracked.rect.size.height;
    if (inside == tracked.inside) continue;
    const auto now = std::ranges::find(trackingRects_, tracked.tag, &TrackingRect::tag);
    if (now == trackingRects_.end()) continue;
    now->inside = inside;
    dispatch_(toNSEvent(inside ? NSEventType::mouseEntered : NSEventType::mouseExited, widget_,
                        where, Qt::NoModifier));
  }
}

}  // namespace kelvo
