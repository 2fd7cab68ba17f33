// Everything besides the pixels, and files that cannot be written back whole.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/image_io/jpeg2000/jpeg2000_test_support.h"

namespace kelvo::image_io_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

TEST(Jpeg2000Keeping, EveryBoxStaysInItsPlaceByteForByte) {
  const Bytes before =
      concat({box("xml ", fromText("<a>metadata</a>")), box("xyzz", fromHex("01"))});
  const Bytes after = concat({box("uuid", Bytes(40, std::byte{7})), box("jp2i", fromHex("0203"))});
  const Bytes resolution = box("res ", box("resc", fromHex("0001 0001 0001 0001 02 02")));
  const Bytes plain = withHeaderBoxes(makeJpeg2000(), resolution);
  Bytes file;
  for (const auto& [type, content] : boxes(plain)) {
    if (type == "jp2c") file = concat({file, before});
    file = concat({file, box(type, content)});
  }
  file = concat({file, after});
  const Bytes written = rewrite(kJpeg2000Codec, file, inverted);
  const auto old = boxes(file);
  const auto fresh = boxes(written);
  ASSERT_EQ(old.size(), fresh.size());
  for (std::size_t i = 0; i < old.size(); ++i) {
    EXPECT_EQ(old[i].first, fresh[i].first);
    EXPECT_EQ(old[i].second == fresh[i].second, old[i].first != "jp2c") << old[i].first;
  }
}

TEST(Jpeg2000Keeping, ACodestreamThatGoesOnToTheEndOfTheFileGoesOnDoingSo) {
  Bytes file = makeJpeg2000();
  const std::size_t header = file.size() - payload(file, "jp2c").size() - 8;
  for (std::size_t i = header; i < header + 4; ++i) file[i] = std::byte{0};
  const Bytes written = rewrite(kJpeg2000Codec, file, inverted);
  EXPECT_EQ(seenPixels(written), complement(smoothSamples(120, 90)));
  EXPECT_EQ(Bytes(written.begin(), written.begin() + static_cast<std::ptrdiff_t>(header) + 8),
            Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(header) + 8));
}

TEST(Jpeg2000Keeping, CommentsOfTheCodestreamStay) {
  const Bytes file = makeJpeg2000("-C 'made by a test'", "j2k");
  const Bytes comment = fromText("made by a test");
  ASSERT_TRUE(contains(file, comment));
  const Bytes second = fromHex("ff64 0008 0000 01020304");
  // Before the first tile.
  const Bytes sot = fromHex("ff90000a");
  const auto at = std::search(file.begin(), file.end(), sot.begin(), sot.end());
  const Bytes both = concat({Bytes(file.begin(), at), second, Bytes(at, file.end())});
  const Bytes written = rewrite(kJpeg2000Codec, both, inverted);
  EXPECT_TRUE(contains(written, comment));
  EXPECT_TRUE(contains(written, second));
  EXPECT_FALSE(contains(written, fromText("Created by")));
}

// SIZ follows SOC; the size of tiles is at 24.
TEST(Jpeg2000Keeping, TilesThatReachFarPastThePictureDoSoAfterwards) {
  Bytes file = makeJpeg2000("", "j2k");
  const Bytes size = fromHex("04ff5d00 7fffffff");
  std::copy(size.begin(), size.end(), file.begin() + 24);
  EXPECT_EQ(pixels(kJpeg2000Codec, file), smoothSamples(120, 90));
  const Bytes written = rewrite(kJpeg2000Codec, file, inverted);
  ASSERT_GT(written.size(), 60U);
  EXPECT_EQ(Bytes(written.begin(), written.begin() + 50), Bytes(file.begin(), file.begin() + 50));
  EXPECT_EQ(pixels(kJpeg2000Codec, written), complement(smoothSamples(120, 90)));
}

TEST(Jpeg2000Keeping, IccProfilesStayByteForByte) {
  // Nobody looks further into it than the colour space.
  Bytes profile = concat({Bytes(16), fromText("RGB XYZ "), Bytes(300, std::byte{0x5A})});
  const Bytes file = withPayload(makeJpeg2000(), "colr", concat({fromHex("020000"), profile}));
  EXPECT_EQ(openSource(kJpeg2000Codec, file)->image(0)->colorSpace->profile, profile);
  const Bytes written = rewrite(kJpeg2000Codec, file, inverted);
  EXPECT_EQ(payload(written, "colr"), payload(file, "colr"));
  EXPECT_EQ(pixels(kJpeg2000Codec, written), complement(smoothSamples(120, 90)));
}

