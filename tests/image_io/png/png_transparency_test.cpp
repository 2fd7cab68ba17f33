#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

#include "tests/image_io/png/png_test_support.h"

// RGB files in which one colour stands for transparent.
namespace kelvo::png_test {
namespace {

using testing::ElementsAre;

// Renderer's pixels for the picture: transparent ones have colour 0.
template <std::size_t n>
CGImage renderedAs(const CGImage& image, const std::array<unsigned, n>& samples) {
  return CGImageCreateWithPixels(image.width, image.height,
                                 {4, SampleType::u8, AlphaInfo::premultipliedLast},
                                 fromNumbers({samples.begin(), samples.end()}), image.colorSpace);
}

Bytes threePixels() {
  return simpleFile(3, 1, 8, 2, {fromHex("0a141e 010203 0a141e")},
                    {{"tRNS", fromHex("000a 0014 001e")}});
}

TEST(PngTransparency, TheFileStaysRgbAndItsTransparentPixelsTransparent) {
  const Bytes after = rewrite(threePixels(), [](const CGImage& image) {
    return renderedAs<12>(image, {0, 0, 0, 0, 100, 110, 120, 255, 0, 0, 0, 0});
  });
  EXPECT_EQ(dataOf(after, "IHDR"), header(3, 1, 8, 2, false));
  EXPECT_EQ(dataOf(after, "tRNS"), fromHex("000a 0014 001e"));
  EXPECT_THAT(samples8(after), ElementsAre(10, 20, 30, 0, 100, 110, 120, 255, 10, 20, 30, 0));
  EXPECT_EQ(pixelsByOtherTool(after, "RGBA", 8),
            fromNumbers({10, 20, 30, 0, 100, 110, 120, 255, 10, 20, 30, 0}));
  EXPECT_TRUE(acceptedByPngcheck(after));
}

TEST(PngTransparency, AnUnchangedPictureComesBackAsItWas) {
  const Bytes before = threePixels();
  const Bytes after = rewrite(before);
  EXPECT_EQ(chunksWithoutData(after), chunksWithoutData(before));
  EXPECT_EQ(pixels(after), pixels(before));
}

TEST(PngTransparency, AnOpaquePixelThatTakesTheKeysColourDoesNotVanish) {
  const Bytes after = rewrite(threePixels(), [](const CGImage& image) {
    return renderedAs<12>(image, {0, 0, 0, 0, 10, 20, 30, 255, 0, 0, 0, 0});
  });
  // Black is the first colour that no opaque pixel has.
  EXPECT_EQ(dataOf(after, "tRNS"), fromHex("0000 0000 0000"));
  EXPECT_THAT(samples8(after), ElementsAre(0, 0, 0, 0, 10, 20, 30, 255, 0, 0, 0, 0));
}

TEST(PngTransparency, TheNextFreeColourIsTakenIfBlackIsUsedToo) {
  const Bytes after = rewrite(threePixels(), [](const CGImage& image) {
    return renderedAs<12>(image, {0, 0, 0, 0, 10, 20, 30, 255, 0, 0, 0, 255});
  });
  EXPECT_EQ(dataOf(after, "tRNS"), fromHex("0000 0000 0001"));
  EXPECT_THAT(samples8(after), ElementsAre(0, 0, 1, 0, 10, 20, 30, 255, 0, 0, 0, 255));
}

TEST(PngTransparency, TranslucentPixelsAreRefused) {
  const Bytes before = threePixels();
  const CGImage image =
      renderedAs<12>(*openSource(before)->image(0), {0, 0, 0, 0, 10, 20, 30, 128, 0, 0, 0, 255});
  const auto written = tryRewrite(before, image);
  ASSERT_FALSE(written.ok());
  EXPECT_EQ(written.error().message,
            "a pixel is translucent, and the file has room for transparent ones only");
}

TEST(PngTransparency, ADeepFilesKeyFollowsTheDepth) {
  const Bytes before = simpleFile(2, 1, 16, 2, {fromHex("8080 4040 ffff 0101 0202 0303")},
                                  {{"tRNS", fromHex("8080 4040 ffff")}});
  const Bytes after = rewrite(before);
  EXPECT_EQ(dataOf(after, "IHDR"), header(2, 1, 8, 2, false));
  EXPECT_EQ(dataOf(after, "tRNS"), fromHex("0080 0040 00ff"));
  EXPECT_THAT(samples8(after), ElementsAre(128, 64, 255, 0, 1, 2, 3, 255));
}

// Two 16-bit colours that are one at 8 bits: the key must not swallow the other.
TEST(PngTransparency, ANeighbourOfADeepKeyDoesNotVanishAtEightBits) {
  const Bytes before = simpleFile(2, 1, 16, 2, {fromHex("8080 8080 8080 8081 8080 8080")},
                                  {{"tRNS", fromHex("8080 8080 8080")}});
  const Bytes after = rewrite(before);
  EXPECT_EQ(dataOf(after, "tRNS"), fromHex("0000 0000 0000"));
  EXPECT_THAT(samples8(after), ElementsAre(0, 0, 0, 0, 128, 128, 128, 255));
}

TEST(PngTransparency, AKeptDepthKeepsTheDeepKey) {
  const Bytes before = simpleFile(2, 1, 16, 2, {fromHex("8080 8080 8080 8081 8080 8080")},
                                  {{"tRNS", fromHex("8080 8080 8080")}});
  const Bytes after = rewrite(before, renderedDeep, {.keepDepth = true});
  EXPECT_EQ(dataOf(after, "tRNS"), fromHex("8080 8080 8080"));
  EXPECT_EQ(pixels(after), pixels(before));
}

TEST(PngTransparency, ADeepPictureWhoseKeyIsTakenGetsAFreeOne) {
  const Bytes before = simpleFile(2, 1, 16, 2, {fromHex("8080 8080 8080 0001 0002 0003")},
                                  {{"tRNS", fromHex("8080 8080 8080")}});
  const Bytes after = rewrite(before,
                              [](const CGImage& image) {
                                // The opaque pixel becomes the key's colour.
                                Bytes pixels(8);
                                pixels = concat({pixels, fromHex("8080 8080 8080 ffff")});
                                return CGImageCreateWithPixels(
                                    2, 1, {4, SampleType::u16, AlphaInfo::premultipliedLast},
                                    pixels, image.colorSpace);
                              },
                              {.keepDepth = true});
  EXPECT_EQ(dataOf(after, "tRNS"), fromHex("0000 0000 0000"));
  EXPECT_THAT(samples16(after), ElementsAre(0, 0, 0, 0, 0x8080, 0x8080, 0x8080, 0xffff));
}

TEST(PngTransparency, APictureOfEveryColourIsRefused) {
  // 4096 x 4096 opaque pixels, no two alike, and one row more that is transparent.
  constexpr unsigned kSide = 4096;
  Bytes row(kSide * 3);
  const Bytes before = simpleFile(kSide, kSide + 1, 8, 2, std::vector<Bytes>(kSide + 1, row),
                                  {{"tRNS", fromHex("0000 0000 0000")}});
  Bytes pixels(std::size_t{kSide} * (kSide + 1) * 4);
  for (std::size_t i = 0; i < std::size_t{kSide} * kSide; ++i) {
    pixels[4 * i] = static_cast<std::byte>(i >> 16);
    pixels[4 * i + 1] = static_cast<std::byte>(i >> 8);
    pixels[4 * i + 2] = static_cast<std::byte>(i);
    pixels[4 * i + 3] = std::byte{255};
  }
  const CGImage image =
      CGImageCreateWithPixels(kSide, kSide + 1, {4, SampleType::u8, AlphaInfo::premultipliedLast},
                              std::move(pixels), CGColorSpaceCreateDeviceRGB());
  const auto written = tryRewrite(before, image);
  ASSERT_FALSE(written.ok());
  EXPECT_EQ(written.error().message,
            "the picture has every colour, and none is left for transparent pixels");
}

}  // namespace
}  // namespace kelvo::png_test
