#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>

#include "tests/host/kelvo_process.h"

namespace kelvo::host {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

// The processes that have rewritten a file of the fake action, in their order.
std::vector<std::string> processes(const std::string& text) {
  static const std::regex pattern("process=([0-9]+)");
  std::vector<std::string> found;
  for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match) {
    found.push_back((*match)[1]);
  }
  return found;
}

TEST(Order, OfTheResultIsThatOfTheInput) {
  const Workplace place;
  const std::string slow = place.file("slow", "wait");
  const std::string fast = place.file("fast");
  const std::string last = place.file("last", "wait");
  KelvoProcess process({"invert", "--jobs", "2", slow, fast, last});
  place.awaitBegun("slow");
  place.awaitBegun("last");  // so the fast one is done
  place.letGo("last");
  while (place.rewritings("last") == 0) {
  }
  place.letGo("slow");
  EXPECT_EQ(process.wait().output, slow + "\n" + fast + "\n" + last + "\n");
}

TEST(Order, LetsResultsOutAsSoonAsTheyAreKnown) {
  const Workplace place;
  const std::string first = place.file("first");
  const std::string slow = place.file("slow", "wait");
  KelvoProcess process({"invert", "--jobs", "1", first, slow});
  process.awaitOutput(first + "\n");
  place.letGo("slow");
  EXPECT_EQ(process.wait().output, first + "\n" + slow + "\n");
}

TEST(Jobs, WorkAtTheSameTime) {
  const Workplace place;
  const std::string a = place.file("a", "wait");
  const std::string b = place.file("b", "wait");
  const std::string c = place.file("c", "wait");
  KelvoProcess process({"invert", "--jobs", "3", a, b, c});
  for (const char* name : {"a", "b", "c"}) {
    place.awaitBegun(name);
  }
  EXPECT_EQ(process.children().size(), 3U);
  for (const char* name : {"a", "b", "c"}) {
    place.letGo(name);
  }
  EXPECT_EQ(process.wait().status, 0);
  const std::set<std::string> different = {processes(place.read("a")).at(0),
                                           processes(place.read("b")).at(0),
                                           processes(place.read("c")).at(0)};
  EXPECT_EQ(different.size(), 3U);
}

TEST(Jobs, AreNoMoreThanFiles) {
  const Workplace place;
  const std::string a = place.file("a", "wait");
  KelvoProcess process({"invert", "--jobs", "8", a});
  place.awaitBegun("a");
  EXPECT_EQ(process.children().size(), 1U);
  place.letGo("a");
  EXPECT_EQ(process.wait().status, 0);
}

TEST(Jobs, OpenTheActionOnceEach) {
  const Workplace place;
  std::vector<std::string> arguments = {"invert", "--jobs", "1"};
  for (const char* name : {"a", "b", "c"}) {
    arguments.push_back(place.file(name));
  }
  EXPECT_EQ(runKelvo(arguments).status, 0);
  for (const char* name : {"a", "b", "c"}) {
    EXPECT_THAT(place.read(name), HasSubstr("opened=1\n"));
  }
}

TEST(SameFile, ByAnyNameStaysInOneWorkerAndInOrder) {
  const Workplace place;
  const std::string a = place.file("a");
  fs::create_symlink("a", place.path("link"));
  fs::create_directories(place.path("sub"));
  const std::vector<std::string> names = {a, place.path("link"), place.path("sub/../a"), a};
  std::vector<std::string> arguments = {"invert", "--jobs", "4"};
  std::string expected;
  for (int round = 0; round < 10; ++round) {
    for (const std::string& name : names) {
      arguments.push_back(name);
      const std::string other = place.file("other" + std::to_string(arguments.size()));
      arguments.push_back(other);
      expected += name + "\n" + other + "\n";
    }
  }
  const Finished finished = runKelvo(arguments);
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.output, expected);
  EXPECT_EQ(place.rewritings("a"), 40);  // none was lost to another worker
  const std::vector<std::string> workers = processes(place.read("a"));
  EXPECT_EQ(std::set<std::string>(workers.begin(), workers.end()).size(), 1U);
  EXPECT_TRUE(fs::is_symlink(place.path("link")));
}

TEST(SameFile, IsKnownByItsHardLinks) {
  const Workplace place;
  const std::string a = place.file("a", "wait");
  fs::create_hard_link(a, place.path("b"));
  KelvoProcess process({"invert", "--jobs", "2", a, place.path("b")});
  place.awaitBegun("a");
  EXPECT_EQ(process.children().size(), 2U);
  place.letGo("b");
  EXPECT_FALSE(place.exists("b.begun"));
  place.letGo("a");
  EXPECT_EQ(process.wait().status, 0);
  EXPECT_EQ(processes(place.read("a")), processes(place.read("b")));
}

TEST(SameFile, KeepsTheBackupOfWhatWasThereBefore) {
  const Workplace place;
  const std::string a = place.file("a");
  fs::create_symlink("a", place.path("link"));
  const Finished finished = runKelvo({"invert", "--backup", ".old", a, place.path("link"), a});
  EXPECT_EQ(finished.status, 0) << finished.errors;
  EXPECT_EQ(place.rewritings("a"), 3);
  EXPECT_EQ(place.read("a.old"), "ok\n");
  EXPECT_FALSE(place.exists("link.old"));
}

}  // namespace
}  // namespace kelvo::host
