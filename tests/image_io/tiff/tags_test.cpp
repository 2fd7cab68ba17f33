// Everything in a file besides its pixels.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <tuple>

#include "tests/image_io/tiff/tiff_test_support.h"

namespace kelvo::tiff_test {
namespace {

using Field = TiffBuilder::Field;

// Pixels that compress to another length than those they replace.
Adjustment toNoise() {
  return {.rows =
              [](std::span<std::byte> rows) {
                const Bytes random = noise(rows.size());
                std::copy(random.begin(), random.end(), rows.begin());
              },
          .paletteColor = {},
          .eightBits = false};
}

class MetadataOf : public ::testing::TestWithParam<std::string> {};

TEST_P(MetadataOf, RewrittenFilesIsThatOfTheOldOnes) {
  const Scratch scratch;
  const std::string source = scratch.path("source.tif");
  const std::string before = scratch.path("before.tif");
  const std::string after = scratch.path("after.tif");
  run("convert -size 200x150 gradient:red-blue -depth 8 -type TrueColor -compress None " + source);
  run("tiffcp " + GetParam() + " " + source + " " + before);
  writeFile(scratch.path("profile.icc"), noise(5000));
  run("exiftool -q -overwrite_original -Artist='A. Person' -Copyright=Mine -Software='A Program' "
      "-ModifyDate='2001:02:03 04:05:06' -Orientation#=6 -XResolution=301 -YResolution=299 "
      "-ResolutionUnit=cm -ImageDescription='A long enough description of a picture' "
      "-ExposureTime=1/125 -FNumber=5.6 -ISO=400 -LensModel='A lens' -UserComment='A comment' "
      "-InteropIndex=R98 -GPSLatitude=47.123 -GPSLatitudeRef=N -GPSLongitude=8.5 "
      "-GPSLongitudeRef=E -GPSAltitude=1234 -XMP-dc:Title='A title' -XMP-dc:Subject=one "
      "-XMP-dc:Subject=two -IPTC:Keywords=three -IPTC:Caption-Abstract='A caption' "
      "-Photoshop:URL=nowhere -PageName=page " +
      before);
  const std::string tags = tagsElsewhere(before);
  ASSERT_THAT(tags, ::testing::HasSubstr("GPSLongitude"));
  ASSERT_THAT(tags, ::testing::HasSubstr("InteropIndex"));
  ASSERT_THAT(tags, ::testing::HasSubstr("LensModel"));
  const Bytes old = readFile(before);
  for (const Adjustment& adjustment : {Adjustment{}, toNoise()}) {
    const Bytes made = rewritten(old, adjustment);
    writeFile(after, made);
    EXPECT_EQ(tags, tagsElsewhere(after));
    EXPECT_EQ(structureElsewhere(before), structureElsewhere(after));
  }
  // What has moved once can move again.
  writeFile(after, rewritten(rewritten(old, toNoise())));
  EXPECT_EQ(tags, tagsElsewhere(after));
}

INSTANTIATE_TEST_SUITE_P(Files, MetadataOf,
                         ::testing::Values("-L -c lzw:2", "-B -c zip:2", "-B -c none",
                                           "-L -c zip -t -w 64 -l 64"));

TEST(TiffTags, AColourProfileGoesWithThePicture) {
  TiffBuilder builder(true);
  const Bytes profile = noise(777);
  const auto pixels = builder.append(noise(std::size_t{16} * 16 * 3));
  auto fields = builder.rgbFields(16, 16, pixels);
  fields.push_back(builder.bytes(34675, 7, profile));
  builder.setFirst(builder.directory(fields));
  const auto image = open(builder.file())->image(0);
  ASSERT_TRUE(image.ok());
  EXPECT_EQ(image->colorSpace->profile, profile);
  EXPECT_EQ(image->colorSpace->model, ColorModel::rgb);
  EXPECT_NE(find(rewritten(builder.file()), profile), std::string::npos);
}

class PrivateTags : public ::testing::TestWithParam<std::tuple<bool, bool>> {
 protected:
  TiffBuilder builder{std::get<0>(GetParam()), std::get<1>(GetParam())};
};

// Deflated noise is longer than the deflated flat colour before it.
std::uint64_t flatFrame(TiffBuilder& builder, std::vector<Field> more) {
  const Bytes pixels(std::size_t{64} * 64 * 3, std::byte{100});
  // PackBits of a flat picture: runs of 128 equal bytes.
  Bytes packed;
  for (std::size_t i = 0; i < pixels.size() / 128; ++i) {
    packed.push_back(std::byte{0x81});
    packed.push_back(std::byte{100});
  }
  const auto at = builder.append(packed);
  auto fields = builder.rgbFields(64, 64, at);
  for (Field& field : fields) {
    if (field.tag == 259) field = builder.shorts(259, {32773});
    if (field.tag == 279) field = builder.longs(279, {static_cast<std::uint32_t>(packed.size())});
  }
  fields.insert(fields.end(), more.begin(), more.end());
  return builder.directory(fields);
}

TEST_P(PrivateTags, KeepTypesAndValuesAndPlaces) {
  const Bytes blob = noise(301);
  Field doubles = builder.bytes(65004, 12, noise(8 * 3));
  doubles.count = 3;
  const Field numbers = builder.longs(65001, {1, 70000, 0xFFFFFFFF, 12345678});
  builder.setFirst(flatFrame(
      builder, {numbers, builder.bytes(65000, 7, blob), builder.bytes(65002, 2, bytesOf("words")),
                builder.shorts(65003, {1, 2, 3}), doubles}));
  // A value may refer to bytes that nothing else points at; they too stay where they were.
  const Bytes hidden = noise(100, 9);
  const auto hiddenAt = builder.append(hidden);
  const Scratch scratch;
  writeFile(scratch.path("before.tif"), builder.file());
  const Bytes made = rewritten(builder.file(), toNoise());
  writeFile(scratch.path("after.tif"), made);
  EXPECT_GT(made.size(), builder.size());
  EXPECT_EQ(find(made, blob), find(builder.file(), blob));
  EXPECT_EQ(find(made, numbers.value), find(builder.file(), numbers.value));
  EXPECT_EQ(find(made, hidden), hiddenAt);
  EXPECT_EQ(tagsElsewhere(scratch.path("before.tif")), tagsElsewhere(scratch.path("after.tif")));
  EXPECT_EQ(decoded(made).value(), noise(std::size_t{64} * 64 * 3));
}

TEST_P(PrivateTags, ExifAndPositionMoveWithTheirFile) {
  const auto pointer = [this](std::uint16_t tag, std::uint64_t target) {
    return builder.longs(tag, {static_cast<std::uint32_t>(target)});
  };
  // A page before them grows, so that they move.
  const auto first = flatFrame(builder, {});
  const auto interoperability = builder.directory({builder.bytes(1, 2, bytesOf("R98\0"))});
  const auto exif = builder.directory(
      {builder.bytes(42036, 2, bytesOf("A certain lens")), pointer(40965, interoperability),
       builder.shorts(34855, {400}), builder.bytes(37510, 7, noise(40))});
  Field latitude = builder.longs(2, {47, 1, 30, 1, 59, 2});
  latitude.type = 5;
  latitude.count = 3;
  const auto position = builder.directory({builder.bytes(1, 2, bytesOf("N")), latitude});
  const auto second = flatFrame(builder, {pointer(34665, exif), pointer(34853, position)});
  builder.setFirst(first);
  builder.patch(builder.nextPosition(first), second, std::get<1>(GetParam()) ? 8 : 4);
  const Bytes made = rewritten(builder.file(), toNoise());
  const Scratch scratch;
  writeFile(scratch.path("before.tif"), builder.file());
  writeFile(scratch.path("after.tif"), made);
  const std::string tags = tagsElsewhere(scratch.path("before.tif"));
  EXPECT_THAT(tags, ::testing::HasSubstr("A certain lens"));
  // The other program does not look for positions in BigTIFF.
  if (!std::get<1>(GetParam())) {
    EXPECT_THAT(tags, ::testing::HasSubstr("GPSLatitude>"));
    EXPECT_THAT(tags, ::testing::HasSubstr("InteropIndex>R98"));
  }
  EXPECT_EQ(tags, tagsElsewhere(scratch.path("after.tif")));
  EXPECT_NE(find(made, latitude.value), std::string::npos);
  EXPECT_EQ(open(made)->status().cause, "");
  EXPECT_NE(find(made, bytesOf("A certain lens")), find(builder.file(), bytesOf("A certain lens")));
}

TEST_P(PrivateTags, AMakerNoteKeepsItsPlace) {
  const Bytes note = noise(500);
  const auto exif = builder.directory({builder.bytes(37500, 7, note)});
  builder.setFirst(flatFrame(builder, {builder.longs(34665, {static_cast<std::uint32_t>(exif)})}));
  const Bytes made = rewritten(builder.file(), toNoise());
  EXPECT_EQ(find(made, note), find(builder.file(), note));
  EXPECT_EQ(decoded(made).value(), noise(std::size_t{64} * 64 * 3));
}

TEST_P(PrivateTags, APinnedFileThatShrinksAndGrowsAgainDoesNotPileUp) {
  const Bytes note = noise(500);
  const auto exif = builder.directory({builder.bytes(37500, 7, note)});
  builder.setFirst(flatFrame(builder, {builder.longs(34665, {static_cast<std::uint32_t>(exif)})}));
  const Bytes large = rewritten(builder.file(), toNoise());
  const Bytes small = rewritten(
      large,
      {.rows = [](std::span<std::byte> rows) { std::fill(rows.begin(), rows.end(), std::byte{7}); },
       .paletteColor = {},
       .eightBits = false});
  EXPECT_LE(rewritten(small, toNoise()).size(), large.size());
}

TEST_P(PrivateTags, ADirectoryBehindAnIfdPointerMovesWithItsFile) {
  const auto inner = builder.directory(
      {builder.bytes(1, 2, bytesOf("inner text")), builder.shorts(2, {5, 6, 7, 8, 9})});
  Field pointer = builder.longs(65010, {static_cast<std::uint32_t>(inner)});
  pointer.type = 13;
  builder.setFirst(flatFrame(builder, {pointer}));
  const Bytes made = rewritten(builder.file(), toNoise());
  const Scratch scratch;
  writeFile(scratch.path("before.tif"), builder.file());
  writeFile(scratch.path("after.tif"), made);
  EXPECT_EQ(open(made)->status().cause, "");
  EXPECT_NE(find(made, bytesOf("inner text")), std::string::npos);
  EXPECT_EQ(decoded(made).value(), noise(std::size_t{64} * 64 * 3));
}

INSTANTIATE_TEST_SUITE_P(Formats, PrivateTags,
                         ::testing::Combine(::testing::Bool(), ::testing::Bool()));

TEST(TiffTags, ValuesSharedByTwoPagesAreChangedForEachAlone) {
  TiffBuilder builder;
  const Bytes first = noise(std::size_t{8} * 8 * 6);
  const Bytes second = noise(std::size_t{8} * 8 * 6, 5);
  const auto firstAt = builder.append(first);
  const auto secondAt = builder.append(second);
  auto fields = builder.rgbFields(8, 8, firstAt);
  fields[2] = builder.shorts(258, {16, 16, 16});
  fields.back() = builder.longs(279, {8 * 8 * 6});
  const auto one = builder.directory(fields);
  fields[5] = builder.longs(273, {static_cast<std::uint32_t>(secondAt)});
  const auto two = builder.directory(fields);
  builder.setFirst(one);
  builder.patch(builder.nextPosition(one), two, 4);
  // The second page's BitsPerSample (its third entry) is the first page's.
  const auto shared = builder.file().begin() + static_cast<std::ptrdiff_t>(one + 2 + 2 * 12 + 8);
  std::uint32_t offset = 0;
  std::memcpy(&offset, &*shared, 4);
  builder.patch(two + 2 + 2 * 12 + 8, offset, 4);
  const Bytes made = rewritten(builder.file(), {.rows = {}, .paletteColor = {}, .eightBits = true});
  const auto source = open(made);
  ASSERT_EQ(source->count(), 2U);
  EXPECT_EQ(source->info(0).bitsPerComponent, 8U);
  EXPECT_EQ(source->info(1).bitsPerComponent, 8U);
  for (std::size_t frame = 0; frame < 2; ++frame) {
    const Bytes& wide = frame == 0 ? first : second;
    const Bytes narrow = decoded(made, frame).value();
    for (std::size_t i = 0; i < narrow.size(); ++i) {
      const unsigned sample =
          std::to_integer<unsigned>(wide[2 * i]) | std::to_integer<unsigned>(wide[2 * i + 1]) << 8;
      ASSERT_EQ(std::to_integer<unsigned>(narrow[i]), (sample * 255 + 32767) / 65535);
    }
  }
}

TEST(TiffTags, ThatCountOrHoldSamplesFollowTheDepth) {
  TiffBuilder builder;
  const auto at = builder.append(noise(std::size_t{8} * 8 * 6));
  auto fields = builder.rgbFields(8, 8, at);
  fields[2] = builder.shorts(258, {16, 16, 16});
  fields.back() = builder.longs(279, {8 * 8 * 6});
  fields.push_back(builder.shorts(280, {0, 257, 514}));
  fields.push_back(builder.shorts(281, {65535, 65278, 32896}));
  std::vector<std::uint16_t> curve(65536);
  for (std::size_t i = 0; i < curve.size(); ++i) curve[i] = static_cast<std::uint16_t>(65535 - i);
  fields.push_back(builder.shorts(301, curve));
  Field limits = builder.longs(532, {0, 1, 65535, 1, 0, 1, 65535, 1, 0, 1, 1000, 1});
  limits.type = 5;
  limits.count = 6;
  fields.push_back(limits);
  builder.setFirst(builder.directory(fields));
  const Scratch scratch;
  const std::string after = scratch.path("after.tif");
  writeFile(after, rewritten(builder.file(), {.rows = {}, .paletteColor = {}, .eightBits = true}));
  const std::string dump = run("tiffdump -m 400 " + after);
  using ::testing::HasSubstr;
  EXPECT_THAT(dump, HasSubstr("MinSampleValue (280) SHORT (3) 3<0 1 2>"));
  EXPECT_THAT(dump, HasSubstr("MaxSampleValue (281) SHORT (3) 3<255 254 128>"));
  EXPECT_THAT(dump, HasSubstr("(301) SHORT (3) 256<65535 65278 65021"));
  EXPECT_THAT(dump, HasSubstr("(532) RATIONAL (5) 6<0 255 0 255 0 3.8910"));
  // Frames that keep their depth keep these values, too.
  writeFile(scratch.path("before.tif"), builder.file());
  writeFile(after, rewritten(builder.file()));
  EXPECT_EQ(tagsElsewhere(scratch.path("before.tif")), tagsElsewhere(after));
}

// One resource: signature, number, empty name, data padded to an even length.
Bytes resource(unsigned number, const Bytes& data) {
  Bytes made = bytesOf("8BIM");
  made.push_back(static_cast<std::byte>(number >> 8));
  made.push_back(static_cast<std::byte>(number & 0xFF));
  made.resize(made.size() + 4);
  made.push_back(static_cast<std::byte>(data.size() >> 8));
  made.push_back(static_cast<std::byte>(data.size() & 0xFF));
  made.insert(made.end(), data.begin(), data.end());
  if (data.size() % 2 != 0) made.push_back(std::byte{0});
  return made;
}

TEST(TiffThumbnails, AmongImageResourcesAreDroppedAndTheOthersKept) {
  const Bytes before = resource(1005, noise(16, 2));
  const Bytes thumbnail = noise(999, 3);
  const Bytes after = resource(1061, noise(17, 4));
  Bytes all = before;
  for (const Bytes& part : {resource(1036, thumbnail), after}) {
    all.insert(all.end(), part.begin(), part.end());
  }
  TiffBuilder builder;
  builder.setFirst(flatFrame(builder, {builder.bytes(34377, 1, all)}));
  ASSERT_NE(find(builder.file(), thumbnail), std::string::npos);
  const Bytes made = rewritten(builder.file());
  EXPECT_EQ(find(made, thumbnail), std::string::npos);
  EXPECT_EQ(find(made, Bytes(thumbnail.begin() + 500, thumbnail.end())), std::string::npos);
  Bytes kept = before;
  kept.insert(kept.end(), after.begin(), after.end());
  EXPECT_NE(find(made, kept), std::string::npos);
  const Scratch scratch;
  writeFile(scratch.path("after.tif"), made);
  EXPECT_EQ(run("exiftool -s3 -PhotoshopThumbnail " + scratch.path("after.tif")), "");
  EXPECT_THAT(run("tiffdump " + scratch.path("after.tif")),
              ::testing::HasSubstr("34377 (0x8649) BYTE (1) " + std::to_string(kept.size())));
}

TEST(TiffThumbnails, InXmpAreBlankedAndTheRestKept) {
  const std::string packet =
      "<x:xmpmeta><rdf:Description><dc:a>before</dc:a><xmp:Thumbnails><rdf:Alt><rdf:li>"
      "AAAABBBB</rdf:li></rdf:Alt></xmp:Thumbnails><dc:b>after</dc:b></rdf:Description>";
  TiffBuilder builder;
  builder.setFirst(flatFrame(builder, {builder.bytes(700, 1, bytesOf(packet))}));
  const Bytes made = rewritten(builder.file());
  const std::size_t start = packet.find("<xmp:Thumbnails>");
  const std::size_t end = packet.find("<dc:b>");
  const std::string expected =
      packet.substr(0, start) + std::string(end - start, ' ') + packet.substr(end);
  EXPECT_NE(find(made, bytesOf(expected)), std::string::npos);
}

std::string refusal(const Bytes& file) {
  const auto source = open(file);
  if (!source) return "not opened";
  const auto writable = source->writable();
  return writable ? "" : writable.error().message;
}

TEST(TiffRefusals, LayersWouldKeepTheOldColours) {
  for (const std::string block : {"8BIMLayr", "MIB8ryaL", "MIB861rL"}) {
    TiffBuilder builder;
    builder.setFirst(flatFrame(
        builder, {builder.bytes(37724, 7, bytesOf("Document Data Block" + block + "data"))}));
    EXPECT_EQ(refusal(builder.file()), "it holds layers, which would keep the old colours");
    EXPECT_FALSE(rewrite(builder.file()).ok());
  }
  TiffBuilder without;
  without.setFirst(flatFrame(without, {without.bytes(37724, 7, bytesOf("8BIMPattdata"))}));
  EXPECT_EQ(refusal(without.file()), "");
}

// Pictures below SubIFDs are frames; this one is below a pointer to EXIF data.
TEST(TiffRefusals, APictureWhereNoneBelongsWouldKeepTheOldColours) {
  TiffBuilder builder;
  const auto pixels = builder.append(noise(std::size_t{4} * 4 * 3));
  const auto sub = builder.directory(builder.rgbFields(4, 4, pixels));
  builder.setFirst(flatFrame(builder, {builder.longs(34665, {static_cast<std::uint32_t>(sub)})}));
  EXPECT_EQ(refusal(builder.file()),
            "a sub-directory holds another picture, which would keep the old colours");
}

TEST(TiffRefusals, RawCameraDataAndOldStyleJpegAreNotTouched) {
  TiffBuilder raw;
  raw.setFirst(flatFrame(raw, {raw.bytes(50706, 1, Bytes(4, std::byte{1}))}));
  EXPECT_EQ(refusal(raw.file()), "it holds raw camera data, which is not adjusted");
  TiffBuilder jpeg;
  jpeg.setFirst(flatFrame(jpeg, {jpeg.longs(513, {8}), jpeg.longs(514, {4})}));
  EXPECT_EQ(refusal(jpeg.file()),
            "it holds an old-style JPEG picture, which would keep the old colours");
}

}  // namespace
}  // namespace kelvo::tiff_test
