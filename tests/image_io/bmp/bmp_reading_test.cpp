#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/image_io/bmp/bmp_test_support.h"

namespace kelvo::bmp_test {
namespace {

using testing::ElementsAre;

TEST(BmpReading, OnlyKnownHeadersAreTaken) {
  for (const unsigned size : {12U, 16U, 40U, 52U, 56U, 64U, 108U, 124U}) {
    EXPECT_TRUE(kBmpCodec.matches(build({.headerSize = size, .pixels = Bytes(4)}))) << size;
  }
  for (const unsigned size : {0U, 13U, 41U, 66U, 125U, 0x100000U}) {
    Bytes head = concat({fromText("BM"), Bytes(12), littleEndian(size, 4)});
    EXPECT_FALSE(kBmpCodec.matches(head)) << size;
  }
  EXPECT_FALSE(kBmpCodec.matches(fromText("BA and whatever follows it")));
  EXPECT_FALSE(kBmpCodec.matches(fromText("BM")));
}

TEST(BmpReading, RowsAreStoredFromTheBottomUnlessTheHeightIsNegative) {
  const Bytes pixels = fromHex("010203 00 040506 00");
  EXPECT_THAT(samples(build({.width = 1, .height = 2, .pixels = pixels})),
              ElementsAre(6, 5, 4, 3, 2, 1));
  EXPECT_THAT(samples(build({.width = 1, .height = -2, .pixels = pixels})),
              ElementsAre(3, 2, 1, 6, 5, 4));
}

TEST(BmpReading, IndicesAreReadFromTheHighBitsOn) {
  const Bytes table = fromHex("0a0b0c00 141516ff 1e1f2000 28292a00");
  EXPECT_THAT(samples(build({.width = 2,
                             .bits = 1,
                             .table = fromHex("0a0b0c00 141516ff"),
                             .pixels = fromHex("40000000")})),
              ElementsAre(12, 11, 10, 22, 21, 20));
  EXPECT_THAT(
      samples(build({.width = 4, .bits = 2, .table = table, .pixels = fromHex("1b000000")})),
      ElementsAre(12, 11, 10, 22, 21, 20, 32, 31, 30, 42, 41, 40));
  EXPECT_THAT(
      samples(build(
          {.width = 2, .bits = 4, .colorsUsed = 4, .table = table, .pixels = fromHex("31000000")})),
      ElementsAre(42, 41, 40, 22, 21, 20));
  EXPECT_THAT(
      samples(build(
          {.width = 2, .bits = 8, .colorsUsed = 4, .table = table, .pixels = fromHex("03010000")})),
      ElementsAre(42, 41, 40, 22, 21, 20));
}

TEST(BmpReading, TheColourTableIsThePicturesPalette) {
  const Bytes file =
      build({.headerSize = 12, .bits = 1, .table = fromHex("010203 040506"), .pixels = Bytes(4)});
  const auto image = openSource(kBmpCodec, file)->image(0);
  ASSERT_NE(image->palette, nullptr);
  EXPECT_EQ(*image->palette, (Palette{{3, 2, 1, 255}, {6, 5, 4, 255}}));
  EXPECT_EQ(image->layout, PixelLayout{.components = 3});
}

TEST(BmpReading, ATableThatIsNotToldToBeShortEndsAtThePixels) {
  const Bytes file = build({.width = 2,
                            .bits = 8,
                            .table = fromHex("0a0b0c00 141516ff"),
                            .pixels = fromHex("01000000")});
  EXPECT_THAT(samples(file), ElementsAre(22, 21, 20, 12, 11, 10));
  EXPECT_EQ(openSource(kBmpCodec, file)->image(0)->palette->size(), 2U);
}

TEST(BmpReading, ALongerTableThanIndicesCanReachIsCutForReading) {
  const Bytes file = build({.bits = 1,
                            .colorsUsed = 3,
                            .table = fromHex("0a0b0c00 14151600 99999900"),
                            .pixels = fromHex("80000000")});
  EXPECT_EQ(openSource(kBmpCodec, file)->image(0)->palette->size(), 2U);
  EXPECT_THAT(samples(file), ElementsAre(22, 21, 20));
}

// n bits become 255 v / (2^n - 1), to the nearest: 1 of 31 is 8.2, 17 of 31 is 139.8, 1 of 63 is
// 4.05, 32 of 63 is 129.5 to 130, 1 of 15 is 17, 1 of 1 is 255.
TEST(BmpReading, SamplesOfFewBitsAreScaledToTheNearest) {
  EXPECT_THAT(samples(build({.width = 2, .bits = 16, .pixels = words({0x0431, 0xffe0})})),
              ElementsAre(8, 8, 140, 255, 255, 0));
  EXPECT_THAT(samples(build({.width = 2,
                             .bits = 16,
                             .compression = 3,
                             .masks = {0xf800, 0x7e0, 0x1f},
                             .pixels = words({0x0821, 0x0400})})),
              ElementsAre(8, 4, 8, 0, 130, 0));
  EXPECT_THAT(samples(build({.width = 2,
                             .bits = 16,
                             .compression = 3,
                             .masks = {0x1, 0xf0, 0x6},
                             .pixels = words({0x0011, 0x0002})})),
              ElementsAre(255, 17, 0, 0, 0, 85));
}

TEST(BmpReading, MasksMayStandAnywhereInThePixel) {
  const Bytes file = build({.width = 1,
                            .bits = 32,
                            .compression = 3,
                            .masks = {0xff, 0xff000000, 0xff00},
                            .pixels = dwords({0x11992233})});
  EXPECT_THAT(samples(file), ElementsAre(0x33, 0x11, 0x22));
}

// 10 bits: 1023 is 65535, 512 is 32799.5 to 32800, 1 is 64.06.
TEST(BmpReading, ChannelsOfMoreThanEightBitsAreReadAtFullDepth) {
  const Bytes file = build({.width = 2,
                            .bits = 32,
                            .compression = 3,
                            .masks = {0x3ff00000, 0xffc00, 0x3ff},
                            .pixels = dwords({0x3ff80001, 0})});
  const auto source = openSource(kBmpCodec, file);
  EXPECT_EQ(source->info(0).bitsPerComponent, 10U);
  EXPECT_EQ(source->image(0)->layout, (PixelLayout{.components = 3, .type = SampleType::u16}));
  EXPECT_THAT(samples16(file), ElementsAre(65535, 32800, 64, 0, 0, 0));
}

TEST(BmpReading, TheFourthByteMeansNothingWithoutAMask) {
  for (const unsigned size : {40U, 124U}) {
    const Bytes file = build({.headerSize = size,
                              .width = 1,
                              .bits = 32,
                              .masks = size == 124 ? std::vector<unsigned>{0, 0, 0, 0xff000000}
                                                   : std::vector<unsigned>(),
                              .pixels = dwords({0x80010203})});
    EXPECT_EQ(openSource(kBmpCodec, file)->image(0)->layout, PixelLayout{.components = 3});
    EXPECT_THAT(samples(file), ElementsAre(1, 2, 3));
  }
}

TEST(BmpReading, AlphaIsStraight) {
  const Bytes file = build({.headerSize = 108,
                            .width = 2,
                            .bits = 32,
                            .compression = 3,
                            .masks = {0xff0000, 0xff00, 0xff, 0xff000000},
                            .pixels = dwords({0x80ff0102, 0x00040506})});
  EXPECT_EQ(openSource(kBmpCodec, file)->image(0)->layout,
            (PixelLayout{.components = 4, .alpha = AlphaInfo::last}));
  EXPECT_THAT(samples(file), ElementsAre(255, 1, 2, 128, 4, 5, 6, 0));
}

TEST(BmpReading, AnAlphaThatIsZeroEverywhereIsNone) {
  const Bytes file = build({.headerSize = 108,
                            .width = 2,
                            .bits = 32,
                            .compression = 3,
                            .masks = {0xff0000, 0xff00, 0xff, 0xff000000},
                            .pixels = dwords({0x00010203, 0x00040506})});
  EXPECT_EQ(openSource(kBmpCodec, file)->image(0)->layout, PixelLayout{.components = 3});
  EXPECT_THAT(samples(file), ElementsAre(1, 2, 3, 4, 5, 6));
}

std::vector<unsigned> indices(const Bytes& file) {
  std::vector<unsigned> result;
  const std::vector<unsigned> all = samples(file);
  for (std::size_t i = 0; i < all.size(); i += 3) result.push_back(all[i]);
  return result;
}

// Entry i is red i.
Bytes redTable(std::size_t entries) {
  Bytes table;
  for (std::size_t i = 0; i < entries; ++i) table = concat({table, littleEndian(i << 16, 4)});
  return table;
}

TEST(BmpReading, RunsOfEightBitIndices) {
  // Bottom row: a run of 3, a literal of 3 with padding. Then a move of 1 to the right, 1 up, and a
  // run of 2; what is left out has the first colour.
  const Bytes file = build({.width = 6,
                            .height = 3,
                            .bits = 8,
                            .compression = 1,
                            .table = redTable(256),
                            .pixels = fromHex("0307 0003010203ff 0000 0002 0101 0209 0001")});
  EXPECT_EQ(openSource(kBmpCodec, file)->status().cause, "");
  EXPECT_THAT(indices(file), ElementsAre(0, 9, 9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7, 7, 7, 1, 2, 3));
}

TEST(BmpReading, RunsOfFourBitIndices) {
  // A run of 5 takes turns; a literal of 3 nibbles takes two bytes, one of 5 three and one more.
  const Bytes file = build({.width = 8,
                            .height = 2,
                            .bits = 4,
                            .compression = 2,
                            .table = redTable(16),
                            .pixels = fromHex("0512 0003 4560 0000 0005 789a b0ff 0301 0001")});
  EXPECT_EQ(openSource(kBmpCodec, file)->status().cause, "");
  EXPECT_THAT(indices(file), ElementsAre(7, 8, 9, 10, 11, 0, 1, 0, 1, 2, 1, 2, 1, 4, 5, 6));
}

TEST(BmpReading, RunsMayFillRowsToAMultipleOfFourBytes) {
  const Bytes eight = build({.width = 1,
                             .height = 2,
                             .bits = 8,
                             .compression = 1,
                             .colorsUsed = 8,
                             .table = redTable(8),
                             .pixels = fromHex("0107 03ff 0000 0406 0001")});
  EXPECT_EQ(openSource(kBmpCodec, eight)->status().cause, "");
  EXPECT_THAT(indices(eight), ElementsAre(6, 7));
  const Bytes four = build({.width = 3,
                            .bits = 4,
                            .compression = 2,
                            .table = redTable(16),
                            .pixels = fromHex("0812 0001")});
  EXPECT_EQ(openSource(kBmpCodec, four)->status().cause, "");
  EXPECT_THAT(indices(four), ElementsAre(1, 2, 1));
}

TEST(BmpReading, RunsMayEndWithoutTheirMark) {
  const Bytes whole = build({.width = 2,
                             .height = 2,
                             .bits = 8,
                             .compression = 1,
                             .table = redTable(256),
                             .pixels = fromHex("0201 0000 0202")});
  EXPECT_EQ(openSource(kBmpCodec, whole)->status().cause, "");
  EXPECT_THAT(indices(whole), ElementsAre(2, 2, 1, 1));
}

TEST(BmpReading, TheProfileIsFound) {
  const Bytes profile = fromText("a profile that nobody looks into");
  const Bytes file = build({.headerSize = 124, .pixels = Bytes(4), .profile = profile});
  EXPECT_EQ(openSource(kBmpCodec, file)->image(0)->colorSpace->profile, profile);
  EXPECT_TRUE(
      openSource(kBmpCodec, build({.pixels = Bytes(4)}))->image(0)->colorSpace->profile.empty());
}

class BmpOtherTools : public testing::TestWithParam<const char*> {};

TEST_P(BmpOtherTools, ReadTheSamePixels) {
  const Bytes file = convertedTo("-size 37x23 -seed 4 plasma:fractal", GetParam());
  EXPECT_EQ(openSource(kBmpCodec, file)->status().cause, "");
  const std::vector<unsigned> found = samples(file);
  const std::vector<unsigned> expected = numbers(pixelsByOtherTool(file, "bmp", "RGB"));
  ASSERT_EQ(found.size(), expected.size());
  // ImageMagick scales 5 and 6 bits by repeating them, which is off by one in places.
  const unsigned most =
      std::string_view(GetParam()).find("subtype") != std::string_view::npos ? 1 : 0;
  for (std::size_t i = 0; i < found.size(); ++i) {
    ASSERT_LE(std::max(found[i], expected[i]) - std::min(found[i], expected[i]), most) << i;
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, BmpOtherTools,
                         testing::Values("-type TrueColor BMP3:", "-type TrueColor BMP2:",
                                         "-type TrueColor BMP:", "-colors 200 -type Palette BMP3:",
                                         "-colors 200 -type Palette -compress RLE BMP3:",
                                         "-colors 12 -type Palette BMP3:",
                                         "-colors 12 -type Palette BMP2:", "-monochrome BMP3:",
                                         "-type TrueColor -define bmp:subtype=RGB565 BMP:",
                                         "-type TrueColor -define bmp:subtype=RGB555 BMP:"));

TEST(BmpReading, OtherToolsReadEveryKindTheSame) {
  for (const Named& kind : everyKind()) {
    if (!kind.otherToolsCanRead) continue;
    const bool alpha = openSource(kBmpCodec, kind.file)->image(0)->layout.components == 4;
    EXPECT_EQ(pixels(kBmpCodec, kind.file),
              pixelsByOtherTool(kind.file, "bmp", alpha ? "RGBA" : "RGB"))
        << kind.name;
  }
}

TEST(BmpReading, EachPassOverThePictureBeginsAnewAndRowsComeInAnyNumber) {
  for (const Named& kind : everyKind()) {
    const auto image = openSource(kBmpCodec, kind.file)->image(0);
    const Bytes whole = *readAllPixels(*image);
    EXPECT_EQ(*readAllPixels(*image), whole) << kind.name;
    const auto rows = *image->openRows();
    Bytes all;
    for (std::uint32_t y = 0; y < image->height; ++y) {
      Bytes row(image->width * image->layout.pixelBytes());
      ASSERT_TRUE(rows->read(row, 1).ok());
      all = concat({all, row});
    }
    EXPECT_EQ(all, whole) << kind.name;
  }
}

}  // namespace
}  // namespace kelvo::bmp_test
