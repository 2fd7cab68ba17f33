#include <gtest/gtest.h>

#include <random>

#include "platform/image_io/mapped_file.h"
#include "tests/image_io/png/png_animation_support.h"

namespace kelvo::png_test {
namespace {

Chunk ihdr() { return {"IHDR", header(2, 2, 8, 2, false)}; }
Chunk idat() { return {"IDAT", pictureData({fromHex("010203 040506"), fromHex("070809 0a0b0c")})}; }
Bytes onePixel() { return pictureData({fromHex("112233")}); }

Bytes whole() {
  return file({ihdr(), acTL(2), fcTL({.number = 0, .width = 2, .height = 2}), idat(),
               fcTL({.number = 1, .x = 1}), fdAT(2, onePixel())});
}

// A picture, and this animation besides.
Bytes after(const std::vector<Chunk>& animation, unsigned frames = 1) {
  std::vector<Chunk> chunks = {ihdr(), acTL(frames), idat()};
  chunks.insert(chunks.end(), animation.begin(), animation.end());
  return file(chunks);
}

void expectInvalid(const Bytes& bytes, const std::string& cause) {
  const auto source = openSource(bytes);
  EXPECT_EQ(source->status().status, CGImageSourceStatus::invalidData);
  EXPECT_EQ(source->status().cause, cause);
  for (std::size_t i = 0; i < source->count(); ++i) {
    EXPECT_EQ(source->image(i).error().message, cause);
  }
}

TEST(PngAnimationDamage, AFileCutAnywhereIsNeverCompleteAndNeverRead) {
  const Bytes bytes = whole();
  ASSERT_EQ(openSource(bytes)->status().cause, "");
  for (std::size_t size = 1; size < bytes.size(); ++size) {
    const Bytes cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
    const auto source = kPngCodec.open(MappedFile::fromBytes(cut), Limits{});
    if (!source.ok()) continue;
    EXPECT_EQ((*source)->status().status, CGImageSourceStatus::incomplete) << "cut to " << size;
    for (std::size_t i = 0; i < (*source)->count(); ++i) {
      EXPECT_FALSE((*source)->image(i).ok()) << "cut to " << size;
    }
  }
}

TEST(PngAnimationDamage, AnyFlippedBitIsNoticed) {
  const Bytes bytes = whole();
  for (std::size_t bit = 64; bit < 8 * bytes.size(); ++bit) {
    Bytes flipped = bytes;
    flipped[bit / 8] ^= static_cast<std::byte>(1U << bit % 8);
    const auto source = kPngCodec.open(MappedFile::fromBytes(flipped), Limits{});
    if (!source.ok()) continue;
    EXPECT_NE((*source)->status().status, CGImageSourceStatus::complete) << "bit " << bit;
  }
}

// The same with the checksums made to fit again: the frame is read as it was, or not at all.
TEST(PngAnimationDamage, FlippedBitsInAFramesDataGiveNoWrongPixels) {
  const Bytes data = onePixel();
  std::size_t noticed = 0;
  for (std::size_t bit = 0; bit < 8 * data.size(); ++bit) {
    Bytes flipped = data;
    flipped[bit / 8] ^= static_cast<std::byte>(1U << bit % 8);
    const auto source = openSource(after({fcTL({}), fdAT(1, flipped)}));
    const auto image = source->image(1);
    ASSERT_TRUE(image.ok());
    const auto read = readAllPixels(*image);
    if (read.ok()) {
      EXPECT_EQ(*read, fromHex("112233")) << "bit " << bit;
    } else {
      ++noticed;
    }
  }
  EXPECT_GT(noticed, 8 * data.size() * 8 / 10);
}

TEST(PngAnimationDamage, AnAnimationThatIsNotAnnouncedIsTold) {
  expectInvalid(file({ihdr(), fcTL({}), idat()}), "the chunk acTL is missing");
  expectInvalid(file({ihdr(), idat(), fdAT(0, onePixel())}), "the chunk acTL is missing");
  expectInvalid(file({ihdr(), idat(), acTL(1), fcTL({}), fdAT(1, onePixel())}),
                "the chunk acTL comes too late");
  expectInvalid(file({ihdr(), acTL(1), acTL(1), idat(), fcTL({}), fdAT(1, onePixel())}),
                "the chunk acTL occurs twice");
  expectInvalid(file({ihdr(), {"acTL", Bytes(7)}, idat()}),
                "a chunk acTL of 7 bytes makes no sense");
}

TEST(PngAnimationDamage, AnotherNumberOfFramesThanAnnouncedIsTold) {
  expectInvalid(after({}, 1), "the animation has 0 frames and announces 1");
  expectInvalid(after({fcTL({}), fdAT(1, onePixel())}, 2),
                "the animation has 1 frames and announces 2");
  expectInvalid(after({fcTL({}), fdAT(1, onePixel())}, 0),
                "the animation has 1 frames and announces 0");
}

TEST(PngAnimationDamage, ChunksThatAreNotNumberedThroughAreTold) {
  expectInvalid(after({fcTL({.number = 1}), fdAT(2, onePixel())}),
                "the number of a chunk fcTL is out of order");
  expectInvalid(after({fcTL({}), fdAT(2, onePixel())}),
                "the number of a chunk fdAT is out of order");
  expectInvalid(after({fcTL({}), fdAT(1, onePixel()), fdAT(1, {})}),
                "the number of a chunk fdAT is out of order");
  expectInvalid(after({fcTL({}), {"fdAT", Bytes(3)}}), "a chunk fdAT of 3 bytes makes no sense");
  expectInvalid(after({{"fcTL", Bytes(25)}}), "a chunk fcTL of 25 bytes makes no sense");
  expectInvalid(after({{"fcTL", Bytes(27)}}), "a chunk fcTL of 27 bytes makes no sense");
}

TEST(PngAnimationDamage, FramesWithoutDataAndDataWithoutFramesAreTold) {
  const std::string noData = "a frame of the animation has no data";
  expectInvalid(after({fcTL({})}), noData);
  expectInvalid(after({fcTL({}), fcTL({.number = 1}), fdAT(2, onePixel())}, 2), noData);
  const Control full = {.number = 0, .width = 2, .height = 2};
  expectInvalid(
      file({ihdr(), acTL(2), fcTL(full), fcTL({.number = 1, .width = 2, .height = 2}), idat()}),
      noData);
  const std::string noFrame = "a chunk fdAT belongs to no frame";
  expectInvalid(after({fdAT(0, onePixel())}), noFrame);
  expectInvalid(file({ihdr(), acTL(1), fcTL(full), fdAT(1, onePixel()), idat()}), noFrame);
  expectInvalid(file({ihdr(), acTL(1), fcTL(full), idat(), fdAT(1, onePixel())}), noFrame);
}

TEST(PngAnimationDamage, FramesOutsideThePictureAreTold) {
  const std::string cause = "frame 0 of the animation does not lie inside the picture";
  for (const Control& control :
       {Control{.width = 3}, Control{.height = 3}, Control{.width = 0}, Control{.height = 0},
        Control{.x = 2}, Control{.y = 2}, Control{.width = 2, .x = 1}, Control{.x = 0xffffffff},
        Control{.width = 0xffffffff, .y = 1}}) {
    expectInvalid(after({fcTL(control), fdAT(1, onePixel())}), cause);
  }
  expectInvalid(file({ihdr(), acTL(1), fcTL({}), idat()}),
                "the first frame of the animation has another size than the picture");
}

TEST(PngAnimationDamage, UnknownWaysOfDisposalAndBlendingAreTold) {
  const std::string cause = "frame 0 of the animation is put down in an unknown way";
  expectInvalid(after({fcTL({.dispose = 3}), fdAT(1, onePixel())}), cause);
  expectInvalid(after({fcTL({.blend = 2}), fdAT(1, onePixel())}), cause);
}

TEST(PngAnimationDamage, AFrameWithTooMuchOrTooLittleDataFails) {
  for (const Bytes& data : {pictureData({fromHex("1122")}), pictureData({fromHex("112233 44")}),
                            concat({onePixel(), fromHex("00")}), Bytes{}}) {
    const Bytes bytes = after({fcTL({}), fdAT(1, data)});
    EXPECT_EQ(openSource(bytes)->status().cause, "");
    EXPECT_EQ(framePixels(bytes, 0).size(), 12U);
    EXPECT_FALSE(readAllPixels(*openSource(bytes)->image(1)).ok());
    EXPECT_FALSE(tryRewriteFrames(bytes, inverted).ok());
  }
}

TEST(PngAnimationDamage, MoreFramesThanAllowedAreRefused) {
  EXPECT_TRUE(kPngCodec.open(MappedFile::fromBytes(whole()), {.maxFrames = 2}).ok());
  const auto source = kPngCodec.open(MappedFile::fromBytes(whole()), {.maxFrames = 1});
  ASSERT_FALSE(source.ok());
  EXPECT_EQ(source.error().message, "the file has 2 frames, over the limit of 1 (--max-frames)");
}

}  // namespace
}  // namespace kelvo::png_test
