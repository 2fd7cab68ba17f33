#include "host/run/written_directories.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/temporary_directory.h"

namespace kelvo::host {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using testing::TemporaryDirectory;
using ::testing::UnorderedElementsAre;

TEST(WrittenDirectories, NamesEachDirectoryOnce) {
  EXPECT_THAT(writtenDirectories({"/x/a", "/y/b", "/x/c", "/x/z/d"}),
              UnorderedElementsAre("/x", "/y", "/x/z"));
}

TEST(WrittenDirectories, KnowsTheCurrentDirectoryAndTheRoot) {
  EXPECT_THAT(writtenDirectories({"a"}), ElementsAre("."));
  EXPECT_THAT(writtenDirectories({"/a"}), ElementsAre("/"));
}

TEST(WrittenDirectories, FollowsASymbolicLinkToTheFile) {
  const TemporaryDirectory place;
  const fs::path root = fs::canonical(place.path());
  fs::create_directories(root / "real");
  fs::create_directories(root / "links");
  std::ofstream(root / "real/a") << "x";
  fs::create_symlink("../real/a", root / "links/one");
  fs::create_symlink("one", root / "links/two");
  EXPECT_THAT(writtenDirectories({(root / "links/two").string()}),
              ElementsAre((root / "real").string()));
}

TEST(WrittenDirectories, HasNoneForALinkThatLeadsNowhere) {
  const TemporaryDirectory place;
  const fs::path link = fs::path(place.path()) / "link";
  fs::create_symlink("nothing", link);
  EXPECT_TRUE(writtenDirectories({link.string()}).empty());
}

TEST(WrittenDirectories, TakesTheDirectoriesAboveWhenThereAreThousands) {
  const TemporaryDirectory place;
  const fs::path root = fs::canonical(place.path());
  std::vector<std::string> files;
  for (int i = 0; i < 5000; ++i) {
    const fs::path directory = root / std::to_string(i % 3) / std::to_string(i);
    fs::create_directories(directory);
    files.push_back((directory / "a").string());
  }
  EXPECT_THAT(
      writtenDirectories(files),
      UnorderedElementsAre((root / "0").string(), (root / "1").string(), (root / "2").string()));
}

}  // namespace
}  // namespace kelvo::host
