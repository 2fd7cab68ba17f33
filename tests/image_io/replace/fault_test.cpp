// Every system call of a replacement fails in turn; the file is the old or the new one, whole, and
// what is left beside it, if anything, is gone after the next run.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "tests/image_io/replace/plain_format.h"
#include "tests/image_io/replace/support.h"
#include "tests/support/failing_file_system.h"

namespace kelvo::test {
namespace {

using kelvo::testing::FailingFileSystem;
using ::testing::ElementsAre;

struct Case {
  const char* name;
  bool nameless;
  bool backup;
  bool debris;
};

class EveryFault : public ::testing::TestWithParam<Case> {};

TEST_P(EveryFault, LeavesTheOldOrTheNewFileWhole) {
  const auto [name, nameless, backup, debris] = GetParam();
  SCOPED_TRACE(name);
  const ReplaceOptions options = {.keepTimes = true, .backupSuffix = backup ? "~" : ""};
  int call = 0;
  int failures = 0;
  for (;; ++call) {
    SCOPED_TRACE(call);
    ASSERT_LT(call, 100);
    TemporaryDirectory directory;
    const std::string file = directory.path("photo");
    writeFile(file, plainFile('a'));
    if (debris) {
      // A run whose rename and clean-up both failed.
      class Stuck : public FileSystem {
       public:
        int renameat(int, const char*, const char*) override { return fail(); }
        int unlinkat(int, const char*) override { return fail(); }

       private:
        static int fail() {
          errno = EIO;
          return -1;
        }
      } stuck;
      ASSERT_FALSE(rewritePlain(file, 'x', {}, stuck));
      ASSERT_EQ(directory.names().size(), 2U);
    }
    FailingFileSystem failing(call, nameless);
    const auto result = rewritePlain(file, 'b', options, failing);
    EXPECT_EQ(readFile(file), plainFile(result ? 'b' : 'a'));
    if (!result) ++failures;
    const bool nothingLeft = result || !debris;
    if (nothingLeft) {
      if (result && backup) {
        EXPECT_THAT(directory.names(), ElementsAre("photo", "photo~"));
        EXPECT_EQ(readFile(file + "~"), plainFile('a'));
      } else {
        EXPECT_THAT(directory.names(), ElementsAre("photo"));
      }
    }
    if (result && backup) std::filesystem::remove(file + "~");
    ASSERT_TRUE(rewritePlain(file, 'c'));
    EXPECT_EQ(readFile(file), plainFile('c'));
    EXPECT_THAT(directory.names(), ElementsAre("photo"));
    if (!failing.failed()) break;
  }
  // Opening (3), locking, writing (2 or more), syncing, naming, renaming.
  EXPECT_GE(failures, 8);
}

class EveryFaultOfANewFile : public ::testing::TestWithParam<bool> {};

TEST_P(EveryFaultOfANewFile, LeavesNoFileOrAWholeOne) {
  int failures = 0;
  for (int call = 0;; ++call) {
    SCOPED_TRACE(call);
    ASSERT_LT(call, 100);
    TemporaryDirectory directory;
    const std::string file = directory.path("photo");
    FailingFileSystem failing(call, GetParam());
    const auto result = rewritePlain(file, 'b', {.create = true}, failing);
    if (result) {
      EXPECT_EQ(readFile(file), plainFile('b'));
      EXPECT_THAT(directory.names(), ElementsAre("photo"));
    } else {
      EXPECT_EQ(directory.names().count("photo"), 0U);
      ++failures;
    }
    ASSERT_TRUE(rewritePlain(file, 'c', {.create = true}));
    EXPECT_EQ(readFile(file), plainFile('c'));
    EXPECT_THAT(directory.names(), ElementsAre("photo"));
    if (!failing.failed()) break;
  }
  // Opening (2), locking, writing (2 or more), syncing, naming.
  EXPECT_GE(failures, 7);
}

INSTANTIATE_TEST_SUITE_P(Replace, EveryFaultOfANewFile, ::testing::Bool(), [](const auto& one) {
  return one.param ? "NamelessTemporary" : "NamedTemporary";
});

INSTANTIATE_TEST_SUITE_P(Replace, EveryFault,
                         ::testing::Values(Case{"NamelessTemporary", true, false, false},
                                           Case{"NamelessTemporaryWithBackup", true, true, false},
                                           Case{"NamelessTemporaryAfterDebris", true, false, true},
                                           Case{"NamedTemporary", false, false, false},
                                           Case{"NamedTemporaryWithBackupAfterDebris", false, true,
                                                true}),
                         [](const auto& one) { return std::string(one.param.name); });

}  // namespace
}  // namespace kelvo::test