TEST(Jpeg2000Keeping, XmpAndExifStay) {
  const TemporaryFolder folder;
  writeFile(folder.path("in.jp2"), makeJpeg2000());
  run("exiftool -q -overwrite_original -Artist=Somebody -Orientation#=6 -XMP:Creator=Somebody '" +
      folder.path("in.jp2") + "'");
  const Bytes file = readFile(folder.path("in.jp2"));
  const Bytes written = rewrite(kJpeg2000Codec, file, inverted);
  EXPECT_EQ(boxes(written).size(), boxes(file).size());
  EXPECT_EQ(payload(written, "uuid"), payload(file, "uuid"));
  EXPECT_EQ(runOn(written, "jp2", "exiftool -s3 -n -Artist -Creator -EXIF:Orientation"),
            "Somebody\nSomebody\n6\n");
}

TEST(Jpeg2000Keeping, TheExifThumbnailIsTakenOut) {
  const TemporaryFolder folder;
  run("convert -size 160x120 gradient:red-blue '" + folder.path("in.jpg") + "'");
  run("convert -size 80x60 gradient:red-blue '" + folder.path("small.jpg") + "'");
  run("exiftool -q -overwrite_original -Artist=Somebody '-ThumbnailImage<=" +
      folder.path("small.jpg") + "' '" + folder.path("in.jpg") + "'");
  run("exiftool -b -Exif '" + folder.path("in.jpg") + "' > '" + folder.path("exif") + "'");
  Bytes exif = readFile(folder.path("exif"));
  if (exif.at(0) == std::byte{'E'}) exif.erase(exif.begin(), exif.begin() + 6);
  const Bytes uuid = box("uuid", concat({fromText("JpgTiffExif->JP2"), exif}));
  const Bytes file = concat({makeJpeg2000(), uuid});
  ASSERT_THAT(runOn(file, "jp2", "exiftool -ThumbnailImage"), HasSubstr("Binary data"));
  const Bytes written = rewrite(kJpeg2000Codec, file);
  EXPECT_THAT(runOn(written, "jp2", "exiftool -ThumbnailImage"), Not(HasSubstr("Binary data")));
  EXPECT_EQ(runOn(written, "jp2", "exiftool -s3 -Artist"), "Somebody\n");
  EXPECT_EQ(payload(written, "uuid").size(), payload(file, "uuid").size());
}

// Indices of 0 to 3 in a table of 4 colours; `columns` is 3, or 4 with an alpha.
Bytes indexed(unsigned columns) {
  const TemporaryFolder folder;
  Bytes pgm = fromText("P5\n16 8\n255\n");
  for (unsigned i = 0; i < 16 * 8; ++i) pgm.push_back(static_cast<std::byte>(i % 4));
  writeFile(folder.path("in.pgm"), pgm);
  run("opj_compress -i '" + folder.path("in.pgm") + "' -n 3 -o '" + folder.path("out.jp2") + "'");
  Bytes table = fromHex(columns == 3 ? "0004 03 070707" : "0004 04 07070707");
  Bytes map;
  for (unsigned i = 0; i < columns; ++i) {
    map = concat({map, fromHex("0000 01"), {static_cast<std::byte>(i)}});
  }
  for (const char* const color : {"102030", "405060", "708090", "a0b0c0"}) {
    table = concat({table, fromHex(color)});
    if (columns == 4) table = concat({table, fromHex("ff")});
  }
  Bytes added = concat({box("pclr", table), box("cmap", map)});
  if (columns == 4) {
    added = concat({added, box("cdef", fromHex("0004 000000000001 000100000002 000200000003 "
                                               "000300010000"))});
  }
  return withHeaderBoxes(
      withPayload(readFile(folder.path("out.jp2")), "colr", fromHex("010000 00000010")), added);
}

CGImage invertedTable(const CGImage& image) {
  CGImage result = image;
  Palette palette = *image.palette;
  for (auto& color : palette) {
    for (std::size_t k = 0; k < 3; ++k) color[k] = static_cast<std::uint8_t>(255 - color[k]);
  }
  result.palette = std::make_shared<const Palette>(palette);
  return result;
}

TEST(Jpeg2000Keeping, IndexedFilesGetAnotherTableAndNothingElse) {
  const Bytes file = indexed(3);
  const Bytes read = pixels(kJpeg2000Codec, file);
  EXPECT_EQ(Bytes(read.begin(), read.begin() + 6), fromHex("102030 405060"));
  EXPECT_EQ(seenPixels(file), read);
  const Bytes written = rewrite(kJpeg2000Codec, file, invertedTable);
  EXPECT_EQ(seenPixels(written), complement(read));
  EXPECT_EQ(payload(written, "jp2c"), payload(file, "jp2c"));
  EXPECT_EQ(written.size(), file.size());
  EXPECT_EQ(rewrite(kJpeg2000Codec, written, invertedTable), file);
}

TEST(Jpeg2000Keeping, IndexedFilesMayHaveAlphaInTheirTable) {
  const Bytes file = withPayload(indexed(4), "pclr",
                                 fromHex("0004 04 07070707 102030ff 40506080 70809000 a0b0c0ff"));
  const Bytes read = pixels(kJpeg2000Codec, file);
  EXPECT_EQ(Bytes(read.begin(), read.begin() + 8), fromHex("102030ff 40506080"));
  const Bytes written = rewrite(kJpeg2000Codec, file, invertedTable);
  EXPECT_EQ(payload(written, "pclr"),
            fromHex("0004 04 07070707 efdfcfff bfaf9f80 8f7f6f00 5f4f3fff"));
}

