#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/host/kelvo_process.h"

namespace kelvo::host {
namespace {

using testing::HasSubstr;

class Interrupt : public testing::Test {
 protected:
  Workplace place_;
};

class InterruptBy : public Interrupt, public testing::WithParamInterface<int> {};

TEST_P(InterruptBy, FinishesWhatIsBeingWorkedOnAndBeginsNothingElse) {
  const std::string a = place_.file("a");
  const std::string b = place_.file("b", "wait");
  const std::string c = place_.file("c", "wait");
  const std::string d = place_.file("d");
  KelvoProcess process({"invert", "--jobs", "2", a, b, c, d});
  place_.awaitBegun("b");
  place_.awaitBegun("c");
  process.signal(GetParam());
  process.awaitErrors("interrupted; finishing the files being worked on (2)");
  place_.letGo("c");
  place_.letGo("b");
  const Finished finished = process.wait();
  EXPECT_EQ(finished.status, 130);
  EXPECT_EQ(finished.output, a + "\n" + b + "\n" + c + "\n");
  EXPECT_EQ(place_.rewritings("d"), 0);
}

INSTANTIATE_TEST_SUITE_P(Signals, InterruptBy, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_F(Interrupt, DoesNotReachTheWorkersThroughTheTerminal) {
  const std::string a = place_.file("a", "wait");
  KelvoProcess process({"invert", a});
  place_.awaitBegun("a");
  // A terminal signals the whole process group.
  for (const pid_t worker : process.children()) {
    ::kill(worker, SIGINT);
  }
  process.signal(SIGINT);
  process.awaitErrors("interrupted");
  place_.letGo("a");
  const Finished finished = process.wait();
  EXPECT_EQ(finished.status, 130);
  EXPECT_EQ(finished.output, a + "\n");
}

TEST_F(Interrupt, StopsAtOnceTheSecondTimeAndLeavesTheFilesWhole) {
  const std::string a = place_.file("a");
  const std::string b = place_.file("b", "wait");
  const std::string c = place_.file("c", "wait");
  KelvoProcess process({"invert", "--jobs", "2", a, b, c});
  place_.awaitBegun("b");
  place_.awaitBegun("c");
  process.signal(SIGINT);
  process.awaitErrors("interrupted");
  process.signal(SIGINT);
  const Finished finished = process.wait();
  EXPECT_EQ(finished.status, 130);
  EXPECT_EQ(finished.output, a + "\n");
  EXPECT_EQ(place_.rewritings("b"), 0);
  EXPECT_EQ(place_.rewritings("c"), 0);
}

TEST_F(Interrupt, TellsInEveryRecordWhatWasNotRun) {
  const std::string a = place_.file("a", "wait");
  const std::string b = place_.file("b");
  KelvoProcess process({"invert", "--json", "--jobs", "1", a, b});
  place_.awaitBegun("a");
  process.signal(SIGINT);
  process.awaitErrors("interrupted");
  place_.letGo("a");
  const Finished finished = process.wait();
  EXPECT_EQ(finished.status, 130);
  EXPECT_THAT(finished.output, HasSubstr(R"("result":"rewritten")"));
  EXPECT_THAT(finished.output, HasSubstr(R"("result":"not run")"));
}

TEST_F(Interrupt, NamesFilesThatWereLeftHalfwayThroughAWorkflow) {
  const std::string a = place_.file("a");
  const std::string b = place_.file("b", "wait");
  const std::string two = place_.workflow(
      "w.kelvo", {R"({"mark": "1", "filterPopUp": 13})", R"({"mark": "2", "filterPopUp": 13})"});
  KelvoProcess process({"run", two, "--jobs", "1", a, b});
  place_.awaitBegun("b");
  process.signal(SIGINT);
  process.awaitErrors("interrupted");
  place_.letGo("b");
  const Finished finished = process.wait();
  EXPECT_EQ(finished.status, 130);
  EXPECT_EQ(finished.output, "");
  EXPECT_THAT(finished.errors, HasSubstr(a + ": Warning: 1 of 2 actions have rewritten the file"));
  EXPECT_THAT(finished.errors, HasSubstr(b + ": Warning: 1 of 2 actions have rewritten the file"));
}

}  // namespace
}  // namespace kelvo::host
