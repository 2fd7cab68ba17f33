#include "host/run/terminal_report.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <utility>

namespace kelvo::host {
namespace {

constexpr std::chrono::milliseconds kRefresh{100};

bool wantsProgress(const RunSettings& settings) {
  return !settings.quiet &&
         (settings.progress == ProgressWanted::always ||
          (settings.progress == ProgressWanted::automatic && ::isatty(STDERR_FILENO) != 0));
}

std::size_t terminalColumns() {
  winsize size{};
  if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1) {
    return size.ws_col - 1U;  // the last column would make some terminals wrap
  }
  return 79;
}

}  // namespace

TerminalReport::TerminalReport(Console& console, const RunSettings& settings,
                               std::vector<std::string> files)
    : console_(console),
      json_(settings.json),
      printNul_(settings.printNul),
      dryRun_(settings.dryRun),
      quiet_(settings.quiet),
      shown_(::isatty(STDOUT_FILENO) != 0),
      showProgress_(wantsProgress(settings)),
      files_(std::move(files)) {}

void TerminalReport::settled(std::size_t file, const FileRecord& record,
                             const std::string& output) {
  std::string text;
  if (json_) {
    text = jsonRecord(record, files_[file], output, dryRun_);
  } else if (record.outcome == Outcome::rewritten) {
    text = (shown_ ? printable(output) : output) + (printNul_ ? '\0' : '\n');
  }
  waiting_.emplace(file, std::move(text));
  while (!waiting_.empty() && waiting_.begin()->first == next_) {
    console_.result(waiting_.begin()->second);
    waiting_.erase(waiting_.begin());
    ++next_;
  }
}

std::chrono::milliseconds TerminalReport::refresh() const {
  return showProgress_ ? kRefresh : std::chrono::milliseconds{0};
}

void TerminalReport::progress(const ProgressState& state) {
  console_.progress(renderProgress(state, terminalColumns()));
}

void TerminalReport::stopping(std::size_t inWork) {
  if (!quiet_) {
    console_.message(inWork == 0 ? std::string("kelvo: interrupted")
                                 : fmt::format("kelvo: interrupted; finishing the files being "
                                               "worked on ({}), a second Ctrl-C stops them",
                                               inWork));
  }
}

void TerminalReport::ended(std::size_t rewritten, std::size_t files, double seconds) {
  console_.progress({});
  if (showProgress_) {
    console_.message(fmt::format("kelvo: {} of {} files {} in {:.1f} s", rewritten, files,
                                 dryRun_ ? "would be rewritten" : "rewritten", seconds));
  }
}

}  // namespace kelvo::host
