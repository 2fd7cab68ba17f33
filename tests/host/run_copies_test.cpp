#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "tests/host/kelvo_process.h"

namespace kelvo::host {
namespace {

namespace fs = std::filesystem;
using testing::UnorderedElementsAre;

std::vector<std::string> entries(const std::string& directory) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory)) {
    names.push_back(entry.path().filename());
  }
  return names;
}

class Copies : public testing::Test {
 protected:
  Workplace place_;
  const std::string out_ = place_.path("out");
};

TEST_F(Copies, AreAdjustedAndTheFilesLeftAlone) {
  const std::string a = place_.file("in/a");
  const std::string b = place_.file("in/b", "fail");
  const std::string c = place_.file("in/c", "crash");
  const Finished finished = runKelvo({"invert", "--output-dir", out_, a, b, c});
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.output, out_ + "/a\n");
  EXPECT_EQ(place_.rewritings("in/a"), 0);
  EXPECT_EQ(place_.rewritings("out/a"), 1);
  EXPECT_THAT(entries(out_), UnorderedElementsAre("a"));
  EXPECT_NE(finished.errors.find(b + ": Error: Cann't load this file, status problem"),
            std::string::npos);
  EXPECT_NE(finished.errors.find(c + ": Error: the worker process crashed (signal 11)"),
            std::string::npos);
}

TEST_F(Copies, GoThroughEveryActionOfAWorkflow) {
  const std::string a = place_.file("a");
  const std::string two = place_.workflow(
      "w.kelvo", {R"({"mark": "1", "filterPopUp": 13})", R"({"mark": "2", "filterPopUp": 13})"});
  EXPECT_EQ(runKelvo({"run", two, "--output-dir", out_, a}).output, out_ + "/a\n");
  EXPECT_EQ(place_.rewritings("a"), 0);
  EXPECT_EQ(place_.rewritings("out/a"), 2);
}

TEST_F(Copies, KeepTheModeEvenIfTheFileMayNotBeWritten) {
  const std::string a = place_.file("a");
  ASSERT_EQ(::chmod(a.c_str(), 0440), 0);
  EXPECT_EQ(runKelvo({"invert", "--output-dir", out_, a}).status, 0);
  EXPECT_EQ(fs::status(out_ + "/a").permissions(), fs::perms(0440));
}

TEST_F(Copies, OfAPreviewHaveTheNameThatIsAskedFor) {
  const std::string a = place_.file("a");
  const std::string out = place_.path("new name");
  const Finished finished = runKelvo({"preview", "invert", a, "-o", out});
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.output, out + "\n");
  EXPECT_EQ(place_.rewritings("a"), 0);
  EXPECT_EQ(place_.rewritings("new name"), 1);
}

TEST_F(Copies, OfAPreviewThatFailsAreNotMade) {
  const std::string a = place_.file("in/a", "fail");
  const std::string out = place_.path("in/out");
  EXPECT_EQ(runKelvo({"preview", "invert", a, "-o", out}).status, 1);
  EXPECT_THAT(entries(place_.path("in")), UnorderedElementsAre("a"));
}

TEST_F(Copies, AreRefusedIfTwoFilesHaveOneName) {
  const std::string a = place_.file("1/a");
  const std::string b = place_.file("2/a");
  const Finished finished = runKelvo({"invert", "--output-dir", out_, a, b});
  EXPECT_EQ(finished.status, 2);
  EXPECT_EQ(finished.errors,
            "kelvo: '" + a + "' and '" + b + "' would both become '" + out_ + "/a'\n");
  EXPECT_FALSE(place_.exists("out"));
}

TEST_F(Copies, AreRefusedIfANameIsTaken) {
  const std::string a = place_.file("a");
  place_.file("out/a", "mine");
  const Finished finished = runKelvo({"invert", "--output-dir", out_, a});
  EXPECT_EQ(finished.status, 2);
  EXPECT_EQ(finished.errors, "kelvo: '" + out_ + "/a' exists already\n");
  EXPECT_EQ(place_.read("out/a"), "mine\n");
}

