#include "panel/kelvo_tab_view.h"

#include <QPainter>

#include "panel/frame.h"

namespace kelvo {

void KelvoTabView::setTabViewType(NSTabViewType type) {
  const int border = type == NSTabViewType::noTabsLineBorder ? 1 : 0;
  setContentsMargins(border, border, border, border);
}

void KelvoTabView::paintEvent(QPaintEvent* event) {
  QStackedWidget::paintEvent(event);
  QPainter painter(this);
  drawThinFrame(painter, size(), 1);
}

}  // namespace kelvo
