// Workers of which nothing is heard.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include "tests/host/kelvo_process.h"

namespace kelvo::host {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

TEST(Stall, EndsTheWorkerAndFailsItsFileOnly) {
  const Workplace place;
  const std::string a = place.file("a");
  const std::string b = place.file("b", "hang");
  const std::string c = place.file("c");
  for (const char* jobs : {"1", "2"}) {
    const Finished finished = runKelvo({"invert", "--max-seconds", "1", "--jobs", jobs, a, b, c});
    EXPECT_EQ(finished.status, 1);
    EXPECT_EQ(finished.output, a + "\n" + c + "\n");
    EXPECT_THAT(finished.errors,
                MatchesRegex(b + ": Error: the worker process made no progress for "
                                 "[0-9]+ seconds and was ended \\(--max-seconds\\)\n"));
    EXPECT_EQ(place.read("b"), "hang\n");
  }
}

TEST(Stall, IsNoticedOfAStoppedWorker) {
  const Workplace place;
  const std::string a = place.file("a", "wait");
  const std::string b = place.file("b");
  KelvoProcess process({"invert", "--max-seconds", "1", "--jobs", "1", a, b});
  place.awaitBegun("a");
  ASSERT_EQ(process.children().size(), 1U);
  ::kill(process.children().front(), SIGSTOP);
  const Finished finished = process.wait();
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.output, b + "\n");
  EXPECT_THAT(finished.errors, HasSubstr(a + ": Error: the worker process made no progress"));
  EXPECT_EQ(place.rewritings("a"), 0);
}

TEST(Stall, IsNotSlowness) {
  const Workplace place;
  const std::string a = place.file("a", "slow");
  EXPECT_EQ(runKelvo({"invert", "--max-seconds", "1", a}).output, a + "\n");
}

TEST(Stall, OfALargeFrameIsWaitedForLonger) {
  const Workplace place;
  const std::string a = place.file("a", "large");
  EXPECT_EQ(runKelvo({"invert", "--max-seconds", "1", a}).output, a + "\n");
}

TEST(Stall, WhileTheActionIsOpenedEndsTheRun) {
  const Workplace place;
  const std::string a = place.file("a");
  const std::string hang =
      place.workflow("hang.kelvo", {R"({"opening": "hang", "filterPopUp": 13})"});
  const Finished finished = runKelvo({"run", "--max-seconds", "1", hang, a});
  EXPECT_EQ(finished.status, 1);
  EXPECT_THAT(finished.errors, HasSubstr("kelvo: the action 'Kelvo Images' cannot be run: the "
                                         "worker process made no progress for "));
}

// Ctrl-Z and fg: the workers were stopped for as long as their host.
TEST(Stall, IsNotATimeInWhichAllWereStopped) {
  const Workplace place;
  const std::string a = place.file("a", "wait");
  KelvoProcess process({"invert", "--max-seconds", "3", a});
  place.awaitBegun("a");
  process.signal(SIGSTOP);
  ::sleep(5);
  process.signal(SIGCONT);
  place.letGo("a");
  EXPECT_EQ(process.wait().output, a + "\n");
}

}  // namespace
}  // namespace kelvo::host
