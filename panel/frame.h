#pragma once

#include <QPainter>
#include <QSize>

namespace kelvo {

// The thin grey line around pictures and settings: one unit wide, not antialiased, along the
// rectangle from (0, 1), as seen from the lower left corner, that is the view's size less one in
// width and less `heightTakenOff` in height.
void drawThinFrame(QPainter& painter, const QSize& view, int heightTakenOff);

}  // namespace kelvo
