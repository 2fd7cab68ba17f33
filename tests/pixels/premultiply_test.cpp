#include "platform/pixels/premultiply.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

namespace kelvo {
namespace {

// The rules in whole numbers, as they stand in the header; 64 bits, so that nothing overflows.
std::int64_t unpremultipliedByRule(std::int64_t c, std::int64_t a, std::int64_t maximum) {
  if (a == 0) return 0;
  const std::int64_t level = (maximum * c + a / 2) / a;
  return level > maximum ? maximum : level;
}

std::int64_t premultipliedByRule(std::int64_t c, std::int64_t a, std::int64_t maximum) {
  return (c * a + maximum / 2) / maximum;
}

// Every colour with every alpha, the colour standing in red, its complement in green, and its
// neighbour in blue.
std::vector<std::uint8_t> everyPair() {
  std::vector<std::uint8_t> rgba;
  for (unsigned a = 0; a < 256; ++a) {
    for (unsigned c = 0; c < 256; ++c) {
      for (const unsigned v : {c, 255 - c, (c + 1) % 256, a}) {
        rgba.push_back(static_cast<std::uint8_t>(v));
      }
    }
  }
  return rgba;
}

TEST(Premultiply, UnpremultiplyFollowsTheRuleForEveryColourAndAlpha) {
  const std::vector<std::uint8_t> before = everyPair();
  std::vector<std::uint8_t> after = before;
  vImageUnpremultiplyData_RGBA8888(after);
  for (std::size_t i = 0; i < before.size(); i += 4) {
    for (std::size_t k = 0; k < 3; ++k) {
      ASSERT_EQ(after[i + k], unpremultipliedByRule(before[i + k], before[i + 3], 255))
          << "colour " << int{before[i + k]} << " alpha " << int{before[i + 3]};
    }
    ASSERT_EQ(after[i + 3], before[i + 3]);
  }
}

TEST(Premultiply, PremultiplyFollowsTheRuleForEveryColourAndAlpha) {
  const std::vector<std::uint8_t> before = everyPair();
  std::vector<std::uint8_t> after = before;
  vImagePremultiplyData_RGBA8888(after);
  for (std::size_t i = 0; i < before.size(); i += 4) {
    for (std::size_t k = 0; k < 3; ++k) {
      ASSERT_EQ(after[i + k], premultipliedByRule(before[i + k], before[i + 3], 255))
          << "colour " << int{before[i + k]} << " alpha " << int{before[i + 3]};
    }
    ASSERT_EQ(after[i + 3], before[i + 3]);
  }
}

TEST(Premultiply, HandWorkedPixels) {
  // (255·100 + 64) / 128 = 199.7; (255·200 + 64) / 128 = 398.9, limited; (255·1 + 64) / 128 = 2.49.
  std::array<std::uint8_t, 8> straight{100, 200, 1, 128, 9, 8, 7, 0};
  vImageUnpremultiplyData_RGBA8888(straight);
  EXPECT_EQ(straight, (std::array<std::uint8_t, 8>{199, 255, 2, 128, 0, 0, 0, 0}));
  // (200·128 + 127) / 255 = 100.9; (1·128 + 127) / 255 = 1; (255·128 + 127) / 255 = 128.5.
  std::array<std::uint8_t, 4> product{200, 1, 255, 128};
  vImagePremultiplyData_RGBA8888(product);
  EXPECT_EQ(product, (std::array<std::uint8_t, 4>{100, 1, 128, 128}));
}

TEST(Premultiply, NoPixelsAreNoTrouble) {
  vImageUnpremultiplyData_RGBA8888({});
  vImagePremultiplyData_RGBA8888({});
  unpremultiplyRGBA16({});
  premultiplyRGBA16({});
}

TEST(Premultiply, OpaquePixelsStayAsTheyAre) {
  std::vector<std::uint8_t> rgba;
  for (unsigned c = 0; c < 256; ++c) {
    for (const unsigned v : {c, 255 - c, c / 2, 255U}) rgba.push_back(static_cast<std::uint8_t>(v));
  }
  std::vector<std::uint8_t> changed = rgba;
  vImagePremultiplyData_RGBA8888(changed);
  EXPECT_EQ(changed, rgba);
  vImageUnpremultiplyData_RGBA8888(changed);
  EXPECT_EQ(changed, rgba);
}

// 65536² pairs are too many: every colour at the alphas where rounding is hardest, and every alpha
// at such colours.
std::vector<std::uint16_t> awkward16BitPairs() {
  constexpr std::array<unsigned, 16> kAwkward{0,   1,     2,     3,     127,   128,   255,   256,
                                              257, 32766, 32767, 32768, 65279, 65533, 65534, 65535};
  std::vector<std::uint16_t> rgba;
  for (const unsigned fixed : kAwkward) {
    for (unsigned v = 0; v < 65536; ++v) {
      for (const unsigned sample : {v, 65535 - v, fixed, fixed, fixed, 65535 - fixed, v, v}) {
        rgba.push_back(static_cast<std::uint16_t>(sample));
      }
    }
  }
  return rgba;
}

TEST(Premultiply, SixteenBitPixelsFollowTheSameRules) {
  const std::vector<std::uint16_t> before = awkward16BitPairs();
  std::vector<std::uint16_t> straight = before;
  std::vector<std::uint16_t> product = before;
  unpremultiplyRGBA16(straight);
  premultiplyRGBA16(product);
  for (std::size_t i = 0; i < before.size(); i += 4) {
    for (std::size_t k = 0; k < 3; ++k) {
      ASSERT_EQ(straight[i + k], unpremultipliedByRule(before[i + k], before[i + 3], 65535))
          << "colour " << before[i + k] << " alpha " << before[i + 3];
      ASSERT_EQ(product[i + k], premultipliedByRule(before[i + k], before[i + 3], 65535))
          << "colour " << before[i + k] << " alpha " << before[i + 3];
    }
    ASSERT_EQ(straight[i + 3], before[i + 3]);
    ASSERT_EQ(product[i + 3], before[i + 3]);
  }
}

}  // namespace
}  // namespace kelvo
