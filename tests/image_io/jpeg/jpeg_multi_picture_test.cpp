#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/image_io/jpeg/jpeg_test_support.h"
#include "tests/image_io/jpeg/multi_picture_file.h"
#include "tests/image_io/replace/support.h"

namespace kelvo::test {
namespace {

using ::testing::HasSubstr;

class JpegMultiPicture : public ::testing::Test {
 protected:
  void SetUp() override {
    big_ = picture(96, 64, "-quality 90");
    small_ = picture(48, 32, "-quality 75 -sample 1x1");
  }

  std::string picture(std::uint32_t width, std::uint32_t height, const std::string& options) {
    writeGradient(directory_.path("p.ppm"), width, height);
    run("cjpeg " + options + " -outfile " + directory_.path("p.jpg") + " " +
        directory_.path("p.ppm"));
    return readFile(directory_.path("p.jpg"));
  }

  // Picture n (from 1), found where another program reads in the index that it stands.
  std::string extracted(int n) {
    const auto line = [&](const std::string& tag) {
      return std::stoul(
          run("exiftool -q -a -s3 -" + tag + " " + file_ + " | sed -n " + std::to_string(n) + "p"));
    };
    const std::string name = directory_.path("out" + std::to_string(n) + ".jpg");
    writeFile(name, readFile(file_).substr(line("MPImageStart"), line("MPImageLength")));
    return name;
  }

  // How far picture n is from the inverse of this one.
  int distanceFromInverse(int n, const std::string& original) {
    writeFile(directory_.path("old.jpg"), original);
    EXPECT_TRUE(rewrite(directory_.path("old.jpg"), Adjustment::invert));
    return largestDifference(extracted(n), directory_.path("old.jpg"));
  }

