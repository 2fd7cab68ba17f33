#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>

#include "platform/image_io/output_file.h"
#include "tests/image_io/png/png_test_support.h"

namespace kelvo::png_test {
namespace {

using testing::ElementsAre;

constexpr EncodeOptions kKeepDepth = {.keepDepth = true};

Bytes made(const std::string& options, const std::string& size = "61x47") {
  const TemporaryFolder folder;
  run("convert -size " + size + " -seed 5 plasma:fractal -attenuate 0.3 +noise gaussian " +
      options + folder.path("a.png"));
  return readFile(folder.path("a.png"));
}

TEST(PngWriting, OpaquePicturesComeBackPixelForPixel) {
  for (const char* const options : {"-depth 8 PNG24:", "-depth 8 -interlace PNG PNG24:"}) {
    const Bytes before = made(options);
    const Bytes after = rewrite(before);
    EXPECT_EQ(pixelsByOtherTool(after, "RGB", 8), pixelsByOtherTool(before, "RGB", 8)) << options;
    EXPECT_EQ(dataOf(after, "IHDR"), dataOf(before, "IHDR")) << options;
    EXPECT_EQ(chunksWithoutData(after), chunksWithoutData(before)) << options;
    EXPECT_TRUE(acceptedByPngcheck(after)) << options;
  }
}

TEST(PngWriting, IndexedPicturesKeepTheirIndexStreamByteForByte) {
  for (const char* const options : {"-colors 200 PNG8:", "-colors 13 PNG8:", "-colors 4 PNG8:",
                                    "-colors 2 PNG8:", "-colors 100 -interlace PNG PNG8:"}) {
    const Bytes before = made(options);
    EXPECT_EQ(rewrite(before), before) << options;
  }
}

TEST(PngWriting, AnAdjustedColourTableIsWrittenAroundTheSameIndices) {
  const Bytes before =
      simpleFile(3, 1, 8, 3, {fromHex("000201")}, {{"PLTE", fromHex("010203 040506 070809")}});
  const Bytes after = rewrite(before, [](const CGImage& image) {
    CGImage changed = image;
    changed.palette =
        std::make_shared<const Palette>(Palette{{9, 8, 7, 255}, {6, 5, 4, 255}, {3, 2, 1, 255}});
    return changed;
  });
  EXPECT_EQ(dataOf(after, "PLTE"), fromHex("090807 060504 030201"));
  EXPECT_EQ(dataOf(after, "IDAT"), dataOf(before, "IDAT"));
  EXPECT_EQ(dataOf(after, "tRNS"), Bytes{});
  EXPECT_THAT(samples8(after), ElementsAre(9, 8, 7, 3, 2, 1, 6, 5, 4));
  EXPECT_TRUE(acceptedByPngcheck(after));
}

TEST(PngWriting, AColourTableKeepsAsManyAlphasAsItHad) {
  const Bytes before = simpleFile(3, 1, 8, 3, {fromHex("000201")},
                                  {{"PLTE", fromHex("010203 040506 070809")},
                                   {"pHYs", fromHex("00000001 00000001 00")},
                                   {"tRNS", fromHex("80ff")}});
  EXPECT_EQ(rewrite(before), before);
}

TEST(PngWriting, AnIndexedPictureWithoutItsColourTableIsRefused) {
  const Bytes before = simpleFile(1, 1, 8, 3, {fromHex("00")}, {{"PLTE", fromHex("010203")}});
  const auto source = openSource(before);
  CGImage image = *source->image(0);
  image.palette = nullptr;
  const auto written = tryRewrite(before, image);
  ASSERT_FALSE(written.ok());
  EXPECT_EQ(written.error().message, "the picture has lost its colour table");
}

TEST(PngWriting, RgbaWithoutTranslucentPixelsComesBackExactly) {
  Bytes row;
  Bytes expected;
  for (unsigned i = 0; i < 256; ++i) {
    const bool opaque = i % 3 != 0;
    row = concat({row, fromNumbers({i, 255 - i, i / 2, opaque ? 255U : 0U})});
    expected = concat(
        {expected, opaque ? fromNumbers({i, 255 - i, i / 2, 255}) : fromNumbers({0, 0, 0, 0})});
  }
  const Bytes after = rewrite(simpleFile(256, 1, 8, 6, {row}));
  EXPECT_EQ(pixels(after), expected);
  EXPECT_EQ(dataOf(after, "IHDR"), header(256, 1, 8, 6, false));
}

// Premultiplied 8-bit colour has a + 1 levels, so that a level comes back to within half a step of
// 255/a, and half a level for the rounding of the result.
TEST(PngWriting, TranslucentPixelsComeBackAsCloselyAsPremultiplicationAllows) {
  std::vector<Bytes> rows;
  for (unsigned a = 1; a < 256; ++a) {
    Bytes row;
    for (unsigned c = 0; c < 256; ++c) row = concat({row, fromNumbers({c, 255 - c, c / 3, a})});
    rows.push_back(row);
  }
  const Bytes before = simpleFile(256, 255, 8, 6, rows);
  const std::vector<unsigned> expected = samples8(before);
  const std::vector<unsigned> actual = samples8(rewrite(before));
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t i = 0; i < actual.size(); ++i) {
    const double a = expected[i - i % 4 + 3];
    const double allowed = i % 4 == 3 ? 0 : 0.5 * 255 / a + 0.5;
    ASSERT_LE(std::abs(double(actual[i]) - double(expected[i])), allowed)
        << "sample " << i << " alpha " << a;
  }
}

TEST(PngWriting, PremultipliedPixelsAreUnpremultipliedByTheRule) {
  const Bytes before = simpleFile(3, 1, 8, 6, {fromHex("ffffffff ffffffff ffffffff")});
  const Bytes after = rewrite(before, [](const CGImage& image) {
    return CGImageCreateWithPixels(3, 1, {4, SampleType::u8, AlphaInfo::premultipliedLast},
                                   fromNumbers({100, 60, 1, 128, 9, 8, 7, 0, 1, 2, 3, 255}),
                                   image.colorSpace);
  });
  // (255·100 + 64)/128 = 199.7, (255·60 + 64)/128 = 120.03, (255·1 + 64)/128 = 2.5
  EXPECT_THAT(samples8(after), ElementsAre(199, 120, 2, 128, 0, 0, 0, 0, 1, 2, 3, 255));
}

TEST(PngWriting, DeepPicturesBecomeEightBitUnlessTheirDepthIsKept) {
  const Bytes before = simpleFile(2, 1, 16, 2, {fromHex("0000 8080 ffff 0080 0081 7fff")});
  const Bytes shallow = rewrite(before);
  EXPECT_EQ(dataOf(shallow, "IHDR"), header(2, 1, 8, 2, false));
  // 255·0x80/65535 = 0.498, 255·0x81/65535 = 0.502, 255·0x7fff/65535 = 127.498
  EXPECT_THAT(samples8(shallow), ElementsAre(0, 128, 255, 0, 1, 127));
  const Bytes deep = rewrite(before, renderedDeep, kKeepDepth);
  EXPECT_EQ(dataOf(deep, "IHDR"), header(2, 1, 16, 2, false));
  EXPECT_THAT(samples16(deep), ElementsAre(0, 0x8080, 0xffff, 0x80, 0x81, 0x7fff));
}

TEST(PngWriting, KeptDepthComesBackPixelForPixel) {
  for (const char* const options : {"-depth 16 PNG48:", "-depth 16 -interlace PNG PNG48:"}) {
    const Bytes before = made(options);
    const Bytes after = rewrite(before, renderedDeep, kKeepDepth);
    EXPECT_EQ(pixelsByOtherTool(after, "RGB", 16), pixelsByOtherTool(before, "RGB", 16)) << options;
    EXPECT_TRUE(acceptedByPngcheck(after));
  }
}

TEST(PngWriting, DeepPremultipliedPixelsAreUnpremultipliedByTheRule) {
  const Bytes before = simpleFile(1, 1, 16, 6, {fromHex("ffff ffff ffff 8000")});
  const Bytes after = rewrite(
      before,
      [](const CGImage& image) {
        Bytes pixel(8);
        const std::array<std::uint16_t, 4> samples = {100, 0x4000, 0x8000, 0x8000};
        std::copy_n(reinterpret_cast<const std::byte*>(samples.data()), 8, pixel.begin());
        return CGImageCreateWithPixels(1, 1, {4, SampleType::u16, AlphaInfo::premultipliedLast},
                                       pixel, image.colorSpace);
      },
      kKeepDepth);
  // (65535·100 + 16384)/32768 = 200.497, (65535·16384 + 16384)/32768 = 32768
  EXPECT_THAT(samples16(after), ElementsAre(200, 32768, 65535, 32768));
}

TEST(PngWriting, OpaqueFilesStayRgbWhenAnOpaquePictureArrivesWithAlpha) {
  const Bytes before = simpleFile(2, 1, 8, 2, {fromHex("010203 040506")});
  const Bytes after = rewrite(before, [](const CGImage& image) {
    return CGImageCreateWithPixels(2, 1, {4, SampleType::u8, AlphaInfo::premultipliedLast},
                                   fromNumbers({9, 8, 7, 255, 6, 5, 4, 255}), image.colorSpace);
  });
  EXPECT_EQ(dataOf(after, "IHDR"), header(2, 1, 8, 2, false));
  EXPECT_THAT(samples8(after), ElementsAre(9, 8, 7, 6, 5, 4));
}

TEST(PngWriting, AlphaThatTheFileHasNoRoomForIsRefused) {
  const Bytes before = simpleFile(1, 1, 8, 2, {fromHex("010203")});
  const auto source = openSource(before);
  const CGImage image =
      CGImageCreateWithPixels(1, 1, {4, SampleType::u8, AlphaInfo::premultipliedLast},
                              fromNumbers({9, 8, 7, 254}), CGColorSpaceCreateDeviceRGB());
  const auto written = tryRewrite(before, image);
  ASSERT_FALSE(written.ok());
  EXPECT_EQ(written.error().message,
            "a pixel is not opaque, and the file has no room for its alpha");
}

TEST(PngWriting, AlphaThatGotLostIsRefused) {
  const Bytes before = simpleFile(1, 1, 8, 6, {fromHex("010203ff")});
  const CGImage image =
      CGImageCreateWithPixels(1, 1, {3, SampleType::u8, AlphaInfo::none}, fromNumbers({9, 8, 7}),
                              CGColorSpaceCreateDeviceRGB());
  const auto written = tryRewrite(before, image);
  ASSERT_FALSE(written.ok());
  EXPECT_EQ(written.error().message, "the picture has lost its alpha");
}

TEST(PngWriting, PixelsOfAnotherDepthOrSizeOrModelAreRefused) {
  const Bytes before = simpleFile(1, 1, 8, 2, {fromHex("010203")});
  const auto refusal = [&](unsigned width, PixelLayout layout) {
    const CGImage image = CGImageCreateWithPixels(
        width, 1, layout, Bytes(width * layout.pixelBytes()), CGColorSpaceCreateDeviceRGB());
    const auto written = tryRewrite(before, image);
    return written.ok() ? std::string("written") : written.error().message;
  };
  EXPECT_EQ(refusal(1, {3, SampleType::u16, AlphaInfo::none}),
            "pixels of 8 bits a sample were expected");
  EXPECT_EQ(refusal(2, {3, SampleType::u8, AlphaInfo::none}),
            "the picture has become 2 x 1 pixels");
  EXPECT_EQ(refusal(1, {1, SampleType::u8, AlphaInfo::none}), "RGB pixels were expected");
}

TEST(PngWriting, GrayFilesAreRefused) {
  const Bytes before = simpleFile(1, 1, 8, 0, {fromHex("01")});
  const auto source = openSource(before);
  const auto written = tryRewrite(before, *source->image(0));
  ASSERT_FALSE(written.ok());
  EXPECT_EQ(written.error().message, "gray PNG files cannot be adjusted");
}

TEST(PngWriting, AnErrorOfThePicturesRowsIsPassedOnUnchanged) {
  class FailingRows final : public RowSource {
    Result<void> read(std::span<std::byte>, std::uint32_t) override {
      return Error{"the dog ate the rows"};
    }
  };
  for (const bool interlaced : {false, true}) {
    const Bytes before = made(interlaced ? "-depth 8 -interlace PNG PNG24:" : "-depth 8 PNG24:");
    CGImage image = *openSource(before)->image(0);
    image.openRows = []() -> Result<std::unique_ptr<RowSource>> {
      return std::unique_ptr<RowSource>(std::make_unique<FailingRows>());
    };
    const auto written = tryRewrite(before, image);
    ASSERT_FALSE(written.ok());
    EXPECT_EQ(written.error().message, "the dog ate the rows");
  }
}

TEST(PngWriting, ASecondPictureAndAMissingOneAreRefused) {
  const Bytes before = simpleFile(1, 1, 8, 2, {fromHex("010203")});
  EXPECT_EQ(kPngCodec.createWriter == nullptr, false);
  const auto source = openSource(before);
  const auto image = source->image(0);
  const auto properties = source->properties(0);
  const TemporaryFolder folder;
  FILE* const out = std::fopen(folder.path("out.png").c_str(), "w+b");
  ASSERT_NE(out, nullptr);
  {
    OutputFile output(fileno(out));
    auto two = kPngCodec.createWriter(output, 2, {});
    ASSERT_TRUE(two.ok());
    EXPECT_EQ((*two)->addImage(*image, **properties).error().message,
              "the new file has another frame count");
    auto writer = kPngCodec.createWriter(output, 1, {});
    ASSERT_TRUE(writer.ok());
    EXPECT_EQ((*writer)->finish().error().message, "a picture is missing");
    ASSERT_TRUE((*writer)->addImage(*image, **properties).ok());
    EXPECT_EQ((*writer)->addImage(*image, **properties).error().message,
              "a frame is not the next one of this PNG file");
  }
  std::fclose(out);
}

TEST(PngWriting, PropertiesOfAnotherFormatAreRefused) {
  class Foreign final : public FrameProperties {};
  const Bytes before = simpleFile(1, 1, 8, 2, {fromHex("010203")});
  const auto source = openSource(before);
  const auto image = source->image(0);
  const TemporaryFolder folder;
  FILE* const out = std::fopen(folder.path("out.png").c_str(), "w+b");
  ASSERT_NE(out, nullptr);
  {
    OutputFile output(fileno(out));
    auto writer = kPngCodec.createWriter(output, 1, {});
    ASSERT_TRUE(writer.ok());
    EXPECT_EQ((*writer)->addImage(*image, Foreign()).error().message,
              "the picture does not come from a PNG file");
  }
  std::fclose(out);
}

// Where passes begin and end, and which of them are empty, depends on the size.
TEST(PngWriting, InterlacedPicturesOfEverySmallSizeComeBack) {
  constexpr unsigned kLargest = 9;
  const TemporaryFolder folder;
  std::string crops;
  std::string files;
  const auto forEverySize = [](auto&& take) {
    for (unsigned height = 1; height <= kLargest; ++height) {
      for (unsigned width = 1; width <= kLargest; ++width) {
        take(width, height, std::to_string(width) + "x" + std::to_string(height));
      }
    }
  };
  forEverySize([&](unsigned, unsigned, const std::string& size) {
    crops += " \\( +clone -crop " + size +
             "+0+0 +repage -write PNG24:" + folder.path(size + ".png") + " +delete \\)";
    files += " " + folder.path(size + ".new.png");
  });
  run("convert -size 9x9 -seed 5 plasma:fractal -depth 8 -write RGB:" + folder.path("whole.raw") +
      " -interlace PNG" + crops + " null:");
  const Bytes whole = readFile(folder.path("whole.raw"));
  Bytes expected;
  forEverySize([&](unsigned width, unsigned height, const std::string& size) {
    const Bytes before = readFile(folder.path(size + ".png"));
    ASSERT_EQ(dataOf(before, "IHDR"), header(width, height, 8, 2, true));
    Bytes cropped;
    for (unsigned y = 0; y < height; ++y) {
      const auto row = whole.begin() + y * kLargest * 3;
      cropped.insert(cropped.end(), row, row + width * 3);
    }
    ASSERT_EQ(pixels(before), cropped) << size;
    const Bytes after = rewrite(before);
    ASSERT_EQ(dataOf(after, "IHDR"), dataOf(before, "IHDR"));
    ASSERT_EQ(pixels(after), cropped) << size;
    writeFile(folder.path(size + ".new.png"), after);
    expected.insert(expected.end(), cropped.begin(), cropped.end());
  });
  run("convert" + files + " -depth 8 -adjoin RGB:" + folder.path("all.raw"));
  EXPECT_EQ(readFile(folder.path("all.raw")), expected);
}

// Rows of every kind of content in one picture: noise, flat areas, repeated patterns, ramps.
TEST(PngWriting, PicturesOfMixedContentComeBackPixelForPixel) {
  const TemporaryFolder folder;
  run("convert -seed 1 -size 640x200 plasma:fractal \\( -size 640x200 xc:white \\) "
      "\\( -size 640x300 pattern:checkerboard \\) \\( -size 640x200 xc:gray50 +noise random \\) "
      "\\( -size 640x100 gradient:red-blue \\) -append -depth 8 PNG24:" +
      folder.path("a.png"));
  const Bytes before = readFile(folder.path("a.png"));
  const Bytes after = rewrite(before);
  EXPECT_EQ(pixelsByOtherTool(after, "RGB", 8), pixelsByOtherTool(before, "RGB", 8));
  EXPECT_TRUE(acceptedByPngcheck(after));
  EXPECT_LT(after.size(), before.size() * 11 / 10);
}

}  // namespace
}  // namespace kelvo::png_test
