#pragma once

#include <poll.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "host/run/progress_bar.h"
#include "host/run/records.h"

namespace kelvo::host {

// Whom a run tells what happens, on the thread that it runs on. Files are their numbers in the
// plan.
class RunAudience {
 public:
  virtual ~RunAudience() = default;

  // A line for people, about the run or about one of its files.
  virtual void message(std::string_view line) = 0;
  // A worker has been given the file.
  virtual void begun(std::size_t /*file*/) {}
  // The last word about a file, as soon as it is known. `output` is the file that was written.
  virtual void settled(std::size_t file, const FileRecord& record, const std::string& output) = 0;
  // How far the run is, whenever as much time has passed as refresh() says; zero is never.
  [[nodiscard]] virtual std::chrono::milliseconds refresh() const = 0;
  virtual void progress(const ProgressState& state) = 0;
  // It has been asked to stop, and is finishing the files that are being worked on.
  virtual void stopping(std::size_t inWork) = 0;
  // All files are settled.
  virtual void ended(std::size_t rewritten, std::size_t files, double seconds) = 0;

  // For one that writes to something slow: writes what it can, says what it waits for, and whether
  // it is so far behind that no more should be produced.
  virtual void pump() {}
  virtual void addWaiting(std::vector<pollfd>& /*descriptors*/) const {}
  [[nodiscard]] virtual bool congested() const { return false; }
};

}  // namespace kelvo::host
