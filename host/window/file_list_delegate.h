#pragma once

#include <QStyledItemDelegate>

namespace kelvo::window {

// Draws a file of the list: its thumbnail, its name, how it stands and why.
class FileListDelegate : public QStyledItemDelegate {
  Q_OBJECT

 public:
  using QStyledItemDelegate::QStyledItemDelegate;

  void paint(QPainter* painter, const QStyleOptionViewItem& option,
             const QModelIndex& index) const override;
  [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option,
                               const QModelIndex& index) const override;
};

}  // namespace kelvo::window
