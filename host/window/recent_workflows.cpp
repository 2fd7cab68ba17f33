#include "host/window/recent_workflows.h"

#include <QDir>
#include <QSettings>

#include "host/window/paths.h"

namespace kelvo::window {
namespace {

constexpr qsizetype kMost = 8;
const QLatin1String kKey("recentWorkflows");

QString absolute(const std::string& path) {
  return QDir::cleanPath(QDir().absoluteFilePath(shown(path)));
}

}  // namespace

RecentWorkflows::RecentWorkflows(QWidget* parent) : QMenu(tr("Open &Recent"), parent) { fill(); }

QStringList RecentWorkflows::paths() { return QSettings().value(kKey).toStringList(); }

void RecentWorkflows::add(const std::string& path) {
  QStringList list = paths();
  list.removeAll(absolute(path));
  list.prepend(absolute(path));
  store(list.mid(0, kMost));
}

void RecentWorkflows::remove(const std::string& path) {
  QStringList list = paths();
  list.removeAll(absolute(path));
  store(list);
}

void RecentWorkflows::store(const QStringList& paths) {
  QSettings().setValue(kKey, paths);
  fill();
}

void RecentWorkflows::fill() {
  clear();
  const QStringList list = paths();
  setEnabled(!list.isEmpty());
  for (qsizetype i = 0; i < list.size(); ++i) {
    QString name = QDir::toNativeSeparators(list[i]);
    const QString home = QDir::homePath() + QLatin1Char('/');
    if (name.startsWith(home)) {
      name = QStringLiteral("~/") + name.mid(home.size());
    }
    name.replace(QLatin1Char('&'), QStringLiteral("&&"));
    // Later, because what is chosen makes a new menu.
    connect(
        addAction(QStringLiteral("&%1  %2").arg(i + 1).arg(name)), &QAction::triggered, this,
        [this, path = bytesOf(list[i])] { emit chosen(path); }, Qt::QueuedConnection);
  }
  addSeparator();
  connect(
      addAction(tr("&Clear List")), &QAction::triggered, this, [this] { store({}); },
      Qt::QueuedConnection);
}

}  // namespace kelvo::window
