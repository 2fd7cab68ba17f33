// Small pictures embedded in a file show the adjusted picture afterwards, or are gone.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/image_io/jpeg/jpeg_test_support.h"
#include "tests/image_io/replace/support.h"

namespace kelvo::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class JpegThumbnail : public ::testing::Test {
 protected:
  // A photograph with an EXIF thumbnail of the given size and quality.
  void make(std::uint32_t width, std::uint32_t height, const std::string& thumbnailSize,
            const std::string& quality = "85") {
    writeGradient(directory_.path("picture.ppm"), width, height);
    run("cjpeg -quality 92 -outfile " + file_ + " " + directory_.path("picture.ppm"));
    run("convert " + directory_.path("picture.ppm") + " -resize '" + thumbnailSize +
        "' -strip -quality " + quality + " " + directory_.path("thumbnail.jpg"));
    run("exiftool -q -overwrite_original -Artist=somebody -Make=Maker '-ThumbnailImage<=" +
        directory_.path("thumbnail.jpg") + "' " + file_);
  }

  [[nodiscard]] Ppm thumbnailAfter() const {
    run("exiftool -b -ThumbnailImage " + file_ + " > " + directory_.path("after.jpg"));
    run("djpeg -ppm -outfile " + directory_.path("after.ppm") + " " + directory_.path("after.jpg"));
    return readPpm(directory_.path("after.ppm"));
  }

  // What the thumbnail should show, reduced by another program.
  [[nodiscard]] Ppm expected(const std::string& size) const {
    run("djpeg -ppm " + file_ + " | convert - -filter box -resize '" + size + "!' " +
        directory_.path("expected.ppm"));
    return readPpm(directory_.path("expected.ppm"));
  }

  static double meanDifference(const Ppm& a, const Ppm& b) {
    EXPECT_EQ(a.samples.size(), b.samples.size());
    double sum = 0;
    for (std::size_t i = 0; i < std::min(a.samples.size(), b.samples.size()); ++i) {
      sum += std::abs(a.samples[i] - b.samples[i]);
    }
    return sum / static_cast<double>(a.samples.size());
  }

  TemporaryDirectory directory_;
  std::string file_ = directory_.path("photo.jpg");
};

TEST_F(JpegThumbnail, TheExifThumbnailShowsTheAdjustedPicture) {
  make(1600, 1200, "160x120!");
  const std::size_t exifSize = rawSegments(readFile(file_))[1].payload.size();
  ASSERT_TRUE(rewrite(file_, Adjustment::invert));
  const Ppm after = thumbnailAfter();
  EXPECT_EQ(after.width, 160U);
  EXPECT_EQ(after.height, 120U);
  // Both are compressed; the old picture's inverse differs by some 100 levels.
  EXPECT_LT(meanDifference(after, expected("160x120")), 4);
  EXPECT_EQ(rawSegments(readFile(file_))[1].payload.size(), exifSize);
  EXPECT_EQ(run("exiftool -s3 -Artist " + file_), "somebody\n");
  EXPECT_THAT(run("exiftool -validate -warning -error -a " + file_), Not(HasSubstr("Error")));
}

TEST_F(JpegThumbnail, AThumbnailOfOtherProportionsShowsTheWholePictureOnBlack) {
  make(1500, 1000, "160x120!");
  ASSERT_TRUE(rewrite(file_, Adjustment::invert));
  const Ppm after = thumbnailAfter();
  ASSERT_EQ(after.width, 160U);
  ASSERT_EQ(after.height, 120U);
  // 160 x 107 in the middle: rows 6 to 112.
  const auto rows = [&](std::size_t first, std::size_t end) {
    Ppm part{.width = 160, .height = static_cast<std::uint32_t>(end - first), .samples = {}};
    part.samples.assign(after.samples.begin() + static_cast<std::ptrdiff_t>(first * 480),
                        after.samples.begin() + static_cast<std::ptrdiff_t>(end * 480));
    return part;
  };
  EXPECT_LT(meanDifference(rows(6, 113), expected("160x107")), 4);
  // Compression lets some of the picture, whose levels are near 150 there, ring into the bars.
  const Ppm black{.width = 160, .height = 5, .samples = std::vector<std::uint8_t>(160 * 5 * 3)};
  EXPECT_LT(meanDifference(rows(0, 5), black), 6);
  EXPECT_LT(meanDifference(rows(115, 120), black), 6);
}

TEST_F(JpegThumbnail, AThumbnailLargerThanThePictureIsPaintedToo) {
  make(50, 40, "100x80!");
  ASSERT_TRUE(rewrite(file_, Adjustment::invert));
  EXPECT_LT(meanDifference(thumbnailAfter(), expected("100x80")), 6);
}

TEST_F(JpegThumbnail, WhereTheNewOneDoesNotFitThereIsNone) {
  // A thumbnail of one colour takes hardly any room; the picture is noise.
  run("convert -seed 3 -size 160x120 xc:gray +noise Random -scale 800x600 ppm:" +
      directory_.path("noise.ppm"));
  run("cjpeg -quality 92 -outfile " + file_ + " " + directory_.path("noise.ppm"));
  run("convert -size 160x120 xc:red -strip -quality 20 " + directory_.path("thumbnail.jpg"));
  run("exiftool -q -overwrite_original -Artist=somebody '-ThumbnailImage<=" +
      directory_.path("thumbnail.jpg") + "' " + file_);
  const std::string old = readFile(directory_.path("thumbnail.jpg"));
  ASSERT_THAT(readFile(file_), HasSubstr(old));
  ASSERT_TRUE(rewrite(file_, Adjustment::invert));
  EXPECT_EQ(run("exiftool -b -ThumbnailImage " + file_), "");
  EXPECT_THAT(run("exiftool -a -G1 " + file_), Not(HasSubstr("[IFD1]")));
  EXPECT_EQ(run("exiftool -s3 -Artist " + file_), "somebody\n");
  EXPECT_THAT(readFile(file_), Not(HasSubstr(old)));
}

