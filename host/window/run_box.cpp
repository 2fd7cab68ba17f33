#include "host/window/run_box.h"

#include <QFileDialog>
#include <QHBoxLayout>
#include <QSettings>
#include <QVBoxLayout>

#include "host/window/paths.h"

namespace kelvo::window {
namespace {

constexpr int kWhole = 1000;  // the progress bar's end, in thousandths of the bytes
const QLatin1String kCopies("run/copies");
const QLatin1String kFolder("run/folder");
const QLatin1String kBackup("run/backup");
const QLatin1String kSuffix("run/suffix");
const QLatin1String kKeepDepth("run/keepDepth");
const QLatin1String kDropGainMap("run/dropGainMap");

template <typename Widget>
Widget* named(Widget* widget, const char* name) {
  widget->setObjectName(QLatin1String(name));
  return widget;
}

}  // namespace

RunBox::RunBox(QWidget* parent)
    : QWidget(parent),
      inPlace_(named(new QRadioButton(tr("Rewrite the files &in place")), "inPlace")),
      copies_(named(new QRadioButton(tr("Put adjusted &copies into")), "copies")),
      folder_(named(new QLineEdit, "folder")),
      choose_(named(new QPushButton(tr("Choose…")), "chooseFolder")),
      backup_(named(new QCheckBox(tr("&Keep the old files, with this suffix:")), "backup")),
      suffix_(named(new QLineEdit, "suffix")),
      keepDepth_(named(new QCheckBox(tr("Keep &16 bits a channel where there are")), "keepDepth")),
      dropGainMap_(named(new QCheckBox(tr("Leave &gain maps out")), "dropGainMap")),
      options_(makeOptions()),
      progress_(named(new QProgressBar, "progress")),
      summary_(named(new QLabel, "summary")),
      run_(named(new QPushButton(tr("&Run")), "run")),
      stop_(named(new QPushButton(tr("&Stop")), "stop")) {
  auto* const layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(options_);
  layout->addStretch(1);
  layout->addWidget(progress_);
  auto* const buttons = new QHBoxLayout;
  buttons->addWidget(summary_, 1);
  buttons->addWidget(stop_);
  buttons->addWidget(run_);
  layout->addLayout(buttons);
  progress_->setRange(0, kWhole);
  progress_->setAccessibleName(tr("Progress of the run"));
  progress_->hide();
  summary_->setWordWrap(true);
  summary_->setAccessibleName(tr("State of the run"));
  summary_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  run_->setToolTip(tr("Run the workflow over the files of the list (Ctrl+R)"));
  stop_->setToolTip(tr("Stop after the files being worked on (Esc)"));
  stop_->setEnabled(false);
  connect(run_, &QPushButton::clicked, this, &RunBox::runRequested);
  connect(stop_, &QPushButton::clicked, this, &RunBox::stopRequested);
  restore();
  updateOptions();
}

QWidget* RunBox::makeOptions() {
  auto* const options = new QWidget;
  auto* const layout = new QVBoxLayout(options);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(inPlace_);
  auto* const backupRow = new QHBoxLayout;
  backupRow->setContentsMargins(22, 0, 0, 0);
  backupRow->addWidget(backup_);
  backupRow->addWidget(suffix_);
  backupRow->addStretch(1);
  layout->addLayout(backupRow);
  layout->addWidget(copies_);
  layout->addWidget(makeFolderRow());
  layout->addWidget(keepDepth_);
  layout->addWidget(dropGainMap_);
  suffix_->setFixedWidth(suffix_->fontMetrics().averageCharWidth() * 12);
  suffix_->setAccessibleName(tr("End of the old files' names"));
  folder_->setAccessibleName(tr("Folder for the adjusted copies"));
  folder_->setPlaceholderText(tr("Folder"));
  choose_->setAccessibleName(tr("Choose the folder for the adjusted copies"));
  keepDepth_->setToolTip(tr("Otherwise files of 16 bits a channel are written with 8"));
  dropGainMap_->setToolTip(
      tr("Otherwise JPEG files with a gain map, which fits their old colours only, are refused"));
  for (QAbstractButton* const button : std::initializer_list<QAbstractButton*>{
           inPlace_, copies_, backup_, keepDepth_, dropGainMap_}) {
    connect(button, &QAbstractButton::toggled, this, &RunBox::updateOptions);
  }
  connect(choose_, &QPushButton::clicked, this, &RunBox::chooseFolder);
  return options;
}

QWidget* RunBox::makeFolderRow() {
  auto* const row = new QWidget;
  auto* const layout = new QHBoxLayout(row);
  layout->setContentsMargins(22, 0, 0, 0);
  layout->addWidget(folder_, 1);
  layout->addWidget(choose_);
  return row;
}

host::RunSettings RunBox::settings() const {
  host::RunSettings settings;
  if (copies_->isChecked()) {
    settings.outputDirectory = bytesOf(folder_->text());
  } else if (backup_->isChecked()) {
    settings.backupSuffix = bytesOf(suffix_->text());
  }
  settings.keepDepth = keepDepth_->isChecked();
  settings.dropGainMap = dropGainMap_->isChecked();
  store();
  return settings;
}

void RunBox::setRunning(bool running) {
  // The focus must not fall on nothing when the button that has it is switched off.
  const bool focused = run_->hasFocus() || stop_->hasFocus();
  running_ = running;
  options_->setEnabled(!running);
  progress_->setVisible(running);
  progress_->setValue(0);
  stop_->setText(tr("&Stop"));
  stop_->setEnabled(running);
  setRunnable(runnable_);
  if (focused) {
    (running ? stop_ : run_)->setFocus();
  }
}

void RunBox::setStopping() {
  stop_->setText(tr("&Stop Now"));
  stop_->setToolTip(tr("Give up the files being worked on as well; each stays as it is"));
  summary_->setText(tr("Finishing the files being worked on…"));
}

void RunBox::setProgress(int perMille, const QString& text) {
  progress_->setValue(perMille);
  summary_->setText(text);
}

void RunBox::setSummary(const QString& text) { summary_->setText(text); }

void RunBox::setRunnable(bool runnable) {
  runnable_ = runnable;
  run_->setEnabled(runnable && !running_);
}

void RunBox::focusFolder() {
  folder_->setFocus();
  folder_->selectAll();
}

void RunBox::restore() {
  const QSettings settings;
  (settings.value(kCopies, false).toBool() ? copies_ : inPlace_)->setChecked(true);
  folder_->setText(settings.value(kFolder).toString());
  backup_->setChecked(settings.value(kBackup, false).toBool());
  suffix_->setText(settings.value(kSuffix, QStringLiteral(".orig")).toString());
  keepDepth_->setChecked(settings.value(kKeepDepth, false).toBool());
  dropGainMap_->setChecked(settings.value(kDropGainMap, false).toBool());
}

void RunBox::store() const {
  QSettings settings;
  settings.setValue(kCopies, copies_->isChecked());
  settings.setValue(kFolder, folder_->text());
  settings.setValue(kBackup, backup_->isChecked());
  settings.setValue(kSuffix, suffix_->text());
  settings.setValue(kKeepDepth, keepDepth_->isChecked());
  settings.setValue(kDropGainMap, dropGainMap_->isChecked());
}

void RunBox::chooseFolder() {
  const QString folder = QFileDialog::getExistingDirectory(
      this, tr("Folder for the Adjusted Copies"), folder_->text());
  if (!folder.isEmpty()) {
    folder_->setText(folder);
  }
}

void RunBox::updateOptions() {
  folder_->setEnabled(copies_->isChecked());
  choose_->setEnabled(copies_->isChecked());
  backup_->setEnabled(inPlace_->isChecked());
  suffix_->setEnabled(inPlace_->isChecked() && backup_->isChecked());
}

}  // namespace kelvo::window
