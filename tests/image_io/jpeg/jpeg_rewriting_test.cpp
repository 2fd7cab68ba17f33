// A rewritten file holds what any other program would store that decodes the old one, adjusts it
// and encodes it with the old file's settings: the samples are compared as they are coded.
#include <gtest/gtest.h>

#include <string>

#include "tests/image_io/jpeg/jpeg_test_support.h"
#include "tests/image_io/replace/support.h"

namespace kelvo::test {
namespace {

class JpegRewriting : public ::testing::Test {
 protected:
  void make(const std::string& options, std::uint32_t width, std::uint32_t height) {
    options_ = options;
    writeGradient(directory_.path("picture.ppm"), width, height);
    run("cjpeg -dct int " + options + " -outfile " + file_ + " " + directory_.path("picture.ppm"));
  }

  // The file's quantisation tables and coefficients, in a form that depends on nothing else.
  static std::string coefficients(const std::string& path) {
    return run("jpegtran -copy none -optimize " + path);
  }

  // Those of the file after another program's decoding and encoding.
  [[nodiscard]] std::string reencoded(const std::string& adjustment) const {
    const std::string other = directory_.path("other.jpg");
    run("djpeg -dct int -ppm " + file_ + " | " + adjustment + " | cjpeg -dct int " + options_ +
        " -outfile " + other);
    return coefficients(other);
  }

  TemporaryDirectory directory_;
  std::string file_ = directory_.path("photo.jpg");
  std::string options_;
};

TEST_F(JpegRewriting, EverySamplingAtOddSizesGivesWhatDecodingAndEncodingGive) {
  for (const char* sampling : {"1x1", "2x1", "2x2", "1x2", "4x1", "1x4", "4x2", "2x4", "3x1",
                               "2x2,1x2,1x1", "2x2,2x1,1x2", "1x1,2x2,2x2", "2x1,1x1,2x1"}) {
    for (const auto& [width, height] : {std::pair{1U, 1U}, {17U, 15U}, {33U, 9U}, {7U, 50U}}) {
      SCOPED_TRACE(std::string(sampling) + " " + std::to_string(width));
      make(std::string("-quality 91 -sample ") + sampling, width, height);
      // The second time the file is one that was rewritten already.
      for (int pass = 0; pass < 2; ++pass) {
        const std::string expected = reencoded("cat");
        const auto result = rewrite(file_, Adjustment::none);
        ASSERT_TRUE(result) << result.error().message;
        EXPECT_TRUE(coefficients(file_) == expected);
      }
    }
  }
}

TEST_F(JpegRewriting, EveryWayOfCodingGivesWhatDecodingAndEncodingGive) {
  for (const char* options :
       {"-progressive", "-restart 1", "-restart 3B", "-arithmetic", "-arithmetic -progressive",
        "-arithmetic -restart 2", "-rgb", "-quality 40,60,80", "-quality 1"}) {
    SCOPED_TRACE(options);
    make(options, 77, 59);
    for (int pass = 0; pass < 2; ++pass) {
      const std::string expected = reencoded("cat");
      const auto result = rewrite(file_, Adjustment::none);
      ASSERT_TRUE(result) << result.error().message;
      EXPECT_TRUE(coefficients(file_) == expected);
    }
  }
}

TEST_F(JpegRewriting, InvertedTwiceItIsAsAfterTwoDecodingsAndEncodings) {
  for (const char* sampling : {"1x1", "2x1", "2x2"}) {
    make(std::string("-quality 90 -sample ") + sampling, 120, 91);
    run("cp " + file_ + " " + directory_.path("original.jpg"));
    for (int pass = 0; pass < 2; ++pass) {
      const std::string expected = reencoded("convert ppm:- -negate ppm:-");
      ASSERT_TRUE(rewrite(file_, Adjustment::invert));
      EXPECT_TRUE(coefficients(file_) == expected) << sampling << pass;
    }
    EXPECT_LE(largestDifference(file_, directory_.path("original.jpg")), 6) << sampling;
  }
}

// The file without its first segment.
std::string withoutFirstSegment(const std::string& contents) {
  const auto high = static_cast<std::uint8_t>(contents[4]);
  const auto low = static_cast<std::uint8_t>(contents[5]);
  return contents.substr(0, 2) + contents.substr(4 + std::size_t{high} * 256 + low);
}

TEST_F(JpegRewriting, WithoutJfifAndAdobeTheComponentsSayWhichColoursTheyAre) {
  for (const char* options : {"-quality 90 -sample 2x2", "-quality 90 -rgb"}) {
    make(options, 61, 43);
    const std::string plain = withoutFirstSegment(readFile(file_));
    ASSERT_TRUE(rawSegments(plain).empty());
    writeFile(file_, plain);
    const std::string expected = reencoded("cat");
    ASSERT_TRUE(rewrite(file_, Adjustment::none));
    EXPECT_TRUE(rawSegments(readFile(file_)).empty());
    EXPECT_TRUE(coefficients(file_) == expected) << options;
  }
}

TEST_F(JpegRewriting, SegmentsBehindTheFrameHeaderStayInTheirOrder) {
  make("-quality 90", 40, 30);
  std::string contents = readFile(file_);
  contents.insert(contents.find("\xFF\xDA"), std::string("\xFF\xFE\0\7third\xFF\xED\0\6last", 17));
  contents.insert(contents.find("\xFF\xC0"), std::string("\xFF\xEC\0\x08second", 10));
  contents = withSegment(contents, 0xFE, "first");
  writeFile(file_, contents);
  const auto before = rawSegments(contents);
  ASSERT_EQ(before.size(), 5U);
  ASSERT_TRUE(rewrite(file_, Adjustment::invert));
  EXPECT_TRUE(rawSegments(readFile(file_)) == before);
}

TEST_F(JpegRewriting, AHeightAfterThePixelsIsRefused) {
  make("-quality 90", 40, 30);
  std::string contents = readFile(file_);
  contents.insert(contents.size() - 2, std::string("\xFF\xDC\0\4\0\x1E", 6));
  writeFile(file_, contents);
  const auto result = rewrite(file_, Adjustment::none);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().message,
            "status: its height is given after the pixels, which is not supported");
  EXPECT_EQ(readFile(file_), contents);
}

TEST_F(JpegRewriting, CutAtEveryLengthAFileIsNeverReplaced) {
  for (const char* options : {"-quality 50 -optimize", "-quality 50 -progressive",
                              "-quality 50 -arithmetic -restart 1"}) {
    make(options, 24, 16);
    const std::string whole = readFile(file_);
    for (std::size_t length = 0; length < whole.size(); ++length) {
      writeFile(file_, whole.substr(0, length));
      ASSERT_FALSE(rewrite(file_, Adjustment::none)) << options << length;
      ASSERT_TRUE(readFile(file_) == whole.substr(0, length)) << options << length;
    }
  }
  EXPECT_EQ(directory_.names().size(), 2U);  // the picture and the file
}

}  // namespace
}  // namespace kelvo::test
