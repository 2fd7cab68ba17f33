#pragma once

#include <QLineEdit>
#include <QPointer>

#include "panel/ns_slider.h"

namespace kelvo {

// A number field that knows the slider whose value it shows.
class KelvoTextField : public QLineEdit {
  Q_OBJECT
  // The layout's link; not owned.
  Q_PROPERTY(kelvo::NSSlider* slider MEMBER slider_)

 public:
  explicit KelvoTextField(QWidget* parent = nullptr);

  [[nodiscard]] NSSlider* getSlider() const { return slider_; }

  // The typed text as an integer: a fraction and what follows are dropped, no number reads as 0.
  [[nodiscard]] int intValue() const;
  void setIntValue(int value);

  [[nodiscard]] QSize sizeHint() const override;
  [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

 signals:
  // The text was confirmed, or changed by typing and left.
  void didEndEditing(kelvo::KelvoTextField* field);

 protected:
  // The whole number is there to be typed over.
  void focusInEvent(QFocusEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;

 private:
  void endEditing();

  NSSlider* slider_ = nullptr;
};

}  // namespace kelvo
