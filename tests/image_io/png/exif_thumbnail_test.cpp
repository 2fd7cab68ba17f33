#include "platform/image_io/exif_thumbnail.h"

#include <gtest/gtest.h>

#include "tests/image_io/png/png_test_support.h"

namespace kelvo::png_test {
namespace {

// A directory of one entry, an artist's name out of line at 26; a second one at 34 with a picture
// of four bytes at 64; at 68 a byte that belongs to nobody.
Bytes littleEndianBlock() {
  return fromHex(
      "49492a00 08000000"                 //  0: header
      "0100 3b01 0200 08000000 1a000000"  //  8: one entry: artist, text of 8 bytes at 26
      "22000000"                          // 22: the next directory at 34
      "416e6e612042 4300"                 // 26: the name
      "0200 0102 0400 01000000 40000000"  // 34: two entries: picture at 64
      "0202 0400 01000000 04000000"       // 48: of 4 bytes
      "00000000"                          // 60: no more directories
      "ffd8ffd9"                          // 64: the picture
      "77");                              // 68
}

TEST(ExifThumbnail, TheSecondDirectoryAndItsPictureAreZeroed) {
  Bytes expected = littleEndianBlock();
  std::fill(expected.begin() + 22, expected.begin() + 26, std::byte{0});
  std::fill(expected.begin() + 34, expected.begin() + 68, std::byte{0});
  const auto changed = withoutExifThumbnail(littleEndianBlock());
  ASSERT_TRUE(changed.has_value());
  EXPECT_EQ(*changed, expected);
}

TEST(ExifThumbnail, BigEndianBlocksAreReadToo) {
  const Bytes block = fromHex(
      "4d4d002a 00000008 0001 013b 0002 00000008 0000001a 00000022 416e6e6120424300"
      "0002 0201 0004 00000001 00000040 0202 0004 00000001 00000004 00000000 ffd8ffd9 77");
  Bytes expected = block;
  std::fill(expected.begin() + 22, expected.begin() + 26, std::byte{0});
  std::fill(expected.begin() + 34, expected.begin() + 68, std::byte{0});
  const auto changed = withoutExifThumbnail(block);
  ASSERT_TRUE(changed.has_value());
  EXPECT_EQ(*changed, expected);
}

TEST(ExifThumbnail, AnIdentifierBeforeTheBlockStays) {
  const Bytes prefix = fromHex("457869660000");
  const auto plain = withoutExifThumbnail(littleEndianBlock());
  const auto prefixed = withoutExifThumbnail(concat({prefix, littleEndianBlock()}));
  ASSERT_TRUE(plain.has_value() && prefixed.has_value());
  EXPECT_EQ(*prefixed, concat({prefix, *plain}));
}

TEST(ExifThumbnail, ABlockWithoutThumbnailIsLeftAlone) {
  Bytes block = littleEndianBlock();
  std::fill(block.begin() + 22, block.begin() + 26, std::byte{0});
  EXPECT_FALSE(withoutExifThumbnail(block).has_value());
  EXPECT_FALSE(withoutExifThumbnail(fromText("not a block")).has_value());
  EXPECT_FALSE(withoutExifThumbnail({}).has_value());
}

// A thumbnail that claims to lie where the picture's own values are takes none of them along.
TEST(ExifThumbnail, ValuesOfThePictureItselfAreNeverZeroed) {
  Bytes block = littleEndianBlock();
  block[44] = std::byte{8};     // the thumbnail begins at the first directory
  block[56] = std::byte{0xff};  // and is 255 bytes long
  const auto changed = withoutExifThumbnail(block);
  ASSERT_TRUE(changed.has_value());
  EXPECT_TRUE(std::equal(block.begin(), block.begin() + 22, changed->begin()));
  EXPECT_TRUE(std::equal(block.begin() + 26, block.begin() + 34, changed->begin() + 26));
}

TEST(ExifThumbnail, CutBlocksAreReadWithoutHarm) {
  const Bytes block = littleEndianBlock();
  for (std::size_t size = 0; size < block.size(); ++size) {
    const Bytes cut(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(size));
    const auto changed = withoutExifThumbnail(cut);
    if (changed) {
      EXPECT_EQ(changed->size(), cut.size());
    }
  }
}

}  // namespace
}  // namespace kelvo::png_test
