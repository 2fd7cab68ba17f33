#include "host/window/problem_list.h"

#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QKeyEvent>

#include "host/window/paths.h"

namespace kelvo::window {

namespace {

constexpr int kLinesWanted = 6;

}  // namespace

ProblemList::ProblemList(QWidget* parent) : QTreeWidget(parent) {
  setObjectName(QStringLiteral("problems"));
  setAccessibleName(tr("What failed, and why"));
  setHeaderLabels({tr("File"), tr("Result"), tr("Why")});
  setRootIsDecorated(false);
  setUniformRowHeights(true);
  setSelectionMode(QAbstractItemView::ExtendedSelection);
  setAlternatingRowColors(true);
  header()->setStretchLastSection(true);
  header()->setResizeContentsPrecision(100);
  header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
  header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
  auto* const copyAction = new QAction(tr("&Copy"), this);
  copyAction->setShortcut(QKeySequence::Copy);
  copyAction->setShortcutContext(Qt::WidgetShortcut);
  connect(copyAction, &QAction::triggered, this, &ProblemList::copy);
  addAction(copyAction);
  setContextMenuPolicy(Qt::ActionsContextMenu);
}

QSize ProblemList::sizeHint() const {
  return {400, header()->sizeHint().height() + kLinesWanted * (fontMetrics().height() + 4)};
}

void ProblemList::add(const std::string& path, FileState state, const QString& message) {
  auto* const item = new QTreeWidgetItem(this, {fileName(path), stateText(state), message});
  item->setToolTip(0, shown(path));
  item->setToolTip(2, message);
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
