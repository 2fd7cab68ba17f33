#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/image_io/png/png_test_support.h"

namespace kelvo::png_test {
namespace {

// Chunks before the palette, before the data and after it, known and unknown, in an odd order.
std::vector<Chunk> beforePalette() {
  return {{"gAMA", fromHex("0000b18f")},
          {"vpAg", fromHex("000102")},
          {"iCCP", fromText("junk")},
          {"cHRM", Bytes(32, std::byte{1})},
          {"sBIT", fromHex("080808")}};
}
std::vector<Chunk> beforeData() {
  return {{"tEXt", concat({fromText("Title"), fromHex("00"), fromText("one")})},
          {"pHYs", fromHex("00000b13 00000b13 01")},
          {"tEXt", concat({fromText("Title"), fromHex("00"), fromText("again")})},
          {"prIv", fromText("private and unknown")},
          {"zTXt", fromText("not even compressed")},
          {"tIME", fromHex("07e6 01 02 03 04 05")},
          {"sPLT", concat({fromText("p"), fromHex("00 08 010203ff0001")})}};
}
std::vector<Chunk> afterData() {
  return {
      {"iTXt", concat({fromText("XML:com.adobe.xmp"), fromHex("0000000000"), fromText("<x/>")})},
      {"prIv", {}},
      {"tEXt", concat({fromText("End"), fromHex("00")})}};
}

std::vector<Chunk> joined(std::vector<std::vector<Chunk>> lists) {
  std::vector<Chunk> all;
  for (const auto& list : lists) all.insert(all.end(), list.begin(), list.end());
  return all;
}

TEST(PngKeeping, EveryChunkOfAnRgbFileStaysInItsPlaceByteForByte) {
  const Bytes before = simpleFile(
      2, 1, 8, 2, {fromHex("010203 040506")},
      joined({beforePalette(), {{"bKGD", fromHex("0001 0002 0003")}}, beforeData()}), afterData());
  const Bytes after = rewrite(before, [](const CGImage& image) {
    return CGImageCreateWithPixels(2, 1, image.layout, fromHex("ffeedd ccbbaa"), image.colorSpace);
  });
  EXPECT_EQ(chunksWithoutData(after), chunksWithoutData(before));
  EXPECT_EQ(pixels(after), fromHex("ffeedd ccbbaa"));
  std::vector<std::string> names;
  for (const Chunk& chunk : chunksOf(after)) names.push_back(chunk.type);
  EXPECT_THAT(names, testing::ElementsAre("IHDR", "gAMA", "vpAg", "iCCP", "cHRM", "sBIT", "bKGD",
                                          "tEXt", "pHYs", "tEXt", "prIv", "zTXt", "tIME", "sPLT",
                                          "IDAT", "iTXt", "prIv", "tEXt", "IEND"));
}

TEST(PngKeeping, EveryChunkOfAnIndexedFileStaysInItsPlaceByteForByte) {
  const Bytes before = simpleFile(2, 1, 8, 3, {fromHex("0001")},
                                  joined({beforePalette(),
                                          {{"PLTE", fromHex("010203 040506")},
                                           {"hIST", fromHex("0001 0001")},
                                           {"tRNS", fromHex("40")},
                                           {"bKGD", fromHex("01")}},
                                          beforeData()}),
                                  afterData());
  EXPECT_EQ(rewrite(before), before);
}

TEST(PngKeeping, ASuggestedTableOfAnRgbFileStays) {
  const Bytes before =
      simpleFile(1, 1, 8, 2, {fromHex("010203")},
                 {{"PLTE", fromHex("0a0b0c 0d0e0f")}, {"hIST", fromHex("00010002")}});
  EXPECT_EQ(chunksWithoutData(rewrite(before)), chunksWithoutData(before));
}

TEST(PngKeeping, WhatOtherToolsWriteStays) {
  const TemporaryFolder folder;
  const std::string path = folder.path("a.png");
  run("convert -size 40x30 -seed 2 plasma:fractal -units PixelsPerInch -density 300 "
      "-set comment 'a comment' -depth 8 PNG24:" +
      path);
  run("exiftool -q -overwrite_original -Artist=Somebody -GPSLatitude=12.5 -GPSLatitudeRef=S "
      "-Orientation#=6 -XMP-dc:Title=Title -PNG:Author=Me " +
      path);
  const Bytes before = readFile(path);
  const Bytes after = rewrite(before);
  EXPECT_EQ(chunksWithoutData(after), chunksWithoutData(before));
  EXPECT_FALSE(dataOf(after, "eXIf").empty());
  EXPECT_TRUE(acceptedByPngcheck(after));
  writeFile(folder.path("b.png"), after);
  const std::string tags = run("exiftool -s -G1 " + folder.path("b.png"));
  EXPECT_THAT(tags, testing::HasSubstr("Somebody"));
  EXPECT_THAT(tags, testing::HasSubstr("Rotate 90 CW"));
  EXPECT_THAT(tags, testing::HasSubstr("Title"));
}

TEST(PngKeeping, BytesAfterTheEndStayByteForByte) {
  const Bytes extra = fromText("something that another program put here");
  const Bytes before = concat({simpleFile(1, 1, 8, 2, {fromHex("010203")}), extra});
  EXPECT_EQ(openSource(before)->status().cause, "");
  const Bytes after = rewrite(before);
  ASSERT_GT(after.size(), extra.size());
  EXPECT_EQ(Bytes(after.end() - static_cast<std::ptrdiff_t>(extra.size()), after.end()), extra);
  EXPECT_EQ(pixels(after), fromHex("010203"));
}

TEST(PngKeeping, TheProfileStaysAndAnotherOneReplacesIt) {
  Bytes profile(150, std::byte{7});
  const Bytes size = fromHex("00000096");
  std::copy(size.begin(), size.end(), profile.begin());
  const Bytes data = concat({fromText("mine"), fromHex("0000"), compressed(profile)});
  const Bytes before = simpleFile(1, 1, 8, 2, {fromHex("010203")}, {{"iCCP", data}});
  EXPECT_EQ(dataOf(rewrite(before), "iCCP"), data);
  const Bytes untagged = rewrite(before, [](const CGImage& image) {
    CGImage copy = image;
    copy.colorSpace = CGColorSpaceCreateDeviceRGB();
    return copy;
  });
  EXPECT_EQ(dataOf(untagged, "iCCP"), data);
  const Bytes changed = rewrite(before, [](const CGImage& image) {
    CGColorSpace space = *image.colorSpace;
    space.profile.back() = std::byte{8};
    CGImage copy = image;
    copy.colorSpace = std::make_shared<const CGColorSpace>(space);
    return copy;
  });
  profile.back() = std::byte{8};
  EXPECT_EQ((*openSource(changed)->image(0)).colorSpace->profile, profile);
  EXPECT_TRUE(acceptedByPngcheck(simpleFile(1, 1, 8, 2, {fromHex("010203")})));
}

TEST(PngKeeping, SignificantBitsAndBackgroundFollowTheDepth) {
  // 0x8080/257 = 128, 0x0080/257 = 0.498, 0xffff/257 = 255
  const Bytes before =
      simpleFile(1, 1, 16, 2, {fromHex("000000000000")},
                 {{"sBIT", fromHex("0a 05 10")}, {"bKGD", fromHex("8080 0080 ffff")}});
  const Bytes after = rewrite(before);
  EXPECT_EQ(dataOf(after, "sBIT"), fromHex("08 05 08"));
  EXPECT_EQ(dataOf(after, "bKGD"), fromHex("0080 0000 00ff"));
  EXPECT_TRUE(acceptedByPngcheck(after));
  const Bytes deep = rewrite(before, renderedDeep, {.keepDepth = true});
  EXPECT_EQ(chunksWithoutData(deep), chunksWithoutData(before));
}

TEST(PngKeeping, AnIndexIntoTheOldDataGoesWithIt) {
  const Chunk index = {"iDOT", Bytes(28, std::byte{1})};
  const Bytes rgb = simpleFile(1, 1, 8, 2, {fromHex("010203")}, {index});
  EXPECT_TRUE(dataOf(rewrite(rgb), "iDOT").empty());
  const Bytes indexed =
      simpleFile(1, 1, 8, 3, {fromHex("00")}, {{"PLTE", fromHex("010203")}, index});
  EXPECT_EQ(rewrite(indexed), indexed);
}

TEST(PngKeeping, TheThumbnailInsideExifGoes) {
  const TemporaryFolder folder;
  const std::string path = folder.path("a.png");
  run("convert -size 40x30 xc:red -depth 8 PNG24:" + path);
  run("convert -size 16x16 -seed 1 plasma:fractal -strip " + folder.path("t.jpg"));
  run("convert -size 16x16 xc:blue " + folder.path("carrier.jpg"));
  run("exiftool -q -overwrite_original -Artist=Somebody '-ThumbnailImage<=" + folder.path("t.jpg") +
      "' " + folder.path("carrier.jpg"));
  run("exiftool -q -b -Exif " + folder.path("carrier.jpg") + " > " + folder.path("exif.bin"));
  const Bytes exif = readFile(folder.path("exif.bin"));
  const Bytes thumbnail = readFile(folder.path("t.jpg"));
  const auto holdsThumbnail = [&](const Bytes& bytes) {
    return std::search(bytes.begin(), bytes.end(), thumbnail.begin(), thumbnail.end()) !=
           bytes.end();
  };
  ASSERT_TRUE(holdsThumbnail(exif));
  const Bytes before = simpleFile(1, 1, 8, 2, {fromHex("010203")}, {{"eXIf", exif}});
  const Bytes after = rewrite(before);
  EXPECT_EQ(dataOf(after, "eXIf").size(), exif.size());
  EXPECT_FALSE(holdsThumbnail(after));
  writeFile(folder.path("b.png"), after);
  const std::string tags = run("exiftool -s -warning -all " + folder.path("b.png"));
  EXPECT_THAT(tags, testing::HasSubstr("Somebody"));
  EXPECT_THAT(tags, testing::Not(testing::HasSubstr("Thumbnail")));
  EXPECT_THAT(tags, testing::Not(testing::HasSubstr("Warning")));
}

}  // namespace
}  // namespace kelvo::png_test
