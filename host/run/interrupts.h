#pragma once

#include <signal.h>

#include "host/run/stop_requests.h"

namespace kelvo::host {

// While it lives, Ctrl-C, a termination request and a closed terminal are counted instead of ending
// the process, and a closed pipe or a file that may not grow is an error of the write. The signals
// arrive only while waiting with waitMask(). What the process was told to ignore stays ignored. One
// at a time.
class Interrupts final : public StopRequests {
 public:
  Interrupts();
  ~Interrupts() override;
  Interrupts(const Interrupts&) = delete;
  Interrupts& operator=(const Interrupts&) = delete;

  [[nodiscard]] int count() const override;
  [[nodiscard]] const sigset_t* waitMask() const override { return &waitMask_; }

 private:
  static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

  sigset_t oldMask_{};
  sigset_t waitMask_{};
  struct sigaction oldActions_[3] = {};
  struct sigaction oldPipe_ = {};
  struct sigaction oldSize_ = {};
};

}  // namespace kelvo::host
