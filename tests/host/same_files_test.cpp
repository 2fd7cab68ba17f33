#include "host/run/same_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace kelvo::host {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

TEST(SameFiles, AreFoundThroughLinksOfAllKinds) {
  const fs::path root = fs::path(testing::TempDir()) / ("same-" + std::to_string(::getpid()));
  fs::create_directories(root / "d");
  std::ofstream(root / "a") << "12345";
  std::ofstream(root / "b") << "123";
  fs::create_symlink("a", root / "link");
  fs::create_hard_link(root / "b", root / "hard");
  const SameFiles same = findSameFiles({root / "link", root / "b", root / "d/../a", root / "none",
                                        root / "hard", root / "none", root / "d"});
  EXPECT_EQ(same.group[0], same.group[2]);
  EXPECT_EQ(same.group[1], same.group[4]);
  EXPECT_NE(same.group[0], 0U);
  EXPECT_NE(same.group[1], 0U);
  EXPECT_NE(same.group[0], same.group[1]);
  EXPECT_EQ(same.group[3], 0U);
  EXPECT_EQ(same.group[5], 0U);
  EXPECT_EQ(same.group[6], 0U);
  EXPECT_THAT(same.bytes, ElementsAre(5U, 3U, 5U, 0U, 3U, 0U, 0U));
  EXPECT_EQ(same.totalBytes, 16U);
  fs::remove_all(root);
}

TEST(SameFiles, OfNoNamesAreNone) {
  const SameFiles same = findSameFiles({});
  EXPECT_TRUE(same.group.empty());
  EXPECT_EQ(same.totalBytes, 0U);
}

}  // namespace
}  // namespace kelvo::host
