#pragma once

#include <QImage>
#include <QWidget>

#include "platform/color/ns_color.h"
#include "platform/drawing/ns_image.h"

namespace kelvo {

// Shows a picture as large as its sides allow, in its own proportions, inside a thin grey frame.
class KelvoImage : public QWidget {
  Q_OBJECT
  Q_PROPERTY(bool picking READ isPicking WRITE setPicking)

 public:
  explicit KelvoImage(QWidget* parent = nullptr);

  [[nodiscard]] const NSImageRef& image() const { return image_; }
  // Cheap: the picture is rendered when it is drawn first, and kept.
  void setImage(NSImageRef image);

  // Whether a click on the picture picks a colour.
  [[nodiscard]] bool isPicking() const { return picking_; }
  void setPicking(bool picking);

  // Where the picture is drawn, in this view's units; empty without a picture.
  [[nodiscard]] QRect pictureRect() const;

  [[nodiscard]] QSize sizeHint() const override { return {320, 216}; }
  [[nodiscard]] QSize minimumSizeHint() const override { return {180, 120}; }

 signals:
  void colorPicked(const kelvo::NSColor& color);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;

 private:
  const QImage& rendered();

  NSImageRef image_;
  QImage rendered_;  // null until the picture is drawn
  QImage scaled_;    // `rendered_` at the size it was drawn last
  bool picking_ = false;
};

}  // namespace kelvo
