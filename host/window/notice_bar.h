#pragma once

#include <QFrame>
#include <QLabel>

namespace kelvo::window {

// Something to be told that needs no answer, until it is put away.
class NoticeBar : public QFrame {
  Q_OBJECT

 public:
  explicit NoticeBar(QWidget* parent = nullptr);

  // `details`: a line each; beyond a few they are in the tool tip only.
  void tell(const QString& what, const QStringList& details = {});
  [[nodiscard]] QString text() const { return label_->text(); }

 private:
  QLabel* label_;
};

}  // namespace kelvo::window
