#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/landlock.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "tests/host/kelvo_process.h"

namespace kelvo::host {
namespace {

namespace fs = std::filesystem;

#ifdef __SANITIZE_ADDRESS__
constexpr bool kCallsAreConfined = false;  // the leak checker needs a process of its own
#else
constexpr bool kCallsAreConfined = true;
#endif

bool kernelConfinesFiles() {
  return ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION) >= 3;
}

// What the attack of the fake action in "inside/a" could do.
std::set<std::string> feats(const Workplace& place, const char* actions) {
  fs::create_directory(place.path("inside"));
  std::ofstream(place.path("victim")) << "untouched";
  const std::string a = place.file("inside/a", "attack");
  StartOptions options;
  options.actions = actions;
  const Finished finished = runKelvo({"invert", a}, options);
  EXPECT_EQ(finished.output, a + "\n") << finished.errors;
  std::istringstream text(place.read("inside/a"));
  std::string line;
  std::getline(text, line);
  std::getline(text, line);
  const auto opened = line.find("opened=1");
  EXPECT_NE(opened, std::string::npos) << line;
  std::istringstream words(line.substr(opened + 8));
  return {std::istream_iterator<std::string>(words), {}};
}

TEST(Confinement, LeavesAWorkerReadingThreadsAndTheDirectoriesOfItsFiles) {
  const Workplace place;
  const std::set<std::string> could = feats(place, KELVO_FAKE_ACTIONS);
  for (const char* needed : {"thread", "read", "write-here"}) {
    EXPECT_TRUE(could.contains(needed)) << needed;
  }
}

TEST(Confinement, RefusesChangesOutsideTheDirectoriesOfTheFiles) {
  if (!kernelConfinesFiles()) GTEST_SKIP() << "this kernel cannot confine writing";
  const Workplace place;
  const std::set<std::string> could = feats(place, KELVO_FAKE_ACTIONS);
  for (const char* refused : {"write-outside", "truncate-outside", "remove-outside", "link-outside",
                              "make-directory", "make-symlink"}) {
    EXPECT_FALSE(could.contains(refused)) << refused;
  }
  EXPECT_EQ(place.read("victim"), "untouched");
  EXPECT_FALSE(place.exists("outside"));
}

TEST(Confinement, RefusesSocketsProcessesAndSignals) {
  if (!kCallsAreConfined) GTEST_SKIP() << "not in force under the leak checker";
  const Workplace place;
  const std::set<std::string> could = feats(place, KELVO_FAKE_ACTIONS);
  for (const char* refused : {"network", "local-socket", "signal-host", "fork", "spawn"}) {
    EXPECT_FALSE(could.contains(refused)) << refused;
  }
}

TEST(Confinement, IsNotForAnActionWhoseBundleSaysThatItCannotDoWithIt) {
  const Workplace place;
  const std::set<std::string> could = feats(place, KELVO_FREE_ACTIONS);
  for (const char* done :
       {"write-outside", "truncate-outside", "remove-outside", "link-outside", "make-directory",
        "make-symlink", "network", "local-socket", "signal-host", "fork", "spawn"}) {
    EXPECT_TRUE(could.contains(done)) << done;
  }
}

TEST(Confinement, CoversTheDirectoryThatASymbolicLinkLeadsTo) {
  const Workplace place;
  fs::create_directory(place.path("real"));
  fs::create_directory(place.path("links"));
  place.file("real/a");
  fs::create_symlink(place.path("real/a"), place.path("links/b"));
  const Finished finished = runKelvo({"invert", place.path("links/b")});
  EXPECT_EQ(finished.status, 0) << finished.errors;
  EXPECT_EQ(place.rewritings("real/a"), 1);
}

TEST(Confinement, CoversEveryDirectoryOfTheRun) {
  const Workplace place;
  std::vector<std::string> arguments = {"invert", "--jobs", "1"};
  for (int i = 0; i < 30; ++i) {
    const std::string directory = "d" + std::to_string(i);
    fs::create_directory(place.path(directory));
    arguments.push_back(place.file(directory + "/a"));
  }
  EXPECT_EQ(runKelvo(arguments).status, 0);
}

}  // namespace
}  // namespace kelvo::host
