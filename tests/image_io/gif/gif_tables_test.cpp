#include <gtest/gtest.h>

#include "platform/image_io/mapped_file.h"
#include "platform/image_io/output_file.h"
#include "tests/image_io/gif/gif_test_support.h"

namespace kelvo::gif_test {
namespace {

std::string frame(const std::vector<unsigned>& indices, unsigned packed = 0) {
  return descriptor(0, 0, static_cast<unsigned>(indices.size()), 1, packed) + pictureData(indices);
}

// Each byte of a table with `offset` added.
std::string plus(std::string table, unsigned offset) {
  for (char& c : table) c = static_cast<char>(static_cast<unsigned char>(c) + offset);
  return table;
}

std::string entry(const std::string& table, std::size_t index) {
  return table.substr(3 * index, 3);
}

TEST(GifTables, FramesThatShareATableAndMapItAlikeGoOnSharingIt) {
  const std::string before =
      screen(2, 1, 128 | 1) + kColors + frame({0, 1}) + frame({2, 3}) + kTrailer;
  const std::string after =
      rewrite(before, [](const CGImage& image, std::size_t) { return shifted(image, 0); });
  EXPECT_EQ(after,
            screen(2, 1, 128 | 1) + plus(kColors, 4) + frame({0, 1}) + frame({2, 3}) + kTrailer);
}

// `shifted` adds 4 to the colours of frame 0, 68 to those of frame 1, 132 to those of frame 2.
TEST(GifTables, FramesThatMapTheSharedTableOtherwiseThanTheFirstGetTheirOwn) {
  const std::string before = screen(2, 1, 128 | 1) + kColors + frame({0, 1}) + control(0, 7, 0) +
                             frame({2, 3}) + frame({1, 1}, 64) + kTrailer;
  const std::string own = descriptor(0, 0, 2, 1, 128 | 1) + plus(kColors, 68) + pictureData({2, 3});
  const std::string interlaced =
      descriptor(0, 0, 2, 1, 128 | 64 | 1) + plus(kColors, 132) + pictureData({1, 1});
  EXPECT_EQ(rewrite(before, shifted), screen(2, 1, 128 | 1) + plus(kColors, 4) + frame({0, 1}) +
                                          control(0, 7, 0) + own + interlaced + kTrailer);
}

TEST(GifTables, ATableOfItsOwnKeepsSizeAndSortFlagOfTheSharedOne) {
  for (unsigned bits = 1; bits <= 8; ++bits) {
    for (const bool sorted : {false, true}) {
      std::string table;
      for (unsigned i = 0; i < 3U << bits; ++i) table += static_cast<char>(i);
      // What stands where the frame's size and sort flag would be means nothing before.
      const std::string before = screen(2, 1, 128 | (sorted ? 8U : 0U) | (bits - 1)) + table +
                                 frame({0, 1}) + frame({0, 1}, sorted ? 0x05 : 0x25) + kTrailer;
      const std::string after = rewrite(before, shifted);
      const auto parts = partsOf(after);
      ASSERT_EQ(parts.size(), 8U);
      EXPECT_EQ(parts[4].bytes, descriptor(0, 0, 2, 1, 128 | (sorted ? 32U : 0U) | (bits - 1)));
      EXPECT_EQ(parts[5].kind, "local table");
      EXPECT_EQ(parts[5].bytes, plus(table, 68));
      EXPECT_EQ(parts[1].bytes, plus(table, 4));
    }
  }
}

TEST(GifTables, LocalTablesAreMappedInPlace) {
  const std::string local = descriptor(0, 0, 2, 1, 128 | 1) + kOtherColors + pictureData({2, 3});
  const std::string before =
      screen(2, 1, 128 | 1) + kColors + local + frame({0, 1}) + local + kTrailer;
  const auto mapped = [](unsigned offset) {
    return descriptor(0, 0, 2, 1, 128 | 1) + plus(kOtherColors, offset) + pictureData({2, 3});
  };
  // Frame 1 is the first one that uses the shared table.
  EXPECT_EQ(rewrite(before, shifted), screen(2, 1, 128 | 1) + plus(kColors, 68) + mapped(4) +
                                          frame({0, 1}) + mapped(132) + kTrailer);
}

TEST(GifTables, FilesWithoutASharedTableHaveNoneAfterwards) {
  const std::string before =
      screen(2, 1, 0) + descriptor(0, 0, 2, 1, 128 | 1) + kColors + pictureData({2, 3}) + kTrailer;
  EXPECT_EQ(rewrite(before, shifted), screen(2, 1, 0) + descriptor(0, 0, 2, 1, 128 | 1) +
                                          plus(kColors, 4) + pictureData({2, 3}) + kTrailer);
}

TEST(GifTables, ASharedTableThatNoFrameUsesFollowsTheFirstFramesColours) {
  const std::string odd = hex("c0c1c2");
  const std::string shared = entry(kColors, 3) + odd + entry(kColors, 0) + entry(kOtherColors, 0);
  const auto local = [](const std::string& colors) {
    return descriptor(0, 0, 2, 1, 128 | 1) + colors + pictureData({2, 3});
  };
  const std::string before =
      screen(2, 1, 128 | 1, 2) + shared + local(kColors) + local(kOtherColors) + kTrailer;
  const std::string expected =
      plus(entry(kColors, 3), 4) + odd + plus(entry(kColors, 0), 4) + entry(kOtherColors, 0);
  EXPECT_EQ(tablesOf(rewrite(before, shifted)),
            expected + plus(kColors, 4) + plus(kOtherColors, 68));
}

TEST(GifTables, ATransparentEntryThatNoFrameShowsStaysAsItWas) {
  const std::string before = screen(2, 1, 128 | 1, 3) + kColors + control(1, 0, 3) + frame({0, 3}) +
                             control(1, 0, 3) + frame({1, 3}) + kTrailer;
  const std::string after =
      rewrite(before, [](const CGImage& image, std::size_t) { return shifted(image, 0); });
  EXPECT_EQ(tablesOf(after), plus(kColors.substr(0, 9), 4) + entry(kColors, 3));
  EXPECT_EQ(pixels(after, 0), plus(entry(kColors, 0), 4) + '\xff' + entry(kColors, 3) + '\0');
}

TEST(GifTables, ATransparentEntryThatAnotherFrameShowsIsMappedForIt) {
  for (const bool transparentFirst : {true, false}) {
    const std::string transparent = control(1, 0, 3) + frame({0, 3});
    const std::string before =
        screen(2, 1, 128 | 1) + kColors +
        (transparentFirst ? transparent + frame({1, 3}) : frame({1, 3}) + transparent) + kTrailer;
    const std::string after = rewrite(before, negated);
    EXPECT_EQ(tablesOf(after), "\xfe\xfd\xfc\xee\xed\xec\xde\xdd\xdc\xce\xcd\xcc");
    EXPECT_EQ(partsWithoutTables(after), partsWithoutTables(before));
  }
}

TEST(GifTables, ATransparentEntryFollowsAnEntryOfTheSameColour) {
  const std::string colors = kColors.substr(0, 9) + entry(kColors, 1);
  const std::string before =
      screen(2, 1, 128 | 1, 3) + colors + control(1, 0, 3) + frame({0, 3}) + kTrailer;
  EXPECT_EQ(tablesOf(rewrite(before, shifted)), plus(colors, 4));
}

TEST(GifTables, TransparentEntriesOfTwoFramesAreSettledByEachOther) {
  const std::string before = screen(2, 1, 128 | 1) + kColors + control(1, 0, 3) + frame({0, 3}) +
                             control(1, 0, 0) + frame({0, 3}) + kTrailer;
  const std::string after = rewrite(before, negated);
  EXPECT_EQ(tablesOf(after), "\xfe\xfd\xfc\xee\xed\xec\xde\xdd\xdc\xce\xcd\xcc");
}

TEST(GifTables, ATransparentIndexBeyondTheTableChangesNothing) {
  const std::string before = screen(4, 1, 128) + kColors.substr(0, 6) + control(1, 0, 200) +
                             frame({0, 1, 1, 0}) + kTrailer;
  EXPECT_EQ(tablesOf(rewrite(before, shifted)), plus(kColors.substr(0, 6), 4));
}

std::string rewriteError(const std::string& file, const Adjust& adjust) {
  const auto written = tryRewrite(file, adjust);
  return written.ok() ? "written" : written.error().message;
}

std::string smallFile() {
  return screen(2, 1, 128 | 1) + kColors + control(1, 0, 3) + frame({0, 1}) + kTrailer;
}

TEST(GifTables, ColoursThatBecomeTranslucentAreRefused) {
  for (const std::size_t changed : {0U, 3U}) {
    EXPECT_EQ(rewriteError(smallFile(),
                           [&](const CGImage& image, std::size_t) {
                             Palette palette = *image.palette;
                             palette[changed][3] = 100;
                             CGImage result = image;
                             result.palette = std::make_shared<const Palette>(palette);
                             return result;
                           }),
              "a colour has become more or less transparent, which a GIF file cannot tell");
  }
}

TEST(GifTables, PicturesThatAreNotTheFramesAreRefused) {
  EXPECT_EQ(rewriteError(smallFile(),
                         [](const CGImage& image, std::size_t) {
                           CGImage result = image;
                           result.palette = nullptr;
                           return result;
                         }),
            "the picture has lost its colour table");
  EXPECT_EQ(rewriteError(smallFile(),
                         [](const CGImage& image, std::size_t) {
                           CGImage result = image;
                           result.palette = std::make_shared<const Palette>(5);
                           return result;
                         }),
            "the colour table has become one of 5 colours");
  EXPECT_EQ(rewriteError(smallFile(),
                         [](const CGImage& image, std::size_t) {
                           CGImage result = image;
                           result.width = 7;
                           return result;
                         }),
            "the picture has become 7 x 1 pixels");
}

TEST(GifTables, FramesOutOfOrderMissingOrFromAnotherFileAreRefused) {
  const std::string bytes =
      screen(2, 1, 128 | 1) + kColors + frame({0, 1}) + frame({0, 1}) + kTrailer;
  const auto source = openSource(bytes);
  const auto other = openSource(bytes);
  const auto image = source->image(0);
  ASSERT_TRUE(image.ok());
  OutputFile out(-1);
  const auto writer = kGifCodec.createWriter(out, 2, {});
  ASSERT_TRUE(writer.ok());
  const std::string notNext = "a frame is not the next one of this GIF file";
  EXPECT_EQ((*writer)->addImage(*image, **source->properties(1)).error().message, notNext);
  EXPECT_TRUE((*writer)->addImage(*image, **source->properties(0)).ok());
  EXPECT_EQ((*writer)->addImage(*image, **source->properties(0)).error().message, notNext);
  EXPECT_EQ((*writer)->addImage(*image, **other->properties(1)).error().message, notNext);
  EXPECT_EQ((*writer)->finish().error().message, "the new file lacks frames");
  const auto single = kGifCodec.createWriter(out, 1, {});
  EXPECT_EQ((*single)->addImage(*image, **source->properties(0)).error().message,
            "the new file has another frame count");
}

}  // namespace
}  // namespace kelvo::gif_test
