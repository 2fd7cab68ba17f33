// Files that cannot be written back whole.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/image_io/heif/heif_test_support.h"

namespace kelvo::image_io_test {
namespace {

constexpr const char* kAlpha = "urn:mpeg:mpegB:cicp:systems:auxiliary:alpha";

TEST(HeifRefusal, DepthMapsAreNamed) {
  const Bytes file = makeAvif("", 64, 64, true);
  EXPECT_EQ(refusal(kAvifCodec, file), "");
  EXPECT_EQ(
      refusal(kAvifCodec, patched(file, kAlpha, "urn:mpeg:mpegB:cicp:systems:auxiliary:depth")),
      "it has a depth map, which cannot be carried over");
}

TEST(HeifRefusal, GainMapsAreNamed) {
  const Bytes file = makeAvif("", 64, 64, true);
  EXPECT_EQ(
      refusal(kAvifCodec, patched(file, kAlpha, "urn:example:photo:2020:aux:hdrgainmap:12345")),
      "it has a gain map, which would no longer fit the adjusted picture");
}

TEST(HeifRefusal, OtherAuxiliaryPicturesAreNamed) {
  const Bytes file = makeAvif("", 64, 64, true);
  EXPECT_EQ(
      refusal(kAvifCodec, patched(file, kAlpha, "urn:example:photo:2019:aux:semanticskymatte")),
      "it has an auxiliary picture (urn:example:photo:2019:aux:semanticskymatte), which cannot be "
      "carried over");
}

TEST(HeifRefusal, SequencesAreNamed) {
  const TemporaryFolder folder;
  writePicture(folder.path("a.png"), 64, 64);
  run("avifenc --speed 9 '" + folder.path("a.png") + "' '" + folder.path("a.png") + "' '" +
      folder.path("out.avif") + "'");
  EXPECT_EQ(refusal(kAvifCodec, readFile(folder.path("out.avif"))),
            "it holds an image sequence (box 'moov')");
}

TEST(HeifRefusal, EssentialPropertiesThatNobodyKnowsAreNamed) {
  EXPECT_EQ(refusal(kAvifCodec, patched(makeAvif("--irot 1", 64, 64), "irot", "ixyz")),
            "the property 'ixyz' of a picture is not supported");
}

TEST(HeifRefusal, PropertiesOfTheCodedDataAreNamed) {
  EXPECT_EQ(refusal(kAvifCodec, patched(makeAvif("--pasp 2,1", 64, 64), "pasp", "a1lx")),
            "the property 'a1lx' of a picture is not supported");
}

TEST(HeifRefusal, ReferencesThatNobodyKnowsAreNamed) {
  EXPECT_EQ(refusal(kHeicCodec, patched(makeHeic("-t 80"), "thmb", "base")),
            "references of the kind 'base' are not supported");
}

TEST(HeifRefusal, OtherKindsOfPicturesAreNamed) {
  // Besides the primary picture.
  const Bytes file = makeHeic("-t 80");
  Bytes changed = file;
  const Bytes entry = fromText("hvc1");
  auto last = std::find_end(changed.begin(), changed.end(), entry.begin(), entry.end());
  ASSERT_NE(last, changed.end());
  const Bytes other = fromText("vvc1");
  std::copy(other.begin(), other.end(), last);
  EXPECT_EQ(refusal(kHeicCodec, changed), "pictures of the kind 'vvc1' are not supported");
  // The primary picture.
  EXPECT_EQ(openError(kHeicCodec, patched(makeHeic("-q 50", 65, 45), "grid", "iovl")),
            "pictures of the kind 'iovl' are not supported");
}

TEST(HeifRefusal, AnotherColourCodingFailsTheFrame) {
  // The numbers of the 'colr' property: primaries 1, transfer 13, matrix 6.
  const std::string old("nclx\0\1\0\15\0\6", 10);
  const std::string ictcp("nclx\0\1\0\15\0\16", 10);
  const auto read = tryPixels(kAvifCodec, patched(makeAvif("--yuv 444"), old, ictcp));
  ASSERT_FALSE(read);
  EXPECT_EQ(read.error().message, "the colour coding of the picture is not supported (matrix 14)");
}

TEST(HeifRefusal, APictureOfAnotherSizeIsNotTaken) {
  const Bytes file = makeAvif("", 64, 64);
  const auto changed = tryRewrite(kAvifCodec, file, [](const CGImage& image) {
    return CGImageCreateWithPixels(32, 32, {.components = 3}, Bytes(32UL * 32 * 3),
                                   image.colorSpace);
  });
  ASSERT_FALSE(changed);
  EXPECT_EQ(changed.error().message, "the picture's size is not that of the file");
}

}  // namespace
}  // namespace kelvo::image_io_test
