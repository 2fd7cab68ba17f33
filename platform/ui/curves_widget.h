#pragma once

#include <QLineEdit>
#include <QWidget>
#include <memory>

#include "curves_editor/kelvo_tq_curves_view.h"

namespace kelvo {

class CurvesHost;

// The curves editor as a widget of 198 x 198.
class CurvesWidget : public QWidget {
  Q_OBJECT

 public:
  explicit CurvesWidget(QWidget* parent = nullptr);
  ~CurvesWidget() override;

  [[nodiscard]] KelvoTQCurvesView& view();

  // The bundle with the pictures of cursors and points. Without one the cursors are the system's
  // own and the points' boxes are not drawn.
  void setBundle(std::shared_ptr<const NSBundle> bundle);
  // The fields that show and take the selected point's output (left) and input level (bottom), both
  // 0…255. Either may be null.
  void setLabels(QLineEdit* left, QLineEdit* bottom);

  // Replaces the curves by those of an .acv file; what is wrong with the file is told in a message.
  void importCurves(const QString& path);

 protected:
  bool event(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void enterEvent(QEnterEvent* event) override;
  void leaveEvent(QEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void contextMenuEvent(QContextMenuEvent* event) override;

 private:
  KelvoTQCurvesView view_;
  std::unique_ptr<CurvesHost> host_;
  std::unique_ptr<ValueField> leftLabel_;
  std::unique_ptr<ValueField> bottomLabel_;
};

}  // namespace kelvo
