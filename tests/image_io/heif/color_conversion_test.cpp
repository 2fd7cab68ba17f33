#include "platform/image_io/heif/color_conversion.h"

#include <gtest/gtest.h>

#include <array>

namespace kelvo::heif {
namespace {

constexpr ColorCoding kFull601 = {.primaries = 1, .transfer = 13, .matrix = 6, .fullRange = true};

std::array<int, 3> decode(const ColorCoding& color, unsigned y, unsigned cb, unsigned cr) {
  Planes planes(1, 1, Chroma::c444, 8);
  planes.samples[0][0] = static_cast<std::uint16_t>(y);
  planes.samples[1][0] = static_cast<std::uint16_t>(cb);
  planes.samples[2][0] = static_cast<std::uint16_t>(cr);
  std::array<std::uint8_t, 3> rgb = {};
  ColorConversion::create(color, Chroma::c444, 8).value().toRgb(planes, 0, 1, rgb.data(), 3);
  return {rgb[0], rgb[1], rgb[2]};
}

std::array<int, 3> encode(const ColorCoding& color, unsigned depth, float r, float g, float b) {
  const auto conversion = ColorConversion::create(color, Chroma::c444, depth).value();
  Planes planes(1, 1, Chroma::c444, depth);
  PlaneWriter writer(conversion, planes);
  writer.addRow(std::array{r, g, b});
  return {planes.samples[0][0], planes.samples[1][0], planes.samples[2][0]};
}

using Triple = std::array<int, 3>;

TEST(HeifColorConversion, FullRangeWithTheWeightsOfBt601) {
  // Red: Y = 0.299, Cb = -0.299/1.772 = -0.16874, Cr = 0.5: 76.2, 128 - 43.0, 255.5 limited.
  EXPECT_EQ(encode(kFull601, 8, 1, 0, 0), (Triple{76, 85, 255}));
  // Y 100, Cb 150, Cr 90: R = 100 - 1.402 * 38, G = 100 - 0.344136 * 22 + 0.714136 * 38,
  // B = 100 + 1.772 * 22.
  EXPECT_EQ(decode(kFull601, 100, 150, 90), (Triple{47, 120, 139}));
}

TEST(HeifColorConversion, LimitedRangeEndsAt16And235) {
  const ColorCoding color = {.primaries = 1, .transfer = 1, .matrix = 1, .fullRange = false};
  EXPECT_EQ(decode(color, 16, 128, 128), (Triple{0, 0, 0}));
  EXPECT_EQ(decode(color, 235, 128, 128), (Triple{255, 255, 255}));
  // Green of BT.709: Y = 16 + 219 * 0.7152 = 172.6; Cb = 128 - 224 * 0.7152/1.8556 = 41.7;
  // Cr = 128 - 224 * 0.7152/1.5748 = 26.3.
  EXPECT_EQ(encode(color, 8, 0, 1, 0), (Triple{173, 42, 26}));
}

TEST(HeifColorConversion, TenBitsScaleBothEndsOfTheLimitedRange) {
  const ColorCoding color = {.primaries = 9, .transfer = 16, .matrix = 9, .fullRange = false};
  EXPECT_EQ(encode(color, 10, 0, 0, 0), (Triple{64, 512, 512}));
  EXPECT_EQ(encode(color, 10, 1, 1, 1), (Triple{940, 512, 512}));
}

TEST(HeifColorConversion, WhatIsUnspecifiedIsTakenForBt601) {
  const ColorCoding unspecified = {.primaries = 2, .transfer = 2, .matrix = 2, .fullRange = true};
  EXPECT_EQ(decode(unspecified, 100, 150, 90), decode(kFull601, 100, 150, 90));
}

TEST(HeifColorConversion, TheIdentityMatrixStoresGreenBlueRed) {
  const ColorCoding identity = {.primaries = 1, .transfer = 13, .matrix = 0, .fullRange = true};
  EXPECT_EQ(decode(identity, 10, 20, 30), (Triple{30, 10, 20}));
  EXPECT_EQ(encode(identity, 8, 30 / 255.0F, 10 / 255.0F, 20 / 255.0F), (Triple{10, 20, 30}));
}

TEST(HeifColorConversion, YCgCoAddsAndSubtracts) {
  const ColorCoding color = {.primaries = 1, .transfer = 13, .matrix = 8, .fullRange = true};
  // Y 100, Cg +10, Co -20: G = Y + Cg; R = Y - Cg + Co; B = Y - Cg - Co.
  EXPECT_EQ(decode(color, 100, 138, 108), (Triple{70, 110, 110}));
}

TEST(HeifColorConversion, AMatrixOfAnotherKindIsRefusedByNumber) {
  const ColorCoding ictcp = {.primaries = 9, .transfer = 16, .matrix = 14, .fullRange = true};
  const auto made = ColorConversion::create(ictcp, Chroma::c444, 10);
  ASSERT_FALSE(made);
  EXPECT_EQ(made.error().message, "the colour coding of the picture is not supported (matrix 14)");
  EXPECT_FALSE(
      ColorConversion::create({.primaries = 1, .transfer = 1, .matrix = 0}, Chroma::c420, 8));
}

TEST(HeifColorConversion, ChromaOfFourPixelsIsTheirMean) {
  const auto conversion = ColorConversion::create(kFull601, Chroma::c420, 8).value();
  Planes planes(3, 3, Chroma::c420, 8);
  PlaneWriter writer(conversion, planes);
  // Two red and two black pixels in the first square; the last column and row stand alone.
  writer.addRow(std::array{1.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 1.0F});
  writer.addRow(std::array{0.0F, 0.0F, 0.0F, 1.0F, 0.0F, 0.0F, 0.0F, 0.0F, 1.0F});
  writer.addRow(std::array{0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F});
  // Cr of red is 255.5, of black 128: mean 191.75. Cb of blue is 255.5.
  EXPECT_EQ(planes.samples[2][0], 192);
  EXPECT_EQ(planes.samples[1][1], 255);
  EXPECT_EQ(planes.samples[1][3], 128);
}

TEST(HeifColorConversion, LargerPlanesRepeatTheLastColumnAndRow) {
  const auto conversion = ColorConversion::create(kFull601, Chroma::c444, 8).value();
  Planes planes(3, 2, Chroma::c444, 8);
  PlaneWriter writer(conversion, planes);
  writer.addRow(std::array{0.0F, 0.0F, 0.0F, 1.0F, 1.0F, 1.0F});
  writer.finish();
  EXPECT_EQ(planes.samples[0], (std::vector<std::uint16_t>{0, 255, 255, 0, 255, 255}));
}

}  // namespace
}  // namespace kelvo::heif
