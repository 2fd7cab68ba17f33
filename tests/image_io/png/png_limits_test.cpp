#include <gtest/gtest.h>

#include "platform/image_io/mapped_file.h"
#include "tests/image_io/png/png_test_support.h"

namespace kelvo::png_test {
namespace {

std::string openError(const Bytes& file, const Limits& limits = {}) {
  const auto source = kPngCodec.open(MappedFile::fromBytes(file), limits);
  return source.ok() ? "opened" : source.error().message;
}

Bytes fileOfSize(unsigned width, unsigned height, bool interlaced) {
  return file({{"IHDR", header(width, height, 8, 2, interlaced)}, {"IDAT", compressed(Bytes(9))}});
}

TEST(PngLimits, PixelsOverTheLimitAreRefusedWhenTheFileIsOpened) {
  const Bytes bytes = fileOfSize(100, 101, false);
  EXPECT_EQ(openError(bytes, {.maxPixels = 10'000}),
            "a picture of 100 x 101 pixels is over the limit of 10000 (--max-pixels)");
  EXPECT_EQ(openError(bytes, {.maxPixels = 10'100}), "opened");
}

TEST(PngLimits, ThePixelCountDoesNotOverflow) {
  EXPECT_EQ(openError(fileOfSize(0x7fffffff, 0x7fffffff, false)),
            "a picture of 2147483647 x 2147483647 pixels is over the limit of 1000000000 "
            "(--max-pixels)");
}

TEST(PngLimits, AnInterlacedPictureOverTheMemoryLimitIsRefused) {
  // 16 rows in flight and the picture: (100 + 16) · 300 bytes.
  const Bytes bytes = fileOfSize(100, 100, true);
  const auto source = openSource(bytes, {.maxMemoryBytes = 34'799});
  const auto image = source->image(0);
  ASSERT_FALSE(image.ok());
  EXPECT_EQ(image.error().message,
            "an interlaced picture of 100 x 100 pixels takes 34800 bytes of memory, over the limit "
            "of 34799 (--max-memory)");
  EXPECT_TRUE(openSource(bytes, {.maxMemoryBytes = 34'800})->image(0).ok());
}

TEST(PngLimits, RewritingAnInterlacedPictureTakesTwiceTheMemory) {
  const Bytes bytes = fileOfSize(100, 100, true);
  const auto writable = openSource(bytes, {.maxMemoryBytes = 64'799})->writable();
  ASSERT_FALSE(writable.ok());
  EXPECT_EQ(writable.error().message,
            "an interlaced picture of 100 x 100 pixels takes 64800 bytes of memory, over the limit "
            "of 64799 (--max-memory)");
  EXPECT_TRUE(openSource(bytes, {.maxMemoryBytes = 64'800})->writable().ok());
}

TEST(PngLimits, APictureOfVeryLongRowsIsRefused) {
  const Bytes bytes = fileOfSize(900'000'000, 1, false);
  const auto image = openSource(bytes)->image(0);
  ASSERT_FALSE(image.ok());
  EXPECT_EQ(image.error().message,
            "a picture of 900000000 x 1 pixels takes 43200000000 bytes of memory, over the limit "
            "of 4294967296 (--max-memory)");
}

TEST(PngLimits, MemoryCountsDoNotOverflow) {
  const Bytes bytes = fileOfSize(0x7fffffff, 0x7fffffff, true);
  const auto source = openSource(bytes, {.maxPixels = ~0ULL});
  EXPECT_FALSE(source->image(0).ok());
}

// A gigabyte of spaces in a megabyte: read as it stands, never unpacked.
TEST(PngLimits, ACompressedTextIsNotUnpacked) {
  const Bytes text = concat({fromText("Comment"), fromHex("0000"),
                             compressed(Bytes(std::size_t{64} << 20, std::byte{' '}))});
  const Bytes bytes = simpleFile(1, 1, 8, 2, {fromHex("010203")}, {{"zTXt", text}});
  EXPECT_EQ(openSource(bytes, {.maxMemoryBytes = 1000})->status().cause, "");
  EXPECT_EQ(dataOf(rewrite(bytes), "zTXt"), text);
}

TEST(PngLimits, PictureDataThatUnpacksToMoreThanThePictureIsDamage) {
  const Bytes bytes = file(
      {{"IHDR", header(1, 1, 8, 2, false)}, {"IDAT", compressed(Bytes(std::size_t{64} << 20))}});
  const auto read = tryPixels(bytes);
  ASSERT_FALSE(read.ok());
  EXPECT_EQ(read.error().message, "the picture data is damaged: IDAT: Too much image data");
}

TEST(PngLimits, HeadersThatMakeNoSenseAreRefused) {
  const auto openWith = [](unsigned width, unsigned depth, unsigned color) {
    return openError(file({{"IHDR", header(width, 1, depth, color, false)}}));
  };
  EXPECT_EQ(openWith(0, 8, 2), "a picture of 0 x 1 pixels makes no sense");
  EXPECT_EQ(openWith(0x80000000, 8, 2), "a picture of 2147483648 x 1 pixels makes no sense");
  EXPECT_EQ(openWith(1, 4, 2), "colour type 2 with 4 bits a sample is not known");
  EXPECT_EQ(openWith(1, 16, 3), "colour type 3 with 16 bits a sample is not known");
  EXPECT_EQ(openWith(1, 8, 5), "colour type 5 with 8 bits a sample is not known");
  Bytes odd = header(1, 1, 8, 2, false);
  odd[12] = std::byte{2};
  EXPECT_EQ(openError(file({{"IHDR", odd}})),
            "compression 0, filter 0 or interlace 2 is not known");
  EXPECT_EQ(openError(file({{"gAMA", fromHex("00000001")}, {"IHDR", header(1, 1, 8, 2, false)}})),
            "the file does not begin with a header chunk");
  EXPECT_EQ(openError(fromHex("89504e470d0a1a0a 0000")), "the file ends inside its header");
}

}  // namespace
}  // namespace kelvo::png_test
