#include "panel/ns_slider.h"

#include <QSignalBlocker>
#include <cmath>

namespace kelvo {

NSSlider::NSSlider(QWidget* parent) : QSlider(Qt::Horizontal, parent) {
  updatePositions();
  connect(this, &QSlider::valueChanged, this, &NSSlider::takePosition);
}

void NSSlider::setMinValue(double value) {
  minValue_ = value;
  updatePositions();
}

void NSSlider::setMaxValue(double value) {
  maxValue_ = value;
  updatePositions();
}

void NSSlider::setIncrement(double increment) {
  increment_ = increment;
  updatePositions();
}

void NSSlider::setDoubleValue(double value) {
  if (!(value >= minValue_)) value = minValue_;
  if (value > maxValue_) value = maxValue_;
  value_ = value;
  const QSignalBlocker programmatic(this);
  setValue(static_cast<int>(std::lround(value / increment_)));
}

// A position is a multiple of the increment; the outermost ones stand for the ends of the range.
void NSSlider::updatePositions() {
  {
    const QSignalBlocker programmatic(this);
    setRange(static_cast<int>(std::floor(minValue_ / increment_)),
             static_cast<int>(std::ceil(maxValue_ / increment_)));
  }
  setDoubleValue(value_);
}

void NSSlider::takePosition(int position) {
  value_ = position <= minimum()   ? minValue_
           : position >= maximum() ? maxValue_
                                   : position * increment_;
  action_.perform(this);
}

}  // namespace kelvo
