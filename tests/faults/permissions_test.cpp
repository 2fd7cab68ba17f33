// Permissions, limits on the size of files and signals, through the whole program.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <algorithm>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "platform/image_io/file_descriptor.h"
#include "tests/faults/fault_environment.h"
#include "tests/faults/files_fixture.h"

namespace kelvo::test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

class Permissions : public Files {
 protected:
  // A photograph in a directory of its own, which everybody finds.
  std::string makeForAll() const {
    std::string file = make("d/a.jpg");
    EXPECT_EQ(::chmod(directory_.path("").c_str(), 0755), 0);
    return file;
  }
  // Adjusts it as its owner and that of the directory, while that has this mode.
  ProgramRun invertUnder(mode_t mode, const std::string& file) const {
    const std::string directory = directory_.path("d");
    give(file);
    give(directory);
    EXPECT_EQ(::chmod(directory.c_str(), mode), 0);
    ProgramRun run = runUnprivileged({"invert", file});
    EXPECT_EQ(::chmod(directory.c_str(), 0755), 0);
    return run;
  }
  static void expectRefused(const ProgramRun& run, const std::string& file,
                            const std::string& reason) {
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, file + ": Error: Cann't " + reason + "\n");
  }
  static struct stat statusOf(const std::string& file) {
    struct stat status = {};
    EXPECT_EQ(::stat(file.c_str(), &status), 0);
    return status;
  }
};

// For what only the superuser can set up.
class PermissionsOfOthers : public Permissions {
 protected:
  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "only the superuser can make a file of another user";
  }
  static void giveToAnother(const std::string& file, mode_t mode) {
    EXPECT_EQ(::chown(file.c_str(), 1234, 1235), 0);
    EXPECT_EQ(::chmod(file.c_str(), mode), 0);
  }
};

TEST_F(Permissions, ThatForbidWritingTheFileAreObeyed) {
  const std::string file = make("a.jpg");
  give(directory_.path(""));
  ASSERT_EQ(::chmod(file.c_str(), 0444), 0);
  give(file);
  expectRefused(runUnprivileged({"invert", file}), file,
                "finalize (the file may not be written: permission denied)");
  expectUntouched(file);
}

TEST_F(Permissions, ThatForbidReadingTheFileAreTold) {
  const std::string file = make("a.jpg");
  ASSERT_EQ(::chmod(directory_.path("").c_str(), 0777), 0);
  ASSERT_EQ(::chmod(file.c_str(), 0222), 0);
  give(file);
  expectRefused(runUnprivileged({"invert", file}), file,
                "load this file, source problem (the file could not be opened: permission denied)");
}

TEST_F(Permissions, OfADirectoryThatMayNotBeListedDoNotMatter) {
  const std::string file = makeForAll();
  const ProgramRun run = invertUnder(0333, file);
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.errors, "");
  expectAdjusted(file);
}

TEST_F(Permissions, OfADirectoryThatMayNotBeChangedAreTold) {
  const std::string file = makeForAll();
  expectRefused(invertUnder(0555, file), file,
                "finalize (the temporary file could not be created: permission denied)");
  expectUntouched(file);
}

// In a directory like /tmp, everybody may write a file of mode 666 but only its owner replace it.
TEST_F(PermissionsOfOthers, OfASharedDirectoryKeepOthersFromReplacing) {
  const std::string file = makeForAll();
  ASSERT_EQ(::chmod(file.c_str(), 0666), 0);
  ASSERT_EQ(::chmod(directory_.path("d").c_str(), 01777), 0);
  expectRefused(runUnprivileged({"invert", file}), file,
                "finalize (the new file could not take the old one's place: operation not "
                "permitted)");
  expectUntouched(file);
  EXPECT_EQ(std::distance(fs::directory_iterator(directory_.path("d")), {}), 1);
}

TEST_F(PermissionsOfOthers, GoToTheNewFileAsFarAsTheyCan) {
  const std::string file = makeForAll();
  giveToAnother(file, 06666);
  give(directory_.path("d"));
  const ProgramRun run = runUnprivileged({"invert", file});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.errors,
              HasSubstr("Warning: the owner could not be kept: operation not permitted"));
  EXPECT_THAT(run.errors,
              HasSubstr("Warning: the group could not be kept: operation not permitted"));
  expectAdjusted(file);
  const struct stat status = statusOf(file);
  EXPECT_EQ(status.st_uid, kNobody);
  EXPECT_EQ(status.st_mode & 07777U, 0666U) << "the new owner must not lend his rights";
}

