#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "platform/image_io/mapped_file.h"
#include "tests/image_io/png/png_animation_support.h"

namespace kelvo::png_test {
namespace {

using testing::ElementsAre;

// Three frames that share most of their pixels, put together by apngasm.
Bytes assembled(const std::string& kind, const std::string& options) {
  const TemporaryFolder folder;
  for (const char* const i : {"1", "2", "3"}) {
    run("convert -size 40x30 -seed 4 plasma:fractal -fill red -draw 'rectangle " + std::string(i) +
        "0,3 " + i + "5,9' " + kind + folder.path("f") + i + ".png");
  }
  run("cd '" + folder.path("") + "' && apngasm out.png f1.png 3 25 -z0 " + options);
  return readFile(folder.path("out.png"));
}

Chunk ihdr(unsigned width, unsigned height, unsigned depth, unsigned color,
           bool interlaced = false) {
  return {"IHDR", header(width, height, depth, color, interlaced)};
}

// Two frames, the second one of one pixel in a picture of 2 x 1. `data` are its compressed data.
Bytes small(const std::vector<Chunk>& extra = {}, const std::vector<Chunk>& between = {}) {
  std::vector<Chunk> chunks = {ihdr(2, 1, 8, 2), acTL(2, 7)};
  chunks.insert(chunks.end(), extra.begin(), extra.end());
  chunks.push_back(fcTL({.number = 0, .width = 2, .delay = 3, .delayParts = 100, .dispose = 1}));
  chunks.push_back({"IDAT", pictureData({fromHex("010203 040506")})});
  chunks.push_back(fcTL({.number = 1, .x = 1, .delay = 500, .delayParts = 0, .blend = 1}));
  chunks.insert(chunks.end(), between.begin(), between.end());
  chunks.push_back(fdAT(2, pictureData({fromHex("112233")})));
  return file(chunks);
}

TEST(PngAnimation, EveryFrameIsReadInItsOwnSize) {
  const Bytes bytes = small();
  const auto source = openSource(bytes);
  EXPECT_EQ(source->status().cause, "");
  ASSERT_EQ(source->count(), 2U);
  EXPECT_EQ(source->info(0).width, 2U);
  EXPECT_EQ(source->info(1).width, 1U);
  EXPECT_EQ(source->info(1).height, 1U);
  EXPECT_EQ(framePixels(bytes, 0), fromHex("010203 040506"));
  EXPECT_EQ(framePixels(bytes, 1), fromHex("112233"));
}

TEST(PngAnimation, APictureThatIsNotPartOfTheAnimationComesFirst) {
  const Bytes bytes = file({ihdr(2, 1, 8, 2),
                            acTL(1),
                            {"IDAT", pictureData({fromHex("010203 040506")})},
                            fcTL({.number = 0, .width = 2}),
                            fdAT(1, pictureData({fromHex("112233 445566")}))});
  ASSERT_EQ(openSource(bytes)->count(), 2U);
  EXPECT_EQ(framePixels(bytes, 0), fromHex("010203 040506"));
  EXPECT_EQ(framePixels(bytes, 1), fromHex("112233 445566"));
  const Bytes after = rewriteFrames(bytes, inverted);
  EXPECT_EQ(framePixels(after, 0), fromHex("fefdfc fbfaf9"));
  EXPECT_EQ(framePixels(after, 1), fromHex("eeddcc bbaa99"));
  EXPECT_EQ(chunksAroundData(after), chunksAroundData(bytes));
}

TEST(PngAnimation, AnAnimationOfOneFrameIsOnePicture) {
  const Bytes bytes =
      file({ihdr(1, 1, 8, 2), acTL(1), fcTL({}), {"IDAT", pictureData({fromHex("010203")})}});
  ASSERT_EQ(openSource(bytes)->count(), 1U);
  const Bytes after = rewriteFrames(bytes, inverted);
  EXPECT_EQ(chunksAroundData(after), chunksAroundData(bytes));
  EXPECT_EQ(framePixels(after, 0), fromHex("fefdfc"));
}

TEST(PngAnimation, FramesTimesLoopsPlacesDisposalAndBlendingStay) {
  const Bytes before = small();
  const Bytes after = rewriteFrames(before, inverted);
  EXPECT_EQ(chunksAroundData(after), chunksAroundData(before));
  EXPECT_EQ(framePixels(after, 0), fromHex("fefdfc fbfaf9"));
  EXPECT_EQ(framePixels(after, 1), fromHex("eeddcc"));
  for (unsigned dispose = 0; dispose < 3; ++dispose) {
    for (unsigned blend = 0; blend < 2; ++blend) {
      const Bytes bytes = file({ihdr(1, 1, 8, 2),
                                acTL(1, 0x7fffffff),
                                fcTL({.delay = 65535, .dispose = dispose, .blend = blend}),
                                {"IDAT", pictureData({fromHex("010203")})}});
      EXPECT_EQ(chunksAroundData(rewriteFrames(bytes, inverted)), chunksAroundData(bytes));
    }
  }
}

TEST(PngAnimation, OtherChunksStayWhereverTheyStand) {
  const std::vector<Chunk> extra = {
      {"gAMA", fromHex("0000b18f")}, {"tEXt", fromText("before")}, {"prIv", fromText("unknown")}};
  const std::vector<Chunk> between = {{"tEXt", fromText("between")}, {"prIv", fromText("again")}};
  const Bytes before = concat({small(extra, between), fromText("after the end")});
  const Bytes after = rewriteFrames(before, inverted);
  EXPECT_EQ(chunksAroundData(after), chunksAroundData(before));
  const Bytes end = fromText("after the end");
  ASSERT_GT(after.size(), end.size());
  EXPECT_EQ(Bytes(after.end() - static_cast<std::ptrdiff_t>(end.size()), after.end()), end);
}

TEST(PngAnimation, ChunksBetweenAFramesDataStay) {
  const Bytes data = pictureData({fromHex("112233")});
  const auto middle = data.begin() + 5;
  const Bytes before = file({ihdr(1, 1, 8, 2),
                             acTL(2),
                             {"IDAT", pictureData({fromHex("010203")})},
                             fcTL({.number = 0}),
                             fdAT(1, {data.begin(), middle}),
                             {"tEXt", fromText("inside")},
                             fdAT(2, {middle, data.end()}),
                             fcTL({.number = 3}),
                             fdAT(4, data)});
  EXPECT_EQ(framePixels(before, 1), fromHex("112233"));
  const Bytes after = rewriteFrames(before, inverted);
  EXPECT_EQ(chunksAroundData(after), chunksAroundData(before));
  EXPECT_EQ(framePixels(after, 1), fromHex("eeddcc"));
  EXPECT_EQ(framePixels(after, 2), fromHex("eeddcc"));
}

TEST(PngAnimation, ChunksAreNumberedThroughHoweverManyThereWere) {
  const Bytes data = pictureData({fromHex("112233")});
  std::vector<Chunk> chunks = {
      ihdr(1, 1, 8, 2), acTL(3), fcTL({.number = 0}), {"IDAT", pictureData({fromHex("010203")})}};
  unsigned number = 1;
  for (int frame = 0; frame < 2; ++frame) {
    chunks.push_back(fcTL({.number = number++}));
    for (const std::byte byte : data) chunks.push_back(fdAT(number++, {byte}));
    chunks.push_back(fdAT(number++, {}));
  }
  const Bytes before = file(chunks);
  EXPECT_EQ(framePixels(before, 2), fromHex("112233"));
  const Bytes after = rewriteFrames(before, inverted);
  EXPECT_EQ(chunksAroundData(after), chunksAroundData(before));
  EXPECT_EQ(framePixels(after, 2), fromHex("eeddcc"));
}

TEST(PngAnimation, LargeFramesAreWrittenInSeveralNumberedChunks) {
  std::mt19937 random(1);
  const auto noise = [&] {
    std::vector<Bytes> rows(300, Bytes(900));
    for (Bytes& row : rows) {
      for (std::byte& b : row) b = static_cast<std::byte>(random());
    }
    return rows;
  };
  const auto first = noise();
  const auto second = noise();
  const Bytes before = file({ihdr(300, 300, 8, 2),
                             acTL(2),
                             fcTL({.number = 0, .width = 300, .height = 300}),
                             {"IDAT", pictureData(first)},
                             fcTL({.number = 1, .width = 300, .height = 300}),
                             fdAT(2, pictureData(second)),
                             {"tEXt", fromText("end")}});
  const Bytes after = rewriteFrames(before, inverted);
  EXPECT_EQ(chunksAroundData(after), chunksAroundData(before));
  const auto chunks = chunksOf(after);
  EXPECT_GT(std::ranges::count_if(chunks, [](const Chunk& c) { return c.type == "fdAT"; }), 1);
  Bytes expected = concat(second);
  for (std::byte& b : expected) b = ~b;
  EXPECT_TRUE(framePixels(after, 1) == expected);
}

TEST(PngAnimation, OtherToolsSeeTheOppositeColoursInEveryFrame) {
  struct Case {
    const char* kind;
    const char* options;
  };
  for (const auto& [kind, options] :
       {Case{"-depth 8 PNG24:", ""}, Case{"-depth 8 PNG24:", "-f -l2"},
        Case{"-transparent red -depth 8 PNG32:", "-kc"},
        Case{"-depth 8 -colors 40 PNG8:", "-kp -kc"}, Case{"-depth 8 PNG24:", "-kc"}}) {
    const Bytes before = assembled(kind, options);
    const auto source = openSource(before);
    EXPECT_EQ(source->status().cause, "");
    EXPECT_EQ(source->count(), 3U) << kind;
    const Bytes after = rewriteFrames(before, inverted);
    EXPECT_TRUE(acceptedByPngcheck(after));
    const auto shown = shownByOtherTool(after);
    const auto expected = shownByOtherTool(before, "-channel RGB -negate +channel");
    EXPECT_GE(shown.size(), 2U);
    EXPECT_TRUE(shown == expected) << kind << options;
  }
}

TEST(PngAnimation, FramesAreReadAsTheyAreAsFilesOfTheirOwn) {
  for (const char* const kind :
       {"-depth 8 PNG24:", "-depth 8 -colors 40 PNG8:", "-transparent red -depth 8 PNG32:"}) {
    const Bytes bytes = assembled(kind, "-kp -kc");
    const auto pictures = picturesOf(bytes);
    ASSERT_EQ(pictures.size(), 3U);
    for (std::size_t i = 0; i < pictures.size(); ++i) {
      const std::string layout =
          openSource(bytes)->image(i)->layout.components == 4 ? "RGBA" : "RGB";
      EXPECT_TRUE(framePixels(bytes, i) == pixelsByOtherTool(pictures[i], layout, 8)) << kind << i;
    }
  }
}

// Small frames have passes of no pixels.
TEST(PngAnimation, InterlacedFramesOfManySizesComeBack) {
  const TemporaryFolder folder;
  std::vector<Chunk> chunks = {ihdr(9, 9, 8, 2, true)};
  unsigned number = 0;
  std::vector<Chunk> frames;
  for (const unsigned width : {1U, 2U, 5U, 9U}) {
    for (const unsigned height : {1U, 3U, 9U}) {
      const std::string name = folder.path("f.png");
      run("convert -size " + std::to_string(width) + "x" + std::to_string(height) +
          " -seed 3 plasma:fractal -interlace PNG -depth 8 PNG24:" + name);
      frames.push_back(fcTL({.number = number++, .width = width, .height = height}));
      frames.push_back(fdAT(number++, dataOf(readFile(name), "IDAT")));
      if (width == 9 && height == 9) chunks.push_back({"IDAT", dataOf(readFile(name), "IDAT")});
    }
  }
  chunks.insert(chunks.begin() + 1, acTL(12));
  chunks.insert(chunks.end(), frames.begin(), frames.end());
  const Bytes before = file(chunks);
  const Bytes after = rewriteFrames(before, inverted);
  EXPECT_EQ(chunksAroundData(after), chunksAroundData(before));
  for (std::size_t i = 0; i < 13; ++i) {
    Bytes expected = framePixels(before, i);
    EXPECT_TRUE(expected == pixelsByOtherTool(picturesOf(before)[i], "RGB", 8)) << i;
    for (std::byte& b : expected) b = ~b;
    EXPECT_EQ(framePixels(after, i), expected) << i;
  }
}

// 0x8080 / 257 = 128
TEST(PngAnimation, DeepFramesAllGetTheSameDepth) {
  const Bytes before = file({ihdr(1, 1, 16, 2),
                             acTL(2),
                             fcTL({.number = 0}),
                             {"IDAT", pictureData({fromHex("8080 0000 ffff")})},
                             fcTL({.number = 1}),
                             fdAT(2, pictureData({fromHex("ffff 8080 0000")}))});
  const Bytes after = rewriteFrames(before, renderedFrame);
  EXPECT_EQ(framePixels(after, 0), fromHex("8000ff"));
  EXPECT_EQ(framePixels(after, 1), fromHex("ff8000"));
  const Bytes deep =
      rewriteFrames(before, [](const CGImage& image, std::size_t) { return renderedDeep(image); },
                    {.keepDepth = true});
  EXPECT_EQ(chunksAroundData(deep), chunksAroundData(before));
  EXPECT_EQ(framePixels(deep, 1), framePixels(before, 1));
}

Bytes indexed(const std::vector<Chunk>& between = {}) {
  std::vector<Chunk> chunks = {ihdr(2, 1, 8, 3),
                               acTL(2),
                               {"PLTE", fromHex("010203 040506 070809")},
                               {"tRNS", fromHex("00")},
                               fcTL({.number = 0, .width = 2}),
                               {"IDAT", pictureData({fromHex("0001")})}};
  chunks.insert(chunks.end(), between.begin(), between.end());
  chunks.push_back(fcTL({.number = 1}));
  chunks.push_back(fdAT(2, pictureData({fromHex("02")})));
  return file(chunks);
}

TEST(PngAnimation, IndexedFramesKeepTheirDataByteForByte) {
  const Bytes before = indexed({{"tEXt", fromText("between")}});
  const auto unchanged = [](const CGImage& image, std::size_t) { return image; };
  EXPECT_EQ(rewriteFrames(before, unchanged), before);
  const Bytes after = rewriteFrames(before, inverted);
  EXPECT_EQ(dataOf(after, "fdAT"), dataOf(before, "fdAT"));
  EXPECT_EQ(dataOf(after, "IDAT"), dataOf(before, "IDAT"));
  EXPECT_EQ(dataOf(after, "fcTL"), dataOf(before, "fcTL"));
  EXPECT_EQ(dataOf(after, "PLTE"), fromHex("000000 fbfaf9 f8f7f6"));
  EXPECT_EQ(framePixels(after, 1), fromHex("f8f7f6ff"));
}

TEST(PngAnimation, IndexedFramesThatWouldNeedDifferentTablesAreRefused) {
  const auto written = tryRewriteFrames(indexed(), [](const CGImage& image, std::size_t frame) {
    CGImage result = image;
    Palette palette = *image.palette;
    palette[0][0] = static_cast<std::uint8_t>(frame);
    result.palette = std::make_shared<const Palette>(palette);
    return result;
  });
  ASSERT_FALSE(written.ok());
  EXPECT_EQ(written.error().message,
            "the frames share one colour table, and each frame's adjustment would make another of "
            "it");
}

// A dark and a bright frame are stretched differently.
TEST(PngAnimation, MeasuredAdjustmentsOfIndexedFramesAreRefusedIfTheyDiffer) {
  const auto rows = [](const char* index) {
    Bytes row;
    for (int i = 0; i < 15; ++i) row = concat({row, fromHex(index), fromHex("01")});
    return std::vector<Bytes>(20, row);
  };
  const auto build = [&](const char* secondFrame) {
    return file({ihdr(30, 20, 8, 3),
                 acTL(2),
                 {"PLTE", fromHex("202020 606060 c0c0c0")},
                 fcTL({.number = 0, .width = 30, .height = 20}),
                 {"IDAT", pictureData(rows("00"))},
                 fcTL({.number = 1, .width = 30, .height = 20}),
                 fdAT(2, pictureData(rows(secondFrame)))});
  };
  EXPECT_TRUE(tryRewriteFrames(build("00"), equalized).ok());
  EXPECT_FALSE(tryRewriteFrames(build("02"), equalized).ok());
}

TEST(PngAnimation, DamagedIndicesOfALaterFrameAreNotHandedOn) {
  const Bytes data = pictureData({fromHex("00")});
  const Bytes good = file({ihdr(1, 1, 8, 3),
                           acTL(1),
                           {"PLTE", fromHex("010203")},
                           {"IDAT", data},
                           fcTL({}),
                           fdAT(1, data)});
  const auto unchanged = [](const CGImage& image, std::size_t) { return image; };
  ASSERT_TRUE(tryRewriteFrames(good, unchanged).ok());
  Bytes damaged = good;
  damaged[good.size() - 12 - 4 - 1] ^= std::byte{1};  // the last byte before the checksum
  EXPECT_FALSE(tryRewriteFrames(damaged, unchanged).ok());
}

// The key 010203 stands for transparent in both frames. Inverted, the second frame has an opaque
// pixel of that colour, so another one stands for transparent in both.
TEST(PngAnimation, AColourKeyIsFreeInEveryFrame) {
  const Bytes before = file({ihdr(2, 1, 8, 2),
                             acTL(2),
                             {"tRNS", fromHex("0001 0002 0003")},
                             fcTL({.number = 0, .width = 2}),
                             {"IDAT", pictureData({fromHex("010203 ffffff")})},
                             fcTL({.number = 1, .width = 2}),
                             fdAT(2, pictureData({fromHex("fefdfc 010203")}))});
  const Bytes after = rewriteFrames(before, inverted);
  // 000000 is taken in the first frame; the next colour is 000001.
  EXPECT_EQ(dataOf(after, "tRNS"), fromHex("0000 0000 0001"));
  EXPECT_EQ(framePixels(after, 0), fromHex("00000100 000000ff"));
  EXPECT_EQ(framePixels(after, 1), fromHex("010203ff 00000100"));
  auto around = chunksAroundData(after);
  std::erase_if(around, [](const Chunk& c) { return c.type == "tRNS"; });
  auto expected = chunksAroundData(before);
  std::erase_if(expected, [](const Chunk& c) { return c.type == "tRNS"; });
  EXPECT_EQ(around, expected);
}

// Two pixels of RGBA a frame.
TEST(PngAnimation, AColourKeyTakesMemoryForAllFramesWithinTheLimit) {
  const Bytes bytes = file({ihdr(2, 1, 8, 2),
                            acTL(20),
                            {"tRNS", fromHex("0001 0002 0003")},
                            {"IDAT", pictureData({fromHex("010203 ffffff")})}});
  std::vector<Chunk> chunks = chunksOf(bytes);
  chunks.pop_back();  // IEND
  for (unsigned i = 0; i < 20; ++i) {
    chunks.push_back(fcTL({.number = 2 * i, .width = 2}));
    chunks.push_back(fdAT(2 * i + 1, pictureData({fromHex("010203 ffffff")})));
  }
  const Bytes before = file(chunks);
  EXPECT_TRUE(tryRewriteFrames(before, inverted, {}, {.maxMemoryBytes = 168}).ok());
  const auto refused = tryRewriteFrames(before, inverted, {}, {.maxMemoryBytes = 167});
  ASSERT_FALSE(refused.ok());
  EXPECT_EQ(
      refused.error().message,
      "an animation with a transparent colour takes 168 bytes of memory, over the limit of 167 "
      "(--max-memory)");
}

TEST(PngAnimation, AnIndexIntoTheOldDataGoesWithIt) {
  const Bytes before = small({{"iDOT", Bytes(28, std::byte{1})}});
  EXPECT_TRUE(dataOf(rewriteFrames(before, inverted), "iDOT").empty());
}

TEST(PngAnimation, GrayAnimationsAreNotWritten) {
  const Bytes before = file({ihdr(1, 1, 8, 0),
                             acTL(2),
                             fcTL({.number = 0}),
                             {"IDAT", pictureData({fromHex("01")})},
                             fcTL({.number = 1}),
                             fdAT(2, pictureData({fromHex("02")}))});
  EXPECT_EQ(framePixels(before, 1), fromHex("02"));
  const auto written =
      tryRewriteFrames(before, [](const CGImage& image, std::size_t) { return image; });
  ASSERT_FALSE(written.ok());
  EXPECT_EQ(written.error().message, "gray PNG files cannot be adjusted");
}

TEST(PngAnimation, FramesOutOfOrderOrOfAnotherSizeAreRefused) {
  const Bytes bytes = small();
  EXPECT_EQ(tryRewriteFrames(bytes,
                             [&](const CGImage& image, std::size_t frame) {
                               CGImage result = image;
                               if (frame == 1) result.width = 2;
                               return result;
                             })
                .error()
                .message,
            "the picture has become 2 x 1 pixels");
}

}  // namespace
}  // namespace kelvo::png_test
