// How files say that their pictures are to be turned, written by other programs.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include "platform/image_io/exif_orientation.h"
#include "tests/image_io/tools/codec_calls.h"
#include "tests/image_io/tools/other_tools.h"

namespace kelvo::image_io_test {
namespace {

// A block with a directory of one entry; `value` stands in the entry.
Bytes exifBlock(std::string_view type, std::string_view count, std::string_view value) {
  return fromHex(fmt::format("4d4d002a 00000008 0001 0112 {} {} {} 00000000", type, count, value));
}

TEST(Orientation, IsReadFromAnExifBlock) {
  EXPECT_EQ(exifOrientation(exifBlock("0003", "00000001", "00060000")), 6U);
  EXPECT_EQ(exifOrientation(fromHex("49492a00 08000000 0100 1201 0300 01000000 08000000 00000000")),
            8U)
      << "the other byte order";
  const Bytes prefix = fromHex("457869660000");
  EXPECT_EQ(exifOrientation(concat({prefix, exifBlock("0003", "00000001", "00030000")})), 3U);
}

TEST(Orientation, IsOneWhereTheExifBlockTellsNothingSensible) {
  EXPECT_EQ(exifOrientation({}), 1U);
  EXPECT_EQ(exifOrientation(fromHex("4d4d002a")), 1U) << "cut off";
  EXPECT_EQ(exifOrientation(fromHex("4d4d002a 00000008 0000 00000000")), 1U) << "no such entry";
  EXPECT_EQ(exifOrientation(exifBlock("0003", "00000001", "00000000")), 1U);
  EXPECT_EQ(exifOrientation(exifBlock("0003", "00000001", "00090000")), 1U);
  EXPECT_EQ(exifOrientation(exifBlock("0003", "00000002", "00060006")), 1U) << "two values";
  EXPECT_EQ(exifOrientation(exifBlock("0002", "00000001", "36000000")), 1U) << "a text";
  EXPECT_EQ(exifOrientation(exifBlock("0003", "7fffffff", "00000008")), 1U) << "outside the block";
}

unsigned orientationOf(const Codec& codec, const std::string& path) {
  const auto source = openSource(codec, readFile(path));
  return source ? source->orientation(0) : 0;
}

TEST(Orientation, IsReadFromFilesThatExiftoolTagged) {
  const TemporaryFolder folder;
  const std::pair<const char*, const Codec*> formats[] = {{"a.jpg", &kJpegCodec},
                                                          {"a.png", &kPngCodec},
                                                          {"a.webp", &kWebpCodec},
                                                          {"a.tif", &kTiffCodec}};
  std::string paths;
  for (const auto& [name, codec] : formats) {
    const std::string path = folder.path(name);
    run("convert -size 6x4 gradient:red-blue " + path);
    EXPECT_EQ(orientationOf(*codec, path), 1U) << name;
    paths += " " + path;
  }
  for (unsigned value = 1; value <= 8; ++value) {
    run(fmt::format("exiftool -q -overwrite_original -n -Orientation={}{}", value, paths));
    for (const auto& [name, codec] : formats) {
      EXPECT_EQ(orientationOf(*codec, folder.path(name)), value) << name;
    }
  }
}

TEST(Orientation, OfAnAvifFileIsWhatItsTurnAndMirrorComeTo) {
  const TemporaryFolder folder;
  const std::string png = folder.path("a.png");
  const std::string avif = folder.path("a.avif");
  run("convert -size 64x64 gradient:red-blue " + png);
  // By quarters against the clock; then not mirrored, top and bottom, left and right.
  const unsigned expected[4][3] = {{1, 4, 2}, {8, 5, 7}, {3, 2, 4}, {6, 7, 5}};
  for (unsigned quarters = 0; quarters < 4; ++quarters) {
    for (unsigned mirror = 0; mirror < 3; ++mirror) {
      run(fmt::format("avifenc -s 10 --irot {} {} {} {}", quarters,
                      mirror == 0 ? "" : fmt::format("--imir {}", mirror - 1), png, avif));
      EXPECT_EQ(orientationOf(kAvifCodec, avif), expected[quarters][mirror])
          << quarters << " quarters, mirror " << mirror;
    }
  }
}

TEST(Orientation, OfAJpegXlFileIsThatOfThePhotographItWasMadeFrom) {
  const TemporaryFolder folder;
  const std::string jpeg = folder.path("a.jpg");
  const std::string jxl = folder.path("a.jxl");
  run("convert -size 64x48 gradient:red-blue " + jpeg);
  run("exiftool -q -overwrite_original -n -Orientation=6 " + jpeg);
  run("cjxl --quiet --lossless_jpeg=1 " + jpeg + " " + jxl);
  EXPECT_EQ(orientationOf(kJxlCodec, jxl), 6U);
}

}  // namespace
}  // namespace kelvo::image_io_test
