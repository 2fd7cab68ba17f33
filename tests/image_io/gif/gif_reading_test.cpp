#include <gtest/gtest.h>

#include <numeric>
#include <random>

#include "platform/image_io/mapped_file.h"
#include "tests/image_io/gif/gif_test_support.h"

namespace kelvo::gif_test {
namespace {

std::vector<unsigned> noise(std::size_t count, unsigned colors) {
  std::mt19937 random(7);
  std::vector<unsigned> indices(count);
  // Runs and noise, so that there are long strings and short ones.
  for (std::size_t i = 0; i < count; ++i) {
    indices[i] =
        i > 0 && random() % 3 != 0 ? indices[i - 1] : static_cast<unsigned>(random() % colors);
  }
  return indices;
}

// A table in which entry i is (i, 255 - i, i / 2).
std::string tableOf(unsigned entries) {
  std::string table;
  for (unsigned i = 0; i < entries; ++i) {
    table += {static_cast<char>(i), static_cast<char>(255 - i), static_cast<char>(i / 2)};
  }
  return table;
}

std::string lookedUp(const std::vector<unsigned>& indices, const std::string& table) {
  std::string pixels;
  for (const unsigned index : indices) pixels += table.substr(3 * std::size_t{index}, 3);
  return pixels;
}

std::string fileOf(unsigned width, unsigned height, unsigned tableBits,
                   const std::vector<unsigned>& indices, const Lzw& options,
                   unsigned imagePacked = 0) {
  return screen(width, height, 128 | (tableBits - 1)) + tableOf(1U << tableBits) +
         descriptor(0, 0, width, height, imagePacked) + pictureData(indices, options) + kTrailer;
}

TEST(GifReading, TheTypeIsFoundByContentForBothVersions) {
  for (const char* const version : {"87a", "89a"}) {
    std::string file = fileOf(2, 1, 2, {0, 1}, {});
    file.replace(3, 3, version);
    EXPECT_TRUE(kGifCodec.matches(std::as_bytes(std::span(file)))) << version;
    EXPECT_EQ(openSource(file)->status().cause, "");
  }
  const std::string other = "GIF90a" + std::string(60, '\0');
  EXPECT_FALSE(kGifCodec.matches(std::as_bytes(std::span(other))));
  const std::string small = "GIF8";
  EXPECT_FALSE(kGifCodec.matches(std::as_bytes(std::span(small))));
  EXPECT_EQ(kGifCodec.type, "com.compuserve.gif");
}

TEST(GifReading, IndicesOfEverySizeAreLookedUp) {
  for (unsigned bits = 1; bits <= 8; ++bits) {
    for (const bool clearWhenFull : {true, false}) {
      const auto indices = noise(200 * 300, 1U << bits);
      const std::string file =
          fileOf(200, 300, bits, indices,
                 {.codeSize = std::max(2U, bits), .clearWhenFull = clearWhenFull});
      EXPECT_TRUE(pixels(file) == lookedUp(indices, tableOf(1U << bits))) << bits << " bits";
      std::string opaque = coalescedByOtherTool(file, "-alpha off");
      std::string byOtherTool;
      for (std::size_t i = 0; i < opaque.size(); i += 4) byOtherTool += opaque.substr(i, 3);
      EXPECT_TRUE(pixels(file) == byOtherTool) << bits << " bits";
    }
  }
}

TEST(GifReading, CodesThatBeginWithOneBitAreRead) {
  const auto indices = noise(1000, 2);
  const std::string file = fileOf(100, 10, 1, indices, {.codeSize = 1});
  EXPECT_TRUE(pixels(file) == lookedUp(indices, tableOf(2)));
}

TEST(GifReading, AStringMayBeginWithTheOneBeforeItAndItsOwnFirstIndex) {
  // All alike: each string is the one before and one more.
  const std::vector<unsigned> indices(500, 3);
  EXPECT_EQ(pixels(fileOf(100, 5, 2, indices, {})), lookedUp(indices, tableOf(4)));
}

TEST(GifReading, NeitherTheFirstClearCodeNorTheEndCodeIsMissed) {
  const auto indices = noise(600, 4);
  for (const bool clearFirst : {true, false}) {
    for (const bool endCode : {true, false}) {
      EXPECT_EQ(pixels(fileOf(30, 20, 2, indices, {.clearFirst = clearFirst, .endCode = endCode})),
                lookedUp(indices, tableOf(4)));
    }
  }
}

TEST(GifReading, SubBlocksOfAnySizeAreJoined) {
  const auto indices = noise(50 * 40, 16);
  const std::string data = compressed(indices, {.codeSize = 4});
  for (const std::size_t size : {1U, 2U, 3U, 7U, 254U, 255U}) {
    const std::string file = screen(50, 40, 128 | 3) + tableOf(16) + descriptor(0, 0, 50, 40, 0) +
                             '\4' + subBlocks(data, size) + kTrailer;
    EXPECT_TRUE(pixels(file) == lookedUp(indices, tableOf(16))) << size;
  }
}

// From the format's description: every 8th row from 0, every 8th from 4, every 4th from 2, every
// 2nd from 1.
TEST(GifReading, InterlacedRowsComeInTheirPlaces) {
  for (unsigned height = 1; height <= 20; ++height) {
    std::vector<unsigned> order;
    for (unsigned y = 0; y < height; y += 8) order.push_back(y);
    for (unsigned y = 4; y < height; y += 8) order.push_back(y);
    for (unsigned y = 2; y < height; y += 4) order.push_back(y);
    for (unsigned y = 1; y < height; y += 2) order.push_back(y);
    std::vector<unsigned> stored;
    for (const unsigned y : order) stored.insert(stored.end(), 3, y);
    std::vector<unsigned> expected;
    for (unsigned y = 0; y < height; ++y) expected.insert(expected.end(), 3, y);
    const std::string file = fileOf(3, height, 5, stored, {.codeSize = 5}, 64);
    EXPECT_EQ(pixels(file), lookedUp(expected, tableOf(32))) << height << " rows";
  }
}

TEST(GifReading, TheTransparentIndexHasAlphaNought) {
  const std::string file = screen(4, 1, 128 | 1) + kColors + control(1, 0, 2) +
                           descriptor(0, 0, 4, 1, 0) + pictureData({0, 1, 2, 3}) + kTrailer;
  const auto image = openSource(file)->image(0);
  ASSERT_TRUE(image.ok());
  EXPECT_EQ(image->layout, (PixelLayout{4, SampleType::u8, AlphaInfo::last}));
  EXPECT_EQ(pixels(file), hex("010203ff 111213ff 21222300 313233ff"));
  ASSERT_NE(image->palette, nullptr);
  EXPECT_EQ(*image->palette, (Palette{{0x01, 0x02, 0x03, 255},
                                      {0x11, 0x12, 0x13, 255},
                                      {0x21, 0x22, 0x23, 0},
                                      {0x31, 0x32, 0x33, 255}}));
}

TEST(GifReading, AControlWithoutTheTransparencyFlagMakesNothingTransparent) {
  const std::string file = screen(4, 1, 128 | 1) + kColors + control(0, 0, 2) +
                           descriptor(0, 0, 4, 1, 0) + pictureData({0, 1, 2, 3}) + kTrailer;
  EXPECT_EQ(pixels(file), kColors);
}

TEST(GifReading, AControlGoesWithTheNextPictureOrTextAlone) {
  const std::string picture = descriptor(0, 0, 1, 1, 0) + pictureData({2});
  const std::string text = hex("2101 0c 0000000000000000 0808 01 02") + subBlocks("hi");
  const std::string file = screen(1, 1, 128 | 1) + kColors + control(1, 0, 2) + picture + picture +
                           control(1, 0, 2) + text + picture + control(1, 0, 2) + control(0, 0, 2) +
                           picture + kTrailer;
  EXPECT_EQ(pixels(file, 0), hex("21222300"));
  EXPECT_EQ(pixels(file, 1), hex("212223"));
  EXPECT_EQ(pixels(file, 2), hex("212223"));
  EXPECT_EQ(pixels(file, 3), hex("212223"));
}

TEST(GifReading, ATransparentIndexMayLieBeyondTheTable) {
  const std::string file = screen(4, 1, 128) + kColors.substr(0, 6) + control(1, 0, 3) +
                           descriptor(0, 0, 4, 1, 0) + pictureData({0, 3, 1, 3}) + kTrailer;
  EXPECT_EQ(pixels(file), hex("010203ff 00000000 111213ff 00000000"));
}

TEST(GifReading, EveryFrameHasItsSizeAndItsTable) {
  const std::string file = screen(9, 9, 128 | 1) + kColors + descriptor(0, 0, 3, 1, 0) +
                           pictureData({0, 1, 2}) + descriptor(5, 6, 1, 2, 128 | 1) + kOtherColors +
                           pictureData({3, 0}) + kTrailer;
  const auto source = openSource(file);
  ASSERT_EQ(source->count(), 2U);
  EXPECT_EQ(source->info(0).width, 3U);
  EXPECT_EQ(source->info(0).height, 1U);
  EXPECT_EQ(source->info(1).width, 1U);
  EXPECT_EQ(source->info(1).height, 2U);
  EXPECT_EQ(source->info(1).bitsPerComponent, 8U);
  EXPECT_EQ(pixels(file, 0), hex("010203 111213 212223"));
  EXPECT_EQ(pixels(file, 1), hex("717273 414243"));
}

TEST(GifReading, OtherToolsSeeTheSamePixels) {
  for (const char* const options :
       {"", "-interlace GIF", "-colors 5", "-monochrome", "+dither -remap netscape:"}) {
    const std::string file = animation(options, "61x47");
    const std::string expected = coalescedByOtherTool(file);
    std::string all;
    for (std::size_t frame = 0; frame < 3; ++frame) {
      const std::string rgb = pixels(file, frame);
      ASSERT_EQ(rgb.size(), 61U * 47 * 3);
      for (std::size_t i = 0; i < rgb.size(); i += 3) all += rgb.substr(i, 3) + '\xff';
    }
    EXPECT_TRUE(all == expected) << options;
  }
}

}  // namespace
}  // namespace kelvo::gif_test
