#pragma once

#include <QPointer>
#include <QToolButton>

#include "panel/ns_slider.h"

namespace kelvo {

// Moves a slider by exactly one unit at each press, whatever the slider's increment: by the mouse,
// the keyboard or an assistive tool. Its tag tells the direction: 1 is up, any other down.
class KelvoButton : public QToolButton {
  Q_OBJECT
  Q_PROPERTY(int tag READ tag WRITE setTag)

 public:
  explicit KelvoButton(QWidget* parent = nullptr);

  [[nodiscard]] int tag() const { return tag_; }
  void setTag(int tag) { tag_ = tag; }
  // Not owned.
  void setSlider(NSSlider* slider) { slider_ = slider; }

  // Steps the slider within its range and performs the slider's action with the button as sender,
  // even where the slider could not move.
  void mouseDown();

 private:
  int tag_ = 0;
  QPointer<NSSlider> slider_;
};

}  // namespace kelvo
