#pragma once

#include <QMenu>
#include <QStringList>

namespace kelvo::window {

// The workflows opened or saved lately, latest first, remembered from one time to the next, and a
// menu of them.
class RecentWorkflows : public QMenu {
  Q_OBJECT

 public:
  explicit RecentWorkflows(QWidget* parent = nullptr);

  void add(const std::string& path);
  void remove(const std::string& path);
  [[nodiscard]] static QStringList paths();

 signals:
  void chosen(const std::string& path);

 private:
  void store(const QStringList& paths);
  void fill();
};

}  // namespace kelvo::window
