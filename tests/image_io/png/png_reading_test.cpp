#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/image_io/png/png_test_support.h"

namespace kelvo::png_test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

using Samples = std::vector<unsigned>;

CGImage imageOf(const Bytes& file) {
  const auto source = openSource(file);
  auto image = source->image(0);
  EXPECT_TRUE(image.ok()) << image.error().message;
  return *image;
}

TEST(PngReading, TellsWhatAFileIsByItsFirstBytes) {
  EXPECT_TRUE(kPngCodec.matches(simpleFile(1, 1, 8, 2, {fromHex("000000")})));
  EXPECT_FALSE(kPngCodec.matches(fromHex("89 50 4e 47 0d 0a 1a 0b 00 00")));
  EXPECT_FALSE(kPngCodec.matches(fromHex("89 50 4e 47")));
  EXPECT_EQ(kPngCodec.type, "public.png");
}

bool libraryIsLoaded() {
  void* const library = ::dlopen("libpng16.so.16", RTLD_NOW | RTLD_NOLOAD);
  if (library != nullptr) ::dlclose(library);
  return library != nullptr;
}

// In a process of its own, which has not opened a file before. Its exit status counts what is
// wrong.
TEST(PngReading, TheLibraryIsLoadedWithTheFirstFileOnly) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto check = [] {
    int wrong = libraryIsLoaded() ? 1 : 0;
    wrong += openSource(simpleFile(1, 1, 8, 2, {fromHex("000000")}))->count() == 1 ? 0 : 2;
    wrong += libraryIsLoaded() ? 0 : 4;
    return wrong;
  };
  EXPECT_EXIT(std::exit(check()), ::testing::ExitedWithCode(0), "");
}

TEST(PngReading, DeliversEightBitRgbAsItIs) {
  const Bytes bytes = simpleFile(2, 2, 8, 2, {fromHex("010203 fdfeff"), fromHex("0a141e 807f81")});
  const auto source = openSource(bytes);
  EXPECT_EQ(source->count(), 1U);
  EXPECT_EQ(source->info(0).width, 2U);
  EXPECT_EQ(source->info(0).height, 2U);
  EXPECT_EQ(source->info(0).bitsPerComponent, 8U);
  EXPECT_EQ(source->status().status, CGImageSourceStatus::complete);
  const CGImage image = imageOf(bytes);
  EXPECT_EQ(image.layout, (PixelLayout{3, SampleType::u8, AlphaInfo::none}));
  EXPECT_EQ(image.colorSpace->model, ColorModel::rgb);
  EXPECT_EQ(image.palette, nullptr);
  EXPECT_THAT(samples8(bytes), ElementsAre(1, 2, 3, 253, 254, 255, 10, 20, 30, 128, 127, 129));
}

TEST(PngReading, DeliversRgbaWithStraightAlpha) {
  const Bytes bytes = simpleFile(2, 1, 8, 6, {fromHex("c8640a 80 ffffff 00")});
  EXPECT_EQ(imageOf(bytes).layout, (PixelLayout{4, SampleType::u8, AlphaInfo::last}));
  EXPECT_THAT(samples8(bytes), ElementsAre(200, 100, 10, 128, 255, 255, 255, 0));
}

TEST(PngReading, DeliversSixteenBitSamplesInFull) {
  const Bytes rgb = simpleFile(1, 1, 16, 2, {fromHex("0001 1234 fffe")});
  EXPECT_EQ(imageOf(rgb).layout, (PixelLayout{3, SampleType::u16, AlphaInfo::none}));
  EXPECT_EQ(openSource(rgb)->info(0).bitsPerComponent, 16U);
  EXPECT_THAT(samples16(rgb), ElementsAre(1, 0x1234, 0xfffe));
  const Bytes rgba = simpleFile(1, 1, 16, 6, {fromHex("0001 1234 fffe 8000")});
  EXPECT_EQ(imageOf(rgba).layout, (PixelLayout{4, SampleType::u16, AlphaInfo::last}));
  EXPECT_THAT(samples16(rgba), ElementsAre(1, 0x1234, 0xfffe, 0x8000));
}

TEST(PngReading, LooksUpIndicesOfEveryDepth) {
  const Bytes table = fromHex("ff0000 00ff00 0000ff 0a0b0c");
  struct Case {
    unsigned depth;
    Bytes row;  // the indices 0 1 1 0 for one bit, else 3 1 0 2
  };
  for (const Case& c :
       {Case{2, fromHex("d2")}, Case{4, fromHex("3102")}, Case{8, fromHex("03010002")}}) {
    const Bytes bytes = simpleFile(4, 1, c.depth, 3, {c.row}, {{"PLTE", table}});
    EXPECT_EQ(imageOf(bytes).layout, (PixelLayout{3, SampleType::u8, AlphaInfo::none}));
    EXPECT_EQ(openSource(bytes)->info(0).bitsPerComponent, 8U);
    EXPECT_THAT(samples8(bytes), ElementsAre(10, 11, 12, 0, 255, 0, 255, 0, 0, 0, 0, 255))
        << c.depth << " bits";
  }
  const Bytes one = simpleFile(4, 1, 1, 3, {fromHex("60")}, {{"PLTE", fromHex("010203 fffefd")}});
  EXPECT_THAT(samples8(one), ElementsAre(1, 2, 3, 255, 254, 253, 255, 254, 253, 1, 2, 3));
}

