// Every system call that the program makes on the files of a directory fails in turn, with every
// error that a file system gives; the file is the old or the new one, whole.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <string>
#include <vector>

#include "tests/faults/fault_environment.h"
#include "tests/faults/real_program.h"
#include "tests/image_io/replace/support.h"

namespace kelvo::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

struct Fault {
  const char* name;
  int code;  // 0: short writes
};

class FaultInjection : public ::testing::TestWithParam<std::tuple<Fault, const char*>> {
 protected:
  static std::string sample(const std::string& name) {
    return readFile(std::string(KELVO_SOURCE_DIR) + "/resources/samples/" + name);
  }
};

TEST_P(FaultInjection, LeavesTheOldOrTheNewFileWholeAndSaysWhich) {
  const auto [fault, format] = GetParam();
  const std::string name = format;
  const auto old = sample(name);
  std::string adjusted;
  std::set<std::string> reached;
  for (int call = -1;; ++call) {  // -1: none fails
    SCOPED_TRACE(call);
    ASSERT_LT(call, 500);
    const TemporaryDirectory directory;
    const std::string file = directory.path(name);
    writeFile(file, old);
    const ProgramRun run = runProgram({"invert", "--jobs", "1", file},
                                      failingCall(directory.path("."), call, fault.code));
    if (call < 0) {
      ASSERT_EQ(run.status, 0) << run.errors;
      adjusted = readFile(file);
      ASSERT_NE(adjusted, old);
      continue;
    }
    const auto begins = run.errors.find("fault: ");
    if (begins == std::string::npos) break;  // fewer calls than that
    const std::string what =
        run.errors.substr(begins + 7, run.errors.find('\n', begins) - begins - 7);
    SCOPED_TRACE(what);
    reached.insert(what);
    if (run.status == 0) {
      EXPECT_EQ(run.output, file + "\n");
      EXPECT_TRUE(readFile(file) == adjusted);
    } else {
      EXPECT_EQ(run.status, 1) << run.errors;
      EXPECT_EQ(run.output, "");
      EXPECT_THAT(run.errors, HasSubstr(file + ": Error: "));
      EXPECT_TRUE(readFile(file) == old);
    }
    if (fault.code == 0 || (fault.code == EINTR && what.starts_with("pwrite"))) {
      EXPECT_EQ(run.status, 0) << run.errors;
    }
    if (!what.starts_with("unlink")) {
      EXPECT_THAT(directory.names(), ElementsAre(name));
    }
    // Whatever is left, the next run clears it and succeeds.
    writeFile(file, old);
    const ProgramRun next = runProgram({"invert", file});
    EXPECT_EQ(next.status, 0) << next.errors;
    EXPECT_TRUE(readFile(file) == adjusted);
    EXPECT_THAT(directory.names(), ElementsAre(name));
  }
  if (fault.code == 0) {
    EXPECT_FALSE(reached.empty());
  } else {
    for (const char* expected : {"openat", "fsync", "flock", "linkat", "renameat"}) {
      EXPECT_TRUE(reached.contains(expected)) << expected;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Program, FaultInjection,
    ::testing::Combine(::testing::Values(Fault{"NoSpace", ENOSPC}, Fault{"InputOutputError", EIO},
                                         Fault{"QuotaExceeded", EDQUOT},
                                         Fault{"Interrupted", EINTR}, Fault{"NotPermitted", EACCES},
                                         Fault{"ReadOnly", EROFS}, Fault{"ShortWrite", 0}),
                       ::testing::Values("still-life.jpg", "poster.png", "two-pages.tif")),
    [](const auto& one) {
      std::string name = std::string(std::get<0>(one.param).name) + "_" + std::get<1>(one.param);
      std::ranges::replace_if(
          name, [](char c) { return c == '.' || c == '-'; }, '_');
      return name;
    });

}  // namespace
}  // namespace kelvo::test
