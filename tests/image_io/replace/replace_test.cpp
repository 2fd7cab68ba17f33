#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <functional>
#include <utility>

#include "platform/image_io/file_descriptor.h"
#include "platform/image_io/file_destination.h"
#include "platform/image_io/mapped_file.h"
#include "tests/image_io/replace/plain_format.h"
#include "tests/image_io/replace/support.h"

namespace kelvo::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class Replace : public ::testing::Test {
 protected:
  Replace() { writeFile(file_, plainFile('a')); }

  // That the file is as it was and nothing lies beside it.
  void expectUntouched() const {
    EXPECT_EQ(readFile(file_), plainFile('a'));
    EXPECT_THAT(directory_.names(), ElementsAre("photo"));
  }
  [[nodiscard]] struct stat status() const {
    struct stat result = {};
    EXPECT_EQ(::stat(file_.c_str(), &result), 0);
    return result;
  }

  TemporaryDirectory directory_;
  std::string file_ = directory_.path("photo");
};

TEST_F(Replace, RewritesTheFileAndLeavesNothingBesideIt) {
  ASSERT_TRUE(rewritePlain(file_, 'b'));
  EXPECT_EQ(readFile(file_), plainFile('b'));
  EXPECT_THAT(directory_.names(), ElementsAre("photo"));
}

TEST_F(Replace, ADestinationThatIsDroppedChangesNothing) {
  {
    auto destination =
        CGImageDestinationCreateWithURL(NSURL::fileURLWithPath(file_), "public.jpeg", 1);
    ASSERT_TRUE(destination);
    EXPECT_EQ(directory_.names().count("photo"), 1U);
  }
  expectUntouched();
}

TEST_F(Replace, FinalizingWithoutAllFramesIsAnError) {
  auto destination =
      CGImageDestinationCreateWithURL(NSURL::fileURLWithPath(file_), "public.jpeg", 1);
  ASSERT_TRUE(destination);
  const auto finalized = CGImageDestinationFinalize(**destination);
  ASSERT_FALSE(finalized);
  EXPECT_EQ(finalized.error().message, "there are fewer frames than were announced");
  expectUntouched();
}

TEST_F(Replace, TypesThatAreNeverWrittenAreRefused) {
  const auto destination = CGImageDestinationCreateWithURL(NSURL::fileURLWithPath(file_),
                                                           "com.adobe.photoshop-image", 1);
  ASSERT_FALSE(destination);
  EXPECT_EQ(destination.error().message, "Photoshop files are never written");
}

TEST_F(Replace, ASymbolicLinkStaysALinkAndItsTargetIsRewritten) {
  const std::string link = directory_.path("link");
  ASSERT_EQ(::symlink("photo", link.c_str()), 0);
  ASSERT_TRUE(rewritePlain(link, 'b'));
  EXPECT_EQ(readFile(file_), plainFile('b'));
  struct stat found = {};
  ASSERT_EQ(::lstat(link.c_str(), &found), 0);
  EXPECT_TRUE(S_ISLNK(found.st_mode));
}

TEST_F(Replace, AFileWithTwoHardLinksIsRefusedUnlessTheyMayBeParted) {
  const std::string other = directory_.path("other");
  ASSERT_EQ(::link(file_.c_str(), other.c_str()), 0);
  const auto refused = rewritePlain(file_, 'b');
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().message,
            "the file has 2 hard links; replacing it would part them (--break-links allows it)");
  EXPECT_EQ(readFile(file_), plainFile('a'));

  ASSERT_TRUE(rewritePlain(file_, 'b', {.breakLinks = true}));
  EXPECT_EQ(readFile(file_), plainFile('b'));
  EXPECT_EQ(readFile(other), plainFile('a'));
}

