#include "host/workers/worker_start.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <string>

#include "host/process_end.h"
#include "host/workers/worker_main.h"
#include "host/workers/worker_process.h"

namespace kelvo::host {
namespace {

// The host decides when a worker stops; one Ctrl-C reaches the whole process group.
sigset_t workersMask() {
  sigset_t blocked;
  sigemptyset(&blocked);
  for (const int signal : {SIGINT, SIGHUP, SIGTERM, SIGQUIT}) {
    sigaddset(&blocked, signal);
  }
  return blocked;
}

// Whatever libraries print does not get into the host's result. Standard error stays.
constexpr const char* kNowhere = "/dev/null";

class SpawnPlan {
 public:
  SpawnPlan() {
    posix_spawn_file_actions_init(&actions_);
    posix_spawnattr_init(&attributes_);
  }
  ~SpawnPlan() {
    posix_spawnattr_destroy(&attributes_);
    posix_spawn_file_actions_destroy(&actions_);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;

  bool prepare(int socket) {
    const sigset_t blocked = workersMask();
    return posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, kNowhere, O_RDONLY, 0) == 0 &&
           posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, kNowhere, O_WRONLY, 0) == 0 &&
           posix_spawn_file_actions_adddup2(&actions_, socket, kWorkerSocket) == 0 &&
           posix_spawnattr_setsigmask(&attributes_, &blocked) == 0 &&
           posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK) == 0;
  }

  int run(pid_t& id) const {
    std::string program = "kelvo";
    std::string role = kWorkerArgument;
    std::string host = std::to_string(::getpid());
    const std::array<char*, 4> arguments = {program.data(), role.data(), host.data(), nullptr};
    // The running program itself, even if its file has been replaced meanwhile.
    return posix_spawn(&id, "/proc/self/exe", &actions_, &attributes_, arguments.data(), environ);
  }

 private:
  posix_spawn_file_actions_t actions_{};
  posix_spawnattr_t attributes_{};
};

int spawn(int socket, pid_t& id) {
  SpawnPlan plan;
  return plan.prepare(socket) ? plan.run(id) : ENOMEM;
}

// A directory has two links more than it has directories in it, which here are the threads.
bool onlyThread() {
  struct stat status = {};
  return ::stat("/proc/self/task", &status) == 0 && status.st_nlink == 3;
}

bool redirect(int stream, int flags) {
  const int nowhere = ::open(kNowhere, flags);
  return nowhere >= 0 && (nowhere == stream || ::dup2(nowhere, stream) == stream);
}

// What starting the program anew would have done. No signal arrives before it is done.
bool shedTheHost(int socket) {
  for (int signal = 1; signal < NSIG; ++signal) {
    struct sigaction action = {};
    if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN ||
        action.sa_handler == SIG_DFL) {
      continue;
    }
    action.sa_handler = SIG_DFL;
    ::sigaction(signal, &action, nullptr);
  }
  const bool good = ::dup2(socket, kWorkerSocket) == kWorkerSocket &&
                    redirect(STDIN_FILENO, O_RDONLY) && redirect(STDOUT_FILENO, O_WRONLY);
  // Other workers' channels above all: they would stay open when the host closes them.
  ::closefrom(kWorkerSocket + 1);
  const sigset_t blocked = workersMask();
  ::sigprocmask(SIG_SETMASK, &blocked, nullptr);
  return good;
}

// Nothing that is the host's is unwound here.
[[noreturn]] void work(int socket, const std::string& host) noexcept {
  int status = EXIT_FAILURE;
  if (shedTheHost(socket)) {
    try {
      status = workerMain(host);
    } catch (const std::exception&) {  // lack of memory; the host reports how it ended
      status = EXIT_FAILURE;
    }
  }
  endProcess(status);
}

int copy(int socket, pid_t& id) {
  const std::string host = std::to_string(::getpid());
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  ::sigprocmask(SIG_SETMASK, &all, &before);
  id = ::fork();
  if (id == 0) {
    work(socket, host);
  }
  const int failed = id < 0 ? errno : 0;
  ::sigprocmask(SIG_SETMASK, &before, nullptr);
  return failed;
}

}  // namespace

int startWorker(int socket, WorkerKind kind, pid_t& id) {
  return kind == WorkerKind::quick && onlyThread() ? copy(socket, id) : spawn(socket, id);
}

}  // namespace kelvo::host
