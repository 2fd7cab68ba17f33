#include <gtest/gtest.h>

#include "platform/image_io/mapped_file.h"
#include "tests/image_io/png/png_test_support.h"

namespace kelvo::png_test {
namespace {

SourceStatus statusOf(const Bytes& file) { return openSource(file)->status(); }

void expectInvalid(const Bytes& file, const std::string& cause) {
  const SourceStatus status = statusOf(file);
  EXPECT_EQ(status.status, CGImageSourceStatus::invalidData);
  EXPECT_EQ(status.cause, cause);
  EXPECT_EQ(openSource(file)->image(0).error().message, cause);
}

std::string readError(const Bytes& file) {
  const auto read = tryPixels(file);
  return read.ok() ? "read" : read.error().message;
}

Chunk ihdr(unsigned color = 2) { return {"IHDR", header(1, 1, 8, color, false)}; }
Chunk idat() { return {"IDAT", compressed(fromHex("00 010203"))}; }
Chunk palette() { return {"PLTE", fromHex("010203")}; }

Bytes smallFile(bool interlaced = false) {
  const TemporaryFolder folder;
  run("convert -size 7x5 -seed 2 plasma:fractal -set comment hello -depth 8 " +
      std::string(interlaced ? "-interlace PNG " : "") + "PNG24:" + folder.path("a.png"));
  return readFile(folder.path("a.png"));
}

TEST(PngDamage, AFileCutAnywhereIsNeverCompleteAndNeverRead) {
  const Bytes whole = smallFile();
  ASSERT_EQ(statusOf(whole).status, CGImageSourceStatus::complete);
  for (std::size_t size = 1; size < whole.size(); ++size) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    const auto source = kPngCodec.open(MappedFile::fromBytes(cut), Limits{});
    if (!source.ok()) continue;
    EXPECT_EQ((*source)->status().status, CGImageSourceStatus::incomplete) << "cut to " << size;
    EXPECT_FALSE((*source)->image(0).ok()) << "cut to " << size;
  }
}

TEST(PngDamage, AnyFlippedBitIsNoticed) {
  for (const bool interlaced : {false, true}) {
    const Bytes whole = smallFile(interlaced);
    for (std::size_t bit = 64; bit < 8 * whole.size(); ++bit) {
      Bytes flipped = whole;
      flipped[bit / 8] ^= static_cast<std::byte>(1U << bit % 8);
      const auto source = kPngCodec.open(MappedFile::fromBytes(flipped), Limits{});
      if (!source.ok()) continue;
      EXPECT_NE((*source)->status().status, CGImageSourceStatus::complete) << "bit " << bit;
      EXPECT_FALSE((*source)->image(0).ok()) << "bit " << bit;
    }
  }
}

// The same inside the picture data with the chunk's checksum made to fit again: the data has a
// checksum of its own, so that no wrong pixel gets through.
TEST(PngDamage, FlippedBitsUnderAFittingChunkChecksumGiveNoWrongPixels) {
  for (const bool interlaced : {false, true}) {
    const Bytes whole = smallFile(interlaced);
    const Bytes data = dataOf(whole, "IDAT");
    const Bytes right = pixels(whole);
    int noticed = 0;
    for (std::size_t bit = 0; bit < 8 * data.size(); ++bit) {
      Bytes flipped = data;
      flipped[bit / 8] ^= static_cast<std::byte>(1U << bit % 8);
      const Bytes bytes = file({{"IHDR", dataOf(whole, "IHDR")}, {"IDAT", flipped}});
      const auto read = tryPixels(bytes);
      if (!read.ok()) ++noticed;
      // A few bits mean nothing: the level of compression, and what pads blocks to whole bytes.
      if (read.ok()) {
        EXPECT_EQ(*read, right) << "bit " << bit;
      }
    }
    EXPECT_GT(noticed, static_cast<int>(8 * data.size() * 9 / 10));
  }
}

TEST(PngDamage, AWrongChecksumIsToldWithItsChunk) {
  for (const char* const name : {"tEXt", "IDAT", "IEND"}) {
    Bytes bytes = file({ihdr(), {"tEXt", fromText("a")}, idat()});
    std::size_t at = 33;  // after the header
    if (name != std::string("tEXt")) at += 13;
    if (name == std::string("IEND")) at += 12 + idat().data.size();
    bytes[at + 8 + (name == std::string("IEND") ? 0 : 1)] ^= std::byte{1};
    expectInvalid(bytes, "the checksum of the chunk " + std::string(name) + " at byte " +
                             std::to_string(at) + " is wrong");
  }
}

TEST(PngDamage, AnEarlyEndIsToldWithItsChunk) {
  Bytes bytes = file({ihdr(), idat()});
  bytes.resize(bytes.size() - 1);
  EXPECT_EQ(statusOf(bytes).cause, "the file ends inside its chunk IEND");
  bytes.resize(bytes.size() - 11);
  EXPECT_EQ(statusOf(bytes).cause, "the file ends before its end chunk");
  EXPECT_EQ(statusOf(bytes).status, CGImageSourceStatus::incomplete);
  bytes.resize(bytes.size() - 1);
  EXPECT_EQ(statusOf(bytes).cause, "the file ends inside its chunk IDAT");
}

TEST(PngDamage, BytesThatAreNoChunkAreTold) {
  const Bytes bytes = concat({file({ihdr()}), {}});
  Bytes odd(bytes.begin(), bytes.end() - 12);
  odd = concat({odd, fromHex("00000000 00112233 00000000")});
  expectInvalid(odd, "there is no chunk where one should be, at byte 33");
}

TEST(PngDamage, ChunksInTheWrongPlaceAreTold) {
  expectInvalid(file({ihdr(), ihdr(), idat()}), "the chunk IHDR occurs twice");
  expectInvalid(file({ihdr()}), "the chunk IDAT is missing");
  expectInvalid(file({ihdr(), idat(), {"tEXt", {}}, idat()}),
                "the chunks IDAT do not stand together");
  expectInvalid(file({ihdr(3), idat()}), "the chunk PLTE is missing");
  expectInvalid(file({ihdr(3), idat(), palette()}), "the chunk PLTE is missing");
  expectInvalid(file({ihdr(2), idat(), palette()}), "the chunk PLTE comes too late");
  expectInvalid(file({ihdr(3), palette(), palette(), idat()}), "the chunk PLTE occurs twice");
  expectInvalid(file({ihdr(3), {"PLTE", fromHex("0102")}, idat()}),
                "a chunk PLTE of 2 bytes makes no sense");
  expectInvalid(file({ihdr(3), {"PLTE", Bytes(257 * 3)}, idat()}),
                "a chunk PLTE of 771 bytes makes no sense");
  expectInvalid(file({ihdr(3), {"tRNS", fromHex("00")}, palette(), idat()}),
                "the chunk tRNS comes before PLTE");
  expectInvalid(file({ihdr(3), palette(), {"tRNS", fromHex("0000")}, idat()}),
                "a chunk tRNS of 2 bytes makes no sense");
  expectInvalid(file({ihdr(2), {"tRNS", fromHex("0000")}, idat()}),
                "a chunk tRNS of 2 bytes makes no sense");
  expectInvalid(file({ihdr(6), {"tRNS", fromHex("000000000000")}, idat()}),
                "the chunk tRNS does not go with an alpha channel");
  const Chunk key = {"tRNS", fromHex("000000000000")};
  expectInvalid(file({ihdr(2), key, key, idat()}), "the chunk tRNS occurs twice");
  expectInvalid(file({ihdr(2), idat(), key}), "the chunk tRNS comes too late");
}

TEST(PngDamage, AnUnknownChunkThatMattersIsTold) {
  expectInvalid(file({ihdr(), {"QqQQ", {}}, idat()}),
                "the chunk QqQQ is needed to read the picture and not known");
}

TEST(PngDamage, TooLittlePictureDataIsDamage) {
  EXPECT_EQ(readError(file({ihdr(), {"IDAT", compressed(fromHex("00 0102"))}})),
            "the picture data is damaged: Not enough image data");
  EXPECT_EQ(readError(file({ihdr(), {"IDAT", {}}})),
            "the picture data is damaged: Not enough image data");
}

TEST(PngDamage, TooMuchPictureDataIsDamage) {
  EXPECT_EQ(readError(file({ihdr(), {"IDAT", compressed(fromHex("00 010203 04"))}})),
            "the picture data is damaged: IDAT: Too much image data");
  const Bytes more = concat({idat().data, fromHex("00")});
  EXPECT_EQ(readError(file({ihdr(), {"IDAT", more}})),
            "the picture data is damaged: IDAT: Extra compressed data");
  EXPECT_EQ(readError(file({ihdr(), idat(), idat()})),
            "the picture data is damaged: IDAT: Extra compressed data");
}

TEST(PngDamage, AWrongOrMissingChecksumOfThePictureDataIsDamage) {
  Bytes wrong = idat().data;
  wrong.back() ^= std::byte{1};
  EXPECT_EQ(readError(file({ihdr(), {"IDAT", wrong}})),
            "the picture data is damaged: IDAT: incorrect data check");
  for (std::size_t missing = 1; missing <= 4; ++missing) {
    Bytes cut = idat().data;
    cut.resize(cut.size() - missing);
    EXPECT_NE(readError(file({ihdr(), {"IDAT", cut}})), "read") << missing << " bytes missing";
  }
}

TEST(PngDamage, AnUnknownFilterIsDamage) {
  EXPECT_EQ(readError(file({ihdr(), {"IDAT", compressed(fromHex("05 010203"))}})),
            "the picture data is damaged: bad adaptive filter value");
}

// Nobody decodes indices to change a colour table. A damaged byte shows in the chunk's checksum.
TEST(PngDamage, IndicesWhoseChecksumIsWrongAreNotHandedOn) {
  const Bytes good = file({ihdr(3), palette(), {"IDAT", compressed(fromHex("00 00"))}});
  const auto image = openSource(good)->image(0);
  ASSERT_TRUE(image.ok());
  // The chunk's data: before its checksum and the end chunk.
  const std::size_t end = good.size() - 12 - 4;
  for (std::size_t at = end - idat().data.size(); at < end + 4; ++at) {
    Bytes damaged = good;
    damaged[at] ^= std::byte{1};
    EXPECT_FALSE(openSource(damaged)->image(0).ok()) << "byte " << at;
    EXPECT_FALSE(tryRewrite(damaged, *image).ok()) << "byte " << at;
  }
}

// What no reader could make a picture of stays as it is, bit for bit: nothing is lost that was
// there.
TEST(PngDamage, IndicesThatWereWrittenWrongAreCopied) {
  Bytes wrongSum = compressed(fromHex("00 00"));
  wrongSum.back() ^= std::byte{1};
  for (const Bytes& data : {wrongSum, compressed(fromHex("00 01")), compressed(fromHex("00")),
                            fromHex("0102"), Bytes{}}) {
    const Bytes bytes = file({ihdr(3), palette(), {"IDAT", data}});
    const auto image = openSource(bytes)->image(0);
    ASSERT_TRUE(image.ok());
    EXPECT_FALSE(tryPixels(bytes).ok());
    const auto written = tryRewrite(bytes, *image);
    ASSERT_TRUE(written.ok()) << written.error().message;
    EXPECT_EQ(*written, bytes);
  }
}

}  // namespace
}  // namespace kelvo::png_test
