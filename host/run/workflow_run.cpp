#include "host/run/workflow_run.h"

#include <fmt/format.h>
#include <sched.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <system_error>
#include <utility>

#include "host/run/written_directories.h"
#include "platform/foundation/system_log.h"

namespace kelvo::host {
namespace {

std::size_t availableProcessors() {
  cpu_set_t processors;
  CPU_ZERO(&processors);
  if (::sched_getaffinity(0, sizeof processors, &processors) != 0) {
    return 1;
  }
  return std::max<std::size_t>(1, static_cast<std::size_t>(CPU_COUNT(&processors)));
}

bool isWarning(std::string_view text) { return text.starts_with("Warning"); }

// The name without symbolic links; the name itself if there is no such file.
std::string realName(const std::string& path) {
  std::error_code failed;
  const auto real = std::filesystem::canonical(path, failed);
  return failed ? path : real.string();
}

// 0 if there is no such file.
ino_t inodeOf(const std::string& path) {
  struct stat status = {};
  return ::stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

void join(std::string& messages, std::string_view message) {
  if (!messages.empty()) {
    messages += "; ";
  }
  messages += message;
}

}  // namespace

WorkflowRun::WorkflowRun(RunPlan plan, std::optional<OutputDirectory> output,
                         const StopRequests& stops, RunAudience& audience)
    : plan_(std::move(plan)),
      output_(std::move(output)),
      stops_(stops),
      audience_(audience),
      same_(findSameFiles(plan_.files)),
      records_(plan_.files.size()) {}

bool WorkflowRun::run() {
  for (std::size_t step = 0; step < plan_.steps.size() && stops_.count() == 0; ++step) {
    runStep(step);
  }
  settleUnfinished();
  audience_.ended(rewritten_, records_.size(),
                  std::chrono::duration<double>(Clock::now() - started_).count());
  return rewritten_ == records_.size();
}

void WorkflowRun::runStep(std::size_t step) {
  step_ = step;
  std::vector<std::size_t> files;
  for (std::size_t file = 0; file < records_.size(); ++file) {
    if (records_[file].outcome == Outcome::waiting) {
      files.push_back(file);
    }
  }
  if (files.empty()) {
    return;
  }
  stepStarted_ = Clock::now();
  doneFiles_ = 0;
  doneBytes_ = 0;
  stepFiles_ = files.size();
  stepBytes_ = std::accumulate(
      files.begin(), files.end(), std::uint64_t{0},
      [this](std::uint64_t sum, std::size_t file) { return sum + same_.bytes[file]; });
  const PlannedStep& planned = plan_.steps[step];
  const RunSettings& settings = plan_.settings;
  const std::size_t workers = jobs(files.size());
  SetupMessage setup;
  setup.bundlePath = planned.bundle->bundlePath();
  setup.parameters = planned.parameters;
  setup.maxPixels = settings.maxPixels;
  setup.maxFrames = settings.maxFrames;
  setup.maxMemoryBytes = std::max<std::uint64_t>(1, settings.maxMemoryBytes / workers);
  // Processors that no other worker keeps busy.
  setup.threads =
      static_cast<std::uint32_t>(std::max<std::size_t>(1, availableProcessors() / workers));
  setup.keepDepth = settings.keepDepth;
  setup.dropGainMap = settings.dropGainMap;
  setup.keepTimes = settings.keepTimes;
  setup.breakLinks = settings.breakLinks;
  setup.dryRun = settings.dryRun;
  std::vector<std::string> targets(files.size());
  std::ranges::transform(files, targets.begin(),
                         [this](std::size_t file) { return targetPath(file); });
  setup.writable = writtenDirectories(targets);
  // Workers that share a processor take so much longer.
  const std::size_t sharing = (workers + availableProcessors() - 1) / availableProcessors();
  const std::chrono::seconds patience(settings.maxSeconds * sharing);
  Scheduler scheduler(std::move(setup), workers, patience, stops_, audience_, *this);
  const auto failure = scheduler.run(files, same_.group);
  if (!failure || stops_.count() > 0) {
    return;
  }
  const std::string reason = "the action '" + planned.action + "' cannot be run: " + *failure;
  audience_.message("kelvo: " + reason);
  for (std::size_t file = 0; file < records_.size(); ++file) {
    if (records_[file].outcome == Outcome::waiting) {
      join(records_[file].errors, reason);
      settle(file, false);
    }
  }
}

FileMessage WorkflowRun::begin(std::size_t file) {
  ++inWork_;
  audience_.begun(file);
  FileMessage message;
  message.path = targetPath(file);
  begunWith_[file] = inodeOf(message.path);
  if (step_ == 0 && output_) {
    message.copyFrom = plan_.files[file];
  }
  // A backup holds what was there before the run, so there is one a file.
  const bool first = step_ == 0 && (same_.group[file] == 0 ||
                                    !rewrittenNames_.contains(realName(plan_.files[file])));
  if (first) {
    message.backupSuffix = plan_.settings.backupSuffix;
  }
  return message;
}

void WorkflowRun::logged(std::optional<std::size_t> file, const LogMessage& message) {
  if (file) {
    tell(*file, {message.text, plan_.files[*file], message.detail});
    return;
  }
  const LogRecord record{message.text, message.path, message.detail};
  if (!plan_.settings.quiet || !isWarning(message.text)) {
    audience_.message(formatLogRecord(record));
  }
  writeToSystemLog(record);
}

void WorkflowRun::finished(std::size_t file, TaskResult result) {
  --inWork_;
  ++doneFiles_;
  doneBytes_ += same_.bytes[file];
  const auto begunWith = begunWith_.extract(file);
  if (!result.crash.empty()) {
    // The last thing that a worker does to a file is to put the new one in its place.
    const bool replaced = !output_ && begunWith.mapped() != inodeOf(targetPath(file));
    tell(file, {"Error: " + result.crash, plan_.files[file],
                replaced ? "by then there was a new file in its place" : ""});
  }
  noteResult(file, result);
  const bool rewritten = result.done.rewritten;
  if (!rewritten || step_ + 1 == plan_.steps.size()) {
    settle(file, rewritten);
  }
}

void WorkflowRun::noteResult(std::size_t file, const TaskResult& result) {
  FileRecord& record = records_[file];
  const DoneMessage& done = result.done;
  record.seconds += result.seconds;
  record.frames = std::max(record.frames, done.frames);
  if (step_ == 0) {
    record.sourceDepth = done.sourceDepth;
  }
  for (const std::string& warning : done.warnings) {
    tellWarning(file, warning);
  }
  if (!done.rewritten) {
    return;
  }
  record.writtenDepth = done.writtenDepth;
  ++record.actionsDone;
  if (same_.group[file] != 0) {
    rewrittenNames_.insert(realName(plan_.files[file]));
  }
  if (step_ == 0 && done.writtenDepth != 0 && done.sourceDepth > done.writtenDepth) {
    tellWarning(file, fmt::format("{} bits a channel became {}; --depth keep keeps them",
                                  done.sourceDepth, done.writtenDepth));
  }
}

// The last word about a file that has had its turn.
void WorkflowRun::settle(std::size_t file, bool rewritten) {
  FileRecord& record = records_[file];
  const bool good = closeFile(file, rewritten);
  record.outcome = good                    ? Outcome::rewritten
                   : record.errors.empty() ? Outcome::skipped
                                           : Outcome::failed;
  rewritten_ += good ? 1 : 0;
  conclude(file);
}

// Publishes or clears away what the actions have left; whether the file counts as rewritten.
bool WorkflowRun::closeFile(std::size_t file, bool rewritten) {
  const FileRecord& record = records_[file];
  bool good = rewritten;
  if (good && output_ && !plan_.settings.dryRun) {
    if (const auto published = output_->publish(plan_.files[file]); !published) {
      tell(file, {"Error: Cann't finalize", plan_.files[file], published.error().message});
      good = false;
    }
  }
  if (output_ && (!good || plan_.settings.dryRun)) {
    output_->discard(plan_.files[file]);
  }
  if (!good && record.errors.empty() && record.warnings.empty()) {
    tell(file, {"Error: the action did not rewrite the file", plan_.files[file], {}});
  }
  if (!good && !output_ && record.actionsDone > 0 && !plan_.settings.dryRun) {
    tellWarning(file, fmt::format("{} of {} actions have rewritten the file", record.actionsDone,
                                  plan_.steps.size()));
  }
  return good;
}

void WorkflowRun::conclude(std::size_t file) {
  FileRecord& record = records_[file];
  audience_.settled(file, record, resultPath(file));
  // Told, and not needed any more.
  record.errors = std::string();
  record.warnings = std::string();
}

// What an interrupt has kept from its turn.
void WorkflowRun::settleUnfinished() {
  for (std::size_t file = 0; file < records_.size(); ++file) {
    FileRecord& record = records_[file];
    if (record.outcome != Outcome::waiting) {
      continue;
    }
    if (record.actionsDone > 0) {
      closeFile(file, false);
    }
    record.outcome = Outcome::notRun;
    if (record.errors.empty()) {
      join(record.errors, "the run was interrupted");
    }
    conclude(file);
  }
}

void WorkflowRun::tell(std::size_t file, const LogRecord& record) {
  const bool warning = isWarning(record.text);
  if (!warning || !plan_.settings.quiet) {
    audience_.message(formatLogRecord(record));
  }
  join(warning ? records_[file].warnings : records_[file].errors,
       formatLogRecord({record.text, {}, record.detail}));
  writeToSystemLog(record);
}

void WorkflowRun::tellWarning(std::size_t file, const std::string& warning) {
  const std::string text = "Warning: " + warning;
  tell(file, {text, plan_.files[file], {}});
}

void WorkflowRun::tick() {
  if (stops_.count() > 0 && !std::exchange(stopTold_, true)) {
    audience_.stopping(inWork_);
  }
  const auto refresh = audience_.refresh();
  if (refresh.count() > 0 && Clock::now() - told_ >= refresh) {
    tellProgress();
  }
}

void WorkflowRun::tellProgress() {
  told_ = Clock::now();
  ProgressState state;
  state.doneFiles = doneFiles_;
  state.totalFiles = stepFiles_;
  state.doneBytes = doneBytes_;
  state.totalBytes = stepBytes_;
  state.seconds = std::chrono::duration<double>(told_ - stepStarted_).count();
  state.step = step_ + 1;
  state.steps = plan_.steps.size();
  audience_.progress(state);
}

std::string WorkflowRun::targetPath(std::size_t file) const {
  return output_ ? output_->stagedPath(plan_.files[file]) : plan_.files[file];
}

std::string WorkflowRun::resultPath(std::size_t file) const {
  return output_ ? output_->finalPath(plan_.files[file]) : plan_.files[file];
}

std::size_t WorkflowRun::jobs(std::size_t files) const {
  const std::size_t wanted = plan_.settings.jobs > 0 ? plan_.settings.jobs : availableProcessors();
  return std::min(wanted, files);
}

}  // namespace kelvo::host
