#include "host/window/file_list_view.h"

#include <QPainter>

#include "host/window/file_list_delegate.h"

namespace kelvo::window {

FileListView::FileListView(QWidget* parent) : QListView(parent) {
  setObjectName(QStringLiteral("fileList"));
  setAccessibleName(tr("Files"));
  setSelectionMode(QAbstractItemView::ExtendedSelection);
  setUniformItemSizes(true);
  setItemDelegate(new FileListDelegate(this));
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
}

void FileListView::paintEvent(QPaintEvent* event) {
  QListView::paintEvent(event);
  if (model() != nullptr && model()->rowCount() == 0) {
    QPainter painter(viewport());
    QColor faint = palette().color(QPalette::Text);
    faint.setAlphaF(0.6F);
    painter.setPen(faint);
    painter.drawText(viewport()->rect().adjusted(16, 16, -16, -16),
                     Qt::AlignCenter | Qt::TextWordWrap,
                     tr("Drop photographs or folders here,\nor choose File > Add Files"));
  }
}

}  // namespace kelvo::window