TEST_F(PermissionsOfOthers, AndCapabilitiesStayForTheSuperuser) {
  const std::string file = make("a.jpg");
  giveToAnother(file, 06755);
  // cap_net_raw, as setcap writes it: version 2, effective, permitted bit 13.
  const std::string capability("\x01\0\0\x02\0\x20\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 20);
  const bool capable =
      ::setxattr(file.c_str(), "security.capability", capability.data(), capability.size(), 0) == 0;
  const ProgramRun run = runProgram({"invert", file});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.errors, "");
  expectAdjusted(file);
  const struct stat status = statusOf(file);
  EXPECT_EQ(status.st_uid, 1234U);
  EXPECT_EQ(status.st_gid, 1235U);
  EXPECT_EQ(status.st_mode & 07777U, 06755U);
  if (capable) {
    std::string kept(capability.size(), '\0');
    EXPECT_EQ(::getxattr(file.c_str(), "security.capability", kept.data(), kept.size()), 20);
    EXPECT_EQ(kept, capability);
  }
}

// More than a file system takes that keeps attributes in a block.
constexpr std::size_t kLargeAttribute = 60'000;

TEST_F(Permissions, AndAttributesThatACopyCannotTakeAreTold) {
  std::string roomy = "/dev/shm/kelvo-test-XXXXXX";
  if (::mkdtemp(roomy.data()) == nullptr) GTEST_SKIP() << "there is no file system in memory";
  const std::unique_ptr<std::string, void (*)(std::string*)> removed(
      &roomy, [](std::string* path) { fs::remove_all(*path); });
  const std::string file = roomy + "/a.jpg";
  writeFile(file, old_);
  const std::string large(kLargeAttribute, 'x');
  const auto set = [&](const std::string& path, const char* name, const std::string& value) {
    return ::setxattr(path.c_str(), name, value.data(), value.size(), 0) == 0;
  };
  if (!set(file, "user.large", large)) GTEST_SKIP() << "there is no place for large attributes";
  if (set(make("other.jpg"), "user.large", large)) {
    GTEST_SKIP() << "there is a place for large attributes everywhere";
  }
  ASSERT_TRUE(set(file, "user.small", "y"));
  fs::create_directory(directory_.path("out"));
  const ProgramRun run = runProgram({"invert", "--output-dir", directory_.path("out"), file});
  EXPECT_EQ(run.status, 0);
  const std::string copy = directory_.path("out/a.jpg");
  EXPECT_EQ(run.output, copy + "\n");
  EXPECT_THAT(run.errors,
              MatchesRegex(file + ": Warning: the attribute user.large could not be kept: .*\n"));
  expectAdjusted(copy);
  expectUntouched(file);
  EXPECT_EQ(::getxattr(copy.c_str(), "user.small", nullptr, 0), 1);
  EXPECT_EQ(::getxattr(file.c_str(), "user.large", nullptr, 0), ssize_t{kLargeAttribute});
}

// The disk may be too full for it, or a limit reached.
TEST_F(Permissions, AndAttributesThatTheNewFileCannotTakeAreTold) {
  const std::string file = make("a.jpg");
  if (::setxattr(file.c_str(), "user.note", "kept", 4, 0) != 0) {
    GTEST_SKIP() << "the file system has no attributes";
  }
  for (int call = 0; call < 500; ++call) {
    const ProgramRun run = runProgram({"invert", "--jobs", "1", file},
                                      failingCall(directory_.path("."), call, ENOSPC));
    if (run.errors.find("fault: fsetxattr") == std::string::npos) {
      writeFile(file, old_);
      if (::getxattr(file.c_str(), "user.note", nullptr, 0) != 4) {
        ASSERT_EQ(::setxattr(file.c_str(), "user.note", "kept", 4, 0), 0);
      }
      continue;
    }
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, file + "\n");
    EXPECT_THAT(run.errors, HasSubstr(file + ": Warning: the attribute user.note could not be "
                                             "kept: "));
    expectAdjusted(file);
    return;
  }
  FAIL() << "no attribute was set";
}

// Flags that chattr sets.
bool setFlag(const std::string& path, int flag, bool on) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  int flags = 0;
  if (::ioctl(file.get(), FS_IOC_GETFLAGS, &flags) != 0) return false;
  flags = on ? flags | flag : flags & ~flag;
  return ::ioctl(file.get(), FS_IOC_SETFLAGS, &flags) == 0;
}

