// Files of other programs, rewritten without an adjustment: the same pixels to the last bit in the
// same arrangement, by another program's reading.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <tuple>

#include "tests/image_io/tiff/tiff_test_support.h"

namespace kelvo::tiff_test {
namespace {

struct Arrangement {
  std::string name;
  std::string options;  // of tiffcp
};

class RoundTrip
    : public ::testing::TestWithParam<std::tuple<std::string, Arrangement, std::string>> {};

// 101 x 67 is no multiple of any strip or tile.
constexpr const char* kMakeSource =
    "convert -seed 7 -size 101x67 plasma:red-blue -depth 8 -type TrueColor -compress None ";

Adjustment negated() {
  return {.rows =
              [](std::span<std::byte> rows) {
                for (std::byte& byte : rows) byte = ~byte;
              },
          .paletteColor = {},
          .eightBits = false};
}

TEST_P(RoundTrip, KeepsPixelsAndArrangement) {
  const auto& [byteOrder, arrangement, compression] = GetParam();
  const Scratch scratch;
  run(kMakeSource + scratch.path("source.tif"));
  const std::string before = scratch.path("before.tif");
  const std::string after = scratch.path("after.tif");
  run("tiffcp " + byteOrder + " " + arrangement.options + " -c " + compression + " " +
      scratch.path("source.tif") + " " + before);
  const Bytes old = readFile(before);
  const Bytes made = rewritten(old);
  writeFile(after, made);
  EXPECT_EQ(decodedElsewhere(before), decodedElsewhere(after));
  EXPECT_EQ(structureElsewhere(before), structureElsewhere(after));
  // Byte order and version.
  EXPECT_TRUE(std::equal(old.begin(), old.begin() + 4, made.begin()));
  EXPECT_EQ(run("tiffinfo " + after + " 2>&1 >/dev/null"), "");
}

INSTANTIATE_TEST_SUITE_P(
    Files, RoundTrip,
    ::testing::Combine(::testing::Values("-B", "-L -8"),
                       ::testing::Values(Arrangement{"RowStrips", "-s -r 1"},
                                         Arrangement{"Strips", "-s -r 16"},
                                         Arrangement{"OneStrip", "-s -r 67"},
                                         Arrangement{"PlaneStrips", "-s -r 16 -p separate"},
                                         Arrangement{"Tiles", "-t -w 32 -l 48"},
                                         Arrangement{"PlaneTiles", "-t -w 48 -l 16 -p separate"}),
                       ::testing::Values("none", "lzw:2", "zip:2", "packbits", "zstd")),
    [](const auto& test) {
      std::string name =
          std::get<0>(test.param) + std::get<1>(test.param).name + std::get<2>(test.param);
      std::erase_if(name, [](char c) { return c == '-' || c == ' ' || c == ':'; });
      return name;
    });

INSTANTIATE_TEST_SUITE_P(
    OtherFiles, RoundTrip,
    ::testing::Combine(::testing::Values("-L", "-B -8"),
                       ::testing::Values(Arrangement{"Strips", "-s -r 16"},
                                         Arrangement{"PlaneTiles", "-t -w 48 -l 16 -p separate"}),
                       ::testing::Values("lzw", "zip", "zstd:2", "lzma", "lzma:2")),
    [](const auto& test) {
      std::string name =
          std::get<0>(test.param) + std::get<1>(test.param).name + std::get<2>(test.param);
      std::erase_if(name, [](char c) { return c == '-' || c == ' ' || c == ':'; });
      return name;
    });

class SixteenBits : public ::testing::TestWithParam<std::string> {};

TEST_P(SixteenBits, KeepTheirDepthWhenTheyArriveWithIt) {
  const Scratch scratch;
  const std::string before = scratch.path("before.tif");
  const std::string after = scratch.path("after.tif");
  run("convert -seed 7 -size 101x67 plasma:red-blue -depth 16 -type TrueColor " + GetParam() + " " +
      before);
  writeFile(after, rewritten(readFile(before)));
  EXPECT_EQ(decodedElsewhere(before), decodedElsewhere(after));
  EXPECT_EQ(structureElsewhere(before), structureElsewhere(after));
}

TEST_P(SixteenBits, AreStoredWithEightWhenTheyArriveWithEight) {
  const Scratch scratch;
  const std::string before = scratch.path("before.tif");
  const std::string after = scratch.path("after.tif");
  run("convert -seed 7 -size 101x67 plasma:red-blue -depth 16 -type TrueColor " + GetParam() + " " +
      before);
  const Bytes old = readFile(before);
  const Bytes made = rewritten(old, {.rows = {}, .paletteColor = {}, .eightBits = true});
  writeFile(after, made);
  auto expected = decodedElsewhere(before);
  for (std::uint16_t& sample : expected) {
    sample = static_cast<std::uint16_t>((sample * 255U + 32767U) / 65535U * 257U);
  }
  EXPECT_EQ(expected, decodedElsewhere(after));
  EXPECT_LT(made.size(), old.size() * 2 / 3);
  std::string structure = structureElsewhere(before);
  structure.replace(structure.find("Bits/Sample: 16"), 15, "Bits/Sample: 8");
  EXPECT_EQ(structure, structureElsewhere(after));
}

INSTANTIATE_TEST_SUITE_P(Files, SixteenBits,
                         ::testing::Values("-compress None", "-endian MSB -compress None",
                                           "-compress LZW", "-endian MSB -compress Zip",
                                           "-interlace Plane -compress LZW",
                                           "-endian MSB -interlace Plane -compress None",
                                           "-define tiff:tile-geometry=32x32 -compress Zip"));

TEST(TiffPages, AreAllRewrittenInOrder) {
  const Scratch scratch;
  const std::string before = scratch.path("before.tif");
  const std::string after = scratch.path("after.tif");
  run("convert -depth 8 -seed 3 \\( -size 40x30 plasma:red-blue -type TrueColor \\) "
      "\\( -size 30x50 plasma:green-yellow -type TrueColor \\) "
      "\\( -size 64x64 plasma:gray-navy -type TrueColor \\) -compress LZW " +
      before);
  const Bytes old = readFile(before);
  ASSERT_EQ(open(old)->count(), 3U);
  writeFile(after, rewritten(old));
  for (int page = 0; page < 3; ++page) {
    EXPECT_EQ(decodedElsewhere(before, page), decodedElsewhere(after, page)) << page;
  }
  EXPECT_EQ(structureElsewhere(before), structureElsewhere(after));
}

TEST(TiffPages, ThatHoldReducedPicturesAreFramesLikeAnyOther) {
  TiffBuilder builder;
  const auto large = builder.append(noise(std::size_t{32} * 32 * 3));
  const auto small = builder.append(noise(std::size_t{8} * 8 * 3, 2));
  auto fields = builder.rgbFields(8, 8, small);
  fields.push_back(builder.longs(254, {1}));
  const auto second = builder.directory(fields);
  builder.setFirst(builder.directory(builder.rgbFields(32, 32, large), second));
  const Bytes made = rewritten(builder.file(), negated());
  for (std::size_t frame = 0; frame < 2; ++frame) {
    auto expected = decoded(builder.file(), frame);
    const auto actual = decoded(made, frame);
    ASSERT_TRUE(expected.ok() && actual.ok());
    for (std::byte& byte : *expected) byte = ~byte;
    EXPECT_EQ(*expected, *actual);
  }
}

// Smaller versions of a picture, in sub-directories or as pages of their own.
TEST(TiffPyramids, OfAnotherProgramAreAdjustedOnEveryLevel) {
  const Scratch scratch;
  run(kMakeSource + scratch.path("source.tif"));
  const std::string before = scratch.path("before.tif");
  const std::string after = scratch.path("after.tif");
  const auto structure = [](const std::string& path) {
    return run(
        "exiftool -a -G1 -s -SubfileType -ImageWidth -ImageHeight -Compression "
        "-PlanarConfiguration -TileWidth -TileLength -Predictor " +
        path);
  };
  const auto level = [](const std::string& path, const std::string& which) {
    return run("vips rawsave '" + path + "[" + which + "]' '" + path + ".raw' && cat '" + path +
               ".raw'");
  };
  for (const std::string kind : {"--subifd", "", "--subifd --bigtiff"}) {
    run("vips tiffsave " + scratch.path("source.tif") + " " + before + " " + kind +
        " --pyramid --tile --tile-width 16 --tile-height 16 --compression deflate "
        "--predictor horizontal");
    const Bytes old = readFile(before);
    // 101 x 67, 50 x 33, 25 x 16, 12 x 8.
    ASSERT_EQ(open(old)->count(), 4U) << kind;
    writeFile(after, rewritten(old, negated()));
    EXPECT_EQ(structure(before), structure(after)) << kind;
    for (const int number : {0, 1, 2, 3}) {
      std::string which = "page=" + std::to_string(number);
      if (!kind.empty()) which = "subifd=" + std::to_string(number - 1);
      std::string expected = level(before, which);
      for (char& byte : expected) byte = static_cast<char>(~byte);
      ASSERT_GE(expected.size(), 12U * 8 * 3) << kind << which;
      EXPECT_EQ(level(after, which), expected) << kind << which;
    }
  }
}

TEST(TiffPages, OfWhichThereAreAHundredAreAllAdjusted) {
  const Scratch scratch;
  run("convert -seed 5 -size 20x1500 plasma:red-blue -depth 8 -type TrueColor -crop 20x15 +repage "
      "-compress LZW " +
      scratch.path("before.tif"));
  const auto pixels = [&scratch](const std::string& name) {
    return run("convert " + scratch.path(name) + " -append -depth 8 rgb:-");
  };
  const Bytes old = readFile(scratch.path("before.tif"));
  ASSERT_EQ(open(old)->count(), 100U);
  writeFile(scratch.path("after.tif"), rewritten(old, negated()));
  std::string expected = pixels("before.tif");
  for (char& byte : expected) byte = static_cast<char>(~byte);
  ASSERT_EQ(expected.size(), 20U * 1500 * 3);
  EXPECT_EQ(pixels("after.tif"), expected);
}

TEST(TiffReversedBits, StayReversed) {
  const Scratch scratch;
  run(kMakeSource + scratch.path("source.tif"));
  const std::string before = scratch.path("before.tif");
  const std::string after = scratch.path("after.tif");
  for (const std::string compression : {"none", "lzw", "zip"}) {
    run("tiffcp -f lsb2msb -c " + compression + " " + scratch.path("source.tif") + " " + before);
    writeFile(after, rewritten(readFile(before)));
    EXPECT_EQ(decodedElsewhere(before), decodedElsewhere(after)) << compression;
    EXPECT_EQ(structureElsewhere(before), structureElsewhere(after)) << compression;
  }
}

TEST(TiffWebP, LosslessStaysLosslessAndLossyIsRefused) {
  const Scratch scratch;
  run(kMakeSource + scratch.path("source.tif"));
  const std::string before = scratch.path("before.tif");
  const std::string after = scratch.path("after.tif");
  run("vips tiffsave " + scratch.path("source.tif") + " " + before +
      " --compression webp --lossless");
  writeFile(after, rewritten(readFile(before)));
  EXPECT_EQ(decodedElsewhere(before), decodedElsewhere(after));
  run("tiffcp -c webp:80 " + scratch.path("source.tif") + " " + before);
  const auto refused = rewrite(readFile(before));
  ASSERT_FALSE(refused.ok());
  EXPECT_EQ(refused.error().message, "lossy WebP inside a TIFF is not rewritten");
}

// An unchanged uncompressed file is the same file, whatever lies in it.
TEST(TiffRoundTrip, OfAnUncompressedFileGivesTheSameBytes) {
  const Scratch scratch;
  const std::string before = scratch.path("before.tif");
  run(kMakeSource + before);
  run("exiftool -overwrite_original -Artist=Somebody -GPSLatitude=47.5 -GPSLatitudeRef=N " +
      before);
  const Bytes old = readFile(before);
  EXPECT_EQ(rewritten(old), old);
}

bool loaded(const char* name) {
  void* const library = ::dlopen(name, RTLD_NOW | RTLD_NOLOAD);
  if (library != nullptr) ::dlclose(library);
  return library != nullptr;
}

// In a process of its own, which has not opened such a file before. Its exit status counts what is
// wrong.
TEST(TiffModule, IsLoadedWithTheFirstFileOnly) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto check = [] {
    const Scratch scratch;
    run(kMakeSource + scratch.path("source.tif"));
    const Bytes file = readFile(scratch.path("source.tif"));
    int wrong = kTiffCodec.matches(file) ? 0 : 1;
    wrong += loaded("libtiff.so.6") || loaded("libLerc.so.4") ? 2 : 0;
    wrong += open(file) ? 0 : 4;
    wrong += loaded("libtiff.so.6") && loaded("libLerc.so.4") ? 0 : 8;
    return wrong;
  };
  EXPECT_EXIT(std::exit(check()), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace kelvo::tiff_test
