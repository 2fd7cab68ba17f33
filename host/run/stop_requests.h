#pragma once

#include <poll.h>
#include <signal.h>

#include <vector>

namespace kelvo::host {

// Whoever may ask a run to stop before its end.
class StopRequests {
 public:
  virtual ~StopRequests() = default;

  // How often it has been asked for: once, and no further file is begun; twice, and those being
  // worked on are not waited for either.
  [[nodiscard]] virtual int count() const = 0;
  // The signals to be held back while waiting; null: the thread's own.
  [[nodiscard]] virtual const sigset_t* waitMask() const { return nullptr; }
  // Descriptors on which a request shows while waiting.
  virtual void addWaiting(std::vector<pollfd>& /*descriptors*/) const {}
};

}  // namespace kelvo::host
