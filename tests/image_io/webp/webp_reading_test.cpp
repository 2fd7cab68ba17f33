#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/image_io/webp/webp_file.h"
#include "tests/image_io/webp/webp_test_support.h"

namespace kelvo::webp_test {
namespace {

using testing::ElementsAre;

Bytes withoutAlpha(const Bytes& rgba) {
  Bytes rgb;
  for (std::size_t i = 0; i < rgba.size(); i += 4) {
    rgb.insert(rgb.end(), {rgba[i], rgba[i + 1], rgba[i + 2]});
  }
  return rgb;
}

TEST(WebpReading, OnlyRiffFilesOfPicturesAreTaken) {
  EXPECT_TRUE(kWebpCodec.matches(riff({})));
  EXPECT_FALSE(kWebpCodec.matches(fromText("RIFF\x10\x10\x10\x10WAVEfmt ")));
  EXPECT_FALSE(kWebpCodec.matches(fromText("RIFX\x10\x10\x10\x10WEBPVP8 ")));
  EXPECT_FALSE(kWebpCodec.matches(fromText("RIFF\x10\x10\x10\x10WEB")));
}

bool libraryIsLoaded() {
  void* const library = ::dlopen("libwebp.so.7", RTLD_NOW | RTLD_NOLOAD);
  if (library != nullptr) ::dlclose(library);
  return library != nullptr;
}

// In a process of its own, which has not opened a file before. Its exit status counts what is
// wrong.
TEST(WebpReading, TheLibraryIsLoadedWithTheFirstFileOnly) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto check = [] {
    int wrong = libraryIsLoaded() ? 1 : 0;
    wrong += openSource(kWebpCodec, encoded(plasma(8, 8), "-q 80"))->count() == 1 ? 0 : 2;
    wrong += libraryIsLoaded() ? 0 : 4;
    return wrong;
  };
  EXPECT_EXIT(std::exit(check()), ::testing::ExitedWithCode(0), "");
}

TEST(WebpReading, ALossyPictureHasDwebpsPixels) {
  const Bytes file = encoded(plasma(61, 47), "-q 80");
  const auto source = openSource(kWebpCodec, file);
  ASSERT_EQ(source->count(), 1U);
  EXPECT_EQ(source->info(0).width, 61U);
  EXPECT_EQ(source->info(0).height, 47U);
  EXPECT_EQ(source->info(0).bitsPerComponent, 8U);
  EXPECT_EQ(source->status().cause, "");
  EXPECT_EQ(source->image(0)->layout, PixelLayout{.components = 3});
  EXPECT_EQ(source->image(0)->colorSpace->model, ColorModel::rgb);
  EXPECT_EQ(pixels(kWebpCodec, file), withoutAlpha(decodedByDwebp(file)));
}

TEST(WebpReading, ALosslessPictureHasThePixelsItWasMadeOf) {
  const TemporaryFolder folder;
  run("convert " + plasma(40, 33) + " -depth 8 " + folder.path("in.png"));
  run("cwebp -quiet -lossless " + folder.path("in.png") + " -o " + folder.path("out.webp"));
  const Bytes file = readFile(folder.path("out.webp"));
  EXPECT_EQ(openSource(kWebpCodec, file)->image(0)->layout, PixelLayout{.components = 3});
  EXPECT_EQ(pixels(kWebpCodec, file),
            pixelsByOtherTool(readFile(folder.path("in.png")), "png", "RGB"));
}

TEST(WebpReading, AlphaIsStraight) {
  for (const char* const options : {"-lossless -exact", "-q 70"}) {
    const Bytes file = encoded(translucent(32, 24), options);
    const PixelLayout layout = {.components = 4, .alpha = AlphaInfo::last};
    EXPECT_EQ(openSource(kWebpCodec, file)->image(0)->layout, layout);
    EXPECT_EQ(pixels(kWebpCodec, file), decodedByDwebp(file));
  }
}

TEST(WebpReading, TheProfileIsFound) {
  const Bytes profile = fromText("not a profile that anybody looks into");
  const Bytes file = riff({extended(0x20, 8, 6), {"ICCP", profile}, picture(8, 6, "-lossless")});
  EXPECT_EQ(openSource(kWebpCodec, file)->image(0)->colorSpace->profile, profile);
}

TEST(WebpReading, EachFrameOfAnAnimationIsAPictureOfItsOwn) {
  const Chunk large = picture(20, 16, "-lossless", 1);
  const Chunk small = picture(7, 5, "-q 60", 2);
  const Bytes file = riff({extended(2, 20, 16), animation(3), animationFrame(0, 0, 20, 16, {large}),
                           animationFrame(12, 10, 7, 5, {small})});
  const auto source = openSource(kWebpCodec, file);
  EXPECT_EQ(source->status().cause, "");
  ASSERT_EQ(source->count(), 2U);
  EXPECT_EQ(source->info(1).width, 7U);
  EXPECT_EQ(source->info(1).height, 5U);
  EXPECT_EQ(pixels(kWebpCodec, file, 0), pixels(kWebpCodec, riff({large})));
  EXPECT_EQ(pixels(kWebpCodec, file, 1), pixels(kWebpCodec, riff({small})));
}

TEST(WebpReading, FramesOfOtherToolsAnimationsReadAsTheyExtractThem) {
  const TemporaryFolder folder;
  run("convert -size 30x20 xc:red \\( -clone 0 -fill blue -draw 'rectangle 4,6 12,14' \\) "
      "\\( -clone 0 -fill lime -draw 'circle 20,10 24,10' \\) -delay 12 -loop 2 " +
      folder.path("in.gif"));
  run("gif2webp -quiet -mixed " + folder.path("in.gif") + " -o " + folder.path("in.webp"));
  const Bytes file = readFile(folder.path("in.webp"));
  const auto source = openSource(kWebpCodec, file);
  ASSERT_EQ(source->count(), 3U);
  for (std::size_t frame = 0; frame < source->count(); ++frame) {
    run("webpmux -get frame " + std::to_string(frame + 1) + " " + folder.path("in.webp") + " -o " +
        folder.path("frame.webp"));
    const Bytes rgba = decodedByDwebp(readFile(folder.path("frame.webp")));
    const bool alpha = source->image(frame)->layout.components == 4;
    EXPECT_EQ(pixels(kWebpCodec, file, frame), alpha ? rgba : withoutAlpha(rgba)) << frame;
  }
}

TEST(WebpReading, EachPassOverThePictureBeginsAnew) {
  const Bytes file = encoded(plasma(20, 20), "-q 80");
  const auto image = openSource(kWebpCodec, file)->image(0);
  EXPECT_EQ(*readAllPixels(*image), *readAllPixels(*image));
}

TEST(WebpReading, RowsComeInAnyNumberAtATime) {
  const Bytes file = encoded(plasma(10, 9), "-lossless");
  const auto image = openSource(kWebpCodec, file)->image(0);
  const auto rows = *image->openRows();
  Bytes all;
  for (const std::uint32_t count : {1U, 3U, 5U}) {
    Bytes some(std::size_t{30} * count);
    ASSERT_TRUE(rows->read(some, count).ok());
    all = concat({all, some});
  }
  EXPECT_EQ(all, pixels(kWebpCodec, file));
}

TEST(WebpReading, ChunksAreReadWithTheirPadding) {
  const Bytes data = concat({chunkBytes({"odd ", fromHex("010203")}), chunkBytes({"none", {}})});
  const WebpChunks found = readWebpChunks(data);
  EXPECT_EQ(found.cause, "");
  ASSERT_EQ(found.chunks.size(), 2U);
  EXPECT_EQ(found.chunks[0].data.size(), 3U);
  EXPECT_EQ(found.chunks[0].whole.size(), 12U);
  EXPECT_EQ(found.chunks[1].name(), "none");
}

}  // namespace
}  // namespace kelvo::webp_test
