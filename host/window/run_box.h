#pragma once

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QWidget>

#include "host/arguments/command.h"

namespace kelvo::window {

// How a run is to be done, its buttons and its progress. Remembers what was chosen.
class RunBox : public QWidget {
  Q_OBJECT

 public:
  explicit RunBox(QWidget* parent = nullptr);

  [[nodiscard]] host::RunSettings settings() const;
  [[nodiscard]] bool inPlace() const { return inPlace_->isChecked(); }

  // While a run is on, how it is to be done is settled.
  void setRunning(bool running);
  // Further stops end the files being worked on, too.
  void setStopping();
  void setProgress(int perMille, const QString& text);
  void setSummary(const QString& text);
  void setRunnable(bool runnable);
  void focusFolder();

 signals:
  void runRequested();
  void stopRequested();

 private:
  QWidget* makeOptions();
  QWidget* makeFolderRow();
  void restore();
  void store() const;
  void chooseFolder();
  void updateOptions();

  QRadioButton* inPlace_;
  QRadioButton* copies_;
  QLineEdit* folder_;
  QPushButton* choose_;
  QCheckBox* backup_;
  QLineEdit* suffix_;
  QCheckBox* keepDepth_;
  QCheckBox* dropGainMap_;
  QWidget* options_;
  QProgressBar* progress_;
  QLabel* summary_;
  QPushButton* run_;
  QPushButton* stop_;
  bool running_ = false;
  bool runnable_ = false;
};

}  // namespace kelvo::window
