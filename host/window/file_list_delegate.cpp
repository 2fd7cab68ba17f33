#include "host/window/file_list_delegate.h"

#include <QApplication>
#include <QImage>
#include <QPainter>

#include "host/window/file_list_model.h"

namespace kelvo::window {
namespace {

constexpr int kMargin = 6;
constexpr int kMark = 12;

QColor markColor(FileState state, const QPalette& palette) {
  const bool dark = palette.color(QPalette::Base).lightness() < 128;
  switch (state) {
    case FileState::rewritten:
      return dark ? QColor(0x6C, 0xC0, 0x70) : QColor(0x2E, 0x7D, 0x32);
    case FileState::failed:
      return dark ? QColor(0xF0, 0x80, 0x78) : QColor(0xC6, 0x28, 0x28);
    default:
      return palette.color(QPalette::Text);
  }
}

// The state as a sign, so that it does not hang on a colour alone.
void drawMark(QPainter& painter, FileState state, const QRectF& box) {
  const auto at = [&box](double x, double y) {
    return QPointF(box.left() + x * box.width(), box.top() + y * box.height());
  };
  switch (state) {
    case FileState::waiting:
      break;
    case FileState::working:
      painter.drawEllipse(box.adjusted(1, 1, -1, -1));
      break;
    case FileState::rewritten:
      painter.drawPolyline(QPolygonF({at(0.1, 0.55), at(0.4, 0.85), at(0.9, 0.15)}));
      break;
    case FileState::failed:
      painter.drawLine(at(0.15, 0.15), at(0.85, 0.85));
      painter.drawLine(at(0.15, 0.85), at(0.85, 0.15));
      break;
    case FileState::skipped:
    case FileState::notRun:
      painter.drawLine(at(0.1, 0.5), at(0.9, 0.5));
      break;
  }
}

void drawThumbnail(QPainter& painter, const QImage& image, const QRect& box,
                   const QPalette& palette) {
  if (image.isNull()) {
    QColor frame = palette.color(QPalette::Text);
    frame.setAlphaF(0.25F);
    painter.setPen(frame);
    painter.drawRect(QRectF(box).adjusted(0.5, 8.5, -0.5, -8.5));
    return;
  }
  const QSizeF size = QSizeF(image.size()).scaled(box.size(), Qt::KeepAspectRatio);
  QRectF place({}, size);
  place.moveCenter(QRectF(box).center());
  painter.setRenderHint(QPainter::SmoothPixmapTransform);
  painter.drawImage(place, image);
}

}  // namespace

void FileListDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                             const QModelIndex& index) const {
  QStyleOptionViewItem background = option;
  const QStyle* const style =
      option.widget != nullptr ? option.widget->style() : QApplication::style();
  style->drawPrimitive(QStyle::PE_PanelItemViewItem, &background, painter, option.widget);

  const auto state = static_cast<FileState>(index.data(FileListModel::kState).toInt());
  const bool selected = option.state.testFlag(QStyle::State_Selected);
  const QPalette& palette = option.palette;
  const QColor text = palette.color(selected ? QPalette::HighlightedText : QPalette::Text);
  const QRect inside = option.rect.adjusted(kMargin, kMargin / 2, -kMargin, -kMargin / 2);
  constexpr int kSide = FileListModel::kThumbnailSide;
  const QRect box(inside.left(), inside.center().y() - kSide / 2 + 1, kSide, kSide);

  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  drawThumbnail(*painter, index.data(Qt::DecorationRole).value<QImage>(), box, palette);

  const int lineHeight = option.fontMetrics.height();
  const int left = box.right() + 2 * kMargin;
  const int width = inside.right() - left;
  const QRect upper(left, inside.center().y() - lineHeight - 1, width, lineHeight);
  painter->setPen(text);
  painter->drawText(upper, Qt::AlignVCenter | Qt::TextSingleLine,
                    option.fontMetrics.elidedText(index.data().toString(), Qt::ElideMiddle, width));

  QRect lower = upper.translated(0, lineHeight + 3);
  QString second = index.data(FileListModel::kDescription).toString();
  if (state != FileState::waiting) {
    QPen pen(selected ? text : markColor(state, palette), 1.8);
    pen.setCapStyle(Qt::RoundCap);
    pen.setJoinStyle(Qt::RoundJoin);
    painter->setPen(pen);
    drawMark(*painter, state, QRectF(left, lower.center().y() - kMark / 2 + 1, kMark, kMark));
    lower.setLeft(left + kMark + kMargin);
    const QString message = index.data(FileListModel::kMessage).toString();
    second = message.isEmpty() ? stateText(state) : message;
  }
  QColor faint = text;
  faint.setAlphaF(0.75F);
  painter->setPen(faint);
  painter->drawText(lower, Qt::AlignVCenter | Qt::TextSingleLine,
                    option.fontMetrics.elidedText(second, Qt::ElideRight, lower.width()));
  painter->restore();

  if (option.state.testFlag(QStyle::State_HasFocus)) {
    QStyleOptionFocusRect focus;
    focus.QStyleOption::operator=(option);
    focus.backgroundColor = palette.color(selected ? QPalette::Highlight : QPalette::Base);
    style->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, painter, option.widget);
  }
}

QSize FileListDelegate::sizeHint(const QStyleOptionViewItem& option,
                                 const QModelIndex& /*index*/) const {
  const int text = 2 * option.fontMetrics.height() + 3;
  return {240, std::max(FileListModel::kThumbnailSide, text) + 2 * kMargin};
}

}  // namespace kelvo::window