TEST_F(Replace, DirectoriesPipesAndMissingFilesAreRefused) {
  const auto directory = rewritePlain(directory_.path(""), 'b');
  ASSERT_FALSE(directory);
  EXPECT_EQ(directory.error().message, "it is a directory");

  const std::string pipe = directory_.path("pipe");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const auto fifo = rewritePlain(pipe, 'b');
  ASSERT_FALSE(fifo);
  EXPECT_EQ(fifo.error().message, "it is not a regular file");
  const auto device = rewritePlain("/dev/null", 'b');
  ASSERT_FALSE(device);
  EXPECT_EQ(device.error().message, "it is not a regular file");

  const auto missing = rewritePlain(directory_.path("missing"), 'b');
  ASSERT_FALSE(missing);
  EXPECT_EQ(missing.error().message, "the file could not be found: there is no such file");
}

TEST_F(Replace, AWriteProtectedFileIsRefusedEvenToTheSuperuser) {
  ASSERT_EQ(::chmod(file_.c_str(), 0444), 0);
  const auto refused = rewritePlain(file_, 'b');
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().message, "the file may not be written: permission denied");
  expectUntouched();
}

TEST_F(Replace, ModeOwnerAndExtendedAttributesAreKept) {
  ASSERT_EQ(::chmod(file_.c_str(), 0640), 0);
  const bool chowned = ::geteuid() == 0 && ::chown(file_.c_str(), 1234, 2345) == 0;
  ASSERT_EQ(::chmod(file_.c_str(), 0640), 0);
  if (::setxattr(file_.c_str(), "user.rating", "five", 4, 0) != 0) {
    GTEST_SKIP() << "the file system has no extended attributes";
  }
  const struct stat before = status();
  std::vector<std::string> warnings;
  ASSERT_TRUE(rewritePlain(file_, 'b', {}, realFileSystem(), &warnings));
  EXPECT_THAT(warnings, IsEmpty());
  const struct stat after = status();
  EXPECT_NE(after.st_ino, before.st_ino);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(after.st_uid, chowned ? 1234U : before.st_uid);
  EXPECT_EQ(after.st_gid, chowned ? 2345U : before.st_gid);
  char value[8] = {};
  ASSERT_EQ(::getxattr(file_.c_str(), "user.rating", value, sizeof value), 4);
  EXPECT_STREQ(value, "five");
}

// Version 2, then tag, permissions and id of each entry, little-endian: owner rw-, user 1234 rw-,
// group r--, mask rw-, others ---.
const std::string kAccessList(
    "\2\0\0\0"
    "\1\0\6\0\xff\xff\xff\xff"
    "\2\0\6\0\xd2\4\0\0"
    "\4\0\4\0\xff\xff\xff\xff"
    "\x10\0\6\0\xff\xff\xff\xff"
    "\x20\0\0\0\xff\xff\xff\xff",
    44);

TEST_F(Replace, TheAccessControlListIsKept) {
  if (::setxattr(file_.c_str(), "system.posix_acl_access", kAccessList.data(), kAccessList.size(),
                 0) != 0) {
    GTEST_SKIP() << "the file system has no access control lists";
  }
  ASSERT_TRUE(rewritePlain(file_, 'b'));
  std::string value(100, '\0');
  const ssize_t size =
      ::getxattr(file_.c_str(), "system.posix_acl_access", value.data(), value.size());
  ASSERT_EQ(size, 44);
  value.resize(44);
  EXPECT_EQ(value, kAccessList);
}

TEST_F(Replace, ADefaultAccessControlListOfTheDirectoryIsNotImposed) {
  if (::setxattr(directory_.path("").c_str(), "system.posix_acl_default", kAccessList.data(),
                 kAccessList.size(), 0) != 0) {
    GTEST_SKIP() << "the file system has no access control lists";
  }
  ASSERT_EQ(::chmod(file_.c_str(), 0644), 0);
  ASSERT_TRUE(rewritePlain(file_, 'b'));
  EXPECT_EQ(status().st_mode & 07777U, 0644U);
  EXPECT_LT(::getxattr(file_.c_str(), "system.posix_acl_access", nullptr, 0), 0);
}

