#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/image_io/gif/gif_test_support.h"

// Codes are read several at once: what is wrong with one of them is found wherever it stands.
namespace kelvo::gif_test {
namespace {

constexpr unsigned kClear = 256;
constexpr unsigned kEnd = 257;
constexpr unsigned kFirstMade = 258;  // by the second string after a clear code
constexpr unsigned kStrings = 60;

// Sixty strings of one index each, after a clear code and before the end code. All codes have 9
// bits.
std::vector<unsigned> plainCodes() {
  std::vector<unsigned> codes = {kClear};
  for (unsigned i = 0; i < kStrings; ++i) codes.push_back(i % 7);
  codes.push_back(kEnd);
  return codes;
}

std::string ofNineBits(const std::vector<unsigned>& codes) {
  std::string bytes((9 * codes.size() + 7) / 8, '\0');
  for (std::size_t bit = 0; bit < 9 * codes.size(); ++bit) {
    if ((codes[bit / 9] >> bit % 9 & 1U) == 0) continue;
    bytes[bit / 8] = static_cast<char>(static_cast<unsigned char>(bytes[bit / 8]) | 1U << bit % 8);
  }
  return bytes;
}

// A frame of so many pixels, and a table of 1 << `tableBits` colours.
std::string outcome(const std::string& codes, unsigned codeSize, unsigned width, unsigned height,
                    unsigned tableBits, const std::string& extension = "") {
  const std::string file = screen(width, height, 128 | (tableBits - 1)) +
                           std::string(std::size_t{3} << tableBits, 'x') + extension +
                           descriptor(0, 0, width, height, 0) + static_cast<char>(codeSize) +
                           subBlocks(codes) + kTrailer;
  const auto source = openSource(file);
  const auto image = source->image(0);
  const auto pixels = tryPixels(file);
  EXPECT_EQ(image.ok(), pixels.ok());
  return image.ok() ? "read" : image.error().message;
}

// With the code of one string replaced.
std::string replaced(unsigned string, unsigned code, unsigned pixels = kStrings,
                     unsigned tableBits = 8, const std::string& extension = "") {
  std::vector<unsigned> codes = plainCodes();
  codes[1 + string] = code;
  return outcome(ofNineBits(codes), 8, pixels, 1, tableBits, extension);
}

TEST(GifWalk, ACodeThatDoesNotExistYetIsFoundInAnyPlace) {
  for (unsigned string = 0; string < kStrings; ++string) {
    // Each string but the first makes a code, and may be that code: two indices then.
    const unsigned next = kFirstMade + string;
    if (string > 0) {
      EXPECT_EQ(replaced(string, next - 1, kStrings + 1), "read") << string;
    }
    for (unsigned beyond = 0; beyond < 6; ++beyond) {
      EXPECT_EQ(replaced(string, next + beyond),
                "the picture data is damaged: a code does not exist")
          << string << " " << beyond;
    }
  }
}

TEST(GifWalk, AClearCodeInAnyPlaceMakesTheCodesBeforeItNonexistent) {
  for (unsigned string = 1; string + 1 < kStrings; ++string) {
    EXPECT_EQ(replaced(string, kClear, kStrings - 1), "read") << string;
    std::vector<unsigned> codes = plainCodes();
    codes[1 + string] = kClear;
    for (unsigned after = string + 1; after < kStrings; ++after) {
      std::vector<unsigned> further = codes;
      further[1 + after] = kFirstMade + (after - string - 1);
      EXPECT_EQ(outcome(ofNineBits(further), 8, kStrings - 1, 1, 8),
                "the picture data is damaged: a code does not exist")
          << string << " " << after;
    }
  }
}

TEST(GifWalk, AnEarlyEndCodeIsFoundInAnyPlace) {
  for (unsigned string = 0; string < kStrings; ++string) {
    EXPECT_EQ(replaced(string, kEnd), "the picture data ends early") << string;
  }
}

TEST(GifWalk, AnIndexBeyondTheTableIsFoundInAnyPlace) {
  for (unsigned string = 0; string < kStrings; ++string) {
    EXPECT_EQ(replaced(string, 127, kStrings, 7), "read") << string;
    EXPECT_EQ(replaced(string, 128, kStrings, 7), "a pixel has colour 128 of a table of 128")
        << string;
    EXPECT_EQ(replaced(string, 255, kStrings, 7), "a pixel has colour 255 of a table of 128")
        << string;
    EXPECT_EQ(replaced(string, 128, kStrings, 7, control(1, 0, 128)), "read") << string;
  }
}

TEST(GifWalk, TooManyAndTooFewPixelsAreFoundForAnyNumber) {
  const std::string codes = ofNineBits(plainCodes());
  for (unsigned pixels = 1; pixels < kStrings; ++pixels) {
    EXPECT_EQ(outcome(codes, 8, pixels, 1, 8),
              "there is more picture data than the frame has pixels");
  }
  EXPECT_EQ(outcome(codes, 8, kStrings, 1, 8), "read");
  EXPECT_EQ(outcome(codes, 8, kStrings + 1, 1, 8), "the picture data ends early");
}

// The strings themselves, code by code, as the format's description tells it. Colours are not
// looked at.
std::string plainOutcome(const std::string& bytes, unsigned codeSize, std::size_t pixels) {
  const unsigned clear = 1U << codeSize;
  std::vector<std::size_t> lengths;
  unsigned width = 0;
  std::size_t before = 0;
  const auto reset = [&] {
    lengths.assign(clear + 2, 1);
    width = codeSize + 1;
    before = 0;
  };
  reset();
  std::size_t position = 0;
  std::size_t count = 0;
  while (position + width <= 8 * bytes.size()) {
    unsigned code = 0;
    for (unsigned i = 0; i < width; ++i, ++position) {
      code |= (static_cast<unsigned char>(bytes[position / 8]) >> position % 8 & 1U) << i;
    }
    if (code == clear) {
      reset();
      continue;
    }
    if (code == clear + 1) break;
    if (count == pixels) return "there is more picture data than the frame has pixels";
    if (before > 0 && lengths.size() < 4096) lengths.push_back(before + 1);
    if (code >= lengths.size()) return "the picture data is damaged: a code does not exist";
    before = lengths[code];
    count += before;
    if (count > pixels) return "there is more picture data than the frame has pixels";
    if (lengths.size() == 1U << width && width < 12) ++width;
  }
  return count < pixels ? "the picture data ends early" : "read";
}

TEST(GifWalk, DamageAnywhereInLongDataIsFoundAsAPlainReaderFindsIt) {
  std::mt19937 random(11);
  constexpr unsigned kWidth = 150;
  constexpr unsigned kHeight = 100;
  for (const bool clearWhenFull : {true, false}) {
    std::vector<unsigned> indices(std::size_t{kWidth} * kHeight);
    for (unsigned& index : indices) index = static_cast<unsigned>(random() % 16);
    const std::string whole = compressed(indices, {.codeSize = 4, .clearWhenFull = clearWhenFull});
    ASSERT_EQ(outcome(whole, 4, kWidth, kHeight, 4), "read");
    int read = 0;
    constexpr int kTries = 600;
    for (int i = 0; i < kTries; ++i) {
      std::string damaged = whole;
      const std::size_t bit = random() % (8 * whole.size() - 16);  // what ends the data is its own
      damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
      const std::string found = outcome(damaged, 4, kWidth, kHeight, 4);
      EXPECT_EQ(found, plainOutcome(damaged, 4, indices.size())) << bit;
      if (found == "read") ++read;
    }
    EXPECT_LT(read, kTries);
  }
}

}  // namespace
}  // namespace kelvo::gif_test
