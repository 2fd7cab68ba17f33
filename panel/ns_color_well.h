#pragma once

#include <QAbstractButton>
#include <utility>

#include "panel/target_action.h"
#include "platform/color/ns_color.h"

namespace kelvo {

// Shows a colour and lets people choose another. Performs its action, with itself as the sender,
// whenever people have changed the colour: while they choose, and back again if they give up.
class NSColorWell : public QAbstractButton {
  Q_OBJECT

 public:
  explicit NSColorWell(QWidget* parent = nullptr);

  [[nodiscard]] const NSColor& color() const { return color_; }
  void setColor(const NSColor& color);
  // As people do it.
  void chooseColor(const NSColor& color);

  void setTargetAction(TargetAction action) { action_ = std::move(action); }

  [[nodiscard]] QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  void openDialog();

  NSColor color_ = NSColor::colorWithCalibratedRed_green_blue_alpha(0, 0, 0, 1);
  TargetAction action_;
};

}  // namespace kelvo
