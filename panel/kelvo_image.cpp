#include "panel/kelvo_image.h"

#include <QMouseEvent>
#include <QPainter>
#include <algorithm>
#include <utility>

#include "panel/frame.h"
#include "panel/picture.h"

namespace kelvo {

KelvoImage::KelvoImage(QWidget* parent) : QWidget(parent) {
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void KelvoImage::setImage(NSImageRef image) {
  image_ = std::move(image);
  rendered_ = {};
  scaled_ = {};
  update();
}

void KelvoImage::setPicking(bool picking) {
  picking_ = picking;
  setCursor(picking ? Qt::CrossCursor : Qt::ArrowCursor);
}

const QImage& KelvoImage::rendered() {
  if (rendered_.isNull() && image_) rendered_ = renderedPicture(*image_);
  return rendered_;
}

QRect KelvoImage::pictureRect() const {
  if (!image_ || !(image_->size().width > 0) || !(image_->size().height > 0)) return {};
  // The frame lies on the outermost units, and leaves the topmost to the panel.
  const QRect inside = rect().adjusted(1, 2, -1, -1);
  const QSizeF fitted = QSizeF(image_->size().width, image_->size().height)
                            .scaled(inside.size(), Qt::KeepAspectRatio);
  QRect place(QPoint(0, 0), fitted.toSize());
  place.moveCenter(inside.center());
  return place;
}

void KelvoImage::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  const QRect place = pictureRect();
  const QImage& picture = rendered();
  if (!place.isEmpty() && !picture.isNull()) {
    const QSize pixels = (QSizeF(place.size()) * devicePixelRatioF()).toSize();
    if (scaled_.size() != pixels) {
      scaled_ = picture.scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    }
    painter.drawImage(place, scaled_);
  }
  drawThinFrame(painter, size(), 2);
}

void KelvoImage::mousePressEvent(QMouseEvent* event) {
  const QRect place = pictureRect();
  const QPoint at = event->position().toPoint() - place.topLeft();
  if (!picking_ || event->button() != Qt::LeftButton || !place.contains(at + place.topLeft())) {
    QWidget::mousePressEvent(event);
    return;
  }
  const QImage& picture = rendered();
  if (picture.isNull()) return;
  const QColor color = picture.pixelColor(at.x() * picture.width() / place.width(),
                                          at.y() * picture.height() / place.height());
  emit colorPicked(NSColor::colorWithCalibratedRed_green_blue_alpha(color.redF(), color.greenF(),
                                                                    color.blueF(), color.alphaF()));
}

}  // namespace kelvo
