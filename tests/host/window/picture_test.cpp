#include "host/workers/picture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <QImage>
#include <QTest>
#include <filesystem>
#include <fstream>
#include <optional>

#include "host/window/picture_loader.h"
#include "host/workers/upright.h"
#include "tests/support/temporary_directory.h"

namespace kelvo::host {
namespace {

using ::testing::HasSubstr;

class PictureTest : public ::testing::Test {
 protected:
  std::string save(const QImage& image, const std::string& name) const {
    const std::string path = directory_.file(name);
    EXPECT_TRUE(image.save(QString::fromStdString(path)));
    return path;
  }
  static std::array<int, 4> pixel(const PictureMessage& picture, std::size_t x, std::size_t y) {
    std::array<int, 4> levels{};
    for (std::size_t i = 0; i < 4; ++i) {
      levels[i] = static_cast<unsigned char>(picture.pixels.at((y * picture.width + x) * 4 + i));
    }
    return levels;
  }

  kelvo::testing::TemporaryDirectory directory_;
};

TEST_F(PictureTest, AveragesEachBox) {
  QImage image(4, 2, QImage::Format_RGB888);
  image.fill(Qt::black);
  // The left box: 255, 101, 0, 40 in red: 99. The right one: green 200 four times.
  image.setPixelColor(0, 0, QColor(255, 0, 0));
  image.setPixelColor(1, 0, QColor(101, 0, 0));
  image.setPixelColor(1, 1, QColor(40, 0, 0));
  for (const int x : {2, 3}) {
    for (const int y : {0, 1}) {
      image.setPixelColor(x, y, QColor(0, 200, 0));
    }
  }
  const PictureMessage picture = makePicture({save(image, "a.png"), 2});
  EXPECT_EQ(picture.failure, "");
  EXPECT_EQ(picture.format, "PNG");
  EXPECT_EQ(picture.frames, 1U);
  EXPECT_EQ(picture.fullWidth, 4U);
  EXPECT_EQ(picture.fullHeight, 2U);
  EXPECT_TRUE(picture.adjustable);
  ASSERT_EQ(picture.width, 2U);
  ASSERT_EQ(picture.height, 1U);
  EXPECT_EQ(pixel(picture, 0, 0), (std::array<int, 4>{99, 0, 0, 255}));
  EXPECT_EQ(pixel(picture, 1, 0), (std::array<int, 4>{0, 200, 0, 255}));
}

TEST_F(PictureTest, CountsEveryPixelOnceWhereSidesDoNotDivide) {
  // Seven columns onto three: columns 0…2, 3…4, 5…6.
  QImage image(7, 1, QImage::Format_RGB888);
  const int levels[] = {30, 60, 90, 100, 200, 10, 20};
  for (int x = 0; x < 7; ++x) {
    image.setPixelColor(x, 0, QColor(levels[x], levels[x], levels[x]));
  }
  const PictureMessage picture = makePicture({save(image, "a.png"), 3});
  ASSERT_EQ(picture.width, 3U);
  ASSERT_EQ(picture.height, 1U) << "never nothing";
  EXPECT_EQ(pixel(picture, 0, 0)[0], 60);
  EXPECT_EQ(pixel(picture, 1, 0)[0], 150);
  EXPECT_EQ(pixel(picture, 2, 0)[0], 15);
}

TEST_F(PictureTest, WeighsColoursByTheirAlpha) {
  QImage image(2, 1, QImage::Format_RGBA8888);
  image.setPixelColor(0, 0, QColor(255, 255, 255, 0));
  image.setPixelColor(1, 0, QColor(200, 100, 0, 255));
  const PictureMessage picture = makePicture({save(image, "a.png"), 1});
  // What is not seen does not shine through: (200, 100, 0, 255) / 2, premultiplied.
  EXPECT_EQ(pixel(picture, 0, 0), (std::array<int, 4>{100, 50, 0, 128}));
}

TEST_F(PictureTest, LeavesSmallerPicturesAsTheyAre) {
  QImage image(3, 2, QImage::Format_Grayscale8);
  image.fill(77);
  const PictureMessage picture = makePicture({save(image, "a.png"), 640});
  EXPECT_EQ(picture.width, 3U);
  EXPECT_EQ(picture.height, 2U);
  EXPECT_FALSE(picture.adjustable) << "it is grey";
  EXPECT_EQ(pixel(picture, 2, 1), (std::array<int, 4>{77, 77, 77, 255}));
}

TEST_F(PictureTest, ReadsDeepFiles) {
  QImage image(2, 2, QImage::Format_RGBX64);
  image.fill(QColor::fromRgba64(0xFFFF, 0x8080, 0, 0xFFFF));
  const PictureMessage picture = makePicture({save(image, "a.png"), 1});
  EXPECT_EQ(pixel(picture, 0, 0), (std::array<int, 4>{255, 128, 0, 255}));
}

TEST_F(PictureTest, SaysWhyThereIsNone) {
  kelvo::testing::writeFile(directory_.file("text"), "no picture");
  const PictureMessage none = makePicture({directory_.file("text"), 10});
  EXPECT_NE(none.failure, "");
  EXPECT_EQ(none.pixels, "");
  EXPECT_EQ(makePicture({directory_.file("nothing"), 10}).width, 0U);

  QImage image(64, 64, QImage::Format_RGB888);
  image.fill(Qt::red);
  const std::string path = save(image, "cut.png");
  const std::string whole = kelvo::testing::readFile(path);
  kelvo::testing::writeFile(path, whole.substr(0, whole.size() - 30));
  EXPECT_NE(makePicture({path, 10}).failure, "");
}

// One letter a pixel.
PictureMessage lettered(std::string_view letters, std::uint32_t width) {
  PictureMessage picture;
  picture.width = width;
  picture.height = static_cast<std::uint32_t>(letters.size()) / width;
  picture.fullWidth = picture.width * 10;
  picture.fullHeight = picture.height * 10;
  for (const char letter : letters) {
    picture.pixels.append(4, letter);
  }
  return picture;
}

std::string letters(const PictureMessage& picture) {
  std::string text;
  for (std::size_t i = 0; i < picture.pixels.size(); i += 4) {
    text += picture.pixels[i];
    if (text.size() % (picture.width + 1) == picture.width) {
      text += '/';
    }
  }
  return text;
}

TEST_F(PictureTest, IsTurnedAndMirroredAsTheFileSays) {
  const char* const upright[] = {"abc/def/",  "cba/fed/",  "fed/cba/",  "def/abc/",
                                 "ad/be/cf/", "da/eb/fc/", "fc/eb/da/", "cf/be/ad/"};
  for (unsigned orientation = 1; orientation <= 8; ++orientation) {
    PictureMessage picture = lettered("abcdef", 3);
    makeUpright(picture, orientation);
    EXPECT_EQ(letters(picture), upright[orientation - 1]) << "orientation " << orientation;
    EXPECT_EQ(picture.fullWidth, orientation < 5 ? 30U : 20U);
    EXPECT_EQ(picture.fullHeight, orientation < 5 ? 20U : 30U);
  }
}

TEST_F(PictureTest, StaysAsItIsWhereTheOrientationMakesNoSense) {
  for (const unsigned orientation : {0U, 9U, 65535U}) {
    PictureMessage picture = lettered("abcdef", 3);
    makeUpright(picture, orientation);
    EXPECT_EQ(letters(picture), "abc/def/");
  }
}

// Waits for one picture of the loader.
std::optional<window::LoadedPicture> load(window::PictureLoader& loader, const std::string& path) {
  std::optional<window::LoadedPicture> loaded;
  QObject receiver;
  QObject::connect(&loader, &window::PictureLoader::loaded, &receiver,
                   [&](const window::LoadedPicture& picture) { loaded = picture; });
  loader.request(path, 32);
  for (int i = 0; i < 30'000 && !loaded; ++i) {
    QTest::qWait(1);
  }
  return loaded;
}

TEST_F(PictureTest, IsMadeInAnotherProcess) {
  QImage image(64, 32, QImage::Format_RGB888);
  image.fill(QColor(10, 20, 30));
  const std::string path = save(image, "a.png");
  window::PictureLoader loader;
  const auto loaded = load(loader, path);
  ASSERT_TRUE(loaded);
  EXPECT_EQ(loaded->path, path);
  EXPECT_EQ(loaded->image.size(), QSize(32, 16));
  EXPECT_EQ(loaded->image.pixelColor(31, 15), QColor(10, 20, 30));
  EXPECT_EQ(loaded->description.toStdString(), "PNG, 64 × 32");
  EXPECT_TRUE(loaded->adjustable);
}

// The loader's workers.
std::vector<pid_t> children() {
  const std::string id = std::to_string(::getpid());
  std::vector<pid_t> found;
  for (const auto& task : std::filesystem::directory_iterator("/proc/" + id + "/task")) {
    std::ifstream list(task.path() / "children");
    for (pid_t child = 0; list >> child;) {
      found.push_back(child);
    }
  }
  return found;
}

class LoadedPictureTest : public PictureTest {
 protected:
  LoadedPictureTest() {
    QImage image(64, 32, QImage::Format_RGB888);
    image.fill(Qt::blue);
    path_ = save(image, "a.png");
  }
  // Loads the picture and sends this signal to the worker that made it.
  void signalWorker(window::PictureLoader& loader, int signal) const {
    ASSERT_TRUE(load(loader, path_));
    const std::vector<pid_t> workers = children();
    ASSERT_EQ(workers.size(), 1U);
    ASSERT_EQ(::kill(workers[0], signal), 0);
  }