TEST_F(Replace, TimesAreNewUnlessTheyAreToBeKept) {
  const timespec old[2] = {{1000000000, 123456789}, {1100000000, 987654321}};
  ASSERT_EQ(::utimensat(AT_FDCWD, file_.c_str(), old, 0), 0);
  ASSERT_TRUE(rewritePlain(file_, 'b', {.keepTimes = true}));
  EXPECT_EQ(status().st_mtim.tv_sec, 1100000000);
  EXPECT_EQ(status().st_mtim.tv_nsec, 987654321);
  EXPECT_EQ(status().st_atim.tv_sec, 1000000000);
  ASSERT_TRUE(rewritePlain(file_, 'c'));
  EXPECT_GT(status().st_mtim.tv_sec, 1100000000);
}

TEST_F(Replace, ABackupKeepsTheOldFile) {
  const ino_t inode = status().st_ino;
  ASSERT_TRUE(rewritePlain(file_, 'b', {.backupSuffix = ".orig"}));
  EXPECT_EQ(readFile(file_), plainFile('b'));
  EXPECT_EQ(readFile(file_ + ".orig"), plainFile('a'));
  struct stat backup = {};
  ASSERT_EQ(::stat((file_ + ".orig").c_str(), &backup), 0);
  EXPECT_EQ(backup.st_ino, inode);
}

TEST_F(Replace, AnExistingBackupIsNeverOverwritten) {
  writeFile(file_ + "~", "precious");
  const auto refused = rewritePlain(file_, 'b', {.backupSuffix = "~"});
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().message, "there is a backup named photo~ already");
  EXPECT_EQ(readFile(file_), plainFile('a'));
  EXPECT_EQ(readFile(file_ + "~"), "precious");
}

TEST_F(Replace, ABackupThatAKilledRunLeftIsTakenAsThisRuns) {
  ASSERT_EQ(::link(file_.c_str(), (file_ + "~").c_str()), 0);
  ASSERT_TRUE(rewritePlain(file_, 'b', {.backupSuffix = "~"}));
  EXPECT_EQ(readFile(file_), plainFile('b'));
  EXPECT_EQ(readFile(file_ + "~"), plainFile('a'));
}

TEST_F(Replace, ADryRunDoesEverythingButTheReplacement) {
  ASSERT_TRUE(rewritePlain(file_, 'b', {.dryRun = true, .backupSuffix = "~"}));
  expectUntouched();
}

TEST_F(Replace, AFileThatAnotherProgramChangedMeanwhileIsLeftAlone) {
  class ChangingFileSystem : public FileSystem {
   public:
    explicit ChangingFileSystem(std::string path) : path_(std::move(path)) {}
    int fsync(int descriptor) override {
      writeFile(path_, "somebody else's");
      return FileSystem::fsync(descriptor);
    }

   private:
    std::string path_;
  } changing(file_);
  const auto result = rewritePlain(file_, 'b', {}, changing);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().message, "the file was changed by another program meanwhile");
  EXPECT_EQ(readFile(file_), "somebody else's");
  EXPECT_THAT(directory_.names(), ElementsAre("photo"));
}

// Lets something happen to the old file while the new one is written to the disk.
class Disturbed : public FileSystem {
 public:
  explicit Disturbed(std::function<void()> event) : event_(std::move(event)) {}
  int fsync(int descriptor) override {
    event_();
    return FileSystem::fsync(descriptor);
  }

 private:
  std::function<void()> event_;
};

TEST_F(Replace, AChangeInPlaceShowsThoughItsTimeIsSetBack) {
  const struct stat before = status();
  Disturbed disturbed([&] {
    writeFile(file_, plainFile('x'));  // of the same size
    const std::array times = {before.st_atim, before.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, file_.c_str(), times.data(), 0), 0);
  });
  const auto result = rewritePlain(file_, 'b', {}, disturbed);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().message, "the file was changed by another program meanwhile");
  EXPECT_EQ(readFile(file_), plainFile('x'));
}

TEST_F(Replace, AnotherModeOrAttributeMeanwhileIsNotLost) {
  Disturbed modes([&] { ASSERT_EQ(::chmod(file_.c_str(), 0600), 0); });
  ASSERT_EQ(::chmod(file_.c_str(), 0644), 0);
  EXPECT_FALSE(rewritePlain(file_, 'b', {}, modes));
  EXPECT_EQ(status().st_mode & 0777U, 0600U);
  Disturbed attributes([&] { ASSERT_EQ(::setxattr(file_.c_str(), "user.rating", "5", 1, 0), 0); });
  EXPECT_FALSE(rewritePlain(file_, 'b', {}, attributes));
  char rating = 0;
  EXPECT_EQ(::getxattr(file_.c_str(), "user.rating", &rating, 1), 1);
  expectUntouched();
}

