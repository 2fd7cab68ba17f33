// Alpha, extra channels, palettes, JPEG, and the kinds of samples that are turned away.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "tests/image_io/tiff/tiff_test_support.h"

namespace kelvo::tiff_test {
namespace {

using Field = TiffBuilder::Field;

Bytes byteList(std::initializer_list<int> values) {
  Bytes bytes;
  for (const int value : values) bytes.push_back(static_cast<std::byte>(value));
  return bytes;
}

// One row of 8-bit pixels of `samples` samples with these extra samples.
Bytes rowFile(const Bytes& pixels, std::uint16_t samples, const std::vector<std::uint16_t>& extra,
              std::uint16_t photometric = 2, bool bigEndian = false, std::uint16_t bits = 8) {
  TiffBuilder builder(bigEndian);
  const auto at = builder.append(pixels);
  const auto width = static_cast<std::uint32_t>(pixels.size() / samples / (bits / 8));
  std::vector<Field> fields = builder.rgbFields(width, 1, at);
  fields[2] = builder.shorts(258, std::vector<std::uint16_t>(samples, bits));
  fields[4] = builder.shorts(262, {photometric});
  fields[6] = builder.shorts(277, {samples});
  fields.back() = builder.longs(279, {static_cast<std::uint32_t>(pixels.size())});
  if (!extra.empty()) fields.push_back(builder.shorts(338, extra));
  builder.setFirst(builder.directory(fields));
  return builder.file();
}

CGImage imageOf(const Bytes& file) {
  auto image = open(file)->image(0);
  EXPECT_TRUE(image.ok()) << (image ? "" : image.error().message);
  return image ? *std::move(image) : CGImage{};
}

TEST(TiffAlpha, AssociatedAlphaIsPremultipliedAndStaysAsItIs) {
  const Bytes pixels = byteList({100, 50, 25, 128, 0, 0, 0, 0, 255, 254, 253, 255});
  const Bytes file = rowFile(pixels, 4, {1});
  EXPECT_EQ(imageOf(file).layout, (PixelLayout{4, SampleType::u8, AlphaInfo::premultipliedLast}));
  EXPECT_EQ(decoded(file).value(), pixels);
  EXPECT_EQ(decoded(rewritten(file)).value(), pixels);
}

TEST(TiffAlpha, UnassociatedAlphaIsStraightAndUnpremultipliedAgain) {
  // 200 of 255 at alpha 128: premultiplied (200 * 128 + 127) / 255 = 100, and back
  // (255 * 100 + 64) / 128 = 199. 77 gives 39 and 78; 9 gives 5 and 10.
  const Bytes pixels = byteList({200, 77, 9, 128, 255, 254, 253, 255, 90, 80, 70, 0});
  const Bytes file = rowFile(pixels, 4, {2});
  EXPECT_EQ(imageOf(file).layout, (PixelLayout{4, SampleType::u8, AlphaInfo::last}));
  EXPECT_EQ(decoded(file).value(), pixels);
  EXPECT_EQ(decoded(rewritten(file)).value(),
            byteList({199, 78, 10, 128, 255, 254, 253, 255, 0, 0, 0, 0}));
}

TEST(TiffAlpha, SixteenBitSamplesAreReadInEitherByteOrder) {
  const Bytes stored = byteList({0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xFF, 0xFF});
  const Bytes file = rowFile(stored, 4, {2}, 2, true, 16);
  const std::array<std::uint16_t, 4> expected = {0x1234, 0x5678, 0x9ABC, 0xFFFF};
  const Bytes pixels = decoded(file).value();
  ASSERT_EQ(pixels.size(), 8U);
  EXPECT_EQ(std::memcmp(pixels.data(), expected.data(), 8), 0);
  EXPECT_EQ(decoded(rewritten(file)).value(), pixels);
  EXPECT_EQ(rewritten(file), file);
}

TEST(TiffExtraSamples, ThatAreNotAlphaAreKept) {
  const auto invert = [](std::span<std::byte> rows) {
    for (std::byte& byte : rows) byte = ~byte;
  };
  const Bytes file = rowFile(byteList({1, 2, 3, 70, 80, 90, 4, 5, 6, 71, 81, 91}), 6, {0, 0, 0});
  EXPECT_EQ(imageOf(file).layout, (PixelLayout{3, SampleType::u8, AlphaInfo::none}));
  EXPECT_EQ(decoded(file).value(), byteList({1, 2, 3, 4, 5, 6}));
  const Bytes made = rewritten(file, {.rows = invert, .paletteColor = {}, .eightBits = false});
  EXPECT_NE(find(made, byteList({254, 253, 252, 70, 80, 90, 251, 250, 249, 71, 81, 91})),
            std::string::npos);
}

TEST(TiffExtraSamples, BesidesAlphaAreKeptInTheirPlaces) {
  const Bytes file = rowFile(byteList({10, 20, 30, 77, 255, 40, 50, 60, 78, 255}), 5, {0, 2});
  EXPECT_EQ(imageOf(file).layout, (PixelLayout{4, SampleType::u8, AlphaInfo::last}));
  EXPECT_EQ(decoded(file).value(), byteList({10, 20, 30, 255, 40, 50, 60, 255}));
  EXPECT_EQ(rewritten(file), file);
}

TEST(TiffExtraSamples, FollowTheDepth) {
  const Bytes file = rowFile(byteList({0, 1, 0, 2, 0, 3, 0x80, 0x80}), 4, {0}, 2, false, 16);
  const Bytes made = rewritten(file, {.rows = {}, .paletteColor = {}, .eightBits = true});
  // 0x0100, 0x0200, 0x0300 and 0x8080 of 65535.
  EXPECT_NE(find(made, byteList({1, 2, 3, 0x80})), std::string::npos);
  EXPECT_EQ(open(made)->info(0).bitsPerComponent, 8U);
}

TEST(TiffPalette, IsMappedAndItsIndicesAreCopied) {
  const Scratch scratch;
  const auto invert = [](std::array<std::uint8_t, 4>& color) {
    for (std::size_t c = 0; c < 3; ++c) color[c] = static_cast<std::uint8_t>(255 - color[c]);
  };
  for (const std::string colors : {"2", "4", "13", "200"}) {
    for (const std::string compression : {"None", "LZW", "Zip"}) {
      const std::string before = scratch.path("before.tif");
      const std::string after = scratch.path("after.tif");
      run("convert -size 61x43 -seed 2 plasma:red-blue +dither -colors " + colors +
          " -depth 8 -type Palette -compress " + compression + " " + before);
      const Bytes old = readFile(before);
      ASSERT_TRUE(imageOf(old).palette);
      EXPECT_EQ(rewritten(old), old);
      writeFile(after, rewritten(old, {.rows = {}, .paletteColor = invert, .eightBits = false}));
      auto expected = decodedElsewhere(before);
      for (std::size_t i = 0; i < expected.size(); ++i) {
        // The tables hold 16-bit numbers; levels are their nearest 8-bit ones.
        const unsigned level = (expected[i] * 255U + 32767U) / 65535U;
        if (i % 4 != 3) expected[i] = static_cast<std::uint16_t>((255 - level) * 257);
      }
      EXPECT_EQ(expected, decodedElsewhere(after)) << colors << compression;
      EXPECT_EQ(structureElsewhere(before), structureElsewhere(after));
    }
  }
}

Bytes paletteFile(const std::vector<std::uint16_t>& map, std::uint16_t bits, const Bytes& indices,
                  std::uint32_t width) {
  TiffBuilder builder;
  const auto at = builder.append(indices);
  auto fields = builder.rgbFields(width, 1, at);
  fields[2] = builder.shorts(258, {bits});
  fields[4] = builder.shorts(262, {3});
  fields[6] = builder.shorts(277, {1});
  fields.back() = builder.longs(279, {static_cast<std::uint32_t>(indices.size())});
  fields.push_back(builder.shorts(320, map));
  builder.setFirst(builder.directory(fields));
  return builder.file();
}

TEST(TiffPalette, RowsAreTheTableLookedUp) {
  // Two-bit indices 3 0 1 2 and 1 0 0 0; colours 257 times a level.
  const Bytes file =
      paletteFile({0, 257, 514, 771, 2570, 2827, 3084, 3341, 65535, 65278, 65021, 64764}, 2,
                  byteList({0b11000110, 0b01000000}), 5);
  EXPECT_EQ(decoded(file).value(),
            byteList({3, 13, 252, 0, 10, 255, 1, 11, 254, 2, 12, 253, 1, 11, 254}));
}

TEST(TiffPalette, EntriesOfEarlyWritersKeepTheirScale) {
  const auto raise = [](std::array<std::uint8_t, 4>& color) { ++color[0]; };
  const Adjustment adjustment{.rows = {}, .paletteColor = raise, .eightBits = false};
  // 8-bit levels.
  const Bytes narrow = paletteFile({10, 20, 30, 40, 50, 60}, 1, byteList({0x80}), 2);
  EXPECT_EQ(decoded(narrow).value(), byteList({20, 40, 60, 10, 30, 50}));
  const Bytes narrowMade = rewritten(narrow, adjustment);
  EXPECT_EQ(decoded(narrowMade).value(), byteList({21, 40, 60, 11, 30, 50}));
  EXPECT_NE(find(narrowMade, byteList({11, 0, 21, 0, 30, 0, 40, 0, 50, 0, 60, 0})),
            std::string::npos);
  // Levels times 256.
  const Bytes shifted =
      paletteFile({0xFE00, 0x1400, 0x1E00, 0x2800, 0x3200, 0xFF00}, 1, byteList({0x80}), 2);
  EXPECT_EQ(decoded(shifted).value(), byteList({20, 40, 255, 254, 30, 50}));
  EXPECT_NE(find(rewritten(shifted, adjustment),
                 byteList({0, 0xFF, 0, 0x15, 0, 0x1E, 0, 0x28, 0, 0x32, 0, 0xFF})),
            std::string::npos);
}

TEST(TiffPalette, OfTheWrongSizeFailsTheFrame) {
  const Bytes file = paletteFile({10, 20, 30}, 1, byteList({0x80}), 2);
  const auto image = open(file)->image(0);
  ASSERT_FALSE(image.ok());
  EXPECT_EQ(image.error().message, "the colour map is missing or of the wrong size");
}

double squaredDifference(const std::string& one, const std::string& other) {
  const auto a = decodedElsewhere(one);
  const auto b = decodedElsewhere(other);
  EXPECT_EQ(a.size(), b.size());
  double sum = 0;
  for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
    const double difference = static_cast<double>(a[i]) - b[i];
    sum += difference * difference;
  }
  return sum;
}

class JpegInTiff : public ::testing::TestWithParam<std::string> {};

TEST_P(JpegInTiff, KeepsTablesAndSampling) {
  const Scratch scratch;
  const std::string source = scratch.path("source.tif");
  const std::string before = scratch.path("before.tif");
  const std::string after = scratch.path("after.tif");
  // Whole tiles: what pads others is each writer's own choice.
  const bool tiled = GetParam().find("-t ") != std::string::npos;
  run("convert -size " + std::string(tiled ? "192x128" : "203x117") +
      " -seed 5 plasma:red-blue -depth 8 -type TrueColor -compress None " + source);
  run("tiffcp " + GetParam() + " " + source + " " + before);
  writeFile(after, rewritten(readFile(before)));
  EXPECT_EQ(structureElsewhere(before), structureElsewhere(after));
  EXPECT_EQ(tagsElsewhere(before), tagsElsewhere(after));
  EXPECT_EQ(run("tiffinfo -D " + before + " 2>&1 >/dev/null"),
            run("tiffinfo -D " + after + " 2>&1 >/dev/null"));
  // Strips take their tables from the shared ones, whose bytes have not changed.
  EXPECT_EQ(run("tiffdump -m 2000 " + before + " | grep '^JPEGTables'"),
            run("tiffdump -m 2000 " + after + " | grep '^JPEGTables'"));
  // Coding again what was decoded loses no more than libtiff loses at the same quality.
  const std::string plain = scratch.path("plain.tif");
  const std::string again = scratch.path("again.tif");
  run("tiffcp -c none " + before + " " + plain);
  run("tiffcp " + GetParam() + " " + plain + " " + again);
  EXPECT_LE(squaredDifference(before, after), 1.02 * squaredDifference(before, again));
}

INSTANTIATE_TEST_SUITE_P(Files, JpegInTiff,
                         ::testing::Values("-c jpeg:90 -s -r 16", "-c jpeg:60 -s -r 117",
                                           "-c jpeg:r:80 -s -r 16",
                                           "-B -8 -c jpeg:75 -t -w 64 "
                                           "-l 64",
                                           "-c jpeg:r:90 -t -w 64 -l 64"));

// The segments between two markers of a JPEG file that has each of them once.
Bytes between(const Bytes& jpeg, std::uint8_t from, std::uint8_t to) {
  const std::size_t begin = find(jpeg, byteList({0xFF, from}));
  const std::size_t end = find(jpeg, byteList({0xFF, to}));
  EXPECT_LT(begin, end);
  return {jpeg.begin() + static_cast<std::ptrdiff_t>(begin),
          jpeg.begin() + static_cast<std::ptrdiff_t>(end)};
}

Bytes joined(const std::vector<Bytes>& parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// One strip of a smooth picture; its tables are shared and say only what `options` made of it.
Bytes smoothJpegStrip(const std::string& options) {
  const Scratch scratch;
  const std::string ppm = scratch.path("x.ppm");
  const std::string path = scratch.path("x.jpg");
  run("convert -size 32x32 gradient:gray20-gray40 -type TrueColor " + ppm);
  run("cjpeg -quality 90 -sample 1x1 " + options + " -outfile " + path + " " + ppm);
  const Bytes jpeg = readFile(path);
  constexpr std::uint8_t kQuantisation = 0xDB;
  constexpr std::uint8_t kFrame = 0xC0;
  constexpr std::uint8_t kHuffman = 0xC4;
  constexpr std::uint8_t kScan = 0xDA;
  constexpr std::uint8_t kEnd = 0xD9;
  const Bytes start = byteList({0xFF, 0xD8});
  const Bytes end = byteList({0xFF, kEnd});
  const Bytes tables =
      joined({start, between(jpeg, kQuantisation, kFrame), between(jpeg, kHuffman, kScan), end});
  const Bytes strip =
      joined({start, between(jpeg, kFrame, kHuffman), between(jpeg, kScan, kEnd), end});
  TiffBuilder builder;
  const auto at = builder.append(strip);
  auto fields = builder.rgbFields(32, 32, at);
  fields[3] = builder.shorts(259, {7});
  fields[4] = builder.shorts(262, {6});
  fields.back() = builder.longs(279, {static_cast<std::uint32_t>(strip.size())});
  fields.push_back(builder.bytes(347, 7, tables));
  fields.push_back(builder.shorts(530, {1, 1}));
  builder.setFirst(builder.directory(fields));
  return builder.file();
}

// Huffman codes lose nothing, so which tables there are must not matter to the pixels.
TEST(JpegInTiffTables, MadeForTheOldPixelsDoNotSpoilTheNewOnes) {
  const Bytes smooth = smoothJpegStrip("-optimize");
  const Bytes standard = smoothJpegStrip("");
  ASSERT_LT(smooth.size() + 100, standard.size());
  EXPECT_EQ(decoded(smooth).value(), decoded(standard).value());
  const Bytes detail = noise(std::size_t{32} * 32 * 3);
  const Adjustment adjustment{.rows =
                                  [&, at = std::size_t{0}](std::span<std::byte> rows) mutable {
                                    for (std::byte& sample : rows) sample = detail[at++];
                                  },
                              .paletteColor = nullptr,
                              .eightBits = false};
  const Scratch scratch;
  const std::string own = scratch.path("own.tif");
  const std::string all = scratch.path("all.tif");
  writeFile(own, rewritten(smooth, adjustment));
  writeFile(all, rewritten(standard, adjustment));
  EXPECT_EQ(decodedElsewhere(own), decodedElsewhere(all));
}

TEST(JpegInTiffStrips, ThatReachBelowThePictureAreRead) {
  const Scratch scratch;
  const std::string jpeg = scratch.path("x.jpg");
  run("convert -size 32x32 -seed 5 plasma:red-blue -type TrueColor -sampling-factor 2x2 "
      "-quality 95 " +
      jpeg);
  TiffBuilder builder;
  const Bytes strip = readFile(jpeg);
  const auto at = builder.append(strip);
  auto fields = builder.rgbFields(32, 20, at);
  fields[3] = builder.shorts(259, {7});
  fields[4] = builder.shorts(262, {6});
  fields[7] = builder.longs(278, {32});
  fields.back() = builder.longs(279, {static_cast<std::uint32_t>(strip.size())});
  builder.setFirst(builder.directory(fields));
  const auto read = decoded(builder.file());
  ASSERT_TRUE(read.ok()) << read.error().message;
  const std::string expected = run("convert " + jpeg + " -crop 32x20+0+0 -depth 8 rgb:-");
  EXPECT_EQ(*read, bytesOf(expected));
  EXPECT_TRUE(decoded(rewritten(builder.file())).ok());
}

struct Kind {
  std::string name;
  std::uint16_t photometric;
  std::uint16_t samples;
  ColorModel model;
};
class OtherModels : public ::testing::TestWithParam<Kind> {};

TEST_P(OtherModels, AreDeliveredUnderTheirName) {
  const Kind& kind = GetParam();
  const Bytes file = rowFile(Bytes(kind.samples * std::size_t{4}, std::byte{9}), kind.samples, {},
                             kind.photometric);
  EXPECT_EQ(imageOf(file).colorSpace->model, kind.model);
  EXPECT_EQ(imageOf(file).layout.components, kind.samples);
  EXPECT_FALSE(rewrite(file).ok());
}

INSTANTIATE_TEST_SUITE_P(Kinds, OtherModels,
                         ::testing::Values(Kind{"Gray", 1, 1, ColorModel::gray},
                                           Kind{"InvertedGray", 0, 1, ColorModel::gray},
                                           Kind{"Cmyk", 5, 4, ColorModel::cmyk},
                                           Kind{"Lab", 8, 3, ColorModel::lab},
                                           Kind{"IccLab", 9, 3, ColorModel::lab}),
                         [](const auto& test) { return test.param.name; });

struct Unsupported {
  std::string message;
  std::uint16_t bits = 8;
  std::uint16_t photometric = 2;
  std::uint16_t compression = 1;
  std::uint16_t sampleFormat = 1;
  std::uint16_t predictor = 1;
};

TEST(TiffSamples, ThatAreNotSupportedAreNamed) {
  for (const Unsupported& kind :
       {Unsupported{"32-bit floating-point samples are not supported", 32, 2, 1, 3},
        Unsupported{"16-bit floating-point samples are not supported", 16, 2, 1, 3},
        Unsupported{"signed or complex samples are not supported", 8, 2, 1, 2},
        Unsupported{"32-bit samples are not supported", 32},
        Unsupported{"12-bit samples are not supported", 12},
        Unsupported{"1-bit samples are not supported", 1, 1},
        Unsupported{"fax compression is not supported", 1, 1, 4},
        Unsupported{"old-style JPEG compression is not supported", 8, 2, 6},
        Unsupported{"JPEG 2000 compression is not supported", 8, 2, 34712},
        Unsupported{"compression 4711 is not supported", 8, 2, 4711},
        Unsupported{"YCbCr pixels outside JPEG compression are not supported", 8, 6},
        Unsupported{"photometric interpretation 32844 is not supported", 16, 32844},
        Unsupported{"predictor 3 is not supported", 16, 2, 5, 1, 3}}) {
    TiffBuilder builder;
    const auto at = builder.append(Bytes(1000, std::byte{1}));
    auto fields = builder.rgbFields(4, 4, at);
    fields[2] = builder.shorts(258, {kind.bits, kind.bits, kind.bits});
    fields[3] = builder.shorts(259, {kind.compression});
    fields[4] = builder.shorts(262, {kind.photometric});
    fields.back() = builder.longs(279, {1000});
    fields.push_back(builder.shorts(317, {kind.predictor}));
    fields.push_back(
        builder.shorts(339, {kind.sampleFormat, kind.sampleFormat, kind.sampleFormat}));
    builder.setFirst(builder.directory(fields));
    const auto source = open(builder.file());
    ASSERT_TRUE(source) << kind.message;
    const auto image = source->image(0);
    ASSERT_FALSE(image.ok()) << kind.message;
    EXPECT_EQ(image.error().message, kind.message);
  }
}

}  // namespace
}  // namespace kelvo::tiff_test
