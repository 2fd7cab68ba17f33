#include "host/run/scheduler.h"

#include <poll.h>

#include <algorithm>
#include <cstddef>
#include <utility>

namespace kelvo::host {

Scheduler::Scheduler(SetupMessage setup, std::size_t jobs, std::chrono::seconds patience,
                     const StopRequests& stops, RunAudience& audience, TaskOwner& owner)
    : setup_(std::move(setup)),
      patience_(patience),
      stops_(stops),
      audience_(audience),
      owner_(owner),
      slots_(jobs) {}

std::optional<std::string> Scheduler::run(std::span<const std::size_t> files,
                                          std::span<const std::uint32_t> groups) {
  files_ = files;
  groups_ = groups;
  next_ = 0;
  bool killed = false;
  while (true) {
    if (stops_.count() > 1 && !std::exchange(killed, true)) {
      for (Slot& slot : slots_) {
        if (slot.worker) {
          slot.worker->kill();
        }
      }
    }
    if (!stopping() && !audience_.congested()) {
      handOut();
    }
    owner_.tick();
    audience_.pump();
    // Too far behind with its output is not done: it goes on when the reader does.
    const bool workLeft = !stopping() && std::ranges::any_of(slots_, [this](const Slot& slot) {
      return !slot.broken && hasWorkFor(slot);
    });
    if (!busy() && !workLeft) {
      break;
    }
    wait();
  }
  for (Slot& slot : slots_) {
    // One that has a file open has been waited for.
    if (slot.worker && (stopping() || !slot.ready)) {
      slot.worker->kill();
    }
  }
  slots_.clear();
  return startFailure_;
}

bool Scheduler::busy() const {
  return std::ranges::any_of(slots_, [](const Slot& slot) { return slot.file.has_value(); });
}

bool Scheduler::hasWorkFor(const Slot& slot) const {
  return !slot.bound.empty() || next_ < files_.size();
}

void Scheduler::handOut() {
  // Looking for one slot's next file may find files for the slots before it.
  bool again = true;
  while (again) {
    again = false;
    for (Slot& slot : slots_) {
      again = handOutTo(slot) || again;
    }
  }
}

// Whether the slot was given a file.
bool Scheduler::handOutTo(Slot& slot) {
  if (slot.file || slot.broken || !hasWorkFor(slot)) {
    return false;
  }
  if (!slot.worker) {
    startWorker(slot);
    return false;
  }
  if (!slot.ready) {
    return false;
  }
  const auto file = nextFor(slot);
  if (!file) {
    return false;
  }
  if (!slot.worker->channel().send(owner_.begin(*file))) {
    // It came to an end while it had nothing to do; the file is none the worse.
    slot.bound.push_front(*file);
    dropWorker(slot);
    return true;
  }
  slot.file = file;
  slot.begun = Clock::now();
  slot.silence = Clock::duration::zero();
  slot.pixels = 0;
  return true;
}

std::optional<std::size_t> Scheduler::nextFor(Slot& slot) {
  if (!slot.bound.empty()) {
    const std::size_t file = slot.bound.front();
    slot.bound.pop_front();
    return file;
  }
  while (next_ < files_.size()) {
    const std::size_t file = files_[next_++];
    const std::uint32_t group = groups_[file];
    if (group == 0) {
      return file;
    }
    Slot* const owner = slotOfGroup_.try_emplace(group, &slot).first->second;
    if (owner == &slot) {
      return file;
    }
    owner->bound.push_back(file);
  }
  return std::nullopt;
}

void Scheduler::startWorker(Slot& slot) {
  const bool replaced = std::exchange(slot.manned, true);
  auto worker = WorkerProcess::start(setup_, replaced ? WorkerKind::fresh : WorkerKind::quick);
  if (!worker) {
    breakSlot(slot, worker.error().message);
    return;
  }
  slot.worker = std::move(worker).value();
  slot.silence = Clock::duration::zero();
}

// Says how it came to its end.
std::string Scheduler::dropWorker(Slot& slot) {
  std::string reason = slot.worker->reap();
  slot.worker.reset();
  slot.ready = false;
  return reason;
}

// Its files go to a slot that still works, if there is one.
void Scheduler::breakSlot(Slot& slot, std::string reason) {
  slot.broken = true;
  const auto other =
      std::ranges::find_if(slots_, [](const Slot& candidate) { return !candidate.broken; });
  if (other == slots_.end()) {
    startFailure_ = std::move(reason);
    return;
  }
  other->bound.insert(other->bound.end(), slot.bound.begin(), slot.bound.end());
  slot.bound.clear();
  for (auto& [group, owner] : slotOfGroup_) {
    if (owner == &slot) {
      owner = &*other;
    }
  }
}

void Scheduler::wait() {
  std::vector<pollfd> waiting;
  std::vector<Slot*> slots;
  for (Slot& slot : slots_) {
    if (slot.worker) {
      waiting.push_back({slot.worker->channel().number(), POLLIN, 0});
      slots.push_back(&slot);
    }
  }
  audience_.addWaiting(waiting);
  stops_.addWaiting(waiting);
  const auto refresh = audience_.refresh();
  const auto limit = (refresh.count() > 0 ? std::min(refresh, kLook) : kLook).count();
  const timespec time{limit / 1000, limit % 1000 * 1'000'000};
  const int arrived = ::ppoll(waiting.data(), waiting.size(), &time, stops_.waitMask());
  for (std::size_t i = 0; i < slots.size() && arrived > 0; ++i) {
    if (waiting[i].revents != 0) {
      listen(*slots[i]);
    }
  }
  countSilence();
}

void Scheduler::countSilence() {
  const auto passed = looks_.next();
  for (Slot& slot : slots_) {
    if (!slot.worker || (slot.ready && !slot.file)) continue;
    slot.silence += passed;
    const std::uint64_t bytes = slot.file ? owner_.bytesOf(*slot.file) : 0;
    if (slot.silence > longestSilence(patience_, slot.pixels, bytes)) giveUp(slot);
  }
}

void Scheduler::giveUp(Slot& slot) {
  slot.worker->kill();
  end(slot, describeSilence(slot.silence) + " (--max-seconds)");
}

void Scheduler::listen(Slot& slot) {
  slot.silence = Clock::duration::zero();
  const bool open = slot.worker->channel().receive(false);
  bool sound = true;
  while (sound) {
    auto next = slot.worker->channel().next();
    if (next && !*next) {
      break;
    }
    sound = next && take(slot, **next);
  }
  if (open && sound && !slot.failure) {
    return;
  }
  if (!sound) {
    slot.worker->kill();
  }
  end(slot, {});
}

// The worker is dead or has been killed. `why` tells more than the way it ended, if it is not
// empty.
void Scheduler::end(Slot& slot, const std::string& why) {
  const bool wasReady = slot.ready;
  std::string reason = dropWorker(slot);
  if (!why.empty()) {
    reason = why;
  } else if (stops_.count() > 1) {
    reason = "the run was stopped while the file was being worked on";
  }
  if (slot.file) {
    TaskResult result;
    result.crash = std::move(reason);
    finish(slot, std::move(result));
  } else if (!wasReady) {
    breakSlot(slot, slot.failure.value_or(reason));
  }
}

// False for a message that has no place here.
bool Scheduler::take(Slot& slot, const Message& message) {
  if (std::holds_alternative<ReadyMessage>(message)) {
    return !std::exchange(slot.ready, true);
  }
  if (const auto* failed = std::get_if<SetupFailedMessage>(&message)) {
    slot.failure = failed->message;
    return true;
  }
  if (const auto* progress = std::get_if<ProgressMessage>(&message)) {
    slot.pixels = progress->pixels;
    return true;
  }
  if (const auto* log = std::get_if<LogMessage>(&message)) {
    owner_.logged(slot.file, *log);
    return true;
  }
  const auto* done = std::get_if<DoneMessage>(&message);
  if (done == nullptr || !slot.file) {
    return false;
  }
  TaskResult result;
  result.done = *done;
  finish(slot, std::move(result));
  return true;
}

void Scheduler::finish(Slot& slot, TaskResult result) {
  result.seconds = std::chrono::duration<double>(Clock::now() - slot.begun).count();
  owner_.finished(*std::exchange(slot.file, std::nullopt), std::move(result));
}

}  // namespace kelvo::host