TEST_F(JpegThumbnail, ThumbnailsOfJfifAreLeftOut) {
  make(300, 200, "30x20!");
  const std::string plain = readFile(file_);
  ASSERT_EQ(plain.substr(6, 5), std::string("JFIF\0", 5));
  // JFIF's own, 2 x 1 pixels, and the extension's, a JPEG stream.
  std::string contents = plain;
  contents[5] = static_cast<char>(contents[5] + 6);
  contents[18] = 2;
  contents[19] = 1;
  contents.insert(20, "abcdef");
  const std::size_t after = 20 + 6;
  const std::string extension("JFXX\0\x10\xFF\xD8 old colours \xFF\xD9", 23);
  contents.insert(after, std::string("\xFF\xE0\0\x19", 4) + extension);
  writeFile(file_, contents);
  ASSERT_EQ(rawSegments(contents).size(), rawSegments(plain).size() + 1);
  ASSERT_TRUE(rewrite(file_, Adjustment::none));
  const auto segments = rawSegments(readFile(file_));
  EXPECT_EQ(segments.size(), rawSegments(plain).size());
  EXPECT_EQ(segments[0], rawSegments(plain)[0]);
}

TEST_F(JpegThumbnail, ThumbnailsOfImageResourcesAreLeftOutAndTheOthersKept) {
  make(300, 200, "30x20!");
  const auto resource = [](char high, char low, const std::string& data) {
    std::string text = "8BIM" + std::string{high, low} + std::string(2, '\0') +
                       std::string(3, '\0') + static_cast<char>(data.size()) + data;
    if (data.size() % 2 != 0) text += '\0';
    return text;
  };
  const std::string head("Photoshop 3.0\0", 14);
  const std::string resolution = resource('\x03', '\xED', "resolution");
  const std::string caption = resource('\x04', '\x04', "captions");
  const std::string old = resource('\x04', '\x0C', "old colours");
  const std::string older = resource('\x04', '\x09', "older colours");
  const std::string plain = readFile(file_);
  writeFile(file_, withSegment(plain, 0xED, head + resolution + old + older + caption));
  ASSERT_TRUE(rewrite(file_, Adjustment::none));
  EXPECT_EQ(rawSegments(readFile(file_))[0], (RawSegment{0xED, head + resolution + caption}));
  // Without one they are not touched, however they are cut into segments.
  const std::string cut = withSegment(withSegment(plain, 0xED, head + caption.substr(7)), 0xED,
                                      head + resolution + caption.substr(0, 7));
  writeFile(file_, cut);
  const auto segments = rawSegments(cut);
  ASSERT_TRUE(rewrite(file_, Adjustment::none));
  const auto kept = rawSegments(readFile(file_));
  ASSERT_EQ(kept.size(), segments.size());
  EXPECT_EQ(kept[0], segments[0]);
  EXPECT_EQ(kept[1], segments[1]);
}

TEST_F(JpegThumbnail, AThumbnailThatIsNoJpegStreamLeavesNothingBehind) {
  make(64, 48, "30x20!");
  const std::string plain = readFile(file_);
  // A first directory with an artist, and one of a picture in two strips of three pixels.
  const std::string head("Exif\0\0II*\0\10\0\0\0\1\0\x3B\1\2\0\4\0\0\0who\0", 28);
  const std::string link("\x1A\0\0\0", 4);
  const std::string strips("\2\0\x11\1\4\0\2\0\0\0\x38\0\0\0\x17\1\4\0\2\0\0\0\x40\0\0\0\0\0\0\0",
                           30);
  const std::string places("\x48\0\0\0\x51\0\0\0\x09\0\0\0\x09\0\0\0", 16);
  const std::string pixels = "old coloursof before";
  writeFile(file_, withSegment(plain, 0xE1, head + link + strips + places + pixels));
  ASSERT_TRUE(rewrite(file_, Adjustment::invert));
  // What lies behind the strips belongs to nobody and stays.
  EXPECT_EQ(rawSegments(readFile(file_))[0],
            (RawSegment{0xE1, head + std::string(4 + 30 + 16 + 18, '\0') + "re"}));
}

TEST_F(JpegThumbnail, AnExifSegmentThatMakesNoSenseIsKeptAsItIs) {
  make(64, 48, "30x20!");
  const std::string plain = readFile(file_);
  const std::string exif("Exif\0\0", 6);
  for (const std::string& tiff : {std::string("II*\0\xFF\xFF\xFF\xFF", 8), std::string("MM"),
                                  std::string(), std::string("II*\0\10\0\0\0\xFF\xFF", 10),
                                  std::string("MM\0*\0\0\0\10\0\0\0\0\0\10", 14)}) {
    const std::string contents = withSegment(plain, 0xE1, exif + tiff);
    writeFile(file_, contents);
    ASSERT_TRUE(rewrite(file_, Adjustment::invert));
    EXPECT_EQ(rawSegments(readFile(file_))[0], (RawSegment{0xE1, exif + tiff}));
  }
}

}  // namespace
}  // namespace kelvo::test
