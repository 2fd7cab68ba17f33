#include "host/run/progress_bar.h"

#include <gtest/gtest.h>

namespace kelvo::host {
namespace {

TEST(ProgressBar, TellsFilesShareRatesAndTimeLeft) {
  // A quarter of the bytes in 10 s: 30 s are left.
  const ProgressState state{.doneFiles = 50,
                            .totalFiles = 100,
                            .doneBytes = 25'000'000,
                            .totalBytes = 100'000'000,
                            .seconds = 10};
  EXPECT_EQ(renderProgress(state, 100),
            "[=======                       ] 50/100 files  25%  5.0 files/s  2.5 MB/s  30s left");
}

TEST(ProgressBar, FitsTheTerminal) {
  const ProgressState state{.doneFiles = 50,
                            .totalFiles = 100,
                            .doneBytes = 25'000'000,
                            .totalBytes = 100'000'000,
                            .seconds = 10};
  EXPECT_EQ(renderProgress(state, 63),
            "[==        ] 50/100 files  25%  5.0 files/s  2.5 MB/s  30s left");
  EXPECT_EQ(renderProgress(state, 20), "50/100 files  25%  5");
}

TEST(ProgressBar, KnowsNeitherRateNorTimeAtTheStart) {
  EXPECT_EQ(renderProgress({.totalFiles = 4, .totalBytes = 10}, 40),
            "[" + std::string(40 - 3 - 13, ' ') + "] 0/4 files  0%");
}

TEST(ProgressBar, GoesByFilesWithoutBytes) {
  EXPECT_EQ(renderProgress({.doneFiles = 1, .totalFiles = 4, .seconds = 1}, 20).substr(0, 15),
            "1/4 files  25% ");
  EXPECT_EQ(renderProgress({}, 23), "[=====] 0/0 files  100%");
  EXPECT_EQ(renderProgress({}, 22), "0/0 files  100%");  // no room for a bar of five
}

TEST(ProgressBar, TellsWhichActionIsRunning) {
  EXPECT_EQ(renderProgress({.totalFiles = 1, .totalBytes = 1, .step = 2, .steps = 3}, 30),
            "action 2/3  0/1 files  0%");
}

TEST(ProgressBar, WritesTimesShort) {
  EXPECT_EQ(durationText(0), "0s");
  EXPECT_EQ(durationText(41.2), "42s");
  EXPECT_EQ(durationText(185), "3m05s");
  EXPECT_EQ(durationText(7625), "2h07m");
  EXPECT_EQ(durationText(1e30), "99h59m");
  EXPECT_EQ(durationText(-1), "0s");
}

}  // namespace
}  // namespace kelvo::host
