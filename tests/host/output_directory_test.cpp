#include "host/run/output_directory.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace kelvo::host {
namespace {

namespace fs = std::filesystem;

class OutputDirectoryTest : public testing::Test {
 protected:
  void TearDown() override { fs::remove_all(root_); }

  const fs::path root_ = fs::path(testing::TempDir()) / ("output-" + std::to_string(::getpid()));
};

TEST_F(OutputDirectoryTest, ShowsACopyOnlyWhenItIsPublished) {
  {
    auto output = OutputDirectory::open(root_, {"in/a.jpg", "in/b.jpg"});
    ASSERT_TRUE(output) << output.error().message;
    std::ofstream(output->stagedPath("in/a.jpg")) << "a";
    std::ofstream(output->stagedPath("in/b.jpg")) << "b";
    EXPECT_EQ(output->finalPath("in/a.jpg"), (root_ / "a.jpg").string());
    EXPECT_FALSE(fs::exists(root_ / "a.jpg"));
    EXPECT_TRUE(output->publish("in/a.jpg"));
    EXPECT_TRUE(fs::exists(root_ / "a.jpg"));
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(root_), fs::directory_iterator()), 1);
}

TEST_F(OutputDirectoryTest, RemovesTheDirectoryItMadeIfNothingHasComeOfIt) {
  {
    auto output = OutputDirectory::open(root_, {"a"});
    ASSERT_TRUE(output);
    EXPECT_TRUE(fs::exists(root_));
  }
  EXPECT_FALSE(fs::exists(root_));
  fs::create_directories(root_);
  { auto output = OutputDirectory::open(root_, {"a"}); }
  EXPECT_TRUE(fs::exists(root_));
}

TEST_F(OutputDirectoryTest, RefusesNamesThatAreNoFiles) {
  for (const char* name : {"..", "a/..", "dir/", "/"}) {
    EXPECT_FALSE(OutputDirectory::open(root_, {name})) << name;
  }
  EXPECT_FALSE(fs::exists(root_));
}

}  // namespace
}  // namespace kelvo::host