TEST_F(Permissions, ThatEvenTheSuperuserHasToObeyAreTold) {
  for (const int flag : {FS_IMMUTABLE_FL, FS_APPEND_FL}) {
    const std::string file = make("a.jpg");
    if (!setFlag(file, flag, true)) GTEST_SKIP() << "this file system or user has no such flags";
    const ProgramRun run = runProgram({"invert", file});
    EXPECT_TRUE(setFlag(file, flag, false));
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr(file + ": Error: Cann't finalize ("));
    EXPECT_THAT(run.errors, HasSubstr(": operation not permitted)\n"));
    expectUntouched(file);
    EXPECT_THAT(directory_.names(), ElementsAre("a.jpg"));
  }
}

TEST_F(Files, WithHolesAreAdjustedLikeOthers) {
  const std::string file = directory_.path("holes.bmp");
  // 200 x 400 pixels of 24 bits, of which only the head is on the disk: all black.
  std::string head("BM\0\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0\xc8\0\0\0\x90\x01\0\0\x01\0\x18\0", 30);
  head.resize(54);
  writeFile(file, head);
  fs::resize_file(file, 54 + 200 * 400 * 3);
  const ProgramRun run = runProgram({"invert", file});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_TRUE(readFile(file) == head + std::string(200 * 400 * 3, '\xff'));
}

TEST_F(Files, ThatMayNotGrowSoLargeAreLeftAsTheyWere) {
  const std::string a = make("a.jpg");
  const ProgramRun run = runProgram({"invert", a}, {}, [] {
    const rlimit small = {8192, 8192};
    ::setrlimit(RLIMIT_FSIZE, &small);
  });
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.errors, a + ": Error: Cann't finalize (the new file could not be written: file too "
                            "large)\n");
  expectUntouched(a);
}

TEST_F(Files, AreAllAdjustedThoughTheResultCannotBeTold) {
  std::vector<std::string> arguments = {"invert"};
  for (int i = 0; i < 20; ++i) arguments.push_back(make(std::to_string(i) + ".jpg"));
  // Standard output is a file that may not grow.
  const std::string list = directory_.path("list");
  const ProgramRun run = runProgram(arguments, {}, [&] {
    const int output = ::open(list.c_str(), O_CREAT | O_WRONLY | O_APPEND, 0666);
    ::dup2(output, STDOUT_FILENO);
    const std::string full(60'000, '\n');
    if (::write(output, full.data(), full.size()) != 60'000) ::_exit(125);
    const rlimit small = {60'000, 60'000};
    ::setrlimit(RLIMIT_FSIZE, &small);
  });
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.errors, "kelvo: standard output cannot be written: File too large\n");
  for (std::size_t i = 1; i < arguments.size(); ++i) expectAdjusted(arguments[i]);
}

TEST_F(Files, AreWholeWheneverASignalComes) {
  std::mt19937 random(7);
  std::vector<std::string> arguments = {"invert", "--jobs", "2"};
  std::vector<std::string> files;
  for (int i = 0; i < 40; ++i) files.push_back(directory_.path(std::to_string(i) + ".jpg"));
  arguments.insert(arguments.end(), files.begin(), files.end());
  int interrupted = 0;
  for (int round = 0; round < 24; ++round) {
    const int signal = std::vector{SIGINT, SIGTERM, SIGHUP, SIGKILL}[round % 4];
    SCOPED_TRACE(signal);
    for (const std::string& file : files) writeFile(file, old_);
    // A round that was killed may have left a file behind, until that picture's turn comes again.
    const std::set<std::string> before = directory_.names();
    const ProgramRun run = runAndSignal(arguments, signal, random() % 300'000);
    const std::set<std::string> names = directory_.names();
    std::string rewritten;
    for (const std::string& file : files) {
      const std::string now = readFile(file);
      EXPECT_TRUE(now == old_ || now == adjusted_) << file;
      if (now == adjusted_) rewritten += file + "\n";
    }
    // A program that is asked to stop says what it has done; one that is killed cannot.
    if (run.status == 130 || run.status == 0) {
      EXPECT_EQ(run.output, rewritten);
      EXPECT_TRUE(std::ranges::includes(before, names));
    }
    interrupted += run.status != 0 ? 1 : 0;
  }
  EXPECT_GT(interrupted, 5);
  for (const std::string& file : files) writeFile(file, old_);
  EXPECT_EQ(runProgram(arguments).status, 0);
  EXPECT_EQ(directory_.names().size(), files.size());
}

}  // namespace
}  // namespace kelvo::test
