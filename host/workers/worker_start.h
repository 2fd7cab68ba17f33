#pragma once

#include <sys/types.h>

#include <cstdint>

namespace kelvo::host {

enum class WorkerKind : std::uint8_t {
  // A copy of this process, if it has one thread only; that saves starting the program once more.
  quick,
  // The program started anew: its memory lies elsewhere, so that what brought one worker down
  // cannot
  // feel its way.
  fresh,
};

// Starts a process that runs workerMain() with `socket`, which is not kWorkerSocket, for its
// channel. Gives 0 and its id, or the errno of what could not be had.
int startWorker(int socket, WorkerKind kind, pid_t& id);

}  // namespace kelvo::host