TEST(PngReading, GivesTheColourTableWithItsAlphas) {
  const Bytes bytes =
      simpleFile(3, 1, 8, 3, {fromHex("000102")},
                 {{"PLTE", fromHex("010203 040506 070809")}, {"tRNS", fromHex("00 80")}});
  const CGImage image = imageOf(bytes);
  ASSERT_NE(image.palette, nullptr);
  EXPECT_EQ(*image.palette, (Palette{{1, 2, 3, 0}, {4, 5, 6, 128}, {7, 8, 9, 255}}));
  EXPECT_EQ(image.layout, (PixelLayout{4, SampleType::u8, AlphaInfo::last}));
  EXPECT_THAT(samples8(bytes), ElementsAre(1, 2, 3, 0, 4, 5, 6, 128, 7, 8, 9, 255));
}

TEST(PngReading, AColourTableOfOpaqueAlphasIsOpaque) {
  const Bytes bytes = simpleFile(1, 1, 8, 3, {fromHex("00")},
                                 {{"PLTE", fromHex("010203")}, {"tRNS", fromHex("ff")}});
  EXPECT_EQ(imageOf(bytes).layout, (PixelLayout{3, SampleType::u8, AlphaInfo::none}));
}

TEST(PngReading, AnIndexOutsideTheColourTableIsDamage) {
  const auto read =
      tryPixels(simpleFile(2, 1, 8, 3, {fromHex("0002")}, {{"PLTE", fromHex("010203 040506")}}));
  ASSERT_FALSE(read.ok());
  EXPECT_EQ(read.error().message, "a pixel has colour 2 of a table of 2");
}

TEST(PngReading, GrayFilesHaveAGrayColourModel) {
  const Bytes gray = simpleFile(2, 1, 8, 0, {fromHex("10f0")});
  EXPECT_EQ(imageOf(gray).colorSpace->model, ColorModel::gray);
  EXPECT_EQ(imageOf(gray).layout, (PixelLayout{1, SampleType::u8, AlphaInfo::none}));
  EXPECT_THAT(samples8(gray), ElementsAre(16, 240));
  const Bytes withAlpha = simpleFile(1, 1, 16, 4, {fromHex("1234 8000")});
  EXPECT_EQ(imageOf(withAlpha).layout, (PixelLayout{2, SampleType::u16, AlphaInfo::last}));
  EXPECT_THAT(samples16(withAlpha), ElementsAre(0x1234, 0x8000));
}

TEST(PngReading, SmallGraySamplesAreSpreadOverEightBits) {
  EXPECT_THAT(samples8(simpleFile(4, 1, 1, 0, {fromHex("a0")})), ElementsAre(255, 0, 255, 0));
  EXPECT_THAT(samples8(simpleFile(4, 1, 2, 0, {fromHex("1b")})), ElementsAre(0, 85, 170, 255));
  EXPECT_THAT(samples8(simpleFile(2, 1, 4, 0, {fromHex("1f")})), ElementsAre(17, 255));
}

TEST(PngReading, AGrayColourKeyBecomesAlpha) {
  const Bytes bytes = simpleFile(4, 1, 2, 0, {fromHex("1b")}, {{"tRNS", fromHex("0002")}});
  EXPECT_EQ(imageOf(bytes).layout, (PixelLayout{2, SampleType::u8, AlphaInfo::last}));
  EXPECT_THAT(samples8(bytes), ElementsAre(0, 255, 85, 255, 170, 0, 255, 255));
}

TEST(PngReading, AnRgbColourKeyBecomesAlpha) {
  const Bytes bytes = simpleFile(3, 1, 8, 2, {fromHex("010203 010204 010203")},
                                 {{"tRNS", fromHex("0001 0002 0003")}});
  EXPECT_EQ(imageOf(bytes).layout, (PixelLayout{4, SampleType::u8, AlphaInfo::last}));
  EXPECT_THAT(samples8(bytes), ElementsAre(1, 2, 3, 0, 1, 2, 4, 255, 1, 2, 3, 0));
}

TEST(PngReading, ASixteenBitColourKeyIsComparedInFull) {
  const Bytes bytes = simpleFile(2, 1, 16, 2, {fromHex("010203040506 010203040507")},
                                 {{"tRNS", fromHex("0102 0304 0506")}});
  EXPECT_THAT(samples16(bytes), ElementsAre(0x102, 0x304, 0x506, 0, 0x102, 0x304, 0x507, 0xffff));
}

TEST(PngReading, GammaAndProfilesChangeNoNumber) {
  const Bytes plain = simpleFile(1, 1, 8, 2, {fromHex("0a8020")});
  const Bytes tagged = simpleFile(1, 1, 8, 2, {fromHex("0a8020")},
                                  {{"gAMA", fromHex("00000001")},
                                   {"cHRM", Bytes(32)},
                                   {"iCCP", fromText("not a profile at all")}});
  EXPECT_EQ(pixels(tagged), pixels(plain));
  EXPECT_TRUE(imageOf(tagged).colorSpace->profile.empty());
}

