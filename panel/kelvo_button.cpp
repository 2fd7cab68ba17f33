#include "panel/kelvo_button.h"

namespace kelvo {

KelvoButton::KelvoButton(QWidget* parent) : QToolButton(parent) {
  // A click takes the focus, so that a number that is being typed is stored before it is stepped.
  setFocusPolicy(Qt::StrongFocus);
  connect(this, &QAbstractButton::pressed, this, &KelvoButton::mouseDown);
}

void KelvoButton::mouseDown() {
  if (!slider_) return;
  double value = slider_->doubleValue() + (tag_ == 1 ? 1.0 : -1.0);
  if (slider_->minValue() > value) value = slider_->minValue();
  if (value > slider_->maxValue()) value = slider_->maxValue();
  slider_->setDoubleValue(value);
  slider_->targetAction().perform(this);
}

}  // namespace kelvo
