#pragma once

#include <QListView>

namespace kelvo::window {

// The list of files. While it is empty it says what it is for.
class FileListView : public QListView {
  Q_OBJECT

 public:
  explicit FileListView(QWidget* parent = nullptr);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

}  // namespace kelvo::window