TEST(PngReading, UnpacksTheColourProfile) {
  Bytes profile(200, std::byte{7});
  const Bytes size = fromHex("000000c8");
  std::copy(size.begin(), size.end(), profile.begin());
  const Bytes data = concat({fromText("name"), fromHex("0000"), compressed(profile)});
  const Bytes bytes = simpleFile(1, 1, 8, 2, {fromHex("000000")}, {{"iCCP", data}});
  EXPECT_EQ(imageOf(bytes).colorSpace->profile, profile);
}

TEST(PngReading, AProfileThatClaimsToBeHugeIsLeftAlone) {
  Bytes profile(200, std::byte{7});
  const Bytes size = fromHex("7fffffff");
  std::copy(size.begin(), size.end(), profile.begin());
  const Bytes data = concat({fromText("name"), fromHex("0000"), compressed(profile)});
  const Bytes bytes = simpleFile(1, 1, 8, 2, {fromHex("000000")}, {{"iCCP", data}});
  EXPECT_TRUE(imageOf(bytes).colorSpace->profile.empty());
}

TEST(PngReading, PictureDataMayBeSpreadOverManyChunks) {
  const Bytes whole = simpleFile(2, 1, 8, 2, {fromHex("010203 040506")});
  std::vector<Chunk> chunks = {{"IHDR", header(2, 1, 8, 2, false)}, {"IDAT", {}}};
  for (const std::byte b : dataOf(whole, "IDAT")) chunks.push_back({"IDAT", {b}});
  chunks.push_back({"IDAT", {}});
  EXPECT_THAT(samples8(file(chunks)), ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST(PngReading, EveryPassOverTheRowsIsItsOwn) {
  const CGImage image = imageOf(simpleFile(1, 2, 8, 2, {fromHex("010203"), fromHex("040506")}));
  auto first = image.openRows();
  auto second = image.openRows();
  ASSERT_TRUE(first.ok() && second.ok());
  Bytes a(3);
  Bytes b(6);
  ASSERT_TRUE((*first)->read(a, 1).ok());
  ASSERT_TRUE((*second)->read(b, 2).ok());
  EXPECT_EQ(a, fromHex("010203"));
  ASSERT_TRUE((*first)->read(a, 1).ok());
  EXPECT_EQ(a, fromHex("040506"));
  EXPECT_EQ(b, fromHex("010203040506"));
}

// Pictures of other tools' making, against those tools' own reading of them.
struct Made {
  const char* name;
  const char* options;  // of convert, after the picture and before the file
  const char* layout;
  unsigned depth;
};

class PngReadingOfOtherToolsFiles : public testing::TestWithParam<Made> {};

TEST_P(PngReadingOfOtherToolsFiles, HasThePixelsThatTheToolReads) {
  const TemporaryFolder folder;
  const Made& made = GetParam();
  run("convert -size 61x47 -seed 3 plasma:fractal -attenuate 0.3 +noise gaussian " +
      std::string(made.options) + folder.path("a.png"));
  const Bytes bytes = readFile(folder.path("a.png"));
  EXPECT_EQ(openSource(bytes)->status().cause, "");
  EXPECT_THAT(pixels(bytes), ElementsAreArray(pixelsByOtherTool(bytes, made.layout, made.depth)));
}

INSTANTIATE_TEST_SUITE_P(
    Files, PngReadingOfOtherToolsFiles,
    testing::Values(
        Made{"Rgb8", "-depth 8 PNG24:", "RGB", 8},
        Made{"Rgb8Interlaced", "-depth 8 -interlace PNG PNG24:", "RGB", 8},
        Made{"Rgb16", "-depth 16 PNG48:", "RGB", 16},
        Made{"Rgb16Interlaced", "-depth 16 -interlace PNG PNG48:", "RGB", 16},
        Made{"Rgba8", " -alpha set -channel A -fx i/w +channel -depth 8 PNG32:", "RGBA", 8},
        Made{"Rgba8Interlaced",
             " -alpha set -channel A -fx i/w +channel -depth 8 -interlace PNG PNG32:", "RGBA", 8},
        Made{"Rgba16", " -alpha set -channel A -fx i/w +channel -depth 16 PNG64:", "RGBA", 16},
        Made{"Palette8", "-colors 200 PNG8:", "RGB", 8},
        Made{"Palette4", "-colors 13 PNG8:", "RGB", 8},
        Made{"Palette2", "-colors 4 PNG8:", "RGB", 8},
        Made{"Palette1", "-colors 2 PNG8:", "RGB", 8},
        Made{"PaletteInterlaced", "-colors 100 -interlace PNG PNG8:", "RGB", 8},
        Made{"EveryFilter", "-depth 8 -define png:compression-filter=5 PNG24:", "RGB", 8},
        Made{"PaethFilter", "-depth 8 -define png:compression-filter=4 PNG24:", "RGB", 8}),
    [](const auto& made) { return std::string(made.param.name); });

}  // namespace
}  // namespace kelvo::png_test
