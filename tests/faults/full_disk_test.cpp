// A file system that is really full.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/faults/real_program.h"
#include "tests/image_io/replace/support.h"

namespace kelvo::test {
namespace {

namespace fs = std::filesystem;

enum Outcome : int { good = 0, cannotMount = 77 };

// A namespace of mounts that nobody else sees. Who may not have one alone gets one of users with
// it, where he is the superuser; files of users without a name there could not be written.
bool enterOwnMounts() {
  if (::unshare(CLONE_NEWNS) == 0) return true;
  const std::string user = "0 " + std::to_string(::getuid()) + " 1";
  const std::string group = "0 " + std::to_string(::getgid()) + " 1";
  if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
  const auto set = [](const char* what, const std::string& to) {
    std::ofstream file(std::string("/proc/self/") + what);
    return (file << to).flush().good();
  };
  return set("setgroups", "deny") && set("uid_map", user) && set("gid_map", group);
}

// In a process of its own.
int fillAndRun(const std::string& place) {
  if (!enterOwnMounts()) return cannotMount;
  if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      ::mount("none", place.c_str(), "tmpfs", 0, "size=256k") != 0) {
    return cannotMount;
  }
  const std::string old =
      readFile(std::string(KELVO_SOURCE_DIR) + "/resources/samples/two-pages.tif");
  for (const char* name : {"/a.tif", "/b.tif"}) writeFile(place + name, old);
  const ProgramRun full = runProgram({"invert", place + "/a.tif", place + "/b.tif"});
  if (full.status != 1 || !full.output.empty()) return 2;
  for (const char* name : {"/a.tif", "/b.tif"}) {
    if (readFile(place + name) != old) return 3;
    if (full.errors.find(place + name + ": Error: ") == std::string::npos) return 4;
  }
  if (full.errors.find("No space left on device") == std::string::npos &&
      full.errors.find("no space left on the device") == std::string::npos) {
    return 5;
  }
  if (std::distance(fs::directory_iterator(place), {}) != 2) return 6;
  // With room again, the same run succeeds.
  fs::remove(place + "/b.tif");
  const ProgramRun again = runProgram({"invert", place + "/a.tif"});
  return again.status == 0 && readFile(place + "/a.tif") != old ? good : 7;
}

TEST(FullDisk, LeavesEveryFileAsItWasAndSaysSo) {
  const TemporaryDirectory directory;
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) ::_exit(fillAndRun(directory.path(".")));
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == cannotMount) GTEST_SKIP() << "this user may not mount anything";
  EXPECT_EQ(WEXITSTATUS(status), good);
}

}  // namespace
}  // namespace kelvo::test
