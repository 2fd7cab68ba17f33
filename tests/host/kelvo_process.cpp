#include "tests/host/kelvo_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace kelvo::host {
namespace {

namespace fs = std::filesystem;

void check(bool good, const char* what) {
  if (!good) {
    throw std::runtime_error(what);
  }
}

std::array<int, 2> makePipe() {
  std::array<int, 2> ends{};
  check(::pipe2(ends.data(), O_CLOEXEC) == 0, "pipe");
  return ends;
}

// Both sides of a terminal of 100 columns.
std::array<int, 2> makeTerminal() {
  const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  check(master >= 0 && ::grantpt(master) == 0 && ::unlockpt(master) == 0, "terminal");
  const int slave = ::open(::ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
  const winsize size{24, 100, 0, 0};
  check(slave >= 0 && ::ioctl(slave, TIOCSWINSZ, &size) == 0, "terminal");
  return {master, slave};
}

int inputFile(const std::string& text) {
  std::FILE* file = std::tmpfile();
  check(file != nullptr, "tmpfile");
  const int descriptor = ::fcntl(::fileno(file), F_DUPFD_CLOEXEC, 10);
  std::fclose(file);
  check(::write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
            ::lseek(descriptor, 0, SEEK_SET) == 0,
        "input");
  return descriptor;
}

fs::path fakeActions() { return fs::path(KELVO_FAKE_ACTIONS); }

}  // namespace

KelvoProcess::KelvoProcess(const std::vector<std::string>& arguments, const StartOptions& options) {
  const int input = inputFile(options.input);
  const std::array<int, 2> output = makePipe();
  const std::array<int, 2> errors = options.terminal ? makeTerminal() : makePipe();
  output_ = output[0];
  errors_ = errors[0];
  int written = output[1];
  if (!options.outputFile.empty()) {
    written = ::open(options.outputFile.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    check(written >= 0, "output file");
  }
  if (options.closedOutput) {
    ::close(output_);
    output_ = -1;
  }
  const fs::path actions = options.actions.empty() ? fakeActions() : options.actions;
  id_ = ::fork();
  check(id_ >= 0, "fork");
  if (id_ == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that is stopped leaves nothing running
    ::dup2(input, STDIN_FILENO);
    ::dup2(written, STDOUT_FILENO);
    ::dup2(errors[1], STDERR_FILENO);
    ::close_range(STDERR_FILENO + 1, ~0U, 0);  // whatever the test itself was started with
    ::setenv("KELVO_ACTIONS_PATH", actions.c_str(), 1);

    std::vector<char*> values;
    std::string program = KELVO_PROGRAM;
    values.push_back(program.data());
    std::vector<std::string> copies = arguments;
    std::ranges::transform(copies, std::back_inserter(values),
                           [](std::string& value) { return value.data(); });
    values.push_back(nullptr);
    ::execv(program.c_str(), values.data());
    ::_exit(127);
  }
  ::close(input);
  ::close(output[1]);
  ::close(errors[1]);
  if (written != output[1]) {
    ::close(written);
  }
}

KelvoProcess::~KelvoProcess() {
  if (id_ > 0) {
    ::kill(id_, SIGKILL);
    ::waitpid(id_, nullptr, 0);
  }
  for (const int descriptor : {output_, errors_}) {
    if (descriptor >= 0) {
      ::close(descriptor);
    }
  }
}

void KelvoProcess::signal(int number) const { ::kill(id_, number); }

std::vector<pid_t> KelvoProcess::children() const {
  const std::string id = std::to_string(id_);
  std::ifstream list("/proc/" + id + "/task/" + id + "/children");
  return {std::istream_iterator<pid_t>(list), {}};
}

Finished KelvoProcess::wait() {
  std::array<pollfd, 2> waiting = {pollfd{output_, POLLIN, 0}, pollfd{errors_, POLLIN, 0}};
  const std::array<std::string*, 2> texts = {&finished_.output, &finished_.errors};
  while (waiting[0].fd >= 0 || waiting[1].fd >= 0) {
    ::poll(waiting.data(), waiting.size(), -1);
    for (std::size_t i = 0; i < waiting.size(); ++i) {
      if (waiting[i].fd < 0 || waiting[i].revents == 0) {
        continue;
      }
      std::array<char, 65536> buffer;
      const ssize_t got = ::read(waiting[i].fd, buffer.data(), buffer.size());
      if (got <= 0) {  // a terminal that nobody has open any more gives an error
        waiting[i].fd = -1;
      } else {
        texts[i]->append(buffer.data(), static_cast<std::size_t>(got));
      }
    }
  }
  int status = 0;
  ::waitpid(id_, &status, 0);
  id_ = -1;
  finished_.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return finished_;
}

std::size_t KelvoProcess::openDescriptors() const {
  const fs::directory_iterator open("/proc/" + std::to_string(id_) + "/fd");
  return static_cast<std::size_t>(std::distance(begin(open), end(open)));
}

void KelvoProcess::await(int descriptor, std::string& read, const std::string& text) {
  while (read.find(text) == std::string::npos) {
    std::array<char, 4096> buffer;
    const ssize_t got = ::read(descriptor, buffer.data(), buffer.size());
    check(got > 0, "it ended without the text that was waited for");
    read.append(buffer.data(), static_cast<std::size_t>(got));
  }
}

Finished runKelvo(const std::vector<std::string>& arguments, const StartOptions& options) {
  return KelvoProcess(arguments, options).wait();
}

Workplace::Workplace() {
  std::string pattern = testing::TempDir() + "kelvo-test-XXXXXX";
  check(::mkdtemp(pattern.data()) != nullptr, "directory");
  root_ = pattern;
}

Workplace::~Workplace() {
  std::error_code failed;
  fs::remove_all(root_, failed);
}

std::string Workplace::file(const std::string& name, const std::string& command) const {
  fs::create_directories((root_ / name).parent_path());
  std::ofstream(root_ / name) << command << "\n";
  return path(name);
}

std::string Workplace::read(const std::string& name) const {
  std::ifstream file(root_ / name);
  return {std::istreambuf_iterator<char>(file), {}};
}

bool Workplace::exists(const std::string& name) const {
  return fs::exists(fs::symlink_status(root_ / name));
}

int Workplace::rewritings(const std::string& name) const {
  const std::string text = read(name);
  return static_cast<int>(std::ranges::count(text, '\n')) - 1;
}

std::string Workplace::workflow(const std::string& name,
                                const std::vector<std::string>& parameters) const {
  std::string text;
  for (const std::string& one : parameters) {
    text +=
        (text.empty() ? "" : ", ") + (R"({"action": "Kelvo Images", "parameters": )" + one + "}");
  }
  std::ofstream(root_ / name) << R"({"format": 1, "actions": [)" << text << "]}";
  return path(name);
}

void Workplace::awaitBegun(const std::string& name) const {
  constexpr int kMilliseconds = 60'000;
  for (int waited = 0; !exists(name + ".begun"); ++waited) {
    if (waited == kMilliseconds) {
      ADD_FAILURE() << name << " was not begun";
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

void Workplace::letGo(const std::string& name) const {
  std::ofstream(root_ / (name + ".go")) << "";
}

}  // namespace kelvo::host
