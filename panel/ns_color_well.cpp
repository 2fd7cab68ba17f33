#include "panel/ns_color_well.h"

#include <QColorDialog>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionButton>
#include <algorithm>

namespace kelvo {
namespace {

QColor toQt(const NSColor& color) {
  const auto part = [](double component) {
    return static_cast<float>(std::clamp(component, 0.0, 1.0));
  };
  return QColor::fromRgbF(part(color.redComponent()), part(color.greenComponent()),
                          part(color.blueComponent()), part(color.alphaComponent()));
}

NSColor fromQt(const QColor& color) {
  return NSColor::colorWithCalibratedRed_green_blue_alpha(color.redF(), color.greenF(),
                                                          color.blueF(), color.alphaF());
}

}  // namespace

NSColorWell::NSColorWell(QWidget* parent) : QAbstractButton(parent) {
  setFocusPolicy(Qt::StrongFocus);
  connect(this, &QAbstractButton::clicked, this, &NSColorWell::openDialog);
}

void NSColorWell::setColor(const NSColor& color) {
  color_ = color;
  const QColor shown = toQt(color);
  setAccessibleDescription(
      tr("%1, %2 % opaque").arg(shown.name()).arg(qRound(shown.alphaF() * 100)));
  update();
}

void NSColorWell::chooseColor(const NSColor& color) {
  if (color == color_) return;
  setColor(color);
  action_.perform(this);
}

QSize NSColorWell::sizeHint() const {
  const int height = fontMetrics().height() + 12;
  return {height * 2, height};
}

void NSColorWell::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  QStyleOptionButton option;
  option.initFrom(this);
  option.state |= isDown() ? QStyle::State_Sunken : QStyle::State_Raised;
  style()->drawControl(QStyle::CE_PushButton, &option, &painter, this);

  const QRect swatch = rect().adjusted(6, 6, -6, -6);
  const QColor shown = toQt(color_);
  if (shown.alpha() < 255) {
    painter.fillRect(swatch, palette().base());
    painter.fillRect(swatch, QBrush(palette().color(QPalette::Text), Qt::Dense5Pattern));
  }
  painter.fillRect(swatch, shown);
  painter.setPen(palette().color(QPalette::Mid));
  painter.drawRect(swatch.adjusted(0, 0, -1, -1));
}

void NSColorWell::openDialog() {
  auto* dialog = new QColorDialog(toQt(color_), this);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->setOption(QColorDialog::ShowAlphaChannel);
  dialog->setWindowTitle(accessibleName());
  connect(dialog, &QColorDialog::currentColorChanged, this,
          [this](const QColor& color) { chooseColor(fromQt(color)); });
  connect(dialog, &QColorDialog::rejected, this, [this, before = color_] { chooseColor(before); });
  dialog->open();
}

}  // namespace kelvo
