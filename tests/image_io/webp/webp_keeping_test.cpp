#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/image_io/webp/webp_test_support.h"

namespace kelvo::webp_test {
namespace {

using testing::ElementsAre;

TEST(WebpKeeping, EveryChunkStaysInItsPlaceByteForByte) {
  const Bytes before = riff({extended(0x2c, 12, 10),
                             {"ICCP", fromText("profile")},
                             {"prIv", fromHex("01")},
                             picture(12, 10, "-q 70"),
                             {"XMP ", fromText("<x/>")},
                             {"prIv", {}},
                             {"EXIF", fromText("nothing that could be read")},
                             {"\x01\xff \x02", fromHex("0102")}});
  const Bytes after = rewrite(kWebpCodec, before);
  EXPECT_EQ(withoutPixels(chunksOf(after)), withoutPixels(chunksOf(before)));
  EXPECT_EQ(openSource(kWebpCodec, after)->status().cause, "");
}

TEST(WebpKeeping, ChunksBetweenAlphaAndColoursStayThere) {
  std::vector<Chunk> chunks = chunksOf(encoded(translucent(16, 16), "-q 70"));
  ASSERT_THAT(names(chunks), ElementsAre("VP8X", "ALPH", "VP8 "));
  chunks.insert(chunks.begin() + 2, Chunk{"prIv", fromText("here")});
  const Bytes after = rewrite(kWebpCodec, riff(chunks));
  EXPECT_THAT(names(chunksOf(after)), ElementsAre("VP8X", "ALPH", "prIv", "VP8 "));
}

TEST(WebpKeeping, ASimpleFileStaysSimple) {
  for (const char* const options : {"-q 50", "-lossless"}) {
    const Bytes before = encoded(plasma(9, 7), options);
    const Bytes after = rewrite(kWebpCodec, before);
    ASSERT_EQ(chunksOf(before).size(), 1U);
    EXPECT_EQ(names(chunksOf(after)), names(chunksOf(before)));
  }
}

TEST(WebpKeeping, BytesAfterTheEndStay) {
  const Bytes extra = fromText("something that another program put here");
  const Bytes before = concat({encoded(plasma(9, 7), "-lossless"), extra});
  EXPECT_EQ(openSource(kWebpCodec, before)->status().cause, "");
  const Bytes after = rewrite(kWebpCodec, before);
  ASSERT_GT(after.size(), extra.size());
  EXPECT_EQ(Bytes(after.end() - static_cast<std::ptrdiff_t>(extra.size()), after.end()), extra);
  EXPECT_EQ(pixels(kWebpCodec, after), pixels(kWebpCodec, before));
}

TEST(WebpKeeping, AnAnimationKeepsEverythingButItsPixels) {
  const Chunk lossless = picture(20, 16, "-lossless", 1);
  const Chunk lossy = picture(7, 5, "-q 60", 2);
  const std::vector<Chunk> translucentFrame = chunksOf(encoded(translucent(8, 8), "-q 70"));
  const Bytes before =
      riff({extended(0x12, 20, 16),
            {"prIv", fromText("one")},
            animation(7),
            animationFrame(0, 0, 20, 16, {lossless}, 1000, 0xfc),
            {"prIv", fromText("between")},
            animationFrame(12, 10, 7, 5, {{"prIv", fromText("in")}, lossy, {"prIv", {}}}, 1, 3),
            animationFrame(2, 4, 8, 8, {translucentFrame[1], translucentFrame[2]}, 0xffffff, 1),
            {"XMP ", fromText("<x/>")}});
  const Bytes after = rewrite(kWebpCodec, before);
  EXPECT_EQ(withoutPixels(chunksOf(after)), withoutPixels(chunksOf(before)));
  for (std::size_t frame : {0U, 1U, 2U}) {
    const auto oldFrame = openSource(kWebpCodec, before)->info(frame);
    const auto newFrame = openSource(kWebpCodec, after)->info(frame);
    EXPECT_EQ(newFrame.width, oldFrame.width);
    EXPECT_EQ(newFrame.height, oldFrame.height);
  }
  EXPECT_EQ(pixels(kWebpCodec, after, 0), pixels(kWebpCodec, before, 0));
}

// Everything that webpmux tells about frames, but for their sizes in bytes.
std::string framesByWebpmux(const std::string& path) {
  return run("webpmux -info " + path + " | awk '$1 ~ /^[0-9]+:$/ {$(NF-1) = \"\"} {print}'");
}

TEST(WebpKeeping, OtherToolsFindTheSameAnimation) {
  const TemporaryFolder folder;
  for (const char* const options : {"-lossy -q 60", "-mixed", ""}) {
    run("convert -size 60x40 -seed 3 plasma:fractal \\( -clone 0 -fill blue -draw "
        "'rectangle 4,6 12,14' \\) \\( -clone 0 -fill none -draw 'circle 20,10 24,10' \\) "
        "-set delay '%[fx:10+t*7]' -set dispose previous -loop 5 " +
        folder.path("in.gif"));
    run("gif2webp -quiet " + std::string(options) + " " + folder.path("in.gif") + " -o " +
        folder.path("in.webp"));
    const Bytes before = readFile(folder.path("in.webp"));
    writeFile(folder.path("out.webp"), rewrite(kWebpCodec, before));
    const std::string frames = framesByWebpmux(folder.path("in.webp"));
    EXPECT_EQ(framesByWebpmux(folder.path("out.webp")), frames);
    EXPECT_THAT(frames, testing::HasSubstr("Number of frames: 3"));
    run("webpinfo " + folder.path("out.webp"));
  }
}

TEST(WebpKeeping, MetadataOfOtherToolsStays) {
  const TemporaryFolder folder;
  const std::string path = folder.path("a.webp");
  writeFile(path, encoded(plasma(30, 20), "-q 80"));
  run("exiftool -q -overwrite_original -Artist=Somebody -GPSLatitude=12.5 -GPSLatitudeRef=S "
      "-Orientation#=6 -XMP-dc:Title=Title " +
      path);
  const Bytes before = readFile(path);
  const Bytes after = rewrite(kWebpCodec, before);
  EXPECT_EQ(chunkOf(after, "EXIF"), chunkOf(before, "EXIF"));
  EXPECT_EQ(chunkOf(after, "XMP "), chunkOf(before, "XMP "));
  writeFile(folder.path("b.webp"), after);
  const std::string tags = run("exiftool -s -G1 " + folder.path("b.webp"));
  EXPECT_THAT(tags, testing::HasSubstr("Somebody"));
  EXPECT_THAT(tags, testing::HasSubstr("Rotate 90 CW"));
  EXPECT_THAT(tags, testing::HasSubstr("Title"));
}

TEST(WebpKeeping, TheThumbnailInsideExifGoes) {
  const TemporaryFolder folder;
  run("convert -size 16x16 -seed 1 plasma:fractal -strip " + folder.path("t.jpg"));
  run("convert -size 16x16 xc:blue " + folder.path("carrier.jpg"));
  run("exiftool -q -overwrite_original -Artist=Somebody '-ThumbnailImage<=" + folder.path("t.jpg") +
      "' " + folder.path("carrier.jpg"));
  run("exiftool -q -b -Exif " + folder.path("carrier.jpg") + " > " + folder.path("exif.bin"));
  const Bytes exif = readFile(folder.path("exif.bin"));
  const Bytes thumbnail = readFile(folder.path("t.jpg"));
  ASSERT_TRUE(contains(exif, thumbnail));
  for (const Bytes& prefix : {Bytes(), fromHex("457869660000")}) {
    const Bytes before =
        riff({extended(8, 8, 6), picture(8, 6, "-lossless"), {"EXIF", concat({prefix, exif})}});
    const Bytes after = rewrite(kWebpCodec, before);
    EXPECT_EQ(chunkOf(after, "EXIF").data.size(), prefix.size() + exif.size());
    EXPECT_FALSE(contains(after, thumbnail));
    writeFile(folder.path("b.webp"), after);
    const std::string tags = run("exiftool -s " + folder.path("b.webp"));
    EXPECT_THAT(tags, testing::HasSubstr("Somebody"));
    EXPECT_THAT(tags, testing::Not(testing::HasSubstr("Thumbnail")));
  }
}

TEST(WebpKeeping, AnotherProfileIsRefused) {
  const Bytes before =
      riff({extended(0x20, 8, 6), {"ICCP", fromText("mine")}, picture(8, 6, "-lossless")});
  const auto written = tryRewrite(kWebpCodec, before, [](const CGImage& image) {
    CGImage other = image;
    other.colorSpace = std::make_shared<const CGColorSpace>(
        CGColorSpace{.model = ColorModel::rgb, .profile = fromText("yours")});
    return other;
  });
  ASSERT_FALSE(written.ok());
  EXPECT_EQ(written.error().message, "the colour profile is not that of the file");
}

}  // namespace
}  // namespace kelvo::webp_test
