// Everything besides the pixels.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/image_io/heif/heif_test_support.h"

namespace kelvo::image_io_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

Bytes withTool(const Bytes& file, const std::string& name, const std::string& command) {
  const TemporaryFolder folder;
  writeFile(folder.path(name), file);
  run(command + " '" + folder.path(name) + "'");
  return readFile(folder.path(name));
}

std::string tags(const Bytes& file, const std::string& name, const std::string& options) {
  const TemporaryFolder folder;
  writeFile(folder.path(name), file);
  return run("exiftool " + options + " '" + folder.path(name) + "'");
}

TEST(HeifKeeping, ExifAndXmpStayByteForByte) {
  const std::string command =
      "exiftool -q -overwrite_original -Artist=Somebody -Orientation#=6 -GPSLatitude=48.2 "
      "-GPSLatitudeRef=N -XMP:Creator=Somebody";
  const Bytes heic = withTool(makeHeic("-q 50"), "in.heic", command);
  const Bytes written = rewrite(kHeicCodec, heic, inverted);
  EXPECT_EQ(itemData(written, "Exif"), itemData(heic, "Exif"));
  EXPECT_EQ(itemData(written, "mime"), itemData(heic, "mime"));
  EXPECT_EQ(tags(written, "in.heic", "-s3 -n -EXIF:Orientation"), "6\n");
  EXPECT_THAT(tags(written, "in.heic", "-s3 -GPSLatitude"), HasSubstr("48 deg 12'"));
  const Bytes avif = withTool(makeAvif(""), "in.avif", command);
  EXPECT_EQ(tags(rewrite(kAvifCodec, avif), "in.avif", "-s3 -Artist -Creator"),
            "Somebody\nSomebody\n");
}

TEST(HeifKeeping, TheExifThumbnailIsTakenOut) {
  const TemporaryFolder folder;
  writePicture(folder.path("small.jpg"), 80, 60);
  // heif-enc takes the Exif block of a JPEG over.
  writePicture(folder.path("in.jpg"), 160, 120);
  run("exiftool -q -overwrite_original -Artist=Somebody '-ThumbnailImage<=" +
      folder.path("small.jpg") + "' '" + folder.path("in.jpg") + "'");
  run("heif-enc '" + folder.path("in.jpg") + "' -o '" + folder.path("in.heic") + "'");
  const Bytes file = readFile(folder.path("in.heic"));
  ASSERT_THAT(tags(file, "in.heic", "-ThumbnailImage"), HasSubstr("Binary data"));
  const Bytes written = rewrite(kHeicCodec, file, inverted);
  EXPECT_THAT(tags(written, "in.heic", "-ThumbnailImage"), Not(HasSubstr("Binary data")));
  EXPECT_EQ(tags(written, "in.heic", "-s3 -Artist"), "Somebody\n");
  EXPECT_EQ(itemData(written, "Exif").at(0).size(), itemData(file, "Exif").at(0).size());
}

TEST(HeifKeeping, ColourProfilesAndNumbersStay) {
  const TemporaryFolder folder;
  const Bytes profile = concat({fromText("a profile of "), Bytes(700, std::byte{0x5A})});
  writeFile(folder.path("profile.icc"), profile);
  const Bytes file = makeAvif("--cicp 9/16/9 --icc '" + folder.path("profile.icc") + "'");
  const auto source = openSource(kAvifCodec, file);
  EXPECT_EQ(source->image(0)->colorSpace->profile, profile);
  const Bytes written = rewrite(kAvifCodec, file, inverted);
  EXPECT_EQ(propertyData(written, "colr"), propertyData(file, "colr"));
  EXPECT_EQ(propertyData(written, "colr").size(), 2U);
}

TEST(HeifKeeping, TurnsMirrorsCropsAndPixelShapesStayAndPixelsAreStoredAsTheyWere) {
  const Bytes file = makeAvif("--irot 1 --imir 0 --crop 10,20,100,80 --pasp 2,1");
  const auto source = openSource(kAvifCodec, file);
  EXPECT_EQ(source->info(0).width, 160U);
  EXPECT_EQ(source->info(0).height, 120U);
  const Bytes written = rewrite(kAvifCodec, file, inverted);
  EXPECT_EQ(propertyData(written, "irot"), propertyData(file, "irot"));
  EXPECT_EQ(propertyData(written, "imir"), propertyData(file, "imir"));
  EXPECT_EQ(propertyData(written, "clap"), propertyData(file, "clap"));
  EXPECT_EQ(propertyData(written, "pasp"), propertyData(file, "pasp"));
  EXPECT_EQ(propertyData(written, "irot").size(), 1U);
}

