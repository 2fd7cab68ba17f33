#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/arguments/command.h"
#include "host/run/console.h"
#include "host/run/run_audience.h"

namespace kelvo::host {

// Tells of a run on the console, as the options say: the results in the order of the input, the
// messages, the progress line.
class TerminalReport final : public RunAudience {
 public:
  TerminalReport(Console& console, const RunSettings& settings, std::vector<std::string> files);

  void message(std::string_view line) override { console_.message(line); }
  void settled(std::size_t file, const FileRecord& record, const std::string& output) override;
  [[nodiscard]] std::chrono::milliseconds refresh() const override;
  void progress(const ProgressState& state) override;
  void stopping(std::size_t inWork) override;
  void ended(std::size_t rewritten, std::size_t files, double seconds) override;

  void pump() override { console_.pump(); }
  void addWaiting(std::vector<pollfd>& descriptors) const override {
    console_.addWaiting(descriptors);
  }
  [[nodiscard]] bool congested() const override { return console_.congested(); }

 private:
  Console& console_;
  bool json_;
  bool printNul_;
  bool dryRun_;
  bool quiet_;
  bool shown_;  // standard output is a terminal
  bool showProgress_;
  std::vector<std::string> files_;
  std::map<std::size_t, std::string> waiting_;  // results whose turn has not come
  std::size_t next_ = 0;
};

}  // namespace kelvo::host
