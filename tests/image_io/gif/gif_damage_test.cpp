#include <gtest/gtest.h>

#include <random>

#include "platform/image_io/mapped_file.h"
#include "tests/image_io/gif/gif_test_support.h"

namespace kelvo::gif_test {
namespace {

const std::string kPicture = descriptor(0, 0, 2, 2, 0) + pictureData({0, 1, 2, 3});
const std::string kStart = screen(2, 2, 128 | 1) + kColors;

SourceStatus statusOf(const std::string& file) { return openSource(file)->status(); }

void expectInvalid(const std::string& file, const std::string& cause) {
  EXPECT_EQ(statusOf(file).status, CGImageSourceStatus::invalidData);
  EXPECT_EQ(statusOf(file).cause, cause);
}

std::string openError(const std::string& file, const Limits& limits = {}) {
  const auto* const bytes = reinterpret_cast<const std::byte*>(file.data());
  const auto source = kGifCodec.open(MappedFile::fromBytes({bytes, bytes + file.size()}), limits);
  return source.ok() ? "opened" : source.error().message;
}

// Of a file of 2 x 2 pixels with a table of four colours and these compressed data.
std::string readError(const std::string& data) {
  const auto read = tryPixels(kStart + descriptor(0, 0, 2, 2, 0) + data + kTrailer);
  return read.ok() ? "read" : read.error().message;
}

// Codes of `width` bits each.
std::string codes(const std::vector<unsigned>& values, unsigned width = 3) {
  std::string bytes;
  unsigned held = 0;
  unsigned count = 0;
  for (const unsigned value : values) {
    held |= value << count;
    for (count += width; count >= 8; count -= 8, held >>= 8)
      bytes += static_cast<char>(held & 255U);
  }
  if (count > 0) bytes += static_cast<char>(held);
  return '\2' + subBlocks(bytes);
}
constexpr unsigned kClear = 4;
constexpr unsigned kEnd = 5;

TEST(GifDamage, AFileCutAnywhereIsNeverComplete) {
  for (const std::string& whole :
       {animation("-set comment words", "9x7"),
        kStart + control(1, 0, 3) + hex("2101 0c 0000000008000800 0808 01 02") + subBlocks("text") +
            kPicture + descriptor(0, 0, 1, 1, 128) + kColors.substr(0, 6) + pictureData({1}) +
            kTrailer}) {
    ASSERT_EQ(statusOf(whole).status, CGImageSourceStatus::complete);
    for (std::size_t size = 0; size < whole.size(); ++size) {
      const std::string cut = whole.substr(0, size);
      if (size < 13) {
        EXPECT_EQ(openError(cut), "the file ends inside its header") << size;
        continue;
      }
      EXPECT_EQ(statusOf(cut).status, CGImageSourceStatus::incomplete) << "cut to " << size;
      EXPECT_FALSE(tryRewrite(cut, unchanged).ok()) << "cut to " << size;
    }
  }
}

TEST(GifDamage, AnEarlyEndIsToldWithItsPlace) {
  const std::string local = descriptor(0, 0, 1, 1, 128) + kColors.substr(0, 6);
  EXPECT_EQ(statusOf(kStart.substr(0, 20)).cause, "the file ends inside its global colour table");
  EXPECT_EQ(statusOf(kStart).cause, "the file ends before its trailer");
  EXPECT_EQ(statusOf(kStart + "!").cause, "the file ends inside an extension");
  EXPECT_EQ(statusOf(kStart + hex("21fe 03 41")).cause, "the file ends inside an extension");
  EXPECT_EQ(statusOf(kStart + local.substr(0, 9)).cause,
            "the file ends inside an image descriptor");
  EXPECT_EQ(statusOf(kStart + local.substr(0, 14)).cause,
            "the file ends inside a local colour table");
  EXPECT_EQ(statusOf(kStart + local).cause, "the file ends inside a frame");
  EXPECT_EQ(statusOf(kStart + local + hex("02 02 4c01")).cause, "the file ends inside a frame");
  EXPECT_EQ(statusOf(kStart + kPicture).cause, "the file ends before its trailer");
}

// Whatever random damage does, nothing but a file that reads whole is written, and byte for byte.
TEST(GifDamage, DamagedFilesAreRefusedOrWrittenAsTheyAre) {
  const std::string whole = animation("-set comment words -layers OptimizeTransparency", "19x14");
  std::mt19937 random(3);
  int refused = 0;
  constexpr int kTries = 4000;
  for (int i = 0; i < kTries; ++i) {
    std::string damaged = whole;
    for (auto n = random() % 4 + 1; n > 0; --n) {
      damaged[13 + random() % (damaged.size() - 13)] = static_cast<char>(random());
    }
    if (openError(damaged) != "opened") {
      ++refused;
      continue;
    }
    const auto written = tryRewrite(damaged, unchanged);
    if (!written) {
      ++refused;
      continue;
    }
    EXPECT_EQ(*written, damaged);
    for (std::size_t frame = 0; frame < openSource(damaged)->count(); ++frame) {
      EXPECT_TRUE(tryPixels(damaged, frame).ok());
    }
  }
  EXPECT_GT(refused, kTries / 4);
  EXPECT_LT(refused, kTries);
}

// The format has no checksums: a flipped bit shows when codes or pixels no longer add up.
TEST(GifDamage, MostFlippedBitsInTheIndicesAreNoticed) {
  std::vector<unsigned> indices(400);
  std::mt19937 random(5);
  for (unsigned& index : indices) index = static_cast<unsigned>(random() % 4);
  const std::string data = compressed(indices, {});
  std::size_t noticed = 0;
  for (std::size_t bit = 0; bit < 8 * data.size(); ++bit) {
    std::string flipped = data;
    flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
    const std::string file = screen(20, 20, 128 | 1) + kColors + descriptor(0, 0, 20, 20, 0) +
                             '\2' + subBlocks(flipped) + kTrailer;
    if (!tryPixels(file).ok()) ++noticed;
  }
  EXPECT_GT(noticed, 8 * data.size() / 2);
}

TEST(GifDamage, BytesThatAreNoBlockAreTold) {
  expectInvalid(kStart + kPicture + '\0' + kTrailer,
                "there is no block where one should be, at byte " +
                    std::to_string(kStart.size() + kPicture.size()));
  expectInvalid(kStart + "x", "there is no block where one should be, at byte 25");
}

TEST(GifDamage, AFileWithoutAPictureIsTold) {
  expectInvalid(kStart + kTrailer, "there is no picture in the file");
}

TEST(GifDamage, AFrameWithoutPixelsIsTold) {
  expectInvalid(kStart + kPicture + descriptor(0, 0, 0, 2, 0) + pictureData({}) + kTrailer,
                "frame 1 has no pixels");
  expectInvalid(kStart + descriptor(0, 0, 2, 0, 0) + pictureData({}) + kTrailer,
                "frame 0 has no pixels");
}

TEST(GifDamage, AControlBlockOfAnotherSizeIsTold) {
  const std::string cause = "the graphic control block at byte 25 makes no sense";
  for (const char* const block : {"21f9 00", "21f9 03 000000 00", "21f9 05 0000000000 00",
                                  "21f9 04 00000000 01 00 00", "21f9 02 0000 03 000000 00"}) {
    expectInvalid(kStart + hex(block) + kPicture + kTrailer, cause);
  }
}

TEST(GifDamage, AFrameWithoutAnyTableFails) {
  const std::string file = screen(2, 2, 0) + kPicture + kTrailer;
  EXPECT_EQ(statusOf(file).cause, "");
  EXPECT_EQ(openSource(file)->image(0).error().message, "the frame has no colour table");
}

TEST(GifDamage, TooFewIndicesAreDamage) {
  const std::string cause = "the picture data ends early";
  EXPECT_EQ(readError(codes({kClear, 0, 1, 2, kEnd})), cause);
  EXPECT_EQ(readError(codes({kClear, 1})), cause);
  EXPECT_EQ(readError(codes({kEnd})), cause);
  EXPECT_EQ(readError(hex("02 00")), cause);
  EXPECT_EQ(readError(codes({kClear, kClear, kClear})), cause);
}

TEST(GifDamage, TooManyIndicesAreDamage) {
  const std::string cause = "there is more picture data than the frame has pixels";
  // A string of two where one pixel is left.
  EXPECT_EQ(readError(codes({kClear, 0, 0, 6})), "read");
  EXPECT_EQ(readError(codes({kClear, 0, 0, 0, 6})), cause);
  // clear 0 0 0 (3 bits each), 0 (4 bits), and then nothing, the end, or a further index.
  EXPECT_EQ(readError(hex("02 02 0400 00")), "read");
  EXPECT_EQ(readError(hex("02 03 040005 00")), "read");
  EXPECT_EQ(readError(hex("02 03 040000 00")), cause);
  EXPECT_EQ(readError(pictureData({0, 1, 2, 3, 0})), cause);
  EXPECT_EQ(readError(pictureData(std::vector<unsigned>(5, 1))), cause);
}

TEST(GifDamage, ClearCodesAndPaddingAfterTheLastPixelAreNoDamage) {
  // clear 0 1 2 (3 bits each), 3 and clear (4 bits each), end (3 bits)
  EXPECT_EQ(readError(hex("02 03 443454 00")), "read");
}

TEST(GifDamage, CodesThatDoNotExistAreDamage) {
  const std::string cause = "the picture data is damaged: a code does not exist";
  EXPECT_EQ(readError(codes({kClear, 6})), cause);
  EXPECT_EQ(readError(codes({kClear, 7})), cause);
  EXPECT_EQ(readError(codes({6})), cause);
  EXPECT_EQ(readError(codes({kClear, 0, 7})), cause);
  EXPECT_EQ(readError(codes({kClear, 0, 1, kClear, 6})), cause);
}

TEST(GifDamage, IndicesThatTheTableDoesNotHaveAreDamage) {
  const std::string start = screen(4, 1, 128) + kColors.substr(0, 6);
  const std::string picture = descriptor(0, 0, 4, 1, 0) + pictureData({0, 1, 2, 3}) + kTrailer;
  EXPECT_EQ(tryPixels(start + picture).error().message, "a pixel has colour 2 of a table of 2");
  EXPECT_EQ(tryPixels(start + control(1, 0, 2) + picture).error().message,
            "a pixel has colour 3 of a table of 2");
  EXPECT_FALSE(tryRewrite(start + picture, unchanged).ok());
}

TEST(GifDamage, CodesOfSizesThatMakeNoSenseAreDamage) {
  EXPECT_EQ(readError(hex("00 01 00 00")),
            "picture data that begins with codes of 1 bits makes no sense");
  EXPECT_EQ(readError(hex("09 01 00 00")),
            "picture data that begins with codes of 10 bits makes no sense");
  EXPECT_EQ(readError(hex("ff 01 00 00")),
            "picture data that begins with codes of 256 bits makes no sense");
}

TEST(GifDamage, DamageInOneFrameLeavesTheOthersReadable) {
  const std::string file = kStart + kPicture + descriptor(0, 0, 2, 2, 0) +
                           codes({kClear, 0, kEnd}) + kPicture + kTrailer;
  EXPECT_EQ(statusOf(file).cause, "");
  EXPECT_TRUE(tryPixels(file, 0).ok());
  EXPECT_FALSE(tryPixels(file, 1).ok());
  EXPECT_TRUE(tryPixels(file, 2).ok());
  EXPECT_EQ(tryRewrite(file, unchanged).error().message, "the picture data ends early");
}

TEST(GifDamage, FilesOverTheLimitsAreRefused) {
  const std::string file = kStart + kPicture + kPicture + kTrailer;
  EXPECT_EQ(openError(file, {.maxFrames = 2}), "opened");
  EXPECT_EQ(openError(file, {.maxFrames = 1}),
            "the file has more than the 1 frames allowed (--max-frames)");
  EXPECT_EQ(openError(file, {.maxPixels = 4}), "opened");
  EXPECT_EQ(openError(file, {.maxPixels = 3}),
            "a picture of 2 x 2 pixels is over the limit of 3 (--max-pixels)");
}

TEST(GifDamage, AFrameThatTakesTooMuchMemoryIsNotDecoded) {
  const auto source = openSource(kStart + kPicture + kTrailer, {.maxMemoryBytes = 3});
  const auto image = source->image(0);
  ASSERT_TRUE(image.ok());
  const auto rows = image->openRows();
  ASSERT_FALSE(rows.ok());
  EXPECT_EQ(rows.error().message,
            "a frame of 2 x 2 pixels takes 4 bytes of memory, over the limit of 3 (--max-memory)");
}

}  // namespace
}  // namespace kelvo::gif_test
