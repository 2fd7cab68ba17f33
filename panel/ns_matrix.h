#pragma once

#include <QRadioButton>
#include <QStringList>
#include <QWidget>
#include <utility>
#include <vector>

#include "panel/target_action.h"

namespace kelvo {

// A column of radio cells. With several rows one is selected; the single cell of a matrix of one
// row is always the selected one, and its state is whoever's business joins such matrices into a
// group. Performs its action, with itself as the sender, when people choose a cell.
class NSMatrix : public QWidget {
  Q_OBJECT
  // One row each; may hold mnemonics.
  Q_PROPERTY(QStringList titles READ titles WRITE setTitles)

 public:
  // A radio cell's state: 1 on, 0 off.
  class Cell : public QRadioButton {
   public:
    using QRadioButton::QRadioButton;
    [[nodiscard]] int state() const { return isChecked() ? 1 : 0; }
    void setState(int state) { setChecked(state != 0); }
  };

  explicit NSMatrix(QWidget* parent = nullptr);

  [[nodiscard]] QStringList titles() const;
  void setTitles(const QStringList& titles);

  // Null if there is no such cell; the only column is 0.
  [[nodiscard]] Cell* cellAtRow_column(int row, int column) const;
  [[nodiscard]] int selectedRow() const { return selectedRow_; }
  // Null if there are no rows.
  [[nodiscard]] Cell* selectedCell() const { return cellAtRow_column(selectedRow_, 0); }
  // A cell that does not exist is not selected.
  void selectCellAtRow_column(int row, int column);

  void setTargetAction(TargetAction action) { action_ = std::move(action); }

 private:
  std::vector<Cell*> cells_;
  int selectedRow_ = 0;
  TargetAction action_;
};

}  // namespace kelvo
