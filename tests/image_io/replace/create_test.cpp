#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/image_io/replace/plain_format.h"
#include "tests/image_io/replace/support.h"

// Files that are not there yet.
namespace kelvo::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const ReplaceOptions kCreate = {.create = true};

class Create : public ::testing::Test {
 protected:
  TemporaryDirectory directory_;
  std::string file_ = directory_.path("photo");
};

TEST_F(Create, MakesAFileThatIsNotThere) {
  ASSERT_TRUE(rewritePlain(file_, 'b', kCreate));
  EXPECT_EQ(readFile(file_), plainFile('b'));
  EXPECT_THAT(directory_.names(), ElementsAre("photo"));
  struct stat status = {};
  ASSERT_EQ(::stat(file_.c_str(), &status), 0);
  EXPECT_EQ(status.st_nlink, 1U);
}

TEST_F(Create, ReplacesAFileThatIsThere) {
  writeFile(file_, plainFile('a'));
  ASSERT_EQ(::chmod(file_.c_str(), 0640), 0);
  ASSERT_TRUE(rewritePlain(file_, 'b', kCreate));
  EXPECT_EQ(readFile(file_), plainFile('b'));
  struct stat status = {};
  ASSERT_EQ(::stat(file_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
}

TEST_F(Create, IsRefusedUnlessAskedFor) {
  const auto result = rewritePlain(file_, 'b');
  ASSERT_FALSE(result);
  EXPECT_THAT(result.error().message, HasSubstr("there is no such file"));
  EXPECT_THAT(directory_.names(), IsEmpty());
}

TEST_F(Create, FollowsTheMaskForNewFiles) {
  const mode_t before = ::umask(027);
  const auto result = rewritePlain(file_, 'b', kCreate);
  ::umask(before);
  ASSERT_TRUE(result);
  struct stat status = {};
  ASSERT_EQ(::stat(file_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
}

TEST_F(Create, WorksFromARelativeName) {
  const std::string before = std::filesystem::current_path();
  std::filesystem::current_path(directory_.path(""));
  const auto result = rewritePlain("photo", 'b', kCreate);
  std::filesystem::current_path(before);
  ASSERT_TRUE(result) << result.error().message;
  EXPECT_EQ(readFile(file_), plainFile('b'));
}

TEST_F(Create, RefusesNamesThatCannotBeFiles) {
  EXPECT_FALSE(rewritePlain("", 'b', kCreate));
  EXPECT_FALSE(rewritePlain(directory_.path("new/"), 'b', kCreate));
  EXPECT_FALSE(rewritePlain(directory_.path("no/photo"), 'b', kCreate));
  EXPECT_FALSE(rewritePlain(directory_.path("."), 'b', kCreate));
  const std::string link = directory_.path("link");
  ASSERT_EQ(::symlink("nowhere", link.c_str()), 0);
  EXPECT_FALSE(rewritePlain(link, 'b', kCreate)) << "a link that leads nowhere";
  EXPECT_THAT(directory_.names(), ElementsAre("link"));
}

TEST_F(Create, ADryRunMakesNoFile) {
  ASSERT_TRUE(rewritePlain(file_, 'b', {.dryRun = true, .create = true}));
  EXPECT_THAT(directory_.names(), IsEmpty());
}

TEST_F(Create, HasNothingToBackUp) {
  ASSERT_TRUE(rewritePlain(file_, 'b', {.keepTimes = true, .backupSuffix = "~", .create = true}));
  EXPECT_THAT(directory_.names(), ElementsAre("photo"));
}

// Somebody else's file of that name appears while ours is being written.
TEST_F(Create, TakesNobodysPlace) {
  class Late : public FileSystem {
   public:
    explicit Late(std::string file) : file_(std::move(file)) {}
    int fsync(int descriptor) override {
      writeFile(file_, "theirs");
      return FileSystem::fsync(descriptor);
    }

   private:
    std::string file_;
  } late(file_);
  const auto result = rewritePlain(file_, 'b', kCreate, late);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().message, "the file was made by another program meanwhile");
  EXPECT_EQ(readFile(file_), "theirs");
  EXPECT_THAT(directory_.names(), ElementsAre("photo"));
}

TEST_F(Create, TakesNobodysPlaceAtTheLastInstant) {
  class Latest : public FileSystem {
   public:
    explicit Latest(std::string file) : file_(std::move(file)) {}
    int linkat(int fromAt, const char* from, int toAt, const char* to, int flags) override {
      writeFile(file_, "theirs");
      return FileSystem::linkat(fromAt, from, toAt, to, flags);
    }

   private:
    std::string file_;
  } latest(file_);
  const auto result = rewritePlain(file_, 'b', kCreate, latest);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().message, "the new file could not be given its name: file exists");
  EXPECT_EQ(readFile(file_), "theirs");
}

}  // namespace
}  // namespace kelvo::test