TEST(HeifKeeping, ThumbnailsShowTheAdjustedPicture) {
  const TemporaryFolder folder;
  const Bytes file = makeHeic("-q 80 -t 80");
  writeFile(folder.path("new.heic"), rewrite(kHeicCodec, file, inverted));
  run("vips heifload '" + folder.path("new.heic") + "' '" + folder.path("small.png") +
      "' --thumbnail");
  run("heif-convert '" + folder.path("new.heic") + "' '" + folder.path("large.png") + "'");
  run("convert '" + folder.path("small.png") + "' -depth 8 RGB:'" + folder.path("small.raw") + "'");
  run("convert '" + folder.path("large.png") + "' -filter box -resize 80x60! -depth 8 RGB:'" +
      folder.path("large.raw") + "'");
  const Bytes small = readFile(folder.path("small.raw"));
  ASSERT_EQ(small.size(), 80U * 60U * 3U);
  EXPECT_LT(difference(small, readFile(folder.path("large.raw"))), 5.0);
}

TEST(HeifKeeping, BoxesThatNobodyKnowsStayInTheirPlaces) {
  const Bytes unknown = fromHex("00000014 78797a7a 0102030405060708090a0b0c");
  const Bytes file = makeHeic("-q 50");
  const Bytes tail = concat({file, unknown});
  const Bytes written = rewrite(kHeicCodec, tail, inverted);
  ASSERT_GT(written.size(), unknown.size());
  EXPECT_EQ(Bytes(written.end() - static_cast<std::ptrdiff_t>(unknown.size()), written.end()),
            unknown);
  const auto structure = heif::readStructure(written);
  ASSERT_EQ(structure->boxes.size(), heif::readStructure(tail)->boxes.size());
  EXPECT_EQ(structure->status.status, CGImageSourceStatus::complete);
}

TEST(HeifKeeping, PropertiesThatNobodyKnowsStayIfTheyAreNotEssential) {
  const Bytes file = patched(makeAvif("--pasp 2,1"), "pasp", "xyzz");
  const Bytes written = rewrite(kAvifCodec, file);
  EXPECT_EQ(propertyData(written, "xyzz"), propertyData(file, "xyzz"));
  EXPECT_EQ(propertyData(written, "xyzz").size(), 1U);
}

// Equal parts of a grid are stored once by the encoder, and may differ afterwards.
TEST(HeifKeeping, PicturesThatShareTheirDataAreWrittenApart) {
  const TemporaryFolder folder;
  run("convert -size 256x128 xc:gray50 -colorspace sRGB -define png:color-type=2 '" +
      folder.path("in.png") + "'");
  run("avifenc --speed 8 --yuv 444 --grid 2x1 '" + folder.path("in.png") + "' '" +
      folder.path("out.avif") + "'");
  const Bytes file = readFile(folder.path("out.avif"));
  const auto before = heif::readStructure(file);
  std::vector<std::uint64_t> offsets;
  for (const heif::Item& item : before->items) {
    if (item.type == heif::fourCC("av01")) offsets.push_back(item.extents.at(0).offset);
  }
  ASSERT_EQ(offsets.size(), 2U);
  ASSERT_EQ(offsets[0], offsets[1]) << "the encoder does not share data any more";
  const Bytes written = rewrite(kAvifCodec, file, [](const CGImage& image) {
    Bytes samples(std::size_t{image.width} * image.height * 3);
    for (std::size_t i = 0; i < samples.size(); ++i) {
      samples[i] = static_cast<std::byte>(i / 3 % image.width < 128 ? 40 : 200);
    }
    return CGImageCreateWithPixels(image.width, image.height, {.components = 3}, samples,
                                   image.colorSpace);
  });
  const Bytes seen = avifPixels(written);
  ASSERT_EQ(seen.size(), 256U * 128U * 3U);
  EXPECT_NEAR(std::to_integer<int>(seen[0]), 40, 3);
  EXPECT_NEAR(std::to_integer<int>(seen[255 * 3]), 200, 3);
}

TEST(HeifKeeping, ARewrittenFileCanBeRewrittenAgain) {
  const Bytes file = makeAvif("--lossless --irot 3");
  const Bytes once = rewrite(kAvifCodec, file, inverted);
  EXPECT_EQ(avifPixels(rewrite(kAvifCodec, once, inverted)), avifPixels(file));
}

}  // namespace
}  // namespace kelvo::image_io_test