  TemporaryDirectory directory_;
  std::string file_ = directory_.path("photo.jpg");
  std::string big_;
  std::string small_;
};

TEST_F(JpegMultiPicture, EveryPictureIsAdjustedAndTheIndexLeadsToItsNewPlace) {
  for (const bool little : {true, false}) {
    writeFile(file_, multiPicture({{big_, kPrimary}, {small_, kPreview}, {big_, kStereo}}, little));
    ASSERT_TRUE(rewrite(file_, Adjustment::invert));
    EXPECT_EQ(distanceFromInverse(1, big_), 0);
    EXPECT_EQ(distanceFromInverse(2, small_), 0);
    EXPECT_EQ(distanceFromInverse(3, big_), 0);
    EXPECT_EQ(run("exiftool -q -s3 -NumberOfImages " + file_), "3\n");
  }
}

TEST_F(JpegMultiPicture, GapsBetweenPicturesAndBytesAfterTheLastAreKept) {
  const Part first{big_, kPrimary, std::string(7, '\0'), 0};
  const Part second{small_, kPreview, "the maker's own words", 4};
  writeFile(file_, multiPicture({first, second}, true));
  ASSERT_TRUE(rewrite(file_, Adjustment::invert));
  const std::string contents = readFile(file_);
  EXPECT_TRUE(contents.ends_with("\xFF\xD9the maker's own words"));
  EXPECT_THAT(contents, HasSubstr(std::string("\xFF\xD9") + std::string(7, '\0') + "\xFF\xD8"));
  // The four bytes that were counted as the second picture's are counted again.
  EXPECT_TRUE(readFile(extracted(2)).ends_with("\xFF\xD9the "));
}

TEST_F(JpegMultiPicture, NothingButThePicturesAndTheirPlacesChanges) {
  const std::string commented = withSegment(small_, 0xFE, "a comment of the preview");
  writeFile(file_, multiPicture({{big_, kPrimary}, {commented, kPreview}}, false));
  const auto before = rawSegments(readFile(file_));
  ASSERT_TRUE(rewrite(file_, Adjustment::invert));
  auto after = rawSegments(readFile(file_));
  ASSERT_EQ(after.size(), before.size());
  for (std::size_t i = 0; i < before.size(); ++i) {
    EXPECT_EQ(after[i].marker, before[i].marker);
    EXPECT_EQ(after[i].payload.size(), before[i].payload.size());
    if (!before[i].payload.starts_with("MPF")) {
      EXPECT_EQ(after[i], before[i]);
    }
  }
  const auto preview = rawSegments(readFile(extracted(2)));
  EXPECT_THAT(preview, ::testing::Contains(RawSegment{0xFE, "a comment of the preview"}));
}

TEST_F(JpegMultiPicture, RewritingWithoutAChangeSettles) {
  writeFile(file_, multiPicture({{big_, kPrimary}, {small_, kPreview}}, true));
  ASSERT_TRUE(rewrite(file_, Adjustment::none));
  const std::string once = readFile(file_);
  const std::string preview = readFile(extracted(2));
  ASSERT_TRUE(rewrite(file_, Adjustment::none));
  const std::string twice = readFile(file_);
  EXPECT_EQ(run("exiftool -q -s3 -NumberOfImages " + file_), "2\n");
  EXPECT_EQ(rawSegments(twice), rawSegments(once));
  EXPECT_EQ(readFile(extracted(2)), preview);
}

TEST_F(JpegMultiPicture, AnIndexOfOnePictureIsNoObstacle) {
  writeFile(file_, multiPicture({{big_, kPrimary}}, true));
  EXPECT_TRUE(rewrite(file_, Adjustment::invert));
}

TEST_F(JpegMultiPicture, AnIndexThatDoesNotFitTheFileIsRefusedUntouched) {
  const std::vector<Part> parts = {{big_, kPrimary}, {small_, kPreview}};
  const std::string good = multiPicture(parts, true);
  const std::string shortened = good.substr(0, good.size() - small_.size());
  std::string countless = good;
  const std::size_t tag = countless.find(std::string("\x02\xB0\x07\0", 4));
  countless.replace(tag + 4, 4, std::string(4, '\xFF'));
  for (const std::string& contents : {multiPicture(parts, true, 1), multiPicture(parts, true, -5),
                                      multiPicture(parts, true, 1 << 20), shortened, countless}) {
    writeFile(file_, contents);
    const auto result = rewrite(file_, Adjustment::invert);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().message, "its index of further pictures (multi-picture) is damaged");
    EXPECT_EQ(readFile(file_), contents);
  }
}

TEST_F(JpegMultiPicture, AFurtherPictureOfAnUnknownKindIsRefusedUntouched) {
  for (const std::uint32_t attribute : {0x00000000U, 0x00040000U, 0x01010002U}) {
    const std::string contents = multiPicture({{big_, kPrimary}, {small_, attribute}}, true);
    writeFile(file_, contents);
    const auto result = rewrite(file_, Adjustment::invert);
    ASSERT_FALSE(result);
    EXPECT_THAT(result.error().message, HasSubstr("of a kind that is not known"));
    EXPECT_EQ(readFile(file_), contents);
  }
}

TEST_F(JpegMultiPicture, AFurtherPictureThatEndsEarlyMakesTheFileIncomplete) {
  const std::string cut = small_.substr(0, small_.size() - 40);
  const std::string contents = multiPicture({{big_, kPrimary}, {cut, kPreview}}, true);
  writeFile(file_, contents);
  const auto result = rewrite(file_, Adjustment::invert);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().message,
            "status: its picture 2: the file ends before its end-of-image marker");
  EXPECT_EQ(readFile(file_), contents);
}

TEST_F(JpegMultiPicture, TheFileCutAtAnyPlaceIsNeverReplaced) {
  const std::string good = multiPicture({{big_, kPrimary}, {small_, kPreview}}, true);
  for (std::size_t length = good.size() - small_.size() - 3; length < good.size(); length += 5) {
    const std::string contents = good.substr(0, length);
    writeFile(file_, contents);
    EXPECT_FALSE(rewrite(file_, Adjustment::invert)) << length;
    EXPECT_EQ(readFile(file_), contents);
  }
}

TEST_F(JpegMultiPicture, AGainMapAmongThePicturesIsRefusedByName) {
  const std::string xmp = std::string("http://ns.adobe.com/xap/1.0/\0", 29) +
                          "<rdf:Description hdrgm:Version=\"1.0\"/>";
  const std::string contents =
      multiPicture({{big_, kPrimary}, {withSegment(small_, 0xE1, xmp), kPreview}}, true);
  writeFile(file_, contents);
  const auto result = rewrite(file_, Adjustment::invert);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().message,
            "the file holds a gain map, which would not fit the adjusted picture (--gain-map drop "
            "leaves it out)");
}

}  // namespace
}  // namespace kelvo::test
