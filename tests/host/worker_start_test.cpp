#include "host/workers/worker_start.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>

#include "host/descriptor.h"
#include "host/workers/worker_process.h"
#include "tests/support/temporary_directory.h"

namespace kelvo::host {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

std::string ofProcess(pid_t process, const std::string& what) {
  return kelvo::testing::readFile("/proc/" + std::to_string(process) + "/" + what);
}

std::uint64_t signalsOf(pid_t process, const std::string& name) {
  std::istringstream lines(ofProcess(process, "status"));
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(name)) return std::stoull(line.substr(name.size()), nullptr, 16);
  }
  ADD_FAILURE() << name;
  return 0;
}

std::uint64_t bit(int signal) { return std::uint64_t{1} << (signal - 1); }

// Waits for the answer to a setup that cannot be had.
std::string failureFrom(WorkerProcess& worker) {
  while (true) {
    auto next = worker.channel().next();
    if (!next) return "no message";
    if (*next) {
      const auto* const failed = std::get_if<SetupFailedMessage>(&**next);
      return failed == nullptr ? "another message" : failed->message;
    }
    if (!worker.channel().receive(true)) return "the end";
  }
}

SetupMessage impossible() {
  SetupMessage setup;
  setup.bundlePath = "/there is no such bundle";
  return setup;
}

TEST(WorkerStart, ACopyHasNothingOfItsHostsButStandardErrorAndItsChannel) {
  std::array<int, 2> pipe{};
  ASSERT_EQ(::pipe(pipe.data()), 0);
  const Descriptor reading(pipe[0]);
  const Descriptor writing(pipe[1]);
  struct sigaction before {};
  struct sigaction handled {};
  handled.sa_handler = [](int) {};
  ASSERT_EQ(::sigaction(SIGUSR1, &handled, &before), 0);

  auto first = WorkerProcess::start(impossible(), WorkerKind::quick);
  auto second = WorkerProcess::start(impossible(), WorkerKind::quick);
  ASSERT_TRUE(first.ok());
  ASSERT_TRUE(second.ok());
  for (WorkerProcess* const worker : {&*first, &*second}) {
    EXPECT_THAT(failureFrom(*worker), HasSubstr("Info.json cannot be read"));
    const pid_t id = worker->id();
    EXPECT_EQ(ofProcess(id, "cmdline"), ofProcess(::getpid(), "cmdline"));  // not the program anew
    std::map<std::string, std::string> open;
    for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(id) + "/fd")) {
      open[entry.path().filename()] = fs::read_symlink(entry.path());
    }
    EXPECT_EQ(open.size(), 4U);
    EXPECT_EQ(open["0"], "/dev/null");
    EXPECT_EQ(open["1"], "/dev/null");
    EXPECT_THAT(open["3"], HasSubstr("socket"));
    EXPECT_EQ(signalsOf(id, "SigCgt:") & bit(SIGUSR1), 0U);
    EXPECT_EQ(signalsOf(id, "SigBlk:"), bit(SIGINT) | bit(SIGHUP) | bit(SIGTERM) | bit(SIGQUIT));
  }
  // Each ends with its own channel, although the other's is open.
  EXPECT_EQ(first->reap(), "the worker process ended by itself (exit status 0)");
  EXPECT_EQ(second->reap(), "the worker process ended by itself (exit status 0)");
  ::sigaction(SIGUSR1, &before, nullptr);
}

TEST(WorkerStart, TheHostsSignalMaskIsAsBefore) {
  sigset_t before;
  ::sigprocmask(SIG_SETMASK, nullptr, &before);
  auto worker = WorkerProcess::start(impossible(), WorkerKind::quick);
  ASSERT_TRUE(worker.ok());
  sigset_t after;
  ::sigprocmask(SIG_SETMASK, nullptr, &after);
  for (int signal = 1; signal < NSIG; ++signal) {
    EXPECT_EQ(::sigismember(&after, signal), ::sigismember(&before, signal)) << signal;
  }
}

}  // namespace
}  // namespace kelvo::host
