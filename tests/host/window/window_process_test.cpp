#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/host/kelvo_process.h"
#include "tests/support/temporary_directory.h"

// The window as the program opens it.
namespace kelvo::host {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// Sets or, with null, unsets a variable while it lives.
class Variable {
 public:
  Variable(const char* name, const char* value) : name_(name) {
    const char* const before = std::getenv(name);
    had_ = before != nullptr;
    before_ = had_ ? before : "";
    value != nullptr ? ::setenv(name, value, 1) : ::unsetenv(name);
  }
  ~Variable() { had_ ? ::setenv(name_.c_str(), before_.c_str(), 1) : ::unsetenv(name_.c_str()); }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

 private:
  std::string name_;
  std::string before_;
  bool had_ = false;
};

std::string mapsOf(pid_t id) {
  std::ifstream file("/proc/" + std::to_string(id) + "/maps");
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(EditCommand, SaysThatThereIsNoDisplay) {
  const Variable platform("QT_QPA_PLATFORM", nullptr);
  const Variable display("DISPLAY", nullptr);
  const Variable wayland("WAYLAND_DISPLAY", "");
  const Finished finished = runKelvo({"edit"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.errors,
            "kelvo: the window cannot be opened: there is no display (neither DISPLAY nor "
            "WAYLAND_DISPLAY is set)\n");
}

TEST(EditCommand, SaysThatTheDisplayCannotBeReached) {
  const Variable platform("QT_QPA_PLATFORM", nullptr);
  const Variable display("DISPLAY", ":32000");
  const Variable wayland("WAYLAND_DISPLAY", nullptr);
  const Finished finished = runKelvo({"edit"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_THAT(finished.errors, StartsWith("kelvo: the window cannot be opened: "));
}

TEST(EditCommand, SaysThatThereIsNoSuchPlatform) {
  const Variable platform("QT_QPA_PLATFORM", "nonsense");
  const Finished finished = runKelvo({"edit"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_THAT(finished.errors, StartsWith("kelvo: the window cannot be opened: "));
}

TEST(EditCommand, TellsHowItIsUsed) {
  const Finished finished = runKelvo({"edit", "--help"});
  EXPECT_EQ(finished.status, 0);
  EXPECT_THAT(finished.output, HasSubstr("Usage: kelvo edit [WORKFLOW] [FILE...]\n"));
}

TEST(EditCommand, SaysThatTheWindowIsNotInstalled) {
  // The program and its library, in a place without the module.
  const kelvo::testing::TemporaryDirectory place;
  fs::create_directory(place.file("bin"));
  fs::copy_file(KELVO_PROGRAM, place.file("bin/kelvo"));
  const std::string command = "QT_QPA_PLATFORM=offscreen '" + place.file("bin/kelvo") +
                              "' edit 2>'" + place.file("errors") + "'";
  const int status = std::system(command.c_str());
  EXPECT_EQ(WEXITSTATUS(status), 2);
  EXPECT_THAT(kelvo::testing::readFile(place.file("errors")),
              StartsWith("kelvo: the window is not installed: there is no '" +
                         fs::canonical(place.path()).string() + "/lib/kelvo/kelvo-window.so'"));
}

TEST(EditCommand, PaintsTheWindowAndStaysUntilItIsClosed) {
  const kelvo::testing::TemporaryDirectory settings;
  const Variable platform("QT_QPA_PLATFORM", "offscreen");
  const Variable config("XDG_CONFIG_HOME", settings.path().c_str());
  const Variable trace("KELVO_TRACE_START", "1");
  KelvoProcess process({"edit"});
  process.awaitErrors("ms after the start\n");
  EXPECT_THAT(mapsOf(process.id()), HasSubstr("libQt6Widgets"));
  EXPECT_THAT(mapsOf(process.id()), HasSubstr("kelvo-window.so"));
  process.signal(SIGTERM);
  EXPECT_EQ(process.wait().status, 128 + SIGTERM);
}

TEST(Adjustments, LoadNoToolkit) {
  const Workplace place;
  place.file("a", "wait");
  KelvoProcess process({"levels", place.path("a")});
  place.awaitBegun("a");
  std::vector<pid_t> all = process.children();
  ASSERT_EQ(all.size(), 1U);
  all.push_back(process.id());
  for (const pid_t id : all) {
    const std::string maps = mapsOf(id);
    EXPECT_THAT(maps, HasSubstr("libkelvo-platform"));
    EXPECT_THAT(maps, Not(HasSubstr("libQt")));
    EXPECT_THAT(maps, Not(HasSubstr("kelvo-window")));
  }
  place.letGo("a");
  EXPECT_EQ(process.wait().status, 0);
}

}  // namespace
}  // namespace kelvo::host
