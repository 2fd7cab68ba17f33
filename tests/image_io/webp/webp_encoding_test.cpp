#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "platform/image_io/webp/lossy_settings.h"
#include "platform/image_io/webp/vp8_header.h"
#include "tests/image_io/webp/webp_test_support.h"

namespace kelvo::webp_test {
namespace {

using testing::ElementsAre;

// Peak signal-to-noise ratio in decibels.
double likeness(const Bytes& a, const Bytes& b) {
  EXPECT_EQ(a.size(), b.size());
  double sum = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const double difference = std::to_integer<int>(a[i]) - std::to_integer<int>(b[i]);
    sum += difference * difference;
  }
  return 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.size()) / sum);
}

LossySettings settingsOf(const Bytes& file) {
  return estimateLossySettings(readVp8Header(chunkOf(file, "VP8 ").data));
}

std::string samplePhoto() { return std::string(KELVO_SOURCE_DIR) + "/resources/samples/lake.jpg"; }

class WebpHeader : public testing::TestWithParam<const char*> {};

TEST_P(WebpHeader, IsReadAsWebpinfoReadsIt) {
  const Bytes file = encoded(samplePhoto(), GetParam());
  const Vp8Header header = readVp8Header(chunkOf(file, "VP8 ").data);
  EXPECT_EQ(header.segmented, encodingOf(file, "Use segment")[0] != 0);
  EXPECT_EQ(header.simpleFilter, encodingOf(file, "Simple filter")[0] != 0);
  EXPECT_EQ(header.filterSharpness, encodingOf(file, "Sharpness")[0]);
  EXPECT_EQ(1 << header.partitions, encodingOf(file, "Total partitions")[0]);
  EXPECT_EQ(header.chromaDcDelta, encodingOf(file, "DQ UV DC")[0]);
  if (header.segmented) {
    EXPECT_THAT(header.quantizer, testing::ElementsAreArray(encodingOf(file, "Quantizer")));
    EXPECT_THAT(header.filterLevel, testing::ElementsAreArray(encodingOf(file, "Filter strength")));
    const std::vector<int> p = encodingOf(file, "Prob segment");
    EXPECT_NEAR(header.share[0], p[0] * p[1] / 65025.0, 1e-12);
    EXPECT_NEAR(header.share[1], p[0] * (255 - p[1]) / 65025.0, 1e-12);
    EXPECT_NEAR(header.share[2], (255 - p[0]) * p[2] / 65025.0, 1e-12);
    EXPECT_NEAR(header.share[3], (255 - p[0]) * (255 - p[2]) / 65025.0, 1e-12);
  } else {
    const int quantizer = encodingOf(file, "Base Q")[0];
    const int level = encodingOf(file, "Level")[0];
    EXPECT_THAT(header.quantizer, ElementsAre(quantizer, quantizer, quantizer, quantizer));
    EXPECT_THAT(header.filterLevel, ElementsAre(level, level, level, level));
    EXPECT_THAT(header.share, ElementsAre(1, 0, 0, 0));
  }
}

INSTANTIATE_TEST_SUITE_P(Options, WebpHeader,
                         testing::Values("-q 75", "-q 5", "-q 100", "-segments 1 -q 60",
                                         "-segments 2 -q 60", "-partition_limit 0 -mt -m 6 -q 90",
                                         "-sns 0 -f 0", "-sns 100 -q 20", "-nostrong -sharpness 5",
                                         "-preset photo", "-preset text"));

TEST(WebpHeaderEdge, HeadersThatEndEarlyAreReadWithoutHarm) {
  const Bytes data = chunkOf(encoded(samplePhoto(), "-q 50"), "VP8 ").data;
  for (std::size_t size = 0; size < 60; ++size) {
    const Vp8Header header = readVp8Header(std::span(data).first(size));
    for (const int quantizer : header.quantizer) {
      EXPECT_GE(quantizer, 0);
      EXPECT_LE(quantizer, 127);
    }
  }
}

// By hand, from libwebp's formula: quality 75 is compression cbrt(1/2), 127 (1 - 0.7937) = 26.2.
TEST(WebpSettings, TheQualityIsThatOfTheQuantiser) {
  Vp8Header header;
  header.share = {1, 0, 0, 0};
  const auto quality = [&](int quantizer) {
    header.quantizer = {quantizer, 127, 0, 3};
    return estimateLossySettings(header).quality;
  };
  EXPECT_NEAR(quality(26), 74.5, 1);
  EXPECT_NEAR(quality(0), 99.4, 0.1);
  EXPECT_LT(quality(126), 0.1);
  EXPECT_EQ(quality(127), 0);
  // 127 (1 - cbrt(0.2)) = 52.7 at quality 30
  EXPECT_NEAR(quality(52), 30, 1);
}

