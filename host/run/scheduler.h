#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/run/run_audience.h"
#include "host/run/stop_requests.h"
#include "host/workers/silence.h"
#include "host/workers/worker_process.h"

namespace kelvo::host {

// What became of one file in one action.
struct TaskResult {
  DoneMessage done;
  double seconds = 0;
  std::string crash;  // not empty: the worker came to an end over it, and how
};

// Whoever wants to have files worked on. Files are numbers here.
class TaskOwner {
 public:
  virtual ~TaskOwner() = default;
  // The file's turn has come: what to tell the worker.
  virtual FileMessage begin(std::size_t file) = 0;
  // A line of the log; no file while the action is being opened.
  virtual void logged(std::optional<std::size_t> file, const LogMessage& message) = 0;
  virtual void finished(std::size_t file, TaskResult result) = 0;
  // The file's size, on which depends how long nothing may be heard of it.
  [[nodiscard]] virtual std::uint64_t bytesOf(std::size_t file) const = 0;
  // Before every wait.
  virtual void tick() = 0;
};

// Hands files out to worker processes, one at a time each, in order. Files of one group go to one
// worker, one after the other. A worker that comes to an end is replaced; one of which nothing is
// heard for too long is ended.
class Scheduler {
 public:
  // Ticks as often as the audience wants to be refreshed, and whenever something happens. A worker
  // may be silent for `patience`, and longer over large files and frames.
  Scheduler(SetupMessage setup, std::size_t jobs, std::chrono::seconds patience,
            const StopRequests& stops, RunAudience& audience, TaskOwner& owner);

  // Returns when every file has finished, or, when asked to stop, those that had begun. When asked
  // twice it ends the workers at once. `groups` is indexed by file; 0 is no group. The result is
  // why no worker could be started, in which case the rest of the files has not begun.
  std::optional<std::string> run(std::span<const std::size_t> files,
                                 std::span<const std::uint32_t> groups);

 private:
  using Clock = Looks::Clock;

  struct Slot {
    std::optional<WorkerProcess> worker;
    bool manned = false;                 // has had a worker before
    bool ready = false;                  // the worker's action is open
    bool broken = false;                 // no worker can be had here
    std::optional<std::string> failure;  // why its worker could not open the action
    std::optional<std::size_t> file;
    Clock::time_point begun;
    Clock::duration silence{0};     // since something was heard of it
    std::uint64_t pixels = 0;       // of the frame that it is working on
    std::deque<std::size_t> bound;  // files that must follow others of this slot
  };

  void handOut();
  bool handOutTo(Slot& slot);
  std::optional<std::size_t> nextFor(Slot& slot);
  [[nodiscard]] bool hasWorkFor(const Slot& slot) const;
  void startWorker(Slot& slot);
  static std::string dropWorker(Slot& slot);
  void breakSlot(Slot& slot, std::string reason);
  void wait();
  void countSilence();
  void giveUp(Slot& slot);
  void end(Slot& slot, const std::string& why);
  void listen(Slot& slot);
  bool take(Slot& slot, const Message& message);
  void finish(Slot& slot, TaskResult result);
  [[nodiscard]] bool busy() const;
  [[nodiscard]] bool stopping() const { return stops_.count() > 0; }

  SetupMessage setup_;
  std::chrono::seconds patience_;
  Looks looks_;  // at what the workers do
  const StopRequests& stops_;
  RunAudience& audience_;
  TaskOwner& owner_;
  std::vector<Slot> slots_;
  std::map<std::uint32_t, Slot*> slotOfGroup_;
  std::span<const std::size_t> files_;
  std::span<const std::uint32_t> groups_;
  std::size_t next_ = 0;
  std::optional<std::string> startFailure_;
};

}  // namespace kelvo::host
