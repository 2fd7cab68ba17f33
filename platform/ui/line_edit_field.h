#pragma once

#include <QLineEdit>
#include <QObject>
#include <QPointer>
#include <functional>

#include "curves_editor/value_field.h"

namespace kelvo {

// A line edit as a field for a value. Its action is sent by Return, and when the focus leaves after
// the text was edited. Text that is being edited is not replaced.
class LineEditField final : public ValueField {
 public:
  using Action = std::function<void(const ValueField&)>;

  LineEditField(QLineEdit* edit, Action action);
  ~LineEditField() override;
  LineEditField(const LineEditField&) = delete;
  LineEditField& operator=(const LineEditField&) = delete;

  void setStringValue(const std::string& value) override;
  [[nodiscard]] int intValue() const override;
  [[nodiscard]] float floatValue() const override;
  void display() override;

 private:
  QPointer<QLineEdit> edit_;
  QMetaObject::Connection returnPressed_;
  QMetaObject::Connection editingFinished_;
};

}  // namespace kelvo
