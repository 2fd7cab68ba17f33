#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "tests/image_io/webp/webp_test_support.h"

namespace kelvo::webp_test {
namespace {

Bytes cut(const Bytes& bytes, std::size_t size) {
  return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
}

Bytes smallAnimation() {
  return riff({extended(2, 20, 16), animation(0),
               animationFrame(0, 0, 20, 16, {picture(20, 16, "-lossless", 1)}),
               animationFrame(2, 2, 8, 8, {picture(8, 8, "-q 40", 2)})});
}

std::vector<Bytes> samples() {
  return {encoded(plasma(24, 17), "-q 60"), encoded(plasma(24, 17), "-lossless"),
          encoded(translucent(16, 16), "-q 60"), smallAnimation()};
}

void expectInvalid(const std::vector<Chunk>& chunks, const std::string& cause) {
  const SourceStatus status = openSource(kWebpCodec, riff(chunks))->status();
  EXPECT_EQ(status.status, CGImageSourceStatus::invalidData) << cause;
  EXPECT_EQ(status.cause, cause);
}

TEST(WebpDamage, AFileThatEndsEarlyIsIncompleteWhereverItEnds) {
  for (const Bytes& whole : samples()) {
    for (std::size_t size = 0; size < whole.size(); ++size) {
      const Bytes bytes = cut(whole, size);
      if (size < 12) {
        EXPECT_FALSE(kWebpCodec.matches(bytes)) << size;
        continue;
      }
      const SourceStatus status = openSource(kWebpCodec, bytes)->status();
      EXPECT_EQ(status.status, CGImageSourceStatus::incomplete) << size;
      EXPECT_EQ(status.cause, "the file has " + std::to_string(size) + " of its " +
                                  std::to_string(whole.size()) + " bytes");
      EXPECT_FALSE(tryRewrite(kWebpCodec, bytes).ok()) << size;
    }
  }
}

// The container is whole, what it holds is not.
TEST(WebpDamage, LosslessDataThatEndsEarlyIsDamage) {
  const Chunk whole = picture(24, 17, "-lossless");
  for (std::size_t size = 5; size + 1 < whole.data.size(); ++size) {
    const Bytes file = riff({{"VP8L", cut(whole.data, size)}});
    const auto read = tryPixels(kWebpCodec, file);
    ASSERT_FALSE(read.ok()) << size;
    EXPECT_EQ(read.error().message, "the picture data is damaged");
    EXPECT_FALSE(tryRewrite(kWebpCodec, file).ok()) << size;
  }
}

TEST(WebpDamage, LossyDataThatEndsEarlyIsDamage) {
  const Chunk whole = picture(64, 64, "-q 80");
  const Bytes seen = pixels(kWebpCodec, riff({whole}));
  // The last bytes only round off the entropy coder: without them the same pixels may come out.
  for (std::size_t size = 10; size < whole.data.size(); ++size) {
    const auto read = tryPixels(kWebpCodec, riff({{"VP8 ", cut(whole.data, size)}}));
    if (read) {
      EXPECT_GT(size + 4, whole.data.size()) << size;
      EXPECT_EQ(*read, seen) << size;
    }
  }
}

TEST(WebpDamage, AlphaThatEndsEarlyIsDamage) {
  const std::vector<Chunk> chunks = chunksOf(encoded(translucent(32, 32), "-q 60"));
  const Bytes seen = pixels(kWebpCodec, riff(chunks));
  for (std::size_t size = 0; size < chunks[1].data.size(); ++size) {
    const auto read =
        tryPixels(kWebpCodec, riff({chunks[0], {"ALPH", cut(chunks[1].data, size)}, chunks[2]}));
    if (read) {
      EXPECT_EQ(*read, seen) << size;
    }
  }
  EXPECT_FALSE(tryPixels(kWebpCodec, riff({chunks[0], {"ALPH", {}}, chunks[2]})).ok());
}

TEST(WebpDamage, RandomDamageDoesNoHarmAndIsNeverWrittenUnreadable) {
  std::mt19937 random(1);
  for (const Bytes& whole : samples()) {
    int readableRounds = 0;
    for (int round = 0; round < 400; ++round) {
      Bytes bytes = whole;
      const int changes = 1 + static_cast<int>(random() % 4);
      for (int i = 0; i < changes; ++i) {
        bytes[12 + random() % (bytes.size() - 12)] = static_cast<std::byte>(random());
      }
      const Limits limits = {.maxPixels = 1 << 16, .maxFrames = 10, .maxMemoryBytes = 1 << 24};
      if (!openError(kWebpCodec, bytes, limits).empty()) continue;
      const auto source = openSource(kWebpCodec, bytes, limits);
      const bool complete = source->status().status == CGImageSourceStatus::complete;
      bool readable = complete;
      for (std::size_t frame = 0; frame < source->count(); ++frame) {
        readable = tryPixels(kWebpCodec, bytes, frame, limits).ok() && readable;
      }
      if (!readable) continue;
      const auto written = tryRewrite(kWebpCodec, bytes, rendered, {}, limits);
      ASSERT_TRUE(written.ok()) << written.error().message;
      ++readableRounds;
      const auto again = openSource(kWebpCodec, *written);
      EXPECT_EQ(again->status().cause, "");
      ASSERT_EQ(again->count(), source->count());
      for (std::size_t frame = 0; frame < again->count(); ++frame) {
        EXPECT_TRUE(tryPixels(kWebpCodec, *written, frame).ok());
      }
    }
    EXPECT_GT(readableRounds, 0);
  }
}

TEST(WebpDamage, ALengthThatMakesNoSenseIsTold) {
  Bytes file = encoded(plasma(9, 9), "-lossless");
  file[4] = std::byte{2};
  file[5] = std::byte{0};
  const SourceStatus status = openSource(kWebpCodec, file)->status();
  EXPECT_EQ(status.status, CGImageSourceStatus::invalidData);
  EXPECT_EQ(status.cause, "a file of 10 bytes makes no sense");
}

TEST(WebpDamage, ChunksThatDoNotFitAreTold) {
  const Chunk image = picture(9, 9, "-lossless");
  const auto statusOf = [](const Bytes& content) {
    return openSource(kWebpCodec, concat({fromText("RIFF"), littleEndian(content.size() + 4, 4),
                                          fromText("WEBP"), content}))
        ->status();
  };
  const SourceStatus header = statusOf(concat({chunkBytes(image), fromText("prIv")}));
  EXPECT_EQ(header.status, CGImageSourceStatus::invalidData);
  EXPECT_EQ(header.cause, "a chunk ends inside its header");
  const SourceStatus data =
      statusOf(concat({chunkBytes(image), fromText("prIv"), fromHex("05000000 0102030405")}));
  EXPECT_EQ(data.status, CGImageSourceStatus::invalidData);
  EXPECT_EQ(data.cause, "there is room for 5 of the 6 bytes of a chunk");
}

TEST(WebpDamage, PicturesThatAreMissingOrTooManyAreTold) {
  const Chunk image = picture(9, 9, "-lossless");
  const Chunk lossy = picture(9, 9, "-q 50");
  const Chunk alpha = chunksOf(encoded(translucent(9, 9), "-q 60"))[1];
  expectInvalid({}, "a picture is missing");
  expectInvalid({extended(0, 9, 9)}, "a picture is missing");
  expectInvalid({image, image}, "there are two pictures where one should be");
  expectInvalid({extended(0x10, 9, 9), alpha, alpha, lossy}, "a picture has two chunks ALPH");
  expectInvalid({extended(0x10, 9, 9), lossy, alpha},
                "a chunk ALPH comes after the picture it belongs to");
  expectInvalid({extended(0x10, 9, 9), alpha, image}, "a lossless picture has a chunk ALPH");
  expectInvalid({{"VP8L", fromHex("2e00000000")}}, "a picture's header is damaged");
  expectInvalid({{"VP8 ", fromHex("00")}}, "a picture's header is damaged");
}

TEST(WebpDamage, ExtendedHeadersThatMakeNoSenseAreTold) {
  const Chunk image = picture(9, 9, "-lossless");
  const Chunk lossy = picture(9, 9, "-q 50");
  expectInvalid({{"ALPH", {}}, lossy}, "the chunk VP8X is missing");
  expectInvalid({animation(0), image}, "the chunk VP8X is missing");
  expectInvalid({image, extended(0, 9, 9)}, "the chunk VP8X is not the first one");
  expectInvalid({extended(0, 9, 9), extended(0, 9, 9), image}, "the chunk VP8X occurs twice");
  expectInvalid({{"VP8X", Bytes(9)}, image}, "a chunk VP8X of 9 bytes makes no sense");
  expectInvalid({extended(0, 9, 8), image}, "a picture of 9 x 9 pixels stands in a file of 9 x 8");
}

TEST(WebpDamage, AnimationsThatMakeNoSenseAreTold) {
  const Chunk image = picture(9, 9, "-lossless");
  const Chunk frame = animationFrame(0, 0, 9, 9, {image});
  const Chunk header = extended(2, 10, 10);
  expectInvalid({header, animation(0)}, "an animation has no frames");
  expectInvalid({header, frame}, "the chunk ANIM is missing before the first frame");
  expectInvalid({header, animation(0), animation(0), frame}, "the chunk ANIM occurs twice");
  expectInvalid({header, {"ANIM", Bytes(5)}, frame}, "a chunk ANIM of 5 bytes makes no sense");
  expectInvalid({header, animation(0), {"ANMF", Bytes(15)}},
                "a chunk ANMF of 15 bytes makes no sense");
  expectInvalid({header, animation(0), frame, image},
                "an animation has a picture that is no frame");
  expectInvalid({header, animation(0), animationFrame(0, 0, 9, 8, {image})},
                "a picture of 9 x 9 pixels stands in a frame of 9 x 8");
  expectInvalid({header, animation(0), animationFrame(2, 0, 9, 9, {image})},
                "a frame of 9 x 9 pixels at 2, 0 does not fit into 10 x 10");
  expectInvalid({header, animation(0), animationFrame(0, 0, 9, 9, {})}, "a picture is missing");
  expectInvalid({extended(0, 9, 9), image, frame}, "a file that is not animated has a chunk ANMF");
  Chunk open = frame;
  open.data.pop_back();
  open.data.pop_back();
  const std::size_t length = (image.data.size() + 1) / 2 * 2;
  expectInvalid({header, animation(0), open}, "there is room for " + std::to_string(length - 2) +
                                                  " of the " + std::to_string(length) +
                                                  " bytes of a chunk");
}

// 100 x 100 opaque pixels, but for the mark that says so.
TEST(WebpDamage, ATranslucentPictureThatIsMarkedOpaqueIsDamage) {
  Chunk image = chunksOf(encoded(translucent(10, 10), "-lossless -exact")).back();
  ASSERT_EQ(image.type, "VP8L");
  image.data[4] &= std::byte{0xef};  // bit 28 of the header after the signature
  EXPECT_EQ(tryPixels(kWebpCodec, riff({image})).error().message,
            "the picture data is damaged: a picture without alpha is not opaque");
}

TEST(WebpLimits, TooManyPixelsOrFramesAreRefusedWhenOpened) {
  const Bytes still = encoded(plasma(20, 10), "-lossless");
  EXPECT_EQ(openError(kWebpCodec, still, {.maxPixels = 199}),
            "a picture of 20 x 10 pixels is over the limit of 199 (--max-pixels)");
  EXPECT_EQ(openError(kWebpCodec, still, {.maxPixels = 200}), "");
  const Bytes animated = smallAnimation();
  EXPECT_EQ(openError(kWebpCodec, animated, {.maxFrames = 1}),
            "the file has more than the 1 frames allowed (--max-frames)");
  EXPECT_EQ(openError(kWebpCodec, animated, {.maxFrames = 2}), "");
}

TEST(WebpLimits, TooMuchMemoryIsRefusedBeforeItIsTaken) {
  const Bytes file = encoded(plasma(20, 10), "-lossless");
  const Limits little = {.maxMemoryBytes = 200};
  EXPECT_THAT(tryPixels(kWebpCodec, file, 0, little).error().message,
              testing::HasSubstr("bytes of memory, over the limit of 200 (--max-memory)"));
  const Limits enoughToRead = {.maxMemoryBytes = 200 * 20};
  EXPECT_TRUE(tryPixels(kWebpCodec, file, 0, enoughToRead).ok());
  const auto writable = openSource(kWebpCodec, file, enoughToRead)->writable();
  ASSERT_FALSE(writable.ok());
  EXPECT_THAT(writable.error().message, testing::HasSubstr("(--max-memory)"));
}

TEST(WebpLimits, ThePictureThatIsReadLargerThanItCouldBeWrittenIsRefused) {
  // A lossless header may say 16384; the encoder ends at 16383.
  const Bytes header = fromHex("2f ff3f0000 00");
  const auto source = openSource(kWebpCodec, riff({{"VP8L", header}}));
  ASSERT_EQ(source->count(), 1U);
  EXPECT_EQ(source->info(0).width, 16384U);
  EXPECT_EQ(source->writable().error().message,
            "a picture of 16384 x 1 pixels can be read but not written");
}

TEST(WebpLimits, TheLargestPictureIsWritten) {
  const TemporaryFolder folder;
  run("vips black " + folder.path("in.png") + " 16383 2 --bands 3");
  run("cwebp -quiet -q 60 " + folder.path("in.png") + " -o " + folder.path("in.webp"));
  const Bytes before = readFile(folder.path("in.webp"));
  const Bytes after = rewrite(kWebpCodec, before);
  EXPECT_EQ(openSource(kWebpCodec, after)->info(0).width, 16383U);
  EXPECT_TRUE(tryPixels(kWebpCodec, after).ok());
}

TEST(WebpWriting, FramesMustComeInOrderAndAll) {
  const Bytes file = smallAnimation();
  const auto twice = tryRewrite(kWebpCodec, file, [](const CGImage& image) {
    CGImage other = image;
    other.width = 3;
    return other;
  });
  ASSERT_FALSE(twice.ok());
  EXPECT_EQ(twice.error().message, "the picture has become 3 x 16 pixels");
}

TEST(WebpWriting, AnErrorOfThePicturesRowsIsPassedOn) {
  const auto written =
      tryRewrite(kWebpCodec, encoded(plasma(9, 9), "-q 50"), [](const CGImage& image) {
        CGImage broken = image;
        broken.openRows = []() -> Result<std::unique_ptr<RowSource>> {
          return Error{"the rows are gone"};
        };
        return broken;
      });
  ASSERT_FALSE(written.ok());
  EXPECT_EQ(written.error().message, "the rows are gone");
}

}  // namespace
}  // namespace kelvo::webp_test
