#include "host/window/file_collector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/host/window/somebody_else.h"
#include "tests/support/temporary_directory.h"

namespace kelvo::window {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FileCollectorTest : public ::testing::Test {
 protected:
  std::string copy(const std::string& sample, const std::string& name) const {
    fs::create_directories(fs::path(path(name)).parent_path());
    fs::copy_file(fs::path(KELVO_SOURCE_DIR "/resources/samples") / sample, path(name));
    return path(name);
  }
  [[nodiscard]] std::string path(const std::string& name) const { return directory_.file(name); }
  void collect(const std::vector<std::string>& names) {
    const std::atomic<bool> stopped = false;
    result_ = collectFiles(names, stopped);
    paths_.clear();
    for (const FoundFile& file : result_.files) {
      paths_.push_back(file.path);
    }
    refused_.clear();
    for (const QString& line : result_.refused) {
      refused_.push_back(line.toStdString());
    }
  }

  kelvo::testing::TemporaryDirectory directory_;
  Collection result_;
  std::vector<std::string> paths_;
  std::vector<std::string> refused_;
};

TEST_F(FileCollectorTest, KnowsPhotographsByTheirFirstBytesNotByTheirNames) {
  const std::string disguised = copy("lake.jpg", "notes.txt");
  kelvo::testing::writeFile(path("real.jpg"), "no picture at all");
  collect({disguised, path("real.jpg")});
  EXPECT_THAT(paths_, ElementsAre(disguised));
  EXPECT_THAT(refused_, ElementsAre(path("real.jpg") + ": it is no photograph of a known format"));
}

TEST_F(FileCollectorTest, WalksFoldersInTheOrderOfTheNamesAndPassesOverTheRest) {
  const std::string c = copy("leaf.png", "f/b/c.png");
  const std::string a = copy("lake.jpg", "f/a.jpg");
  const std::string z = copy("chart.tif", "f/z.tif");
  copy("lake.jpg", "f/.hidden.jpg");
  copy("lake.jpg", "f/.thumbnails/x.jpg");
  kelvo::testing::writeFile(path("f/readme"), "text");
  kelvo::testing::writeFile(path("f/empty.jpg"), "");
  fs::create_directory_symlink(path("f"), path("f/b/round"));
  collect({path("f")});
  EXPECT_THAT(paths_, ElementsAre(a, c, z));
  EXPECT_THAT(refused_, IsEmpty());
  EXPECT_EQ(result_.passedOver, 2U) << "the text and the empty file";
}

TEST_F(FileCollectorTest, TellsOfNamesThatAreNoFiles) {
  ::mkfifo(path("pipe").c_str(), 0600);
  collect({path("none.jpg"), path("pipe")});
  EXPECT_THAT(paths_, IsEmpty());
  EXPECT_THAT(refused_, ElementsAre(path("none.jpg") + ": No such file or directory",
                                    path("pipe") + ": it is no file"));
}

TEST_F(FileCollectorTest, TellsOfFoldersThatCannotBeRead) {
  copy("lake.jpg", "f/closed/x.jpg");
  const std::string open = copy("lake.jpg", "f/open.jpg");
  fs::permissions(path("f/closed"), fs::perms::none);
  SomebodyElse somebody(directory_.path());
  ASSERT_TRUE(somebody.ok());
  collect({path("f")});
  somebody.leave();
  fs::permissions(path("f/closed"), fs::perms::owner_all);
  EXPECT_THAT(paths_, ElementsAre(open));
  EXPECT_THAT(refused_, ElementsAre(path("f/closed") + ": Permission denied"));
}

TEST_F(FileCollectorTest, GivesNamesOfOneFileOneIdentity) {
  const std::string real = copy("lake.jpg", "lake.jpg");
  fs::create_symlink(real, path("link.jpg"));
  collect({path("link.jpg"), path("./lake.jpg")});
  ASSERT_EQ(result_.files.size(), 2U);
  EXPECT_EQ(result_.files[0].identity, fs::canonical(real));
  EXPECT_EQ(result_.files[1].identity, fs::canonical(real));
  EXPECT_EQ(paths_[0], path("link.jpg")) << "the name that was given";
}

TEST_F(FileCollectorTest, StopsWhenAskedTo) {
  copy("lake.jpg", "f/a.jpg");
  const std::atomic<bool> stopped = true;
  EXPECT_THAT(collectFiles({path("f")}, stopped).files, IsEmpty());
}

}  // namespace
}  // namespace kelvo::window
