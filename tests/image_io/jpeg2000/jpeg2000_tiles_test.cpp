// Tiles: how many bytes each gets, how far it may be from what it is made of, what tells their
// lengths.
#include <gtest/gtest.h>

#include <map>

#include "tests/image_io/jpeg2000/jpeg2000_test_support.h"

namespace kelvo::image_io_test {
namespace {

std::uint64_t numberAt(const Bytes& bytes, std::size_t at, std::size_t count) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < count; ++i) {
    value = value << 8 | std::to_integer<std::uint64_t>(bytes.at(at + i));
  }
  return value;
}

constexpr std::uint64_t kTilePart = 0xFF90;

// Of each tile of a bare codestream, all its parts.
std::map<std::uint64_t, std::uint64_t> tileLengths(const Bytes& file) {
  std::size_t at = 2;
  while (numberAt(file, at, 2) != kTilePart) at += 2 + numberAt(file, at + 2, 2);
  std::map<std::uint64_t, std::uint64_t> lengths;
  while (numberAt(file, at, 2) == kTilePart) {
    const std::uint64_t length = numberAt(file, at + 6, 4);
    lengths[numberAt(file, at + 4, 2)] += length;
    at += length;
  }
  return lengths;
}

// Sky above, a crowd of pixels below.
Bytes unevenFile(const std::string& options) {
  const TemporaryFolder folder;
  run("convert -size 400x200 gradient:skyblue-navy -size 400x200 -seed 3 plasma:red-blue -append "
      "-seed 4 -attenuate 0.6 -region 400x200+0+200 +noise Gaussian -depth 8 -type TrueColor '" +
      folder.path("in.ppm") + "'");
  run("opj_compress -i '" + folder.path("in.ppm") + "' -o '" + folder.path("out.j2k") + "' " +
      options);
  return readFile(folder.path("out.j2k"));
}

TEST(Jpeg2000Tiles, OfLossyFilesEachGetTheBytesThatTheyHad) {
  const Bytes file = unevenFile("-I -q 36 -t 100,100");
  const Bytes written = rewrite(kJpeg2000Codec, file, inverted);
  const auto before = tileLengths(file);
  const auto after = tileLengths(written);
  ASSERT_EQ(before.size(), 16U);
  ASSERT_EQ(after.size(), 16U);
  ASSERT_GT(before.at(15), 10 * before.at(0));
  for (const auto& [tile, length] : before) {
    EXPECT_NEAR(static_cast<double>(after.at(tile)), static_cast<double>(length),
                20 + 0.05 * static_cast<double>(length))
        << tile;
  }
  // 36 decibels are an error of 4; coding again what is left of the picture loses half of that.
  EXPECT_LT(difference(seenPixels(written, "RGB", 8, "j2k"),
                       complement(seenPixels(file, "RGB", 8, "j2k"))),
            2);
}

TEST(Jpeg2000Tiles, WithoutDetailGetBytesForDetailThatTheAdjustmentMakes) {
  for (const char* const options : {"-I -r 400", "-I -r 400 -t 64,48", "-I -r 800,400"}) {
    const Bytes file = makeJpeg2000(options, "j2k");
    Bytes expected;
    const Bytes written = rewrite(kJpeg2000Codec, file, [&](const CGImage& image) {
      std::vector<unsigned> samples;
      for (std::uint32_t y = 0; y < image.height; ++y) {
        for (std::uint32_t x = 0; x < image.width; ++x) {
          const unsigned level = (x / 5 + y / 7) % 2 == 0 ? 30 : 220;
          samples.insert(samples.end(), {level, 255 - level, level / 2});
        }
      }
      for (const unsigned sample : samples) expected.push_back(static_cast<std::byte>(sample));
      return withSamples(image, samples);
    });
    // 36 decibels, and what rounding adds.
    EXPECT_LT(difference(seenPixels(written, "RGB", 8, "j2k"), expected), 4.5) << options;
    EXPECT_EQ(form(written, "j2k"), form(file, "j2k"));
  }
}

// A resolution of 1/32 asks for 32 pixels; the picture has 20, but its tile 33.
TEST(Jpeg2000Tiles, LargerThanThePictureGiveRoomForItsResolutions) {
  const Bytes file = makeJpeg2000("-n 6 -t 100,33", "j2k", 90, 20);
  const Bytes written = rewrite(kJpeg2000Codec, file, inverted);
  EXPECT_EQ(form(written, "j2k"), form(file, "j2k"));
  EXPECT_EQ(seenPixels(written, "RGB", 8, "j2k"), complement(smoothSamples(90, 20)));
}

// Of the last tile, 100 to 104, at place 13 of a resolution of 1/8 there is nothing left; with 9-7
// one sample at 25 of 1/4 is too little. One resolution fewer does not come to that.
TEST(Jpeg2000Tiles, TooNarrowForTheEncoderAreRefused) {
  struct Case {
    const char* options;
    unsigned width;
    unsigned height;
    bool refused;
  };
  for (const Case& made : std::vector<Case>{{"-t 100,100 -n 5", 104, 64, true},
                                            {"-t 100,100 -n 4", 104, 64, false},
                                            {"-t 100,100 -n 5", 64, 104, false},
                                            {"-t 100,100 -n 4 -I -r 8", 104, 64, true},
                                            {"-t 100,100 -n 3 -I -r 8", 104, 64, false},
                                            {"-t 100,100 -n 4 -I -r 8", 64, 104, true},
                                            {"-t 96,96 -n 6", 97, 97, false}}) {
    SCOPED_TRACE(made.options);
    const Bytes file = makeJpeg2000(made.options, "j2k", made.width, made.height);
    EXPECT_EQ(refusal(kJpeg2000Codec, file),
              made.refused ? "a tile is too narrow for its resolutions to be written back" : "");
    if (made.refused) continue;
    const Bytes written = rewrite(kJpeg2000Codec, file, inverted);
    const bool lossless = std::string(made.options).find("-I") == std::string::npos;
    EXPECT_LE(difference(seenPixels(written, "RGB", 8, "j2k"),
                         complement(seenPixels(file, "RGB", 8, "j2k"))),
              lossless ? 0 : 2);
  }
}

TEST(Jpeg2000Tiles, AreAsLongAsTheTableOfTheirLengthsSays) {
  const Bytes written =
      rewrite(kJpeg2000Codec, makeJpeg2000("-n 3 -TLM -t 30,30", "j2k"), inverted);
  std::size_t at = 2;
  while (numberAt(written, at, 2) != 0xFF55) at += 2 + numberAt(written, at + 2, 2);
  const auto lengths = tileLengths(written);
  ASSERT_EQ(lengths.size(), 12U);
  ASSERT_EQ(numberAt(written, at + 2, 2), 4 + 6 * lengths.size());
  EXPECT_EQ(numberAt(written, at + 4, 1), 0U);     // the first such table
  EXPECT_EQ(numberAt(written, at + 5, 1), 0x60U);  // two bytes for numbers, four for lengths
  for (const auto& [tile, length] : lengths) {
    EXPECT_EQ(numberAt(written, at + 6 + 6 * tile, 2), tile);
    EXPECT_EQ(numberAt(written, at + 8 + 6 * tile, 4), length);
  }
}

}  // namespace
}  // namespace kelvo::image_io_test
