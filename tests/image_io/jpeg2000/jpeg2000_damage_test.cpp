// Truncated, damaged and oversized files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/image_io/jpeg2000/jpeg2000_test_support.h"

namespace kelvo::image_io_test {
namespace {

using ::testing::HasSubstr;

constexpr Limits kTight = {.maxPixels = 1 << 20, .maxMemoryBytes = 64 << 20};

TEST(Jpeg2000Damage, ATruncatedFileIsNeverComplete) {
  for (const Bytes& file : {makeJpeg2000("", "jp2", 50, 40), makeJpeg2000("", "j2k", 50, 40),
                            makeJpeg2000("-t 20,20 -n 3 -I -r 10", "jp2", 50, 40)}) {
    ASSERT_TRUE(readsWhole(kJpeg2000Codec, file, kTight));
    expectIncompleteWhenCut(kJpeg2000Codec, file);
  }
}

TEST(Jpeg2000Damage, TheEndIsSaidToBeMissing) {
  Bytes file = makeJpeg2000();
  file.resize(file.size() - 10);
  EXPECT_EQ(openError(kJpeg2000Codec, file), "the file ends inside the box 'jp2c'");
  Bytes bare = makeJpeg2000("", "j2k");
  bare.resize(bare.size() - 1);
  EXPECT_EQ(openSource(kJpeg2000Codec, bare)->status().cause,
            "the file ends inside its codestream");
}

TEST(Jpeg2000Damage, BytesAfterTheCodestreamAreDamage) {
  const auto source =
      openSource(kJpeg2000Codec, concat({makeJpeg2000("", "j2k"), fromHex("0102030405")}));
  EXPECT_EQ(source->status().status, CGImageSourceStatus::invalidData);
  EXPECT_EQ(source->status().cause, "bytes follow the end of its codestream");
}

TEST(Jpeg2000Damage, AHeaderOfAnotherSizeIsDamage) {
  const Bytes file = makeJpeg2000();
  Bytes header = payload(file, "ihdr");
  header.at(3) ^= std::byte{1};
  EXPECT_EQ(openSource(kJpeg2000Codec, withPayload(file, "ihdr", header))->status().cause,
            "its image header and its codestream do not agree");
}

// The library warns of it and goes on with what it has.
TEST(Jpeg2000Damage, WhatTheLibraryOnlyWarnsOfFailsTheFrame) {
  Bytes file = makeJpeg2000("-SOP", "j2k", 200, 150);
  const Bytes secondPacket = fromHex("ff9100040001");
  const auto at = std::search(file.begin(), file.end(), secondPacket.begin(), secondPacket.end());
  ASSERT_NE(at, file.end());
  *(at + 1) = std::byte{0x92};
  const auto read = tryPixels(kJpeg2000Codec, file);
  ASSERT_FALSE(read);
  EXPECT_THAT(read.error().message, HasSubstr("the picture data are damaged: Expected SOP marker"));
}

TEST(Jpeg2000Damage, AMissingTileIsNoticed) {
  const Bytes file = makeJpeg2000("-n 3 -t 25,40", "j2k", 50, 40);
  // The second of two tiles left out: what is between the last SOT and the end marker.
  const Bytes sot = fromHex("ff90000a0001");
  const auto at = std::search(file.begin(), file.end(), sot.begin(), sot.end());
  ASSERT_NE(at, file.end());
  const auto source =
      openSource(kJpeg2000Codec, concat({Bytes(file.begin(), at), fromHex("ffd9")}));
  EXPECT_EQ(source->status().cause, "tiles of it are missing");
}

TEST(Jpeg2000Damage, RandomDamageNeverCrashes) {
  int damaged = 0;
  for (const Bytes& file : {makeJpeg2000("", "jp2", 50, 40), makeJpeg2000("-t 20,20 -n 3 -I -r 10"),
                            makeJpeg2000("-SOP -EPH -c [32,32] -n 4 -r 20,1", "j2k", 60, 60)}) {
    // Mostly in the headers at the front, where it matters most.
    damaged += damagedVersions(kJpeg2000Codec, file, 200, 250, kTight);
  }
  EXPECT_GT(damaged, 100);
}

TEST(Jpeg2000Damage, LimitsAreKept) {
  const Bytes file = makeJpeg2000();
  EXPECT_EQ(openError(kJpeg2000Codec, file, {.maxPixels = 1000}),
            "it has 10800 pixels, more than the 1000 allowed (--max-pixels)");
  const auto read = tryPixels(kJpeg2000Codec, file, 0, {.maxMemoryBytes = 1 << 10});
  ASSERT_FALSE(read);
  EXPECT_THAT(read.error().message, HasSubstr("(--max-memory)"));
}

TEST(Jpeg2000Damage, TiledPicturesTakeMemoryForARowOfTiles) {
  const Limits tight = {.maxMemoryBytes = 1 << 20};
  EXPECT_FALSE(tryPixels(kJpeg2000Codec, makeJpeg2000("", "jp2", 300, 400), 0, tight));
  EXPECT_TRUE(tryPixels(kJpeg2000Codec, makeJpeg2000("-t 64,64", "jp2", 300, 400), 0, tight));
}

TEST(Jpeg2000Damage, ManySmallPartsCountAsMemory) {
  const Limits tight = {.maxMemoryBytes = 400'000};
  EXPECT_TRUE(tryPixels(kJpeg2000Codec, makeJpeg2000("", "jp2", 64, 64), 0, tight));
  EXPECT_FALSE(tryPixels(kJpeg2000Codec, makeJpeg2000("-b 4,4", "jp2", 64, 64), 0, tight));
  EXPECT_FALSE(tryPixels(kJpeg2000Codec, makeJpeg2000("-c [8,8]", "jp2", 64, 64), 0, tight));
}

TEST(Jpeg2000Damage, TooManyLayersAreRefused) {
  Bytes file = makeJpeg2000("", "j2k");
  const Bytes style = fromHex("ff52000c");
  const auto at = std::search(file.begin(), file.end(), style.begin(), style.end());
  ASSERT_NE(at, file.end());
  *(at + 6) = std::byte{0xFF};
  EXPECT_EQ(openError(kJpeg2000Codec, file), "it has more than 100 layers");
}

}  // namespace
}  // namespace kelvo::image_io_test
