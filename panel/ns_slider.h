#pragma once

#include <QSlider>
#include <utility>

#include "panel/target_action.h"

namespace kelvo {

// A slider that holds a double. People move it by whole increments; the program sets it to any
// value of its range. Performs its action, with itself as the sender, at each step that people make
// and at none of the program's.
class NSSlider : public QSlider {
  Q_OBJECT
  Q_PROPERTY(double minValue READ minValue WRITE setMinValue)
  Q_PROPERTY(double maxValue READ maxValue WRITE setMaxValue)
  Q_PROPERTY(double increment READ increment WRITE setIncrement)

 public:
  explicit NSSlider(QWidget* parent = nullptr);

  [[nodiscard]] double minValue() const { return minValue_; }
  [[nodiscard]] double maxValue() const { return maxValue_; }
  [[nodiscard]] double increment() const { return increment_; }  // above 0
  void setMinValue(double value);
  void setMaxValue(double value);
  void setIncrement(double increment);

  [[nodiscard]] double doubleValue() const { return value_; }
  // Limited to the range; what is not a number becomes its lower end.
  void setDoubleValue(double value);
  void setIntValue(int value) { setDoubleValue(value); }

  void setTargetAction(TargetAction action) { action_ = std::move(action); }
  [[nodiscard]] const TargetAction& targetAction() const { return action_; }

 private:
  void updatePositions();
  void takePosition(int position);

  double minValue_ = 0;
  double maxValue_ = 100;
  double increment_ = 1;
  double value_ = 0;
  TargetAction action_;
};

}  // namespace kelvo
