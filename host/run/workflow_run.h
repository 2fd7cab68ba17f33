#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/run/output_directory.h"
#include "host/run/records.h"
#include "host/run/run_audience.h"
#include "host/run/run_plan.h"
#include "host/run/same_files.h"
#include "host/run/scheduler.h"
#include "host/run/stop_requests.h"
#include "platform/foundation/ns_log.h"

namespace kelvo::host {

// Runs every action of a plan over its files, each on what the one before has rewritten.
class WorkflowRun final : private TaskOwner {
 public:
  // `output`: the directory for copies, absent to rewrite the files themselves.
  WorkflowRun(RunPlan plan, std::optional<OutputDirectory> output, const StopRequests& stops,
              RunAudience& audience);

  // True if every file was rewritten.
  bool run();

 private:
  using Clock = std::chrono::steady_clock;

  FileMessage begin(std::size_t file) override;
  void logged(std::optional<std::size_t> file, const LogMessage& message) override;
  void finished(std::size_t file, TaskResult result) override;
  [[nodiscard]] std::uint64_t bytesOf(std::size_t file) const override { return same_.bytes[file]; }
  void tick() override;

  void runStep(std::size_t step);
  void noteResult(std::size_t file, const TaskResult& result);
  void settle(std::size_t file, bool rewritten);
  bool closeFile(std::size_t file, bool rewritten);
  void settleUnfinished();
  void conclude(std::size_t file);
  void tell(std::size_t file, const LogRecord& record);
  void tellWarning(std::size_t file, const std::string& warning);
  void tellProgress();
  [[nodiscard]] std::string targetPath(std::size_t file) const;
  [[nodiscard]] std::string resultPath(std::size_t file) const;
  [[nodiscard]] std::size_t jobs(std::size_t files) const;

  RunPlan plan_;
  std::optional<OutputDirectory> output_;
  const StopRequests& stops_;
  RunAudience& audience_;

  SameFiles same_;
  std::vector<FileRecord> records_;
  std::map<std::size_t, ino_t> begunWith_;  // the files in work, and what was there
  std::set<std::string> rewrittenNames_;    // the real ones, of files that several names lead to
  std::size_t step_ = 0;
  std::size_t rewritten_ = 0;
  std::size_t inWork_ = 0;
  bool stopTold_ = false;

  Clock::time_point started_ = Clock::now();
  Clock::time_point stepStarted_;
  Clock::time_point told_;
  std::size_t doneFiles_ = 0;  // of this step
  std::size_t stepFiles_ = 0;
  std::uint64_t doneBytes_ = 0;
  std::uint64_t stepBytes_ = 0;
};

}  // namespace kelvo::host
