#pragma once

#include <sys/types.h>

#include <string>

#include "host/workers/channel.h"
#include "host/workers/worker_start.h"
#include "platform/foundation/result.h"

namespace kelvo::host {

// The hidden first argument that makes the program a worker.
constexpr const char* kWorkerArgument = "--worker";
// The descriptor on which a worker finds its socket.
constexpr int kWorkerSocket = 3;

// A worker process of this program, and the channel to it. It does not outlive this object.
class WorkerProcess {
 public:
  // Starts one, and tells it what it is for: a setup, or the first request for a picture. It does
  // not outlive the thread that starts it either. Errors: no more processes or descriptors can be
  // had.
  static Result<WorkerProcess> start(const Message& first, WorkerKind kind);

  WorkerProcess(WorkerProcess&& other) noexcept;
  WorkerProcess& operator=(WorkerProcess&& other) noexcept;
  WorkerProcess(const WorkerProcess&) = delete;
  WorkerProcess& operator=(const WorkerProcess&) = delete;
  ~WorkerProcess();

  [[nodiscard]] Channel& channel() { return channel_; }
  [[nodiscard]] pid_t id() const { return id_; }

  // Ends it at once.
  void kill();

  // Waits for its end, which the closing of its channel has told or is about to bring about, and
  // says in a clause how it came: "the worker process crashed (signal 11)". One that was killed and
  // still does not end, as it waits for a disk or a server that gives no answer, is left behind.
  std::string reap();

 private:
  WorkerProcess(pid_t id, Channel channel) : id_(id), channel_(std::move(channel)) {}

  pid_t id_ = -1;
  bool killed_ = false;
  Channel channel_;
};

}  // namespace kelvo::host
