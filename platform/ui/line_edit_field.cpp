#include "platform/ui/line_edit_field.h"

#include "platform/foundation/parameter_value.h"

namespace kelvo {

LineEditField::LineEditField(QLineEdit* edit, Action action) : edit_(edit) {
  const auto send = [this, action = std::move(action)] {
    edit_->setModified(false);
    action(*this);
  };
  returnPressed_ = QObject::connect(edit, &QLineEdit::returnPressed, edit, send);
  editingFinished_ = QObject::connect(edit, &QLineEdit::editingFinished, edit, [this, send] {
    if (edit_->isModified()) send();
  });
}

LineEditField::~LineEditField() {
  QObject::disconnect(returnPressed_);
  QObject::disconnect(editingFinished_);
}

void LineEditField::setStringValue(const std::string& value) {
  if (!edit_ || (edit_->hasFocus() && edit_->isModified())) return;
  const QString text = QString::fromStdString(value);
  if (edit_->text() != text) edit_->setText(text);
}

int LineEditField::intValue() const {
  return edit_ ? kelvo::intValue(edit_->text().toStdString()) : 0;
}

float LineEditField::floatValue() const {
  return edit_ ? kelvo::floatValue(edit_->text().toStdString()) : 0;
}

void LineEditField::display() {
  if (edit_) edit_->repaint();
}

}  // namespace kelvo