// Properties of a frame that was read from this file.
class ReadFrom final : public FrameProperties {
 public:
  explicit ReadFrom(FileBytes file) : file_(std::move(file)) {}
  [[nodiscard]] const MappedFile* origin() const override { return file_.get(); }

 private:
  FileBytes file_;
};

TEST_F(Replace, ALinkThatLeadsElsewhereMeanwhileDoesNotOverwriteWhatItLeadsTo) {
  const std::string other = directory_.path("other");
  const std::string link = directory_.path("link");
  writeFile(other, plainFile('o'));
  ASSERT_EQ(::symlink("photo", link.c_str()), 0);
  auto file = MappedFile::open(link);
  ASSERT_TRUE(file);
  const ReadFrom properties(*file);
  ASSERT_EQ(::unlink(link.c_str()), 0);
  ASSERT_EQ(::symlink("other", link.c_str()), 0);
  for (const bool create : {false, true}) {
    auto destination = makeFileDestination(link, kPlainCodec.type, 1, {.create = create},
                                           std::span(&kPlainCodec, 1), realFileSystem());
    ASSERT_TRUE(destination);
    const auto added = CGImageDestinationAddImage(**destination, plainImage('b'), properties);
    EXPECT_EQ(added.ok(), create);  // a conversion reads one file and writes another
    if (added) continue;
    EXPECT_EQ(added.error().message, "the file was changed by another program meanwhile");
    EXPECT_FALSE(CGImageDestinationFinalize(**destination));
  }
  EXPECT_EQ(readFile(other), plainFile('o'));
  EXPECT_EQ(readFile(file_), plainFile('a'));
}

TEST_F(Replace, AFullDeviceIsNamedInPlainWords) {
  class FullFileSystem : public FileSystem {
   public:
    ssize_t pwrite(int, const void*, std::size_t, off_t) override {
      errno = ENOSPC;
      return -1;
    }
  } full;
  const auto result = rewritePlain(file_, 'b', {}, full);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().message,
            "the new file could not be written: no space left on the device");
  expectUntouched();
}

TEST_F(Replace, AFileSizeLimitFailsTheFileAndChangesNothing) {
  struct rlimit old = {};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old), 0);
  const rlimit small = {100'000, old.rlim_max};
  auto* const handler = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  const auto result = rewritePlain(file_, 'b');
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &old), 0);
  std::signal(SIGXFSZ, handler);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().message, "the new file could not be written: file too large");
  expectUntouched();
}

// The superuser may write into any directory, so the check runs as somebody else.
TEST_F(Replace, AReadOnlyDirectoryIsAnError) {
  if (::geteuid() == 0) {
    ASSERT_EQ(::chown(directory_.path("").c_str(), 1234, 1234), 0);
    ASSERT_EQ(::chown(file_.c_str(), 1234, 1234), 0);
    ASSERT_EQ(::seteuid(1234), 0);
  }
  EXPECT_EQ(::chmod(directory_.path("").c_str(), 0555), 0);
  const auto result = rewritePlain(file_, 'b');
  EXPECT_EQ(::chmod(directory_.path("").c_str(), 0755), 0);
  if (::getuid() == 0) {
    ASSERT_EQ(::seteuid(0), 0);
  }
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().message, "the temporary file could not be created: permission denied");
  expectUntouched();
}

TEST_F(Replace, AttributesThatTheFileSystemRefusesAreWarnings) {
  class RefusingFileSystem : public FileSystem {
   public:
    int fchmod(int, mode_t) override { return refuse(); }
    int fchown(int, uid_t, gid_t) override { return refuse(); }
    int fsetxattr(int, const char*, const void*, std::size_t) override { return refuse(); }

   private:
    static int refuse() {
      errno = EPERM;
      return -1;
    }
  } refusing;
  std::vector<std::string> warnings;
  ASSERT_TRUE(rewritePlain(file_, 'b', {}, refusing, &warnings));
  EXPECT_EQ(readFile(file_), plainFile('b'));
  EXPECT_THAT(warnings,
              ::testing::Contains("the permissions could not be kept: operation not permitted"));
}

