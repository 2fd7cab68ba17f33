#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>

#include "host/descriptor.h"
#include "host/run/stop_requests.h"

namespace kelvo::window {

// Asked to stop by another thread.
class StopSwitch final : public host::StopRequests {
 public:
  StopSwitch() : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

  void request() {
    ++count_;
    wake();
  }
  // Makes whoever waits look round.
  void wake() const {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(event_.number(), &one, sizeof one);
  }
  // Waits quietly again, until the next request.
  void settle() const {
    std::uint64_t value = 0;
    [[maybe_unused]] const auto read = ::read(event_.number(), &value, sizeof value);
  }

  [[nodiscard]] int count() const override { return count_; }
  void addWaiting(std::vector<pollfd>& descriptors) const override {
    descriptors.push_back({event_.number(), POLLIN, 0});
  }

 private:
  host::Descriptor event_;
  std::atomic<int> count_ = 0;
};

}  // namespace kelvo::window
