#include "tests/faults/real_program.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace kelvo::test {
namespace {

std::array<int, 2> makePipe() {
  std::array<int, 2> ends = {};
  if (::pipe(ends.data()) != 0) throw std::runtime_error("pipe");
  return ends;
}

std::string readAll(int descriptor) {
  std::string text;
  std::array<char, 4096> buffer = {};
  for (ssize_t got = 0; (got = ::read(descriptor, buffer.data(), buffer.size())) > 0;) {
    text.append(buffer.data(), static_cast<std::size_t>(got));
  }
  ::close(descriptor);
  return text;
}

}  // namespace

namespace {

ProgramRun runUntilEnd(const std::vector<std::string>& arguments,
                       const std::map<std::string, std::string>& environment,
                       const std::function<void()>& prepare,
                       const std::function<void(pid_t)>& meanwhile) {
  const auto output = makePipe();
  const auto errors = makePipe();
  const pid_t child = ::fork();
  if (child < 0) throw std::runtime_error("fork");
  if (child == 0) {
    ::dup2(output[1], STDOUT_FILENO);
    ::dup2(errors[1], STDERR_FILENO);
    ::close_range(STDERR_FILENO + 1, ~0U, 0);
    for (const auto& [name, value] : environment) ::setenv(name.c_str(), value.c_str(), 1);
    std::string program = KELVO_PROGRAM;
    std::vector<std::string> copies = arguments;
    std::vector<char*> values = {program.data()};
    std::ranges::transform(copies, std::back_inserter(values),
                           [](std::string& value) { return value.data(); });
    values.push_back(nullptr);
    if (prepare) prepare();
    ::execv(program.c_str(), values.data());
    ::_exit(127);
  }
  ::close(output[1]);
  ::close(errors[1]);
  ProgramRun run;
  std::thread outputReader([&] { run.output = readAll(output[0]); });
  std::thread errorReader([&] { run.errors = readAll(errors[0]); });
  if (meanwhile) meanwhile(child);
  outputReader.join();
  errorReader.join();
  int status = 0;
  rusage usage = {};
  ::wait4(child, &status, 0, &usage);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  // The largest of the program and of the workers that it has waited for.
  run.peakBytes = static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
  for (const timeval& time : {usage.ru_utime, usage.ru_stime}) {
    run.processorSeconds +=
        static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  }
  return run;
}

}  // namespace

ProgramRun runProgram(const std::vector<std::string>& arguments,
                      const std::map<std::string, std::string>& environment,
                      const std::function<void()>& prepare) {
  return runUntilEnd(arguments, environment, prepare, {});
}

ProgramRun runAndSignal(const std::vector<std::string>& arguments, int signal,
                        std::uint64_t microseconds) {
  return runUntilEnd(arguments, {}, {}, [&](pid_t program) {
    std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
    ::kill(program, signal);
  });
}

}  // namespace kelvo::test
