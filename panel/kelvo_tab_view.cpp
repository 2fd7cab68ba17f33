#include "panel/kelvo_tab_view.h"

#include <QLayout>
#include <QPainter>
#include <algorithm>

#include "panel/frame.h"

namespace kelvo {

void KelvoTabView::setTabViewType(NSTabViewType type) {
  const int border = type == NSTabViewType::noTabsLineBorder ? 1 : 0;
  setContentsMargins(border, border, border, border);
}

QSize KelvoTabView::minimumSizeHint() const {
  constexpr int kLettersOfALine = 56;
  QSize least = QStackedWidget::minimumSizeHint();
  const QMargins border = contentsMargins();
  least.setWidth(std::max(least.width(), kLettersOfALine * fontMetrics().averageCharWidth()));
  const int width = least.width() - border.left() - border.right();
  for (int i = 0; i < count(); ++i) {
    const QLayout* page = widget(i)->layout();
    if (page == nullptr || !page->hasHeightForWidth()) continue;
    const int height = page->minimumHeightForWidth(width) + border.top() + border.bottom();
    least.setHeight(std::max(least.height(), height));
  }
  return least;
}

void KelvoTabView::paintEvent(QPaintEvent* event) {
  QStackedWidget::paintEvent(event);
  QPainter painter(this);
  drawThinFrame(painter, size(), 1);
}

}  // namespace kelvo
