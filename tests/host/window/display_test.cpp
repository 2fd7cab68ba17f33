#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

#include "tests/host/kelvo_process.h"
#include "tests/support/temporary_directory.h"

// The window on a display, with keys and a mouse.
namespace kelvo::host {
namespace {

namespace fs = std::filesystem;

bool installed(const char* program) {
  return std::system((std::string("command -v ") + program + " >/dev/null 2>&1").c_str()) == 0;
}

// An X server of its own, on a display that was free.
class Display {
 public:
  Display() {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) {
      return;
    }
    id_ = ::fork();
    if (id_ == 0) {
      const int nowhere = ::open("/dev/null", O_RDWR);
      ::dup2(nowhere, STDERR_FILENO);
      const std::string number = std::to_string(ends[1]);
      ::execlp("Xvfb", "Xvfb", "-displayfd", number.c_str(), "-screen", "0", "1280x900x24",
               "-nolisten", "tcp", nullptr);
      ::_exit(127);
    }
    ::close(ends[1]);
    char letter = 0;
    while (::read(ends[0], &letter, 1) == 1 && letter != '\n') {
      name_ += letter;
    }
    ::close(ends[0]);
  }
  ~Display() {
    if (id_ > 0) {
      ::kill(id_, SIGTERM);
      ::waitpid(id_, nullptr, 0);
    }
  }
  Display(const Display&) = delete;
  Display& operator=(const Display&) = delete;

  [[nodiscard]] std::string name() const { return name_.empty() ? name_ : ":" + name_; }

 private:
  pid_t id_ = -1;
  std::string name_;
};

// What xdotool prints.
std::string xdotool(const std::string& arguments) {
  std::string output;
  if (std::FILE* const pipe = ::popen(("xdotool " + arguments + " 2>/dev/null").c_str(), "r")) {
    std::array<char, 256> buffer;
    while (std::fgets(buffer.data(), buffer.size(), pipe) != nullptr) {
      output += buffer.data();
    }
    ::pclose(pipe);
  }
  return output;
}

template <typename Condition>
bool eventually(const Condition& condition) {
  for (int i = 0; i < 600; ++i) {
    if (condition()) {
      return true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return false;
}

bool shows(const std::string& title) {
  return !xdotool("search --onlyvisible --name '" + title + "'").empty();
}

// Asks again until it is there: a window that has just come up may not listen yet.
bool pressUntil(const std::string& key, const std::function<bool()>& condition) {
  for (int i = 0; i < 30; ++i) {
    xdotool("key " + key);
    for (int j = 0; j < 20; ++j) {
      if (condition()) {
        return true;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  }
  return false;
}

TEST(WindowOnADisplay, RunsOverAFileAndClosesByKeysAndMouse) {
  if (!installed("Xvfb") || !installed("xdotool")) {
    GTEST_SKIP() << "there is no X server to test with";
  }
  const Display display;
  ASSERT_NE(display.name(), "");
  const kelvo::testing::TemporaryDirectory place;
  const std::string file = place.file("lake.jpg");
  fs::copy_file(KELVO_SOURCE_DIR "/resources/samples/lake.jpg", file);
  fs::permissions(file, fs::perms::owner_write, fs::perm_options::add);
  const std::string before = kelvo::testing::readFile(file);
  const std::string workflow = place.file("w.kelvo");
  kelvo::testing::writeFile(
      workflow,
      R"({"format": 1, "actions": [{"action": "Kelvo Images", "parameters": {"filterPopUp": "13"}}]})");
  ::setenv("DISPLAY", display.name().c_str(), 1);
  ::setenv("QT_QPA_PLATFORM", "xcb", 1);
  ::setenv("XDG_CONFIG_HOME", place.file("config").c_str(), 1);
  ::setenv("KELVO_TRACE_START", "1", 1);
  // What the desktop's message bus keeps for good is no leak of ours.
  ::setenv("LSAN_OPTIONS", "suppressions=" KELVO_SOURCE_DIR "/tests/sanitizers/leaks.txt", 1);

  StartOptions options;
  options.actions = KELVO_BINARY_DIR "/lib/kelvo";
  KelvoProcess process({"edit", workflow, file}, options);
  process.awaitErrors("ms after the start\n");
  ASSERT_TRUE(eventually([] { return shows("w.kelvo"); }));
  xdotool("search --onlyvisible --name w.kelvo windowfocus --sync");
  ASSERT_TRUE(pressUntil("ctrl+r", [] { return shows("^Run$"); })) << "the confirmation";
  ASSERT_TRUE(pressUntil("alt+r", [&] { return kelvo::testing::readFile(file) != before; }));

  const std::string other = place.file("other.jpg");
  fs::copy_file(KELVO_SOURCE_DIR "/resources/samples/lake.jpg", other);
  fs::permissions(other, fs::perms::owner_write, fs::perm_options::add);
  ASSERT_EQ(runKelvo({"invert", other}, options).status, 0);
  EXPECT_TRUE(kelvo::testing::readFile(file) == kelvo::testing::readFile(other));

  // The File menu with the mouse, Quit by its letter.
  ASSERT_TRUE(eventually([] { return !shows("^Run$"); }));
  const std::string id = xdotool("search --onlyvisible --name w.kelvo");
  xdotool("mousemove --sync --window " + id.substr(0, id.find('\n')) + " 15 10");
  xdotool("click 1");
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  xdotool("key q");
  EXPECT_EQ(process.wait().status, 0);
}

}  // namespace
}  // namespace kelvo::host