TEST_F(Replace, WhereTheGroupCannotBeKeptItsPermissionsFallToThoseOfOthers) {
  if (::geteuid() != 0) GTEST_SKIP() << "only the superuser can set this up";
  class NoGroups : public FileSystem {
   public:
    int fchown(int descriptor, uid_t owner, gid_t group) override {
      if (group == static_cast<gid_t>(-1)) return FileSystem::fchown(descriptor, owner, group);
      errno = EPERM;
      return -1;
    }
  } noGroups;
  ASSERT_EQ(::chown(file_.c_str(), 0, 2345), 0);
  ASSERT_EQ(::chmod(file_.c_str(), 0664), 0);
  std::vector<std::string> warnings;
  ASSERT_TRUE(rewritePlain(file_, 'b', {}, noGroups, &warnings));
  EXPECT_EQ(status().st_mode & 07777U, 0644U);
  EXPECT_THAT(warnings, ElementsAre("the group could not be kept: operation not permitted"));
}

// The temporary's name, found by letting a run without nameless files stop half-way.
std::string temporaryName(const TemporaryDirectory& directory) {
  for (const std::string& name : directory.names()) {
    if (name.starts_with(".kelvo-")) return name;
  }
  return {};
}

class NamedTemporaries : public FileSystem {
 public:
  int openat(int at, const char* name, int flags, mode_t mode) override {
    if ((flags & O_TMPFILE) == O_TMPFILE) {
      errno = EOPNOTSUPP;
      return -1;
    }
    return FileSystem::openat(at, name, flags, mode);
  }
};

TEST_F(Replace, WorksWhereFilesMustHaveNames) {
  NamedTemporaries named;
  ASSERT_TRUE(rewritePlain(file_, 'b', {}, named));
  EXPECT_EQ(readFile(file_), plainFile('b'));
  EXPECT_THAT(directory_.names(), ElementsAre("photo"));
}

TEST_F(Replace, ALeftOverTemporaryIsClearedUnlessItsWriterLives) {
  class Observing : public NamedTemporaries {
   public:
    explicit Observing(const TemporaryDirectory& directory) : directory_(&directory) {}
    int fsync(int descriptor) override {
      if (seen.empty()) seen = temporaryName(*directory_);
      return FileSystem::fsync(descriptor);
    }
    std::string seen;

   private:
    const TemporaryDirectory* directory_;
  } observing(directory_);
  ASSERT_TRUE(rewritePlain(file_, 'a', {}, observing));
  ASSERT_THAT(observing.seen, HasSubstr(".tmp"));

  const std::string left = directory_.path(observing.seen);
  writeFile(left, "half a file");
  {
    const FileDescriptor writer(::open(left.c_str(), O_RDWR));
    ASSERT_EQ(::flock(writer.get(), LOCK_EX), 0);
    const auto busy = rewritePlain(file_, 'b');
    ASSERT_FALSE(busy);
    EXPECT_EQ(busy.error().message, "another program is replacing the file at this moment");
    EXPECT_EQ(readFile(left), "half a file");
  }
  ASSERT_TRUE(rewritePlain(file_, 'b'));
  EXPECT_EQ(readFile(file_), plainFile('b'));
  EXPECT_THAT(directory_.names(), ElementsAre("photo"));
}

TEST_F(Replace, AFileThatDoesNotReadBackIsNotPutInPlace) {
  // The disk loses the last bytes.
  class Lossy : public FileSystem {
   public:
    int fsync(int descriptor) override { return FileSystem::ftruncate(descriptor, 1000); }
  } lossy;
  const auto result = rewritePlain(file_, 'b', {}, lossy);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().message,
            "the new file did not read back as it was written: it is cut short");
  expectUntouched();
}

}  // namespace
}  // namespace kelvo::test
