#pragma once

#include <QTreeWidget>

#include "host/window/file_list_model.h"

namespace kelvo::window {

// What failed in a run and why, and what else there is to be told about its files.
class ProblemList : public QTreeWidget {
  Q_OBJECT

 public:
  explicit ProblemList(QWidget* parent = nullptr);

  void add(const std::string& path, FileState state, const QString& message);

  // "PATH: MESSAGE", a line each: those selected, or all.
  [[nodiscard]] QString text() const;

  [[nodiscard]] QSize sizeHint() const override;

 public slots:
  void copy() const;
};

}  // namespace kelvo::window
