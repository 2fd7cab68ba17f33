// Pixels: what is read, what is written, how it is coded.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/image_io/jxl/jxl_test_support.h"

namespace kelvo::image_io_test {
namespace {

TEST(JxlCoding, LosslessPixelsAreReadAsDjxlReadsThem) {
  const Bytes file = makeJxl("-d 0");
  EXPECT_EQ(pixels(kJxlCodec, file), smoothSamples(120, 90));
  EXPECT_EQ(jxlPixels(file), smoothSamples(120, 90));
}

TEST(JxlCoding, LosslessFilesStayLossless) {
  const Bytes written = rewrite(kJxlCodec, makeJxl("-d 0"), inverted);
  EXPECT_EQ(jxlPixels(written), complement(smoothSamples(120, 90)));
}

TEST(JxlCoding, ASecondInversionOfALosslessFileGivesThePixelsOfTheFirst) {
  const Bytes once = rewrite(kJxlCodec, makeJxl("-d 0"), inverted);
  EXPECT_EQ(jxlPixels(rewrite(kJxlCodec, once, inverted)), smoothSamples(120, 90));
}

TEST(JxlCoding, RewritingALosslessFileTwiceGivesTheSameBytes) {
  const Bytes once = rewrite(kJxlCodec, makeJxl("-d 0 --container=1"));
  EXPECT_EQ(rewrite(kJxlCodec, once), once);
}

TEST(JxlCoding, LossyPixelsAreReadAsDjxlReadsThem) {
  const Bytes file = makeJxl("-d 1");
  EXPECT_EQ(pixels(kJxlCodec, file), jxlPixels(file));
}

TEST(JxlCoding, LossyFilesStayLossyAndLoseLittle) {
  const Bytes file = makeJxl("-d 1", 400, 300);
  const Bytes written = rewrite(kJxlCodec, file, inverted);
  EXPECT_LT(difference(jxlPixels(written), complement(jxlPixels(file))), 1.5);
  EXPECT_LT(static_cast<double>(written.size()), 1.6 * static_cast<double>(file.size()));
}

// The photograph's own quality is found and taken again.
TEST(JxlCoding, TheDistanceOfALossyFileIsKept) {
  const std::string photograph = std::string(KELVO_SOURCE_DIR) + "/resources/samples/leaf.png";
  const TemporaryFolder folder;
  std::vector<double> sizes;
  for (const char* const distance : {"0.3", "1", "2.2"}) {
    run("convert '" + photograph + "' -alpha off -strip -crop 320x240+100+60 +repage '" +
        folder.path("in.png") + "'");
    run("cjxl '" + folder.path("in.png") + "' '" + folder.path("out.jxl") + "' -d " + distance);
    const Bytes file = readFile(folder.path("out.jxl"));
    const Bytes once = rewrite(kJxlCodec, file);
    const double ratio = static_cast<double>(once.size()) / static_cast<double>(file.size());
    EXPECT_GT(ratio, 0.8) << distance;
    EXPECT_LT(ratio, 1.25) << distance;
    sizes.push_back(static_cast<double>(once.size()));
  }
  EXPECT_GT(sizes[0], 1.5 * sizes[1]);
  EXPECT_GT(sizes[1], 1.2 * sizes[2]);
}

TEST(JxlCoding, DeepFilesAreReadInFullDepth) {
  const Bytes file = makeJxl("-d 0", 60, 40, false, 65535);
  const auto source = openSource(kJxlCodec, file);
  EXPECT_EQ(source->info(0).bitsPerComponent, 16U);
  EXPECT_EQ(pixels(kJxlCodec, file), jxlPixels(file, "RGB", 16));
}

TEST(JxlCoding, DeepFilesBecomeFilesOfEightBits) {
  const Bytes file = makeJxl("-d 0", 60, 40, false, 65535);
  const Bytes written = rewrite(kJxlCodec, file);
  EXPECT_EQ(openSource(kJxlCodec, written)->info(0).bitsPerComponent, 8U);
  // To the nearest: 65535 is 255 times 257.
  Bytes expected;
  const Bytes deep = jxlPixels(file, "RGB", 16);
  for (std::size_t i = 0; i < deep.size(); i += 2) {
    const unsigned level =
        std::to_integer<unsigned>(deep[i + 1]) << 8 | std::to_integer<unsigned>(deep[i]);
    expected.push_back(static_cast<std::byte>((level + 128) / 257));
  }
  EXPECT_EQ(jxlPixels(written), expected);
}

TEST(JxlCoding, DeepFilesKeepTheirDepthWhenAsked) {
  const Bytes file = makeJxl("-d 0", 60, 40, false, 65535);
  const Bytes written = rewrite(kJxlCodec, file, renderedDeep, {.keepDepth = true});
  EXPECT_EQ(openSource(kJxlCodec, written)->info(0).bitsPerComponent, 16U);
  EXPECT_EQ(jxlPixels(written, "RGB", 16), jxlPixels(file, "RGB", 16));
}

TEST(JxlCoding, TenBitsStayTenBitsWhenTheDepthIsKept) {
  LibraryFile ten;
  ten.basics = [](JxlBasicInfo& info) { info.bits_per_sample = 10; };
  const Bytes file = makeByLibrary(ten);
  const Bytes written = rewrite(kJxlCodec, file, renderedDeep, {.keepDepth = true});
  EXPECT_EQ(openSource(kJxlCodec, written)->info(0).bitsPerComponent, 10U);
  EXPECT_EQ(pixels(kJxlCodec, written), pixels(kJxlCodec, file));
}

TEST(JxlCoding, AlphaIsReadAndWritten) {
  const Bytes file = makeJxl("-d 0", 120, 90, true);
  EXPECT_EQ(pixels(kJxlCodec, file), smoothSamples(120, 90, true));
  const Bytes seen = jxlPixels(rewrite(kJxlCodec, file), "RGBA");
  const Bytes before = smoothSamples(120, 90, true);
  ASSERT_EQ(seen.size(), before.size());
  for (std::size_t i = 0; i < seen.size(); ++i) {
    if (i % 4 == 3) {
      ASSERT_EQ(seen[i], before[i]);
    }
    // Colour went through its product with an alpha of 60 or more: half a level of that is 2.
    ASSERT_NEAR(std::to_integer<int>(seen[i]), std::to_integer<int>(before[i]), 3);
  }
}

TEST(JxlCoding, AlphaOfALossyFileIsNotLossy) {
  const Bytes file = makeJxl("-d 1", 120, 90, true);
  const Bytes before = jxlPixels(file, "RGBA");
  const Bytes after = jxlPixels(rewrite(kJxlCodec, file), "RGBA");
  ASSERT_EQ(before.size(), after.size());
  for (std::size_t i = 3; i < before.size(); i += 4) ASSERT_EQ(before[i], after[i]);
}

TEST(JxlCoding, SeveralThreadsGiveThePixelsOfOne) {
  const Bytes file = makeJxl("-d 0", 600, 400);
  const auto read = tryPixels(kJxlCodec, file, 0, {.threads = 2});
  ASSERT_TRUE(read);
  EXPECT_EQ(*read, smoothSamples(600, 400));
  EXPECT_EQ(jxlPixels(rewrite(kJxlCodec, file, rendered, {.threads = 2})), smoothSamples(600, 400));
}

TEST(JxlCoding, GrayFilesAreToldToBeGray) {
  const TemporaryFolder folder;
  run("convert -size 32x24 gradient: -colorspace gray '" + folder.path("in.pgm") + "'");
  run("cjxl '" + folder.path("in.pgm") + "' '" + folder.path("out.jxl") + "' -d 0");
  const auto source = openSource(kJxlCodec, readFile(folder.path("out.jxl")));
  EXPECT_EQ(source->image(0)->colorSpace->model, ColorModel::gray);
  EXPECT_FALSE(tryRewrite(kJxlCodec, readFile(folder.path("out.jxl"))));
}

TEST(JxlCoding, FilesWithABlackChannelAreToldToBeCmyk) {
  LibraryFile made;
  made.basics = [](JxlBasicInfo& info) { info.num_extra_channels = 1; };
  made.channels = [](JxlEncoder* encoder) {
    JxlExtraChannelInfo black;
    JxlEncoderInitExtraChannelInfo(JXL_CHANNEL_BLACK, &black);
    black.bits_per_sample = 8;
    EXPECT_EQ(JxlEncoderSetExtraChannelInfo(encoder, 0, &black), JXL_ENC_SUCCESS);
  };
  const auto source = openSource(kJxlCodec, makeByLibrary(made));
  ASSERT_NE(source, nullptr);
  EXPECT_EQ(source->image(0)->colorSpace->model, ColorModel::cmyk);
}

}  // namespace
}  // namespace kelvo::image_io_test
