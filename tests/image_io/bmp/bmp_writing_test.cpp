#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/image_io/bmp/bmp_test_support.h"

namespace kelvo::bmp_test {
namespace {

using testing::ElementsAre;

// Every place in which two files differ.
std::vector<std::size_t> differences(const Bytes& a, const Bytes& b) {
  EXPECT_EQ(a.size(), b.size());
  std::vector<std::size_t> result;
  for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
    if (a[i] != b[i]) result.push_back(i);
  }
  return result;
}

Adjust giving(std::vector<unsigned> samples) {
  return [samples](const CGImage& image) { return withSamples(image, samples); };
}

CGImage inverted(const CGImage& image) {
  CGImage result = rendered(image);
  if (image.palette) {
    Palette palette = *image.palette;
    for (auto& color : palette) {
      for (std::size_t k = 0; k < 3; ++k) color[k] = static_cast<std::uint8_t>(255 - color[k]);
    }
    result.palette = std::make_shared<const Palette>(palette);
    return result;
  }
  Bytes pixels = *readAllPixels(result);
  const std::size_t step = result.layout.components;
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    const auto most = step == 4 ? pixels[i / 4 * 4 + 3] : std::byte{255};
    if (step == 3 || i % 4 != 3) {
      pixels[i] =
          static_cast<std::byte>(std::to_integer<int>(most) - std::to_integer<int>(pixels[i]));
    }
  }
  return CGImageCreateWithPixels(result.width, result.height, result.layout, std::move(pixels),
                                 result.colorSpace);
}

TEST(BmpWriting, AFileOfAnyKindWhosePictureIsNotChangedComesBackByteForByte) {
  for (const Named& kind : everyKind()) {
    EXPECT_THAT(differences(rewrite(kBmpCodec, kind.file), kind.file), ElementsAre()) << kind.name;
  }
}

TEST(BmpWriting, InvertingTwiceComesBackByteForByte) {
  for (const Named& kind : everyKind()) {
    const Bytes once = rewrite(kBmpCodec, kind.file, inverted);
    EXPECT_NE(once, kind.file) << kind.name;
    EXPECT_EQ(rewrite(kBmpCodec, once, inverted), kind.file) << kind.name;
  }
}

TEST(BmpWriting, OfAnIndexedFileTheTableAloneChanges) {
  for (const Named& kind : everyKind()) {
    const auto image = openSource(kBmpCodec, kind.file)->image(0);
    if (!image->palette) continue;
    const Bytes after = rewrite(kBmpCodec, kind.file, inverted);
    const bool core = kind.file[14] == std::byte{12};
    const std::size_t table = 14 + std::to_integer<std::size_t>(kind.file[14]);
    const std::size_t step = core ? 3 : 4;
    for (const std::size_t at : differences(after, kind.file)) {
      EXPECT_GE(at, table) << kind.name;
      EXPECT_LT(at, table + step * image->palette->size()) << kind.name;
      EXPECT_NE((at - table) % step, 3U) << kind.name;
    }
  }
}

