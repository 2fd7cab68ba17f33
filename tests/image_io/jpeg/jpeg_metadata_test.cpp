// Everything in the file besides the pixels.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/image_io/jpeg/jpeg_test_support.h"
#include "tests/image_io/replace/support.h"

namespace kelvo::test {
namespace {

class JpegMetadata : public ::testing::Test {
 protected:
  JpegMetadata() {
    writeGradient(directory_.path("picture.ppm"), 200, 150);
    run("cjpeg -quality 90 -outfile " + file_ + " " + directory_.path("picture.ppm"));
  }

  // Long enough for three segments; size, class, spaces and signature are what a profile needs to
  // be taken for one.
  static std::string profile() {
    std::string text(140'000, '\0');
    text.replace(0, 4, std::string("\0\2\x22\xE0", 4));
    text.replace(12, 12, "mntrRGB XYZ ");
    text.replace(36, 4, "acsp");
    return text;
  }

  // Everything that exiftool finds, but what it says about the file as a file.
  [[nodiscard]] std::string listing() const {
    std::istringstream lines(run("exiftool -a -u -G1 -s -ee " + file_));
    std::string kept;
    for (std::string line; std::getline(lines, line);) {
      if (!line.starts_with("[System]") && !line.starts_with("[ExifTool]")) kept += line + "\n";
    }
    return kept;
  }

  TemporaryDirectory directory_;
  std::string file_ = directory_.path("photo.jpg");
};

TEST_F(JpegMetadata, ExifXmpIptcGpsCommentAndProfileAreKept) {
  // Extended XMP comes from a property that does not fit one segment.
  writeFile(directory_.path("long"), std::string(150'000, 'x'));
  writeFile(directory_.path("profile"), profile());
  run("exiftool -q -overwrite_original -Artist='Jörg' -Make=Canon -Model=X -Orientation#=6 "
      "-DateTimeOriginal='2020:01:02 03:04:05' -GPSLatitude=48.1 -GPSLatitudeRef=N "
      "-XMP-dc:Title=Title '-XMP-dc:Description<=" +
      directory_.path("long") +
      "' -IPTC:Keywords=one -IPTC:Keywords=two -Comment='a comment' "
      "-XResolution=300 -JFIF:XResolution=240 -JFIF:YResolution=240 -JFIF:ResolutionUnit=inches "
      "'-ICC_Profile<=" +
      directory_.path("profile") + "' " + file_ + " 2>&1");
  const std::string before = listing();
  ASSERT_NE(before.find("GPSLatitude"), std::string::npos);
  ASSERT_NE(before.find("Keywords"), std::string::npos);
  ASSERT_NE(before.find("a comment"), std::string::npos);
  const std::string contents = readFile(file_);
  ASSERT_NE(contents.find("http://ns.adobe.com/xmp/extension/"), std::string::npos);
  ASSERT_NE(contents.find("ICC_PROFILE"), std::string::npos);
  const auto segments = rawSegments(readFile(file_));
  ASSERT_GE(segments.size(), 9U);
  ASSERT_TRUE(rewrite(file_, Adjustment::invert));
  EXPECT_TRUE(listing() == before);  // too long to print
  EXPECT_TRUE(rawSegments(readFile(file_)) == segments);
}

TEST_F(JpegMetadata, UnknownSegmentsStayInOrderByteForByte) {
  std::string contents = readFile(file_);
  contents = withSegment(contents, 0xFE, "second comment");
  contents = withSegment(contents, 0xEF, std::string(65533, '\xFF'));
  contents = withSegment(contents, 0xE5, "");
  contents = withSegment(contents, 0xFE, std::string("first\0comment", 13));
  contents = withSegment(contents, 0xEB, "JP unknown");
  writeFile(file_, contents);
  const auto segments = rawSegments(contents);
  ASSERT_EQ(segments.size(), 6U);
  ASSERT_TRUE(rewrite(file_, Adjustment::invert));
  EXPECT_TRUE(rawSegments(readFile(file_)) == segments);
}

TEST_F(JpegMetadata, AnAdobeSegmentDecidesTheColoursBeforeAndAfter) {
  // An RGB file whose only sign of that is Adobe's transform 0: without JFIF, components 1 2 3.
  run("cjpeg -rgb -quality 95 -outfile " + file_ + " " + directory_.path("picture.ppm"));
  run("cp " + file_ + " " + directory_.path("original.jpg"));
  const auto segments = rawSegments(readFile(file_));
  ASSERT_EQ(segments.size(), 1U);
  ASSERT_EQ(segments[0].marker, 0xEE);
  ASSERT_TRUE(rewrite(file_, Adjustment::none));
  EXPECT_TRUE(rawSegments(readFile(file_)) == segments);
  EXPECT_LE(largestDifference(file_, directory_.path("original.jpg")), 4);
}

TEST_F(JpegMetadata, TheProfileIsPartOfTheColourSpace) {
  // In two parts, the second before the first.
  const auto part = [](char number, const std::string& data) {
    return std::string("ICC_PROFILE\0", 12) + number + '\2' + data;
  };
  const std::string plain = readFile(file_);
  writeFile(file_, withSegment(withSegment(plain, 0xE2, part(1, std::string(60'000, 'p'))), 0xE2,
                               part(2, std::string(40'000, 'q'))));
  const auto source = CGImageSourceCreateWithURL(NSURL::fileURLWithPath(file_));
  ASSERT_TRUE(source);
  const auto image = CGImageSourceCreateImageAtIndex(**source, 0);
  ASSERT_TRUE(image);
  std::vector<std::byte> expected(60'000, std::byte{'p'});
  expected.resize(100'000, std::byte{'q'});
  EXPECT_TRUE(image->colorSpace->profile == expected);
}

TEST_F(JpegMetadata, BytesAfterTheEndOfThePictureAreKept) {
  const std::string trailer = "SEFT\0 some maker's trailer \xFF\xD9 and on";
  writeFile(file_, readFile(file_) + trailer);
  ASSERT_TRUE(rewrite(file_, Adjustment::invert));
  const std::string after = readFile(file_);
  ASSERT_GT(after.size(), trailer.size() + 2);
  EXPECT_TRUE(after.ends_with("\xFF\xD9" + trailer));
}

TEST_F(JpegMetadata, AFileWithPicturesThatNoIndexAnnouncesIsRefusedUntouched) {
  const std::string plain = readFile(file_);
  writeFile(file_, plain + plain);
  const auto result = rewrite(file_, Adjustment::invert);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().message,
            "the file holds further pictures (multi-picture); adjusting it would lose them");
  EXPECT_EQ(readFile(file_), plain + plain);
}

TEST_F(JpegMetadata, AFileWithAGainMapIsRefusedByName) {
  const std::string plain = readFile(file_);
  const std::string xmp = std::string("http://ns.adobe.com/xap/1.0/\0", 29) +
                          "<rdf:Description hdrgm:Version=\"1.0\"/>";
  const std::string iso("urn:iso:std:iso:ts:21496:-1\0\0\0\0\0", 32);
  for (const std::string& contents :
       {withSegment(plain, 0xE1, xmp) + plain, withSegment(plain, 0xE2, iso)}) {
    writeFile(file_, contents);
    const auto result = rewrite(file_, Adjustment::invert);
    ASSERT_FALSE(result);
    EXPECT_EQ(
        result.error().message,
        "the file holds a gain map, which would not fit the adjusted picture (--gain-map drop "
        "leaves it out)");
    EXPECT_EQ(readFile(file_), contents);
  }
}

TEST_F(JpegMetadata, SegmentsBetweenScansMoveBeforeThePictureInTheirOrder) {
  run("cjpeg -progressive -outfile " + file_ + " " + directory_.path("picture.ppm"));
  std::string contents = readFile(file_);
  const std::size_t lastScan = contents.rfind("\xFF\xDA");
  const std::size_t lastTables = contents.rfind("\xFF\xC4", lastScan);
  contents.insert(lastTables, std::string("\xFF\xFE\0\6late", 8));
  writeFile(file_, contents);
  ASSERT_TRUE(rewrite(file_, Adjustment::none));
  const auto segments = rawSegments(readFile(file_));
  ASSERT_EQ(segments.size(), 2U);
  EXPECT_EQ(segments[1], (RawSegment{0xFE, "late"}));
}

}  // namespace
}  // namespace kelvo::test