TEST_F(Copies, AreRefusedIfTheDirectoryIsNone) {
  const std::string a = place_.file("a");
  place_.file("out");
  EXPECT_EQ(runKelvo({"invert", "--output-dir", out_, a}).errors,
            "kelvo: '" + out_ + "' is not a directory\n");
  EXPECT_EQ(runKelvo({"invert", "--output-dir", place_.path("none/out"), a}).errors,
            "kelvo: the directory '" + place_.path("none/out") +
                "' cannot be made: No such file or directory\n");
}

TEST_F(Copies, DoNotReplaceANameThatWasTakenMeanwhile) {
  const std::string a = place_.file("a", "wait");
  KelvoProcess process({"invert", "--output-dir", out_, a});
  while (!place_.exists("out")) {
  }
  // The copy waits in a directory of its own.
  std::string stage;
  while (stage.empty() || !fs::exists(stage + "/a.begun")) {
    for (const std::string& name : entries(out_)) {
      stage = out_ + "/" + name;
    }
  }
  place_.file("out/a", "mine");
  std::ofstream(stage + "/a.go") << "";
  const Finished finished = process.wait();
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.output, "");
  EXPECT_EQ(finished.errors,
            a + ": Error: Cann't finalize ('" + out_ + "/a' cannot be made: File exists)\n");
  EXPECT_EQ(place_.read("out/a"), "mine\n");
  EXPECT_THAT(entries(out_), UnorderedElementsAre("a"));
}

TEST_F(Copies, OfFilesThatCannotBeReadFailWithTheRunsText) {
  const Finished finished =
      runKelvo({"invert", "--output-dir", out_, place_.path("none"), place_.file("a")});
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.errors, place_.path("none") +
                                 ": Error: Cann't load this file, source problem (No such file or "
                                 "directory)\n");
  EXPECT_EQ(finished.output, out_ + "/a\n");
}

TEST_F(Copies, AreNotKeptInADryRun) {
  const Finished finished =
      runKelvo({"invert", "--dry-run", "--output-dir", out_, place_.file("a")});
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.output, out_ + "/a\n");
  EXPECT_FALSE(place_.exists("out"));
}

TEST_F(Copies, OfAKilledRunAreClearedByTheNext) {
  const std::string a = place_.file("a", "wait");
  {
    KelvoProcess process({"invert", "--output-dir", out_, a});
    while (!place_.exists("out") || entries(out_).empty() ||
           !fs::exists(out_ + "/" + entries(out_).front() + "/a.begun")) {
    }
    process.signal(SIGKILL);
    process.wait();
  }
  EXPECT_EQ(entries(out_).size(), 1U);
  EXPECT_EQ(runKelvo({"invert", "--output-dir", out_, place_.file("b")}).status, 0);
  EXPECT_THAT(entries(out_), UnorderedElementsAre("b"));
}

TEST_F(Copies, OfARunThatGoesOnAreLeftAlone) {
  const std::string a = place_.file("a", "wait");
  KelvoProcess process({"invert", "--output-dir", out_, a});
  while (!place_.exists("out") || entries(out_).empty() ||
         !fs::exists(out_ + "/" + entries(out_).front() + "/a.begun")) {
  }
  const std::string stage = out_ + "/" + entries(out_).front();
  EXPECT_EQ(runKelvo({"invert", "--output-dir", out_, place_.file("b")}).status, 0);
  std::ofstream(stage + "/a.go") << "";
  EXPECT_EQ(process.wait().status, 0);
  EXPECT_THAT(entries(out_), UnorderedElementsAre("a", "b"));
}

TEST(Backup, KeepsTheOldFile) {
  const Workplace place;
  const std::string a = place.file("a");
  EXPECT_EQ(runKelvo({"invert", "--backup", ".old", a}).status, 0);
  EXPECT_EQ(place.read("a.old"), "ok\n");
  EXPECT_EQ(place.rewritings("a"), 1);
}

TEST(Backup, IsMadeBeforeTheFirstActionOnly) {
  const Workplace place;
  const std::string a = place.file("a");
  const std::string two = place.workflow(
      "w.kelvo", {R"({"mark": "1", "filterPopUp": 13})", R"({"mark": "2", "filterPopUp": 13})"});
  EXPECT_EQ(runKelvo({"run", two, "--backup", ".old", a}).status, 0);
  EXPECT_EQ(place.read("a.old"), "ok\n");
  EXPECT_EQ(place.rewritings("a"), 2);
}

}  // namespace
}  // namespace kelvo::host
