#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "tests/host/kelvo_process.h"

namespace kelvo::host {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

// Gone, or dead and waiting to be asked after.
bool isDead(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string text;
  std::getline(file, text);
  return !file || text.find(") Z") != std::string::npos;
}

TEST(Crash, FailsTheFileConcernedOnly) {
  const Workplace place;
  const std::string a = place.file("a");
  const std::string b = place.file("b", "crash");
  const std::string c = place.file("c");
  const std::string d = place.file("d", "exit");
  const std::string e = place.file("e");
  for (const char* jobs : {"1", "3"}) {
    const Finished finished = runKelvo({"invert", "--jobs", jobs, a, b, c, d, e});
    EXPECT_EQ(finished.status, 1);
    EXPECT_EQ(finished.output, a + "\n" + c + "\n" + e + "\n");
    EXPECT_THAT(finished.errors,
                HasSubstr(b + ": Error: the worker process crashed (signal 11)\n"));
    EXPECT_THAT(finished.errors,
                HasSubstr(d + ": Error: the worker process ended by itself (exit status 9)\n"));
    EXPECT_EQ(place.rewritings("b"), 0);
  }
}

TEST(Crash, LeavesNoProcessAndNoDescriptorBehind) {
  const Workplace place;
  std::vector<std::string> arguments = {"invert", "--jobs", "2"};
  for (int i = 0; i < 50; ++i) {
    arguments.push_back(place.file("f" + std::to_string(i), i % 2 == 0 ? "crash" : "exit"));
  }
  arguments.push_back(place.file("last", "wait"));
  KelvoProcess process(arguments);
  place.awaitBegun("last");
  // The other of the two may have ended over its file and not be buried yet, or be starting.
  const auto settled = [&process] {
    const std::vector<pid_t> children = process.children();
    return children.size() <= 2 && std::ranges::none_of(children, isDead) &&
           process.openDescriptors() == 3 + children.size();  // three streams, a channel each
  };
  for (int attempt = 0; attempt < 1000 && !settled(); ++attempt) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_TRUE(settled());
  place.letGo("last");
  const Finished finished = process.wait();
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.output, place.path("last") + "\n");
}

TEST(Crash, KeepsTheFilesOfTheSameGroupInOrder) {
  const Workplace place;
  const std::string a = place.file("a", "crash");
  const std::string b = place.file("b");
  const Finished finished = runKelvo({"invert", "--jobs", "2", a, a, b, a, b});
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.output, b + "\n" + b + "\n");
  EXPECT_EQ(place.rewritings("b"), 2);
}

TEST(Crash, WhileTheActionIsOpenedEndsTheRunWithOneLine) {
  const Workplace place;
  const std::string a = place.file("a");
  const std::string b = place.file("b");
  const std::string crash =
      place.workflow("crash.kelvo", {R"({"opening": "crash", "filterPopUp": 13})"});
  Finished finished = runKelvo({"run", "--jobs", "2", crash, a, b});
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.output, "");
  EXPECT_EQ(finished.errors,
            "kelvo: the action 'Kelvo Images' cannot be run: the worker process crashed (signal "
            "11)\n");
  const std::string exit =
      place.workflow("exit.kelvo", {R"({"opening": "exit", "filterPopUp": 13})"});
  finished = runKelvo({"run", exit, a, b});
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.errors,
            "kelvo: the action 'Kelvo Images' cannot be run: the worker process ended by itself "
            "(exit status 7)\n");
  EXPECT_EQ(place.rewritings("a"), 0);
}

TEST(Crash, OfTheLoaderIsToldInOneLine) {
  const Workplace place;
  const std::string a = place.file("a");
  const fs::path contents = place.path("b/Kelvo Images.action/Contents");
  fs::create_directories(contents / "Linux");
  std::ofstream(contents / "Info.json")
      << R"({"name": "K", "version": "1", "executable": "code", "principalClass": "P"})";
  StartOptions options;
  options.actions = place.path("b");
  const Finished finished = runKelvo({"invert", "--jobs", "2", a, place.file("b2")}, options);
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(std::count(finished.errors.begin(), finished.errors.end(), '\n'), 1);
  EXPECT_THAT(finished.errors, HasSubstr("kelvo: the action 'Kelvo Images' cannot be run: "));
  EXPECT_THAT(finished.errors, HasSubstr("code.so"));
}

TEST(Crash, OfTheHostEndsTheWorkers) {
  const Workplace place;
  const std::string a = place.file("a", "wait");
  KelvoProcess process({"invert", a});
  place.awaitBegun("a");
  const std::vector<pid_t> workers = process.children();
  ASSERT_EQ(workers.size(), 1U);
  process.signal(SIGKILL);
  EXPECT_EQ(process.wait().status, 128 + SIGKILL);
  while (!isDead(workers[0])) {
    std::this_thread::yield();
  }
  EXPECT_EQ(place.rewritings("a"), 0);
}

}  // namespace
}  // namespace kelvo::host