TEST(BmpWriting, BytesBetweenRowsStay) {
  const Bytes before = build({.width = 1, .height = 2, .pixels = fromHex("010203 aa 040506 bb")});
  const Bytes after = rewrite(kBmpCodec, before, giving({1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(Bytes(after.end() - 8, after.end()), fromHex("060504 aa 030201 bb"));
}

TEST(BmpWriting, TopDownFilesStayTopDown) {
  const Bytes before = build({.width = 1, .height = -2, .pixels = Bytes(8)});
  const Bytes after = rewrite(kBmpCodec, before, giving({1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(Bytes(after.end() - 8, after.end()), fromHex("030201 00 060504 00"));
}

// 8 bits become n bits as v (2^n - 1) / 255, to the nearest: 100 of 255 is 12.2 of 31, 129 is 15.7
// of 31 and 31.9 of 63, 4 is 0.49 of 31.
TEST(BmpWriting, SamplesAreRoundedToTheFilesOwnBits) {
  const Bytes five = build({.width = 2, .bits = 16, .pixels = words({0x8000, 0})});
  const Bytes after = rewrite(kBmpCodec, five, giving({100, 129, 4, 255, 5, 0}));
  EXPECT_EQ(Bytes(after.end() - 4, after.end()),
            words({0x8000 | 12 << 10 | 16 << 5 | 0, 31 << 10 | 1 << 5 | 0}));
  const Bytes six = build({.width = 2,
                           .bits = 16,
                           .compression = 3,
                           .masks = {0xf800, 0x7e0, 0x1f},
                           .pixels = words({0, 0})});
  const Bytes afterSix = rewrite(kBmpCodec, six, giving({100, 129, 4, 255, 5, 0}));
  EXPECT_EQ(Bytes(afterSix.end() - 4, afterSix.end()),
            words({12 << 11 | 32 << 5 | 0, 31 << 11 | 1 << 5 | 0}));
}

TEST(BmpWriting, EveryLevelOfFewBitsSurvives) {
  for (const unsigned bits : {1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U}) {
    const unsigned most = (1U << bits) - 1;
    std::vector<unsigned> values;
    for (unsigned v = 0; v <= most; ++v) values.push_back(v | v << 8 | v << 16);
    const Bytes file = build({.width = static_cast<std::int32_t>(values.size()),
                              .bits = 32,
                              .compression = 3,
                              .masks = {most, most << 8, most << 16},
                              .pixels = dwords(values)});
    EXPECT_EQ(rewrite(kBmpCodec, file), file) << bits;
  }
}

TEST(BmpWriting, BitsThatAreNoChannelsStay) {
  const Bytes before = build({.width = 1, .bits = 32, .pixels = dwords({0xab000000})});
  const Bytes after = rewrite(kBmpCodec, before, giving({1, 2, 3}));
  EXPECT_EQ(Bytes(after.end() - 4, after.end()), dwords({0xab010203}));
}

// 10 bits of 8: 100 is 401.2 of 1023, 1 is 4.01.
TEST(BmpWriting, DeepChannelsAreFilledFromEightBitsOrFromSixteen) {
  const Bytes before = build({.width = 1,
                              .bits = 32,
                              .compression = 3,
                              .masks = {0x3ff00000, 0xffc00, 0x3ff},
                              .pixels = dwords({0x40000000 | 401U << 20 | 5U << 10 | 1023U})});
  const Bytes after = rewrite(kBmpCodec, before, giving({100, 1, 255}));
  EXPECT_EQ(Bytes(after.end() - 4, after.end()),
            dwords({0x40000000 | 401U << 20 | 4U << 10 | 1023U}));
  EXPECT_EQ(rewrite(kBmpCodec, before, renderedDeep, {.keepDepth = true}), before);
  const auto wrong = tryRewrite(kBmpCodec, before, renderedDeep);
  ASSERT_FALSE(wrong.ok());
  EXPECT_EQ(wrong.error().message, "pixels of 8 bits a sample were expected");
}

// 50 of alpha 100 is 127.5, in whole numbers (255 * 50 + 50) / 100 = 128.
TEST(BmpWriting, AlphaIsWrittenStraightAndTransparentPixelsBlack) {
  const Bytes before = build({.headerSize = 108,
                              .width = 3,
                              .bits = 32,
                              .compression = 3,
                              .masks = {0xff0000, 0xff00, 0xff, 0xff000000},
                              .pixels = dwords({0x64112233, 0x00445566, 0xff778899})});
  const Bytes after =
      rewrite(kBmpCodec, before, giving({50, 100, 0, 100, 0, 0, 0, 0, 1, 2, 3, 255}));
  EXPECT_EQ(Bytes(after.end() - 12, after.end()), dwords({0x6480ff00, 0x00000000, 0xff010203}));
  const auto opaque = tryRewrite(kBmpCodec, before, [](const CGImage& image) {
    return CGImageCreateWithPixels(3, 1, {.components = 3}, Bytes(9), image.colorSpace);
  });
  ASSERT_FALSE(opaque.ok());
  EXPECT_EQ(opaque.error().message, "the picture has lost its alpha");
}

TEST(BmpWriting, AnAlphaOfZerosStays) {
  const Bytes before = build({.headerSize = 108,
                              .width = 1,
                              .bits = 32,
                              .compression = 3,
                              .masks = {0xff0000, 0xff00, 0xff, 0xff000000},
                              .pixels = dwords({0x00010203})});
  const Bytes after = rewrite(kBmpCodec, before, giving({7, 8, 9}));
  EXPECT_EQ(Bytes(after.end() - 4, after.end()), dwords({0x00070809}));
}

TEST(BmpWriting, TallPicturesAreWrittenStripByStrip) {
  // 3 MB: more than one strip, and a last one that is shorter.
  const Bytes before =
      convertedTo("-size 1000x1001 -seed 1 plasma:fractal", "-type TrueColor BMP3:");
  EXPECT_EQ(rewrite(kBmpCodec, before), before);
  const Bytes after = rewrite(kBmpCodec, before, inverted);
  EXPECT_EQ(pixelsByOtherTool(after, "bmp", "RGB"),
            *readAllPixels(inverted(*openSource(kBmpCodec, before)->image(0))));
}

TEST(BmpWriting, OtherToolsReadWhatIsWritten) {
  for (const Named& kind : everyKind()) {
    if (!kind.otherToolsCanRead) continue;
    const Bytes after = rewrite(kBmpCodec, kind.file, inverted);
    const bool alpha = openSource(kBmpCodec, kind.file)->image(0)->layout.components == 4;
    EXPECT_EQ(pixels(kBmpCodec, after), pixelsByOtherTool(after, "bmp", alpha ? "RGBA" : "RGB"))
        << kind.name;
  }
}

TEST(BmpWriting, WhatTheFileHasNoRoomForIsRefused) {
  const Bytes indexed =
      build({.bits = 1, .table = fromHex("0a0b0c00 14151600"), .pixels = Bytes(4)});
  const auto lost = tryRewrite(kBmpCodec, indexed, [](const CGImage& image) {
    CGImage other = image;
    other.palette = nullptr;
    return other;
  });
  ASSERT_FALSE(lost.ok());
  EXPECT_EQ(lost.error().message, "the picture has lost its colour table");
  const auto translucent = tryRewrite(kBmpCodec, indexed, [](const CGImage& image) {
    CGImage other = image;
    other.palette = std::make_shared<const Palette>(Palette{{1, 2, 3, 255}, {1, 2, 3, 254}});
    return other;
  });
  ASSERT_FALSE(translucent.ok());
  EXPECT_EQ(translucent.error().message,
            "a colour is not opaque, and the file has no room for its alpha");
  const auto longer = tryRewrite(kBmpCodec, indexed, [](const CGImage& image) {
    CGImage other = image;
    other.palette = std::make_shared<const Palette>(Palette(3));
    return other;
  });
  ASSERT_FALSE(longer.ok());
  EXPECT_EQ(longer.error().message, "the colour table has become one of 3 colours");
  const Bytes direct = build({.pixels = Bytes(4)});
  const auto alpha = tryRewrite(kBmpCodec, direct, [](const CGImage& image) {
    return CGImageCreateWithPixels(1, 1, {.components = 4, .alpha = AlphaInfo::premultipliedLast},
                                   Bytes(4), image.colorSpace);
  });
  ASSERT_FALSE(alpha.ok());
  EXPECT_EQ(alpha.error().message, "RGB pixels with the file's alpha were expected");
  const auto profile = tryRewrite(kBmpCodec, direct, [](const CGImage& image) {
    CGImage other = image;
    other.colorSpace = std::make_shared<const CGColorSpace>(
        CGColorSpace{.model = ColorModel::rgb, .profile = fromText("yours")});
    return other;
  });
  ASSERT_FALSE(profile.ok());
  EXPECT_EQ(profile.error().message, "the colour profile is not that of the file");
}

}  // namespace
}  // namespace kelvo::bmp_test
