#pragma once

#include <QObject>
#include <memory>
#include <string>
#include <vector>

#include "host/run/progress_bar.h"
#include "host/window/file_list_model.h"
#include "host/window/problem_list.h"
#include "host/window/run_box.h"
#include "host/window/run_session.h"
#include "platform/workflow/workflow_document.h"

namespace kelvo::window {

// Takes a run from the button to the last file: asks what must be asked, starts it, and shows in
// the list, the progress bar and the list of problems what becomes of it.
class RunController : public QObject {
  Q_OBJECT

 public:
  RunController(FileListModel& files, RunBox& box, ProblemList& problems,
                std::vector<std::string> actionDirectories, QWidget* window);

  void run(WorkflowDocument document);
  // Once: the files being worked on are finished. Twice: they are given up.
  void stop();
  [[nodiscard]] bool running() const { return session_ != nullptr; }

 signals:
  void started();
  void ended();
  // The file has been rewritten in place and looks different now.
  void rewritten(int row);

 private:
  bool chooseRows();
  [[nodiscard]] bool confirm() const;
  [[nodiscard]] bool checkSettings(const host::RunSettings& settings) const;
  void start(host::RunPlan plan);
  void refuse(const QString& what) const;
  void begun(qsizetype file);
  void settled(qsizetype file, host::Outcome outcome, const QString& messages);
  void progressed(const host::ProgressState& state);
  void finish(qsizetype rewritten, qsizetype files, double seconds);

  FileListModel& files_;
  RunBox& box_;
  ProblemList& problems_;
  std::vector<std::string> actionDirectories_;
  QWidget* window_;
  std::unique_ptr<RunSession> session_;
  std::vector<int> rows_;  // of the list, by the number of the file in the run
  bool inPlace_ = true;
  int failures_ = 0;
};

}  // namespace kelvo::window
