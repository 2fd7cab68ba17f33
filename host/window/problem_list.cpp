#include "host/window/problem_list.h"

#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QKeyEvent>

#include "host/window/paths.h"

namespace kelvo::window {

ProblemList::ProblemList(QWidget* parent) : QTreeWidget(parent) {
  setObjectName(QStringLiteral("problems"));
  setAccessibleName(tr("What failed, and why"));
  setHeaderLabels({tr("File"), tr("Result"), tr("Why")});
  setRootIsDecorated(false);
  setUniformRowHeights(true);
  setSelectionMode(QAbstractItemView::ExtendedSelection);
  setAlternatingRowColors(true);
  header()->setStretchLastSection(true);
  auto* const copyAction = new QAction(tr("&Copy"), this);
  copyAction->setShortcut(QKeySequence::Copy);
  copyAction->setShortcutContext(Qt::WidgetShortcut);
  connect(copyAction, &QAction::triggered, this, &ProblemList::copy);
  addAction(copyAction);
  setContextMenuPolicy(Qt::ActionsContextMenu);
}

void ProblemList::add(const std::string& path, FileState state, const QString& message) {
  auto* const item = new QTreeWidgetItem(this, {fileName(path), stateText(state), message});
  item->setToolTip(0, shown(path));
  item->setToolTip(2, message);
  if (topLevelItemCount() == 1) {
    resizeColumnToContents(0);
    resizeColumnToContents(1);
  }
}

QString ProblemList::text() const {
  QString lines;
  for (int i = 0; i < topLevelItemCount(); ++i) {
    const QTreeWidgetItem* const item = topLevelItem(i);
    if (item->isSelected() || selectedItems().isEmpty()) {
      lines += item->toolTip(0) + QStringLiteral(": ") + item->text(2) + QLatin1Char('\n');
    }
  }
  return lines;
}

void ProblemList::copy() const { QApplication::clipboard()->setText(text()); }

}  // namespace kelvo::window