TEST(Jpeg2000Keeping, AnIndexThatIsNotInTheTableIsDamage) {
  const Bytes file =
      withPayload(indexed(3), "pclr", fromHex("0003 03 070707 102030 405060 708090"));
  const auto read = tryPixels(kJpeg2000Codec, file);
  ASSERT_FALSE(read);
  EXPECT_THAT(read.error().message, HasSubstr("a colour is not in the table"));
}

// How much memory they would take is not known before.
TEST(Jpeg2000Keeping, IndicesWithBlocksOfTheirOwnAreNotDecoded) {
  const Bytes file = indexed(3);
  Bytes stream = payload(file, "jp2c");
  const Bytes quantization = fromHex("ff5c");
  const auto at =
      std::search(stream.begin(), stream.end(), quantization.begin(), quantization.end());
  ASSERT_NE(at, stream.end());
  const Bytes style = fromHex("ff53 0009 00 00 02 04 04 00 01");
  stream.insert(at, style.begin(), style.end());
  const auto read = tryPixels(kJpeg2000Codec, withPayload(file, "jp2c", stream));
  ASSERT_FALSE(read);
  EXPECT_EQ(read.error().message,
            "tiles or components coded in ways of their own cannot be decoded");
}

TEST(Jpeg2000Refusal, ChannelsThatNobodyTellsOf) {
  EXPECT_EQ(refusal(kJpeg2000Codec, makeJpeg2000("-n 3 -mct 0", "j2k", 40, 30, true)),
            "channels that are told to be neither colour nor alpha cannot be written back");
}

TEST(Jpeg2000Refusal, ChannelsBesidesColourAndAlpha) {
  EXPECT_EQ(refusal(kJpeg2000Codec,
                    withHeaderBoxes(
                        makeJpeg2000("-n 3 -mct 1", "jp2", 40, 30, true),
                        box("cdef",
                            fromHex("0004 000000000001 000100000002 000200000003 0003ffffffff")))),
            "channels besides colour and alpha cannot be written back");
}

TEST(Jpeg2000Refusal, ComponentsOfALowerResolution) {
  EXPECT_EQ(refusal(kJpeg2000Codec, makeJpeg2000("-s 2,2 -mct 0", "j2k")),
            "components of a lower resolution cannot be written back");
}

TEST(Jpeg2000Refusal, ChangesOfProgression) {
  EXPECT_EQ(refusal(kJpeg2000Codec, makeJpeg2000("-n 3 -POC T1=0,0,1,3,3,CPRL", "j2k")),
            "changes of progression cannot be written back");
}

TEST(Jpeg2000Refusal, RegionsOfInterest) {
  EXPECT_EQ(refusal(kJpeg2000Codec, makeJpeg2000("-ROI c=0,U=5", "j2k")),
            "a region of interest cannot be written back");
}

// SIZ follows SOC; Rsiz is at 6, the first component's depth at 42.
TEST(Jpeg2000Refusal, ExtensionsAndSignedSamples) {
  Bytes file = makeJpeg2000("", "j2k");
  file[6] = std::byte{0x40};
  EXPECT_EQ(refusal(kJpeg2000Codec, file),
            "a profile or extension beyond Part 1 of the format cannot be written "
            "back");
  file = makeJpeg2000("", "j2k");
  for (const std::size_t at : {42U, 45U, 48U}) file[at] = std::byte{0x87};
  EXPECT_EQ(refusal(kJpeg2000Codec, file), "signed samples cannot be written back");
}

TEST(Jpeg2000Refusal, SeveralPictures) {
  const Bytes file = makeJpeg2000();
  EXPECT_EQ(refusal(kJpeg2000Codec, concat({file, box("jp2c", payload(file, "jp2c"))})),
            "a file of several pictures or layers cannot be written back");
  EXPECT_EQ(refusal(kJpeg2000Codec, concat({file, box("jplh", {})})),
            "a file of several pictures or layers cannot be written back");
}

TEST(Jpeg2000Refusal, AnIndexOfPlaces) {
  EXPECT_THAT(refusal(kJpeg2000Codec, concat({makeJpeg2000(), box("fidx", fromHex("00"))})),
              HasSubstr("an index of places in the file"));
}

TEST(Jpeg2000Refusal, ColoursThatAreNeitherRgbNorAProfiles) {
  EXPECT_EQ(
      refusal(kJpeg2000Codec, withPayload(makeJpeg2000(), "colr", fromHex("010000 00000012"))),
      "colours that are neither RGB nor a profile's cannot be adjusted");
}

}  // namespace
}  // namespace kelvo::image_io_test
