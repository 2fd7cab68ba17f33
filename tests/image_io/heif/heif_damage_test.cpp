// Truncated, damaged and oversized files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "tests/image_io/heif/heif_test_support.h"

namespace kelvo::image_io_test {
namespace {

TEST(HeifDamage, ATruncatedFileIsNeverComplete) {
  const std::pair<const Codec*, Bytes> files[] = {
      {&kHeicCodec, makeHeic("-q 60 -t 80", 160, 120)},
      {&kAvifCodec, makeAvif("--irot 1", 160, 120, true)},
      {&kAvifCodec, makeAvif("--grid 2x2", 160, 160)}};
  for (const auto& [codec, file] : files) {
    ASSERT_TRUE(readsWhole(*codec, file));
    expectIncompleteWhenCut(*codec, file, 16, 60);
  }
}

TEST(HeifDamage, TheEndIsSaidToBeMissing) {
  Bytes file = makeHeic("-q 60");
  file.resize(file.size() - 10);
  const auto source = openSource(kHeicCodec, file);
  EXPECT_EQ(source->status().status, CGImageSourceStatus::incomplete);
  EXPECT_EQ(source->status().cause, "the file ends inside the box 'mdat'");
}

TEST(HeifDamage, StrayBytesAtTheEndAreDamage) {
  const Bytes file = concat({makeHeic("-q 60"), fromHex("0102030405")});
  const auto source = openSource(kHeicCodec, file);
  EXPECT_NE(source->status().status, CGImageSourceStatus::complete);
  EXPECT_EQ(source->status().cause, "a few bytes are left after its last box");
}

// Sets the picture's data to 0 from a place on.
Bytes withZeros(Bytes file, std::uint64_t from) {
  const auto structure = heif::readStructure(file);
  const heif::Extent extent = structure->items.at(0).extents.at(0);
  const auto begin = file.begin() + static_cast<std::ptrdiff_t>(extent.offset);
  std::fill(begin + static_cast<std::ptrdiff_t>(from),
            begin + static_cast<std::ptrdiff_t>(extent.length), std::byte{0});
  return file;
}

TEST(HeifDamage, DamagedPictureDataFailTheFrame) {
  const Bytes heic = makeHeic("-q 90", 320, 240);
  const auto hevc = tryPixels(kHeicCodec, withZeros(heic, itemData(heic, "hvc1").at(0).size() / 2));
  ASSERT_FALSE(hevc);
  EXPECT_THAT(hevc.error().message, testing::HasSubstr("the picture data are damaged"));
  // From the first unit on: the sequence header is the first.
  const auto av1 = tryPixels(kAvifCodec, withZeros(makeAvif("", 320, 240), 2));
  ASSERT_FALSE(av1);
  EXPECT_THAT(av1.error().message, testing::HasSubstr("the picture data are damaged"));
}

TEST(HeifDamage, UnitsThatDoNotFillTheDataAreDamage) {
  Bytes file = makeHeic("-q 60");
  const heif::Extent extent = heif::readStructure(file)->items.at(0).extents.at(0);
  file[extent.offset + 3] ^= std::byte{1};  // the length of the first unit
  const auto source = openSource(kHeicCodec, file);
  EXPECT_EQ(source->status().status, CGImageSourceStatus::invalidData);
  EXPECT_EQ(source->status().cause, "the data of a picture are damaged");
}

TEST(HeifDamage, AnotherSizeThanThatOfTheCodedPictureFailsTheFrame) {
  const Bytes file = makeAvif("");
  Bytes changed = file;
  const Bytes old = fromHex("69737065 00000000 000000a0 00000078");
  const auto at = std::search(changed.begin(), changed.end(), old.begin(), old.end());
  ASSERT_NE(at, changed.end());
  *(at + 11) = std::byte{0x9e};
  EXPECT_FALSE(tryPixels(kAvifCodec, changed));
}

TEST(HeifDamage, RandomDamageNeverCrashes) {
  const std::pair<const Codec*, Bytes> files[] = {
      {&kHeicCodec, makeHeic("-q 60 -t 80", 96, 80, true)},
      {&kHeicCodec, makeHeic("-q 60", 65, 45)},
      {&kAvifCodec, makeAvif("--irot 1", 96, 80, true)},
      {&kAvifCodec, makeAvif("--grid 2x2", 160, 160)}};
  int damaged = 0;
  for (const auto& [codec, file] : files) {
    // Mostly in the boxes at the front, where it matters most.
    damaged += damagedVersions(*codec, file, 150, 900);
  }
  EXPECT_GT(damaged, 100);
}

TEST(HeifDamage, LimitsAreKept) {
  const Bytes file = makeAvif("");
  EXPECT_EQ(openError(kAvifCodec, file, {.maxPixels = 1000}),
            "it has 19200 pixels, more than the 1000 allowed (--max-pixels)");
  const auto read = tryPixels(kAvifCodec, file, 0, {.maxMemoryBytes = 1 << 10});
  ASSERT_FALSE(read);
  EXPECT_THAT(read.error().message, testing::HasSubstr("(--max-memory)"));
}

TEST(HeifDamage, TheNumberOfPicturesIsLimited) {
  const TemporaryFolder folder;
  writePicture(folder.path("a.png"), 64, 64);
  const std::string name = " '" + folder.path("a.png") + "'";
  run("heif-enc -q 60" + name + name + name + " -o '" + folder.path("out.heic") + "'");
  EXPECT_EQ(openError(kHeicCodec, readFile(folder.path("out.heic")), {.maxFrames = 2}),
            "it has 3 pictures, more than the 2 allowed (--max-frames)");
}

}  // namespace
}  // namespace kelvo::image_io_test
