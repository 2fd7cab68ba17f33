#include "host/workers/worker_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

namespace kelvo::host {
namespace {

Error systemError(const char* what, int code) {
  return {std::string(what) + ": " + std::generic_category().message(code)};
}

// After the signal that none can refuse; what it is in the middle of may have to be finished.
constexpr std::chrono::seconds kDeathTakes{10};

int end(pid_t process) {
  int status = 0;
  while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

std::optional<int> endWithin(pid_t process, std::chrono::seconds limit) {
  const auto until = std::chrono::steady_clock::now() + limit;
  int status = 0;
  while (::waitpid(process, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() >= until) return std::nullopt;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return status;
}

std::string describeEnd(int status) {
  if (!WIFSIGNALED(status)) {
    return "the worker process ended by itself (exit status " +
           std::to_string(WEXITSTATUS(status)) + ")";
  }
  const int signal = WTERMSIG(status);
  // Files are mapped: this is how the system tells that a page of one cannot be had.
  if (signal == SIGBUS) {
    return "the file was cut short while it was being read, or its disk cannot read it (signal " +
           std::to_string(signal) + ")";
  }
  if (signal == SIGKILL) {
    return "the worker process was killed, perhaps for lack of memory (signal " +
           std::to_string(signal) + ")";
  }
  return "the worker process crashed (signal " + std::to_string(signal) + ")";
}

}  // namespace

Result<WorkerProcess> WorkerProcess::start(const Message& first, WorkerKind kind) {
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    return systemError("no worker process can be started", errno);
  }
  Descriptor mine(ends[0]);
  Descriptor theirs(ends[1]);
  // Duplicating a descriptor onto itself would leave it marked to be closed.
  if (theirs.number() == kWorkerSocket) {
    theirs = Descriptor(::fcntl(kWorkerSocket, F_DUPFD_CLOEXEC, kWorkerSocket + 1));
  }
  pid_t id = -1;
  if (!theirs) {
    return systemError("no worker process can be started", EMFILE);
  }
  if (const int failed = startWorker(theirs.number(), kind, id); failed != 0) {
    return systemError("no worker process can be started", failed);
  }
  WorkerProcess worker(id, Channel(std::move(mine)));
  // One that has died already shows when its channel is read.
  worker.channel_.send(first);
  return worker;
}

WorkerProcess::WorkerProcess(WorkerProcess&& other) noexcept
    : id_(std::exchange(other.id_, -1)),
      killed_(other.killed_),
      channel_(std::move(other.channel_)) {}

WorkerProcess& WorkerProcess::operator=(WorkerProcess&& other) noexcept {
  if (this != &other) {
    reap();
    id_ = std::exchange(other.id_, -1);
    killed_ = other.killed_;
    channel_ = std::move(other.channel_);
  }
  return *this;
}

WorkerProcess::~WorkerProcess() { reap(); }

void WorkerProcess::kill() {
  if (id_ > 0) {
    ::kill(id_, SIGKILL);
    killed_ = true;
  }
}

std::string WorkerProcess::reap() {
  channel_ = Channel();
  if (id_ <= 0) {
    return {};
  }
  const auto status = killed_ ? endWithin(id_, kDeathTakes) : end(id_);
  id_ = -1;
  if (!status) {
    return "the worker process cannot be ended: it waits for a disk or a server";
  }
  return describeEnd(*status);
}

}  // namespace kelvo::host
