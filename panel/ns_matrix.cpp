#include "panel/ns_matrix.h"

#include <QVBoxLayout>

namespace kelvo {

NSMatrix::NSMatrix(QWidget* parent) : QWidget(parent) {
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(4);
}

QStringList NSMatrix::titles() const {
  QStringList titles;
  for (const Cell* cell : cells_) titles.append(cell->text());
  return titles;
}

void NSMatrix::setTitles(const QStringList& titles) {
  for (Cell* cell : cells_) delete cell;
  cells_.clear();
  // Titles may come after the widgets that follow this one, the cells' turn is before those.
  QWidget* previous = previousInFocusChain();
  while (previous != this && previous->focusPolicy() == Qt::NoFocus) {
    previous = previous->previousInFocusChain();
  }
  for (const QString& title : titles) {
    const int row = static_cast<int>(cells_.size());
    auto* cell = new Cell(title, this);
    cell->setAutoExclusive(titles.size() > 1);
    layout()->addWidget(cell);
    setTabOrder(previous, cell);
    previous = cell;
    cells_.push_back(cell);
    connect(cell, &QRadioButton::clicked, this, [this, row] {
      selectedRow_ = row;
      action_.perform(this);
    });
  }
  selectedRow_ = 0;
  if (cells_.size() > 1) cells_.front()->setState(1);
}

NSMatrix::Cell* NSMatrix::cellAtRow_column(int row, int column) const {
  if (row < 0 || row >= static_cast<int>(cells_.size()) || column != 0) return nullptr;
  return cells_[static_cast<std::size_t>(row)];
}

void NSMatrix::selectCellAtRow_column(int row, int column) {
  Cell* cell = cellAtRow_column(row, column);
  if (cell == nullptr) return;
  selectedRow_ = row;
  cell->setState(1);
}

}  // namespace kelvo
