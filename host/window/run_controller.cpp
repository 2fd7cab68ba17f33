#include "host/window/run_controller.h"

#include <QCheckBox>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <algorithm>
#include <numeric>
#include <utility>

#include "host/window/paths.h"

namespace kelvo::window {
namespace {

const QLatin1String kDoNotAsk("run/doNotAsk");

int perMille(const host::ProgressState& state) {
  // Each action goes over all the files.
  const double within = state.totalBytes > 0 ? static_cast<double>(state.doneBytes) /
                                                   static_cast<double>(state.totalBytes)
                                             : 0;
  return static_cast<int>(1000 * (static_cast<double>(state.step - 1) + within) /
                          static_cast<double>(state.steps));
}

QString progressText(const host::ProgressState& state) {
  QString text = QObject::tr("%1 of %2 files").arg(state.doneFiles).arg(state.totalFiles);
  if (state.steps > 1) {
    text += QObject::tr(", action %1 of %2").arg(state.step).arg(state.steps);
  }
  if (state.doneBytes > 0 && state.seconds >= 2) {
    const double left = state.seconds * static_cast<double>(state.totalBytes - state.doneBytes) /
                        static_cast<double>(state.doneBytes);
    text += QObject::tr(", %1 left").arg(QString::fromStdString(host::durationText(left)));
  }
  return text;
}

}  // namespace

RunController::RunController(FileListModel& files, RunBox& box, ProblemList& problems,
                             std::vector<std::string> actionDirectories, QWidget* window)
    : QObject(window),
      files_(files),
      box_(box),
      problems_(problems),
      actionDirectories_(std::move(actionDirectories)),
      window_(window) {}

void RunController::run(WorkflowDocument document) {
  if (running() || files_.rowCount() == 0) {
    return;
  }
  host::RunSettings settings = box_.settings();
  inPlace_ = box_.inPlace();
  if (!checkSettings(settings) || !chooseRows() || (inPlace_ && !confirm())) {
    return;
  }
  std::vector<std::string> paths;
  for (const int row : rows_) {
    paths.push_back(files_.path(row));
  }
  auto plan =
      host::planRun(std::move(document), std::move(settings), std::move(paths), actionDirectories_);
  if (!plan) {
    refuse(sentence(plan.error().message));
    return;
  }
  start(std::move(plan).value());
}

bool RunController::checkSettings(const host::RunSettings& settings) const {
  if (!inPlace_ && settings.outputDirectory.empty()) {
    refuse(tr("Choose the folder for the adjusted copies first."));
    box_.focusFolder();
    return false;
  }
  if (settings.backupSuffix.find('/') != std::string::npos) {
    refuse(tr("The end of the old files' names cannot contain a slash."));
    return false;
  }
  return true;
}

// All files, or those that have not been adjusted yet: a second adjustment in place comes on top of
// the first. False: neither.
bool RunController::chooseRows() {
  rows_.resize(static_cast<std::size_t>(files_.rowCount()));
  std::iota(rows_.begin(), rows_.end(), 0);
  const std::size_t done = files_.countOf(FileState::rewritten);
  if (!inPlace_ || done == 0) {
    return true;
  }
  QMessageBox question(QMessageBox::Question, tr("Run"),
                       tr("Adjusted already: %1 of %2 files.").arg(done).arg(rows_.size()),
                       QMessageBox::Cancel, window_);
  question.setInformativeText(tr("Adjusting them again comes on top of what was done."));
  const QPushButton* const others =
      done < rows_.size() ? question.addButton(tr("Only the &Others"), QMessageBox::AcceptRole)
                          : nullptr;
  const QPushButton* const all = question.addButton(tr("&All Again"), QMessageBox::DestructiveRole);
  question.setDefaultButton(QMessageBox::Cancel);
  question.exec();
  if (others != nullptr && question.clickedButton() == others) {
    std::erase_if(rows_, [this](int row) { return files_.state(row) == FileState::rewritten; });
    return true;
  }
  return question.clickedButton() == all;
}

bool RunController::confirm() const {
  if (QSettings().value(kDoNotAsk, false).toBool()) {
    return true;
  }
  QMessageBox question(QMessageBox::Question, tr("Run"),
                       rows_.size() == 1 ? tr("Rewrite one file in place?")
                                         : tr("Rewrite %1 files in place?").arg(rows_.size()),
                       QMessageBox::Cancel, window_);
  question.setInformativeText(
      box_.settings().backupSuffix.empty()
          ? tr("The old files are not kept. A file that cannot be written back whole is left as "
               "it is.")
          : tr("Each old file is kept under its name followed by %1.")
                .arg(QString::fromStdString(box_.settings().backupSuffix)));
  const QPushButton* const rewrite = question.addButton(tr("&Rewrite"), QMessageBox::AcceptRole);
  question.setDefaultButton(QMessageBox::Cancel);
  auto* const again = new QCheckBox(tr("&Don't ask again"));
  question.setCheckBox(again);
  question.exec();
  if (question.clickedButton() != rewrite) {
    return false;
  }
  if (again->isChecked()) {
    QSettings().setValue(kDoNotAsk, true);
  }
  return true;
}

void RunController::start(host::RunPlan plan) {
  std::optional<host::OutputDirectory> output;
  if (!plan.settings.outputDirectory.empty()) {
    auto opened = host::OutputDirectory::open(plan.settings.outputDirectory, plan.files);
    if (!opened) {
      refuse(sentence(opened.error().message));
      return;
    }
    output.emplace(std::move(opened).value());
  }
  problems_.clear();
  problems_.hide();
  failures_ = 0;
  for (const int row : rows_) {
    files_.setState(row, FileState::waiting);
  }
  session_ = std::make_unique<RunSession>(std::move(plan), std::move(output));
  connect(session_.get(), &RunSession::begun, this, &RunController::begun);
  connect(session_.get(), &RunSession::settled, this, &RunController::settled);
  connect(session_.get(), &RunSession::progressed, this, &RunController::progressed);
  connect(session_.get(), &RunSession::ended, this, &RunController::finish);
  box_.setRunning(true);
  emit started();
  session_->start();
}

void RunController::stop() {
  if (running()) {
    session_->stop();
    box_.setStopping();
  }
}

void RunController::refuse(const QString& what) const {
  QMessageBox message(QMessageBox::Warning, tr("Run"), tr("Nothing has been changed."),
                      QMessageBox::Ok, window_);
  message.setInformativeText(what);
  message.exec();
}

void RunController::begun(qsizetype file) {
  files_.setState(rows_[static_cast<std::size_t>(file)], FileState::working);
}

void RunController::settled(qsizetype file, host::Outcome outcome, const QString& messages) {
  const int row = rows_[static_cast<std::size_t>(file)];
  const FileState state = stateOf(outcome);
  files_.setState(row, state, messages);
  if (!messages.isEmpty()) {
    problems_.add(files_.path(row), state, messages);
    problems_.show();
  }
  failures_ += state == FileState::failed ? 1 : 0;
  if (state == FileState::rewritten && inPlace_) {
    files_.dropPicture(row);
    emit rewritten(row);
  }
}

void RunController::progressed(const host::ProgressState& state) {
  if (running() && session_->stopsRequested() == 0) {
    QString text = progressText(state);
    if (failures_ > 0) {
      text += tr(", %1 failed").arg(failures_);
    }
    box_.setProgress(perMille(state), text);
  }
}

void RunController::finish(qsizetype rewritten, qsizetype files, double seconds) {
  const bool stopped = session_->stopsRequested() > 0;
  session_.reset();
  box_.setRunning(false);
  QString text =
      tr("%1 of %2 files adjusted in %3 s").arg(rewritten).arg(files).arg(seconds, 0, 'f', 1);
  if (failures_ > 0) {
    text += tr(", %1 failed").arg(failures_);
  }
  box_.setSummary(stopped ? tr("Stopped: %1").arg(text) : text);
  emit ended();
}

}  // namespace kelvo::window
