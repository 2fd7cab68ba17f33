#include "tests/faults/real_program.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
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

ProgramRun runProgram(const std::vector<std::string>& arguments,
                      const std::map<std::string, std::string>& environment) {
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
    ::execv(program.c_str(), values.data());
    ::_exit(127);
  }
  ::close(output[1]);
  ::close(errors[1]);
  ProgramRun run;
  std::thread reader([&] { run.output = readAll(output[0]); });
  run.errors = readAll(errors[0]);
  reader.join();
  int status = 0;
  ::waitpid(child, &status, 0);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return run;
}

}  // namespace kelvo::test
