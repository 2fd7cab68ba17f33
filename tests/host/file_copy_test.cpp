#include "host/workers/file_copy.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace kelvo::host {
namespace {

namespace fs = std::filesystem;

class FileCopy : public testing::Test {
 protected:
  void SetUp() override { fs::create_directories(root_); }
  void TearDown() override { fs::remove_all(root_); }

  const fs::path root_ = fs::path(testing::TempDir()) / ("copy-" + std::to_string(::getpid()));
  const std::string from_ = root_ / "from";
  const std::string to_ = root_ / "to";
  std::vector<std::string> warnings_;
};

TEST_F(FileCopy, HasTheBytesModeTimesAndAttributes) {
  std::string bytes(300'000, 'x');
  bytes[200'000] = '\0';
  std::ofstream(from_) << bytes;
  ASSERT_EQ(::chmod(from_.c_str(), 0640), 0);
  const bool attributes = ::setxattr(from_.c_str(), "user.kelvo", "v", 1, 0) == 0;
  const timespec times[2] = {{1'000'000, 5}, {2'000'000, 7}};
  ASSERT_EQ(::utimensat(AT_FDCWD, from_.c_str(), times, 0), 0);
  ASSERT_FALSE(copyFile(from_, to_, warnings_));
  std::ifstream copy(to_);
  EXPECT_TRUE(std::string((std::istreambuf_iterator<char>(copy)), {}) == bytes);
  struct stat status {};
  ASSERT_EQ(::stat(to_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
  EXPECT_EQ(status.st_mtim.tv_sec, 2'000'000);
  EXPECT_EQ(status.st_mtim.tv_nsec, 7);
  if (attributes) {
    char value = 0;
    EXPECT_EQ(::getxattr(to_.c_str(), "user.kelvo", &value, 1), 1);
    EXPECT_EQ(value, 'v');
  }
}

TEST_F(FileCopy, CanBeWrittenByItsOwner) {
  std::ofstream(from_) << "x";
  ASSERT_EQ(::chmod(from_.c_str(), 0444), 0);
  ASSERT_FALSE(copyFile(from_, to_, warnings_));
  EXPECT_EQ(fs::status(to_).permissions(), fs::perms(0644));
}

TEST_F(FileCopy, ReplacesNothing) {
  std::ofstream(from_) << "new";
  std::ofstream(to_) << "old";
  const auto failure = copyFile(from_, to_, warnings_);
  ASSERT_TRUE(failure);
  EXPECT_FALSE(failure->source);
  EXPECT_EQ(failure->message, "File exists");
  EXPECT_EQ(fs::file_size(to_), 3U);
}

TEST_F(FileCopy, IsOfRegularFilesOnly) {
  ASSERT_EQ(::mkfifo(from_.c_str(), 0600), 0);
  auto failure = copyFile(from_, to_, warnings_);
  ASSERT_TRUE(failure);
  EXPECT_TRUE(failure->source);
  EXPECT_EQ(failure->message, "it is not a regular file");
  failure = copyFile(root_, to_, warnings_);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->message, "it is a directory");
  failure = copyFile(root_ / "none", to_, warnings_);
  ASSERT_TRUE(failure);
  EXPECT_TRUE(failure->source);
  EXPECT_FALSE(fs::exists(to_));
}

}  // namespace
}  // namespace kelvo::host
