// Two programs on one file at the same time: each either does all its work or says that it did not.
#include <gtest/gtest.h>

#include <future>
#include <string>

#include "tests/faults/real_program.h"
#include "tests/image_io/replace/support.h"

namespace kelvo::test {
namespace {

TEST(SameFile, TwoProgramsAtOnceLeaveAsManyWholeAdjustmentsAsTheySay) {
  const TemporaryDirectory directory;
  const std::string file = directory.path("photo.png");
  // Inverting a lossless file twice gives its pixels back; its bytes settle after the first time.
  writeFile(file, readFile(std::string(KELVO_SOURCE_DIR) + "/resources/samples/harbour.png"));
  ASSERT_EQ(runProgram({"invert", file}).status, 0);
  std::string versions[2];
  versions[1] = readFile(file);
  ASSERT_EQ(runProgram({"invert", file}).status, 0);
  versions[0] = readFile(file);
  ASSERT_NE(versions[0], versions[1]);

  int adjustments = 0;
  int refusals = 0;
  for (int round = 0; round < 30; ++round) {
    const auto one = [&] { return runProgram({"invert", file}); };
    auto other = std::async(std::launch::async, one);
    for (const ProgramRun& run : {one(), other.get()}) {
      if (run.status == 0) {
        ++adjustments;
      } else {
        ++refusals;
        EXPECT_NE(run.errors.find(file + ": Error: "), std::string::npos) << run.errors;
      }
    }
    ASSERT_EQ(readFile(file), versions[adjustments % 2]) << round;
    ASSERT_EQ(directory.names(), std::set<std::string>{"photo.png"});
  }
  EXPECT_GE(adjustments, 30);  // one of the two always gets through
  RecordProperty("refusals", refusals);
}

}  // namespace
}  // namespace kelvo::test