// The finest quantiser belongs to the smooth blocks, and libwebp limits how much finer or coarser
// one may be: exponents 1 -+ 0.9 * 127 / 256 for noise shaping 50.
TEST(WebpSettings, TheSegmentAtTheLimitTellsTheQuality) {
  Vp8Header header;
  header.segmented = true;
  header.chromaDcDelta = -2;
  // Quality 30 is compression cbrt(0.2) = 0.5848: 127 (1 - 0.5848^1.4465) = 68.5 for the coarsest.
  // Strengths -187 (limited to -127), -93, -6, 68 have mean 0 in these shares.
  header.quantizer = {68, 64, 53, 42};
  header.share = {0.08, 0.12, 0.42, 0.38};
  EXPECT_NEAR(estimateLossySettings(header).quality, 30, 0.5);
  // The other way round: 127 (1 - 0.5848^0.5535) = 32.6 for the finest, strength 187 limited to
  // 127, then 127 (1 - 0.5848^(1 - 0.0035 a)) = 41.1, 54.0, 60.9 for a = 60, -20, -68.
  header.quantizer = {60, 54, 41, 32};
  header.share = {0.3, 0.45, 0.15, 0.1};
  EXPECT_NEAR(estimateLossySettings(header).quality, 30, 1);
}

TEST(WebpSettings, FourEqualSegmentsAreLikeOne) {
  Vp8Header header;
  header.segmented = true;
  header.share = {0.25, 0.25, 0.25, 0.25};
  header.quantizer = {40, 40, 40, 40};
  const float four = estimateLossySettings(header).quality;
  EXPECT_EQ(estimateLossySettings(header).noiseShaping, 0);
  header.share = {1, 0, 0, 0};
  EXPECT_NEAR(four, estimateLossySettings(header).quality, 1e-4);
}

TEST(WebpSettings, AreThoseTheFileWasMadeWith) {
  for (const int quality : {1, 10, 30, 50, 65, 75, 80, 90, 95}) {
    const Bytes file = encoded(samplePhoto(), "-q " + std::to_string(quality));
    const LossySettings found = settingsOf(file);
    EXPECT_NEAR(found.quality, quality, 1) << quality;
    EXPECT_EQ(found.segments, 4) << quality;
    EXPECT_EQ(found.noiseShaping, 50) << quality;
    EXPECT_EQ(found.filterSharpness, 0) << quality;
    EXPECT_EQ(found.filterType, 1) << quality;
  }
  const LossySettings photo = settingsOf(encoded(samplePhoto(), "-preset photo -q 60"));
  EXPECT_NEAR(photo.quality, 60, 2.5);
  EXPECT_EQ(photo.noiseShaping, 75);  // 80; the file tells it in steps of 25
  EXPECT_EQ(photo.filterStrength, 30);
  EXPECT_EQ(photo.filterSharpness, 3);
  const LossySettings plain =
      settingsOf(encoded(samplePhoto(), "-segments 1 -sns 0 -f 0 -nostrong -q 60"));
  EXPECT_NEAR(plain.quality, 60, 1);
  EXPECT_EQ(plain.segments, 1);
  EXPECT_EQ(plain.noiseShaping, 0);
  EXPECT_EQ(plain.filterStrength, 0);
}

TEST(WebpEncoding, ALossyFileIsEncodedTheSameWayAgain) {
  for (const char* const options : {"-q 75", "-segments 1 -q 60 -nostrong -f 40",
                                    "-preset picture -q 85", "-sns 0 -f 0 -q 40"}) {
    const Bytes before = encoded(samplePhoto(), options);
    const Bytes after = rewrite(kWebpCodec, before);
    for (const char* const name : {"Use segment", "Simple filter", "Sharpness", "Total partitions",
                                   "DQ UV DC", "Color space", "Clamp type"}) {
      EXPECT_EQ(encodingOf(after, name), encodingOf(before, name)) << name << " of " << options;
    }
    EXPECT_NEAR(encodingOf(after, "Base Q")[0], encodingOf(before, "Base Q")[0], 4) << options;
    EXPECT_GT(after.size(), before.size() * 3 / 4) << options;
    EXPECT_LT(after.size(), before.size() * 5 / 4) << options;
  }
}

TEST(WebpEncoding, TheNumberOfPartitionsIsKept) {
  // cwebp makes one partition only, so another encoder's header is imitated.
  Vp8Header header = readVp8Header(chunkOf(encoded(samplePhoto(), "-q 60"), "VP8 ").data);
  EXPECT_EQ(estimateLossySettings(header).partitions, 0);
  header.partitions = 3;
  EXPECT_EQ(estimateLossySettings(header).partitions, 3);
}

class WebpGenerations : public testing::TestWithParam<const char*> {};

