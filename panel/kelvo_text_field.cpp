#include "panel/kelvo_text_field.h"

#include <QFocusEvent>
#include <QStyle>
#include <QStyleOptionFrame>

#include "platform/foundation/parameter_value.h"

namespace kelvo {

KelvoTextField::KelvoTextField(QWidget* parent) : QLineEdit(parent) {
  setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
  connect(this, &QLineEdit::returnPressed, this, &KelvoTextField::endEditing);
}

int KelvoTextField::intValue() const { return kelvo::intValue(text().toStdString()); }

void KelvoTextField::setIntValue(int value) { setText(QString::number(value)); }

QSize KelvoTextField::sizeHint() const {
  const QSize text(fontMetrics().horizontalAdvance(QStringLiteral("-200%0")),
                   QLineEdit::sizeHint().height());
  QStyleOptionFrame option;
  initStyleOption(&option);
  return {style()->sizeFromContents(QStyle::CT_LineEdit, &option, text, this).width(),
          text.height()};
}

void KelvoTextField::focusInEvent(QFocusEvent* event) {
  QLineEdit::focusInEvent(event);
  if (event->reason() == Qt::MouseFocusReason) return;
  selectAll();
}

void KelvoTextField::focusOutEvent(QFocusEvent* event) {
  QLineEdit::focusOutEvent(event);
  // A menu or another window takes the focus for a while only.
  if (event->reason() == Qt::PopupFocusReason) return;
  if (isModified()) endEditing();
}

void KelvoTextField::endEditing() {
  setModified(false);
  emit didEndEditing(this);
  if (hasFocus()) selectAll();
}

}  // namespace kelvo
