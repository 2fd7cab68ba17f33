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

#include <csignal>
#include <filesystem>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "platform/image_io/file_descriptor.h"
#include "tests/faults/files_fixture.h"

namespace kelvo::test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class Permissions : public Files {};

TEST_F(Permissions, ThatForbidWritingTheFileAreObeyed) {
  const std::string file = make("a.jpg");
  give(directory_.path(""));
  ASSERT_EQ(::chmod(file.c_str(), 0444), 0);
  give(file);
  const ProgramRun run = runUnprivileged({"invert", file});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.errors, file +
                            ": Error: Cann't finalize (the file may not be written: permission "
                            "denied)\n");
  expectUntouched(file);
}

TEST_F(Permissions, ThatForbidReadingTheFileAreTold) {
  const std::string file = make("a.jpg");
  ASSERT_EQ(::chmod(directory_.path("").c_str(), 0777), 0);
  ASSERT_EQ(::chmod(file.c_str(), 0222), 0);
  give(file);
  const ProgramRun run = runUnprivileged({"invert", file});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.errors, file +
                            ": Error: Cann't load this file, source problem (the file could not "
                            "be opened: permission denied)\n");
}

TEST_F(Permissions, OfADirectoryThatMayNotBeListedDoNotMatter) {
  const std::string file = make("d/a.jpg");
  ASSERT_EQ(::chmod(directory_.path("").c_str(), 0755), 0);
  give(file);
  give(directory_.path("d"));
  ASSERT_EQ(::chmod(directory_.path("d").c_str(), 0333), 0);
  const ProgramRun run = runUnprivileged({"invert", file});
  ASSERT_EQ(::chmod(directory_.path("d").c_str(), 0755), 0);
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.errors, "");
  expectAdjusted(file);
}

TEST_F(Permissions, OfADirectoryThatMayNotBeChangedAreTold) {
  const std::string file = make("d/a.jpg");
  ASSERT_EQ(::chmod(directory_.path("").c_str(), 0755), 0);
  give(file);
  give(directory_.path("d"));
  ASSERT_EQ(::chmod(directory_.path("d").c_str(), 0555), 0);
  const ProgramRun run = runUnprivileged({"invert", file});
  ASSERT_EQ(::chmod(directory_.path("d").c_str(), 0755), 0);
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.errors, file +
                            ": Error: Cann't finalize (the temporary file could not be created: "
                            "permission denied)\n");
  expectUntouched(file);
}

// In a directory like /tmp, everybody may write a file of mode 666 but only its owner replace it.
TEST_F(Permissions, OfASharedDirectoryKeepOthersFromReplacing) {
  if (::geteuid() != 0) GTEST_SKIP() << "only the superuser can make a file of another user";
  const std::string file = make("d/a.jpg");
  ASSERT_EQ(::chmod(directory_.path("").c_str(), 0755), 0);
  ASSERT_EQ(::chmod(file.c_str(), 0666), 0);
  ASSERT_EQ(::chmod(directory_.path("d").c_str(), 01777), 0);
  const ProgramRun run = runUnprivileged({"invert", file});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.errors, file +
                            ": Error: Cann't finalize (the new file could not take the old one's "
                            "place: operation not permitted)\n");
  expectUntouched(file);
  EXPECT_EQ(std::distance(fs::directory_iterator(directory_.path("d")), {}), 1);
}

TEST_F(Permissions, OfAnotherOwnersFileGoToTheNewOneAsFarAsTheyCan) {
  if (::geteuid() != 0) GTEST_SKIP() << "only the superuser can make a file of another user";
  const std::string file = make("d/a.jpg");
  ASSERT_EQ(::chmod(directory_.path("").c_str(), 0755), 0);
  ASSERT_EQ(::chown(file.c_str(), 1234, 1235), 0);
  ASSERT_EQ(::chmod(file.c_str(), 06666), 0);
  give(directory_.path("d"));
  const ProgramRun run = runUnprivileged({"invert", file});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.errors,
              HasSubstr("Warning: the owner could not be kept: operation not permitted"));
  EXPECT_THAT(run.errors,
              HasSubstr("Warning: the group could not be kept: operation not permitted"));
  expectAdjusted(file);
  struct stat status = {};
  ASSERT_EQ(::stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, kNobody);
  EXPECT_EQ(status.st_mode & 07777U, 0666U) << "the new owner must not lend his rights";
}

TEST_F(Permissions, AndCapabilitiesStayForTheSuperuser) {
  if (::geteuid() != 0) GTEST_SKIP() << "only the superuser can do that";
  const std::string file = make("a.jpg");
  ASSERT_EQ(::chown(file.c_str(), 1234, 1235), 0);
  ASSERT_EQ(::chmod(file.c_str(), 06755), 0);
  // cap_net_raw, as setcap writes it: version 2, effective, permitted bit 13.
  const std::string capability("\x01\0\0\x02\0\x20\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 20);
  const bool capable =
      ::setxattr(file.c_str(), "security.capability", capability.data(), capability.size(), 0) == 0;
  const ProgramRun run = runProgram({"invert", file});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.errors, "");
  expectAdjusted(file);
  struct stat status = {};
  ASSERT_EQ(::stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 1234U);
  EXPECT_EQ(status.st_gid, 1235U);
  EXPECT_EQ(status.st_mode & 07777U, 06755U);
  if (capable) {
    std::string kept(capability.size(), '\0');
    EXPECT_EQ(::getxattr(file.c_str(), "security.capability", kept.data(), kept.size()), 20);
    EXPECT_EQ(kept, capability);
  }
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
      EXPECT_EQ(names.size(), files.size());
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
