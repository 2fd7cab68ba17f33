#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/image_io/gif/gif_test_support.h"

namespace kelvo::gif_test {
namespace {

using testing::HasSubstr;

// What a file may hold besides pictures.
const std::string kLoop = hex("21ff 0b") + "NETSCAPE2.0" + hex("03 01 0700 00");
const std::string kComment = hex("21fe") + subBlocks("a comment") + hex("21fe 00");
const std::string kText = hex("2101 0c 0000000008000800 0808 01 02") + subBlocks("text");
const std::string kUnknown = hex("2142") + subBlocks(std::string(600, 'u'), 100);
const std::string kProfile = hex("21ff 0b") + "ICCRGBG1012" + subBlocks(std::string(300, 'p'));
// The packet is not in sub-blocks; 258 bytes after it lead any reader of sub-blocks to its end.
std::string xmp() {
  std::string magic = "\x01";
  for (int i = 255; i >= 0; --i) magic += static_cast<char>(i);
  return hex("21ff 0b") + "XMP DataXMP" + "<x:xmpmeta>words and words</x:xmpmeta>" + magic + '\0';
}
const std::string kPicture = descriptor(0, 0, 2, 2, 0) + pictureData({0, 1, 2, 3});

std::string fileWith(const std::string& before, const std::string& after = "") {
  return screen(2, 2, 128 | 1) + kColors + before + kPicture + after + kTrailer;
}

// Rewritten with opposite colours: the table alone differs.
void expectTablesAloneToChange(const std::string& before) {
  const std::string after = rewrite(before, negated);
  EXPECT_EQ(partsWithoutTables(after), partsWithoutTables(before));
  EXPECT_NE(tablesOf(after), tablesOf(before));
  EXPECT_EQ(after.size(), before.size());
  EXPECT_EQ(rewrite(before, unchanged), before);
}

TEST(GifKeeping, Comments) { expectTablesAloneToChange(fileWith(kComment, kComment)); }
TEST(GifKeeping, TheLoopCount) { expectTablesAloneToChange(fileWith(kLoop)); }
TEST(GifKeeping, ApplicationBlocksBetweenFrames) {
  expectTablesAloneToChange(fileWith(kPicture + kLoop, kLoop));
}
TEST(GifKeeping, AColourProfile) { expectTablesAloneToChange(fileWith(kProfile)); }
TEST(GifKeeping, AnXmpPacket) { expectTablesAloneToChange(fileWith("", xmp())); }
TEST(GifKeeping, UnknownExtensions) { expectTablesAloneToChange(fileWith(kUnknown, kUnknown)); }
TEST(GifKeeping, PlainText) {
  expectTablesAloneToChange(fileWith(control(4, 100, 0) + kText, kText));
}
TEST(GifKeeping, BytesAfterTheTrailer) {
  expectTablesAloneToChange(fileWith("") + "something put here " + kTrailer + hex("000102"));
}
TEST(GifKeeping, DelaysAndDisposalAndUserInput) {
  for (unsigned packed = 0; packed < 256; packed += 2) {
    expectTablesAloneToChange(fileWith(control(packed, 0x1234 + packed, 9)));
  }
}
TEST(GifKeeping, AControlThatBelongsToNothing) {
  expectTablesAloneToChange(fileWith(control(0, 1, 0) + control(0, 2, 0), control(1, 3, 1)));
}
TEST(GifKeeping, RectanglesInsideAndOutsideTheScreen) {
  expectTablesAloneToChange(fileWith(descriptor(1, 1, 1, 1, 0) + pictureData({2}) +
                                     descriptor(500, 600, 2, 1, 0) + pictureData({2, 1})));
}
TEST(GifKeeping, InterlacedFrames) {
  expectTablesAloneToChange(fileWith(descriptor(0, 0, 1, 4, 64) + pictureData({2, 0, 1, 3})));
}
TEST(GifKeeping, SortFlagsAndReservedBits) {
  for (unsigned packed = 0; packed < 32; ++packed) {
    // Bits 3 and 4 of a frame are reserved; bit 5 says that its table is sorted.
    expectTablesAloneToChange(fileWith(
        descriptor(0, 0, 1, 1, packed << 3 & 0x38) + pictureData({2}) +
        descriptor(0, 0, 1, 1, 129 | (packed << 3 & 0x38)) + kOtherColors + pictureData({2})));
  }
  // A frame without a table of its own may have anything where its size would be.
  expectTablesAloneToChange(fileWith(descriptor(0, 0, 1, 1, 0x27) + pictureData({2})));
}
TEST(GifKeeping, ScreenSizeColourResolutionBackgroundAndAspect) {
  for (unsigned resolution = 0; resolution < 16; ++resolution) {
    expectTablesAloneToChange(screen(700, 3, 128 | resolution << 3 | 1, 3, 49) + kColors +
                              kPicture + kTrailer);
  }
  expectTablesAloneToChange(screen(0, 0, 128 | 1, 200, 255) + kColors + kPicture + kTrailer);
}
TEST(GifKeeping, TheOlderVersion) {
  std::string file = fileWith("");
  file.replace(0, 6, "GIF87a");
  expectTablesAloneToChange(file);
  EXPECT_TRUE(rewrite(file, negated).starts_with("GIF87a"));
}
TEST(GifKeeping, OddWaysOfCompressing) {
  const std::vector<unsigned> indices = {0, 1, 2, 3};
  const std::string data = compressed(indices, {});
  for (const std::string& stored :
       {subBlocks(data, 1), subBlocks(compressed(indices, {.clearFirst = false})),
        subBlocks(compressed(indices, {.endCode = false})), subBlocks(data + "after the end"),
        subBlocks(data) /* codes larger than needed */}) {
    expectTablesAloneToChange(fileWith(descriptor(0, 0, 2, 2, 0) + '\2' + stored));
  }
  expectTablesAloneToChange(
      fileWith(descriptor(0, 0, 2, 2, 0) + pictureData(indices, {.codeSize = 8})));
}

TEST(GifKeeping, WhatOtherToolsWrite) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.path("a.gif");
  const std::vector<std::string> files = {
      animation(""),
      animation("-interlace GIF"),
      animation("+dither -remap netscape:"),
      animation("-set comment words -set dispose previous -layers OptimizeTransparency"),
      [&] {
        test::writeFile(path, animation("-set dispose background"));
        test::run("gifsicle -O3 --colors 30 --no-warnings '" + path + "' -o '" + path + "'");
        return test::readFile(path);
      }(),
      [&] {
        test::writeFile(path, animation(""));
        test::run("gifsicle --no-warnings --interlace -c hello --loopcount=12 -d 3 --careful '" +
                  path + "' -o '" + path + "'");
        return test::readFile(path);
      }()};
  for (const std::string& file : files) {
    expectTablesAloneToChange(file);
    // The other tool tells the same of both: sizes, places, delays, disposal, loops, comments.
    const auto told = [&](const std::string& bytes) {
      test::writeFile(path, bytes);
      return test::run("gifsicle -I '" + path + "'");
    };
    const std::string before = told(file);
    EXPECT_EQ(told(rewrite(file, negated)), before);
    EXPECT_THAT(before, HasSubstr("3 images"));
  }
}

}  // namespace
}  // namespace kelvo::gif_test
