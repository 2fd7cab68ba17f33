#include "panel/frame.h"

#include <QPen>

namespace kelvo {

void drawThinFrame(QPainter& painter, const QSize& view, int heightTakenOff) {
  constexpr int kGrey = 149;
  const double width = view.width() - 1;
  const double height = view.height() - heightTakenOff;
  const double top = view.height() - (1 + height);
  painter.save();
  painter.setRenderHint(QPainter::Antialiasing, false);
  QPen pen(QColor(kGrey, kGrey, kGrey), 1);
  pen.setJoinStyle(Qt::MiterJoin);
  painter.setPen(pen);
  painter.setBrush(Qt::NoBrush);
  // The line's middle runs through the middle of the unit, so that it covers whole pixels at every
  // whole scale.
  painter.drawRect(QRectF(0.5, top + 0.5, width, height));
  painter.restore();
}

}  // namespace kelvo
