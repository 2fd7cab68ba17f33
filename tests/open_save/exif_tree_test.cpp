#include "platform/open_save/exif_tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "platform/image_io/tiff/tags.h"

namespace kelvo {
namespace {

using namespace std::string_view_literals;

std::span<const std::byte> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::byte*>(text.data()), text.size()};
}

// One directory with the orientation 6 and nothing else.
constexpr auto kSix =
    "MM\0\x2a\0\0\0\x08\0\x01"
    "\x01\x12\0\x03\0\0\0\x01\0\x06\0\0"
    "\0\0\0\0"sv;

TEST(ExifTree, TellsTheOrientation) {
  const auto tree = readExifTree(bytesOf(kSix));
  ASSERT_TRUE(tree) << tree.error().message;
  EXPECT_TRUE(tree->bigEndian);
  EXPECT_EQ(orientationOf(*tree), 6U);
  EXPECT_EQ(orientationOf(ExifTree()), 1U);
}

TEST(ExifTree, TakesAnOrientationThatThereIsNotForNone) {
  for (const char value : {'\0', '\x09'}) {
    std::string block(kSix);
    block[19] = value;
    const auto tree = readExifTree(bytesOf(block));
    ASSERT_TRUE(tree);
    EXPECT_EQ(orientationOf(*tree), 1U);
  }
}

TEST(ExifTree, IsBuiltAsItWasRead) {
  const auto tree = readExifTree(bytesOf(kSix));
  ASSERT_TRUE(tree);
  const auto block = buildExifBlock(*tree);
  EXPECT_TRUE(std::ranges::equal(block, bytesOf(kSix)));
  EXPECT_TRUE(buildExifBlock(ExifTree()).empty());
}

TEST(ExifTree, LeavesOutThePixelsTheMakersNoteAndTheThumbnail) {
  // The width, the orientation and an EXIF directory with a maker's note and an ISO speed, then a
  // second directory.
  constexpr auto kBlock =
      "II\x2a\0\x08\0\0\0\x03\0"
      "\0\x01\x03\0\x01\0\0\0\x40\0\0\0"
      "\x12\x01\x03\0\x01\0\0\0\x08\0\0\0"
      "\x69\x87\x04\0\x01\0\0\0\x32\0\0\0"
      "\x50\0\0\0"
      "\x02\0"
      "\x7c\x92\x07\0\x04\0\0\0note"
      "\x27\x88\x03\0\x01\0\0\0\x64\0\0\0"
      "\0\0\0\0"
      "\0\0\0\0\0\0"sv;
  const auto tree = readExifTree(bytesOf(kBlock));
  ASSERT_TRUE(tree) << tree.error().message;
  ASSERT_EQ(tree->image.size(), 1U);
  EXPECT_EQ(tree->image[0].tag, 274);
  ASSERT_EQ(tree->exif.size(), 1U);
  EXPECT_EQ(tree->exif[0].tag, 0x8827);
  const auto again = readExifTree(buildExifBlock(*tree));
  ASSERT_TRUE(again);
  EXPECT_EQ(orientationOf(*again), 8U);
  ASSERT_EQ(again->exif.size(), 1U);
  EXPECT_EQ(again->exif[0].value, tree->exif[0].value);
}

TEST(ExifTree, RefusesWhatMakesNoSense) {
  EXPECT_FALSE(readExifTree({}));
  EXPECT_FALSE(readExifTree(bytesOf("no header at all")));
  for (std::size_t size = 0; size < kSix.size(); ++size) {
    EXPECT_FALSE(readExifTree(bytesOf(kSix.substr(0, size)))) << size;
  }
}

// Two hundred descriptions, each of which is the whole block.
TEST(ExifTree, BoundsWhatSharedBytesAskFor) {
  constexpr std::size_t kFields = 200;
  ExifTree tree;
  tree.image.assign(kFields, {270, tiff::kAscii, 4, std::vector<std::byte>(4)});
  auto block = buildExifBlock(tree);
  constexpr std::size_t kLength = 200'000;
  block.resize(kLength);
  for (std::size_t i = 0; i < kFields; ++i) {
    const std::size_t entry = 10 + 12 * i;
    const auto field =
        exifField(tree, 0, tiff::kLong, std::array<std::uint64_t, 2>{kLength - 8, 8});
    std::ranges::copy(field.value, block.begin() + static_cast<std::ptrdiff_t>(entry + 4));
  }
  const auto read = readExifTree(block);
  ASSERT_FALSE(read);
  EXPECT_EQ(read.error().message, "its EXIF data are too large");
}

TEST(ExifTree, DoesNotLieBeyondTheReachOfItsOffsets) {
  ExifTree tree;
  tree.image.push_back(exifField(tree, 274, tiff::kShort, std::array<std::uint64_t, 1>{3}));
  EXPECT_FALSE(layOut(tree, 1000).bytes.empty());
  EXPECT_TRUE(layOut(tree, 0xFFFFFFF0).bytes.empty());
}

}  // namespace
}  // namespace kelvo
