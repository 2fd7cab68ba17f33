// A process that rewrites files is killed at random instants.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <random>

#include "tests/image_io/replace/plain_format.h"
#include "tests/image_io/replace/support.h"

namespace kelvo::test {
namespace {

using ::testing::ElementsAre;

class NamedTemporaries final : public FileSystem {
 public:
  int openat(int at, const char* name, int flags, mode_t mode) override {
    if ((flags & O_TMPFILE) == O_TMPFILE) {
      errno = EOPNOTSUPP;
      return -1;
    }
    return FileSystem::openat(at, name, flags, mode);
  }
};

[[noreturn]] void rewriteForever(const std::vector<std::string>& files, FileSystem& fileSystem) {
  for (char letter = 'a';; letter = letter == 'z' ? 'a' : static_cast<char>(letter + 1)) {
    for (const std::string& file : files) {
      if (!rewritePlain(file, letter, {}, fileSystem)) ::_exit(1);
    }
  }
}

// `debris` gets how many kills left a temporary file behind.
void killAtRandomInstants(FileSystem& fileSystem, unsigned seed, int& debris) {
  constexpr int kKills = 200;
  TemporaryDirectory directory;
  const std::vector<std::string> files = {directory.path("one"), directory.path("two"),
                                          directory.path("three")};
  for (const std::string& file : files) writeFile(file, plainFile('a'));
  std::mt19937 random(seed);
  debris = 0;
  for (int i = 0; i < kKills; ++i) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) rewriteForever(files, fileSystem);
    ::usleep(static_cast<useconds_t>(random() % 15'000));
    ASSERT_EQ(::kill(child, SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status)) << "the child gave up by itself";
    for (const std::string& file : files) {
      const std::string contents = readFile(file);
      ASSERT_GT(contents.size(), 6U);
      ASSERT_EQ(contents, plainFile(contents[6])) << file;
    }
    if (directory.names().size() > files.size()) ++debris;
  }
  for (const std::string& file : files) ASSERT_TRUE(rewritePlain(file, 'z', {}, fileSystem));
  EXPECT_THAT(directory.names(), ElementsAre("one", "three", "two"));
}

TEST(Kill, LeavesWholeFilesAndNoDebrisAfterTheNextRun) {
  int debris = 0;
  killAtRandomInstants(realFileSystem(), 1, debris);
}

TEST(Kill, LeavesWholeFilesAndNoDebrisWhereTemporariesMustHaveNames) {
  NamedTemporaries named;
  int debris = 0;
  killAtRandomInstants(named, 2, debris);
  EXPECT_GT(debris, 0) << "the clearing was not tested";
}

}  // namespace
}  // namespace kelvo::test