  std::string path_;
};

TEST_F(LoadedPictureTest, CostsAWorkerAtMost) {
  window::PictureLoader loader;
  ASSERT_NO_FATAL_FAILURE(signalWorker(loader, SIGKILL));
  // The next picture finds it gone, one way or the other, and the one after that is there again.
  const auto next = load(loader, path_);
  ASSERT_TRUE(next);
  EXPECT_TRUE(!next->image.isNull() || next->failure.contains(QLatin1String("signal 9")));
  const auto after = load(loader, path_);
  ASSERT_TRUE(after);
  EXPECT_FALSE(after->image.isNull());
}

TEST_F(LoadedPictureTest, IsGivenUpWhenNothingIsHeardOfItsWorker) {
  window::PictureLoader loader(nullptr, std::chrono::seconds(1));
  ASSERT_NO_FATAL_FAILURE(signalWorker(loader, SIGSTOP));
  const auto stalled = load(loader, path_);
  ASSERT_TRUE(stalled);
  EXPECT_TRUE(stalled->image.isNull());
  EXPECT_THAT(stalled->failure.toStdString(),
              ::testing::MatchesRegex(
                  "the worker process made no progress for [0-9]+ seconds and was ended"));
  EXPECT_THAT(children(), ::testing::IsEmpty());
  const auto after = load(loader, path_);
  ASSERT_TRUE(after);
  EXPECT_FALSE(after->image.isNull());
}

// A large frame may take longer, which its worker has to say.
TEST_F(PictureTest, TellsOfItsProgress) {
  QImage image(2000, 1000, QImage::Format_RGB888);
  image.fill(Qt::blue);
  std::vector<std::uint64_t> told;
  const auto picture = makePicture({save(image, "a.png"), 100},
                                   [&](std::uint64_t pixels) { told.push_back(pixels); });
  EXPECT_EQ(picture.failure, "");
  // Before the first row, and after each strip of a mebibyte: 174 rows of 6000 bytes.
  EXPECT_EQ(told, std::vector<std::uint64_t>(1 + 6, 2'000'000));
}

}  // namespace
}  // namespace kelvo::host