TEST_P(WebpGenerations, RewritingManyTimesDoesNotRunAway) {
  const Bytes first = encoded(samplePhoto(), GetParam());
  const Bytes seen = pixels(kWebpCodec, first);
  const float quality = settingsOf(first).quality;
  Bytes file = first;
  for (int generation = 1; generation <= 10; ++generation) {
    file = rewrite(kWebpCodec, file);
    EXPECT_NEAR(settingsOf(file).quality, quality, 1.5) << generation;
    EXPECT_LT(file.size(), first.size() * 21 / 20) << generation;
    EXPECT_GT(likeness(pixels(kWebpCodec, file), seen), 30) << generation;
  }
  // Each generation is a little smoother than the one before, but detail does not melt away.
  EXPECT_GT(file.size(), first.size() / 2);
}

INSTANTIATE_TEST_SUITE_P(Options, WebpGenerations,
                         testing::Values("-q 30", "-q 75", "-q 92", "-q 100", "-preset photo -q 80",
                                         "-segments 1 -sns 0 -q 50"));

TEST(WebpEncoding, ALosslessFileHoldsExactlyThePixelsItIsGiven) {
  const Bytes before = encoded(plasma(37, 23), "-lossless");
  std::vector<unsigned> samples;
  for (unsigned i = 0; i < 37 * 23 * 3; ++i) samples.push_back(i * 7919 % 256);
  const Bytes after = rewrite(kWebpCodec, before,
                              [&](const CGImage& image) { return withSamples(image, samples); });
  EXPECT_EQ(numbers(pixels(kWebpCodec, after)), samples);
  EXPECT_EQ(numbers(pixelsByOtherTool(after, "webp", "RGB")), samples);
  EXPECT_EQ(names(chunksOf(after)), names(chunksOf(before)));
}

// 255 * 50 / 100 = 127.5, to the nearest (50 of 100: (255 * 50 + 50) / 100 = 128).
TEST(WebpEncoding, LosslessPixelsWithAlphaAreStraightAndTransparentOnesBlack) {
  const Bytes before = riff({picture(2, 2, "-lossless -alpha_q 100")});
  const Bytes alpha = encoded(translucent(2, 2), "-lossless -exact");
  const Bytes after = rewrite(kWebpCodec, alpha, [](const CGImage& image) {
    return withSamples(image, {50, 100, 0, 100, 0, 0, 0, 0, 9, 8, 7, 255, 1, 0, 0, 1});
  });
  EXPECT_THAT(numbers(decodedByDwebp(after)),
              ElementsAre(128, 255, 0, 100, 0, 0, 0, 0, 9, 8, 7, 255, 255, 0, 0, 1));
  const auto refused = tryRewrite(kWebpCodec, before, [](const CGImage& image) {
    CGImage other = image;
    other.layout = {.components = 4, .alpha = AlphaInfo::premultipliedLast};
    return other;
  });
  ASSERT_FALSE(refused.ok());
  EXPECT_EQ(refused.error().message, "8-bit RGB pixels without alpha were expected");
}

TEST(WebpEncoding, TheAlphaOfALossyPictureStaysExactly) {
  for (const char* const options : {"-q 60", "-q 60 -alpha_q 30", "-q 60 -alpha_method 0"}) {
    const Bytes before = encoded(translucent(40, 37), options);
    const Bytes after = rewrite(kWebpCodec, before);
    EXPECT_EQ(names(chunksOf(after)), names(chunksOf(before)));
    const Bytes old = decodedByDwebp(before);
    const Bytes now = decodedByDwebp(after);
    ASSERT_EQ(now.size(), old.size());
    for (std::size_t i = 3; i < old.size(); i += 4) ASSERT_EQ(now[i], old[i]) << i;
  }
}

// The strips in which pixels are handed to the encoder must not show.
TEST(WebpEncoding, TallPicturesAreEncodedAsOne) {
  const Bytes before = encoded(translucent(33, 71), "-q 90");
  const Bytes after = rewrite(kWebpCodec, before);
  EXPECT_GT(likeness(pixels(kWebpCodec, after), pixels(kWebpCodec, before)), 32);
  const Bytes opaque = encoded(plasma(33, 71), "-q 90");
  EXPECT_GT(likeness(pixels(kWebpCodec, rewrite(kWebpCodec, opaque)), pixels(kWebpCodec, opaque)),
            34);
}

TEST(WebpEncoding, APictureThatBecomesOpaqueNeedsNoAlpha) {
  const Bytes before = encoded(translucent(8, 8), "-q 70");
  const Bytes after = rewrite(kWebpCodec, before, [](const CGImage& image) {
    return withSamples(image, std::vector<unsigned>(8 * 8 * 4, 255));
  });
  EXPECT_THAT(names(chunksOf(after)), ElementsAre("VP8X", "VP8 "));
  EXPECT_EQ(openSource(kWebpCodec, after)->status().cause, "");
  EXPECT_EQ(numbers(decodedByDwebp(after)), std::vector<unsigned>(8 * 8 * 4, 255));
}

}  // namespace
}  // namespace kelvo::webp_test
