#pragma once

#include <QObject>
#include <QString>
#include <optional>
#include <thread>

#include "host/run/output_directory.h"
#include "host/run/progress_bar.h"
#include "host/run/records.h"
#include "host/run/run_plan.h"
#include "host/window/stop_switch.h"

namespace kelvo::window {

// One run over files, on a thread of its own: the command line's scheduler and worker processes.
// Files are their numbers in the plan.
class RunSession : public QObject {
  Q_OBJECT

 public:
  // `output`: the directory for copies, absent to rewrite the files themselves.
  RunSession(host::RunPlan plan, std::optional<host::OutputDirectory> output,
             QObject* parent = nullptr);
  // Stops it at once if it is still going on; every file is whole, old or new.
  ~RunSession() override;

  void start();
  // The first time no further file is begun, the second time those in work are given up too.
  void stop() { stop_.request(); }
  [[nodiscard]] int stopsRequested() const { return stop_.count(); }

 signals:
  void begun(qsizetype file);
  // `messages` are the texts that the command line shows: the errors, or else the warnings.
  void settled(qsizetype file, kelvo::host::Outcome outcome, const QString& messages);
  void progressed(const kelvo::host::ProgressState& state);
  void ended(qsizetype rewritten, qsizetype files, double seconds);

 private:
  class Audience;

  host::RunPlan plan_;
  std::optional<host::OutputDirectory> output_;
  StopSwitch stop_;
  std::thread thread_;
};

}  // namespace kelvo::window
