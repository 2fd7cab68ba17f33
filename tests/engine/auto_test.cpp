#include "engine/auto.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "tests/support/counted_passes.h"
#include "tests/support/pixels.h"

namespace kelvo {
namespace {

using testing::kOpaque8;
using testing::kStraight8;
using testing::Rgba8;

// CIE L*a*b* relative to D50 and back in double precision. The matrix follows from the primaries
// and the white of sRGB (IEC 61966-2-1: x, y), adapted to D50 by Bradford's cone responses (ICC.1,
// annex E).
constexpr double kWhite[3] = {0.9642, 1.0, 0.8249};

using Matrix = std::array<std::array<double, 3>, 3>;
using Vector = std::array<double, 3>;

Vector times(const Matrix& m, const Vector& v) {
  Vector out{};
  for (std::size_t r = 0; r < 3; ++r) out[r] = m[r][0] * v[0] + m[r][1] * v[1] + m[r][2] * v[2];
  return out;
}

// By Cramer's rule, a column at a time.
Matrix inverse(const Matrix& m) {
  const auto determinant = [](const Matrix& a) {
    return a[0][0] * (a[1][1] * a[2][2] - a[1][2] * a[2][1]) -
           a[0][1] * (a[1][0] * a[2][2] - a[1][2] * a[2][0]) +
           a[0][2] * (a[1][0] * a[2][1] - a[1][1] * a[2][0]);
  };
  Matrix out{};
  for (std::size_t column = 0; column < 3; ++column) {
    for (std::size_t row = 0; row < 3; ++row) {
      Matrix replaced = m;
      for (std::size_t i = 0; i < 3; ++i) replaced[i][row] = i == column ? 1 : 0;
      out[row][column] = determinant(replaced) / determinant(m);
    }
  }
  return out;
}

Vector fromChromaticity(double x, double y) { return {x / y, 1, (1 - x - y) / y}; }

const Matrix& rgbToXYZ() {
  static const Matrix matrix = [] {
    const Vector primaries[3] = {fromChromaticity(0.64, 0.33), fromChromaticity(0.30, 0.60),
                                 fromChromaticity(0.15, 0.06)};
    const Vector d65 = fromChromaticity(0.3127, 0.3290);
    Matrix columns{};
    for (std::size_t r = 0; r < 3; ++r) {
      for (std::size_t c = 0; c < 3; ++c) columns[r][c] = primaries[c][r];
    }
    const Vector scale = times(inverse(columns), d65);
    const Matrix bradford{
        {{0.8951, 0.2664, -0.1614}, {-0.7502, 1.7135, 0.0367}, {0.0389, -0.0685, 1.0296}}};
    const Vector from = times(bradford, d65);
    const Vector to = times(bradford, {kWhite[0], kWhite[1], kWhite[2]});
    Matrix adapted{};
    for (std::size_t c = 0; c < 3; ++c) {
      Vector cones = times(bradford, primaries[c]);
      for (std::size_t i = 0; i < 3; ++i) cones[i] *= scale[c] * to[i] / from[i];
      const Vector xyz = times(inverse(bradford), cones);
      for (std::size_t r = 0; r < 3; ++r) adapted[r][c] = xyz[r];
    }
    return adapted;
  }();
  return matrix;
}

const Matrix& xyzToRGB() {
  static const Matrix matrix = inverse(rgbToXYZ());
  return matrix;
}

using Levels = std::array<int, 3>;

Levels toLab(const Rgba8& p) {
  double linear[3];
  for (int c = 0; c < 3; ++c) {
    const double v = p[static_cast<std::size_t>(c)] / 255.0;
    linear[c] = v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
  }
  double f[3];
  for (std::size_t row = 0; row < 3; ++row) {
    double t = 0;
    for (std::size_t c = 0; c < 3; ++c) t += rgbToXYZ()[row][c] * linear[c];
    t /= kWhite[row];
    f[row] = t > 216.0 / 24389 ? std::cbrt(t) : (24389.0 / 27 * t + 16) / 116;
  }
  const auto level = [](double v) {
    return static_cast<int>(std::clamp(std::floor(v + 0.5), 0.0, 255.0));
  };
  return {level((116 * f[1] - 16) * 2.55), level(500 * (f[0] - f[1]) + 128),
          level(200 * (f[1] - f[2]) + 128)};
}

std::array<double, 4> toRgb(const Levels& lab) {
  const double fy = (lab[0] / 2.55 + 16) / 116;
  const double f[3] = {fy + (lab[1] - 128) / 500.0, fy, fy - (lab[2] - 128) / 200.0};
  double xyz[3];
  for (int i = 0; i < 3; ++i) {
    const double cube = f[i] * f[i] * f[i];
    xyz[i] = kWhite[i] * (cube > 216.0 / 24389 ? cube : (116 * f[i] - 16) * 27 / 24389);
  }
  std::array<double, 4> out{0, 0, 0, 255};
  for (std::size_t row = 0; row < 3; ++row) {
    double v = 0;
    for (std::size_t c = 0; c < 3; ++c) v += xyzToRGB()[row][c] * xyz[c];
    v = v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1 / 2.4) - 0.055;
    out[row] = 255 * std::clamp(v, 0.0, 1.0);
  }
  return out;
}

// The whole adjustment by its rule.
std::vector<std::array<double, 4>> expected(const std::vector<Rgba8>& pixels) {
  std::vector<Levels> labs;
  std::array<std::uint64_t, 256> bins{};
  for (const Rgba8& pixel : pixels) {
    labs.push_back(toLab(pixel));
    ++bins[static_cast<std::size_t>(labs.back()[0])];
  }
  const auto cut = static_cast<double>(pixels.size()) * 0.005;
  std::size_t low = 0;
  for (std::uint64_t sum = bins[0]; 2 * cut > static_cast<double>(sum);) sum += bins[++low];
  std::size_t high = 255;
  for (std::uint64_t sum = bins[255]; cut > static_cast<double>(sum);) sum += bins[--high];
  const double scale = 255.0 / static_cast<double>(high - low);
  std::vector<std::array<double, 4>> out;
  for (Levels lab : labs) {
    const int l = lab[0];
    if (l > static_cast<int>(high)) {
      lab[0] = 255;
    } else if (l < static_cast<int>(low)) {
      lab[0] = 0;
    } else {
      lab[0] = static_cast<int>((l - static_cast<int>(low)) * scale + 1e-6);
    }
    out.push_back(toRgb(lab));
  }
  return out;
}

// Dull colours, so that there is something to stretch.
std::vector<Rgba8> dullColors() {
  std::vector<Rgba8> pixels;
  for (const Rgba8& pixel : testing::colorCube()) {
    pixels.push_back({static_cast<std::uint8_t>(60 + pixel[0] / 3),
                      static_cast<std::uint8_t>(50 + pixel[1] / 2),
                      static_cast<std::uint8_t>(70 + pixel[2] / 4), 255});
  }
  return pixels;
}

TEST(Auto, StretchesTheLightnessAndLeavesTheColour) {
  const auto pixels = dullColors();
  const auto actual = testing::rendered(applyAutoForCIImage(testing::image(pixels, kOpaque8)));
  ASSERT_EQ(actual.size(), pixels.size());
  const auto reference = expected(pixels);
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    EXPECT_LE(testing::distance(actual[i], reference[i]), 1.0) << i;
  }
}

TEST(Auto, APictureThatSpansTheWholeRangeKeepsItsLightness) {
  // Two hundred greys of each kind: the darkest percent lies in bin 0, the brightest half in 255.
  std::vector<Rgba8> pixels;
  for (const Rgba8& grey : testing::allGreys()) {
    pixels.insert(pixels.end(), grey[0] == 0 || grey[0] == 255 ? 20 : 2, grey);
  }
  const auto actual = testing::rendered(applyAutoForCIImage(testing::image(pixels, kOpaque8)));
  ASSERT_EQ(actual.size(), pixels.size());
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    EXPECT_LE(std::abs(actual[i][0] - pixels[i][0]), 1) << +pixels[i][0];
  }
}

TEST(Auto, ClipsOnePercentAtTheDarkEndAndHalfAPercentAtTheBrightEnd) {
  std::uint64_t bins[256] = {};
  bins[10] = 99;
  bins[11] = 1;
  bins[100] = 9840;
  bins[200] = 11;
  bins[240] = 49;
  const LightnessStretch lightness = measureLightness(bins, 100, 100);
  EXPECT_EQ(lightness.low, 11);
  EXPECT_EQ(lightness.high, 200);
}

TEST(Auto, LightnessBeyondTheBoundsBecomesBlackAndWhite) {
  const LightnessStretch lightness{50, 200};
  EXPECT_EQ(lightness(49), 0);
  EXPECT_EQ(lightness(50), 0);
  EXPECT_EQ(lightness(51), 1);  // 1.7, truncated
  EXPECT_EQ(lightness(125), 127);
  EXPECT_EQ(lightness(200), 255);
  EXPECT_EQ(lightness(201), 255);
}

TEST(Auto, AnEmptyPictureIsNotStretched) {
  const std::uint64_t bins[256] = {};
  const LightnessStretch lightness = measureLightness(bins, 0, 0);
  EXPECT_EQ(lightness.low, 0);
  EXPECT_EQ(lightness.high, 255);
}

TEST(Auto, APictureOfOneGreyIsDefined) {
  const std::vector<Rgba8> pixels(400, {120, 120, 120, 255});
  const auto actual = testing::rendered(applyAutoForCIImage(testing::image(pixels, kOpaque8)));
  ASSERT_EQ(actual.size(), 400U);
  EXPECT_LE(std::abs(actual[0][0] - 120), 1);
}

TEST(Auto, AlphaIsCarriedThrough) {
  const auto pixels = testing::translucentPixels(2000);
  const auto actual = testing::rendered(applyAutoForCIImage(testing::image(pixels, kStraight8)));
  ASSERT_EQ(actual.size(), pixels.size());
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    EXPECT_EQ(actual[i][3], pixels[i][3]);
    for (std::size_t c = 0; c < 3; ++c) EXPECT_LE(actual[i][c], actual[i][3]);
  }
}

TEST(Auto, AnIndexedPictureStaysIndexed) {
  std::vector<Rgba8> pixels(300, {80, 80, 80, 255});
  std::fill(pixels.begin() + 100, pixels.end(), Rgba8{160, 150, 140, 255});
  CGImage indexed = testing::picture(pixels, kOpaque8);
  indexed.palette = std::make_shared<const Palette>(Palette{pixels.front(), pixels.back()});
  const auto result = render(applyAutoForCIImage(CIImage::imageWithCGImage(indexed)), {});
  ASSERT_TRUE(result.ok());
  ASSERT_NE(result->palette, nullptr);
  const auto rows = testing::rendered(applyAutoForCIImage(CIImage::imageWithCGImage(indexed)));
  EXPECT_EQ(result->palette->at(0), rows.front());
  EXPECT_EQ(result->palette->at(1), rows.back());
}

TEST(Auto, APictureKeptAndAPictureDecodedAgainComeOutTheSame) {
  const auto translucent = testing::translucentPixels(18 * 18 * 18);
  for (const auto& [pixels, layout] :
       {std::pair(dullColors(), kOpaque8), std::pair(translucent, kStraight8),
        std::pair(translucent, testing::kPremultiplied8)}) {
    const CGImage picture = testing::picture(pixels, layout, 18);
    const std::uint64_t bytes = pixels.size() * layout.pixelBytes();
    const auto passes = std::make_shared<int>(0);
    const CIImageRef input = CIImage::imageWithCGImage(testing::countingPasses(picture, passes));
    const auto kept = testing::rendered(applyAutoForCIImage(input, bytes));
    EXPECT_EQ(*passes, 1);
    const auto decodedAgain = testing::rendered(applyAutoForCIImage(input, bytes - 1));
    EXPECT_EQ(*passes, 3);
    EXPECT_EQ(kept.size(), pixels.size());
    EXPECT_EQ(kept, decodedAgain);
    EXPECT_NE(kept, testing::rendered(input));
  }
}

TEST(Auto, WithoutAnImageThereIsNoResult) { EXPECT_EQ(applyAutoForCIImage(nullptr), nullptr); }

TEST(MatchFromBitmap, WithoutAWayItCopiesBetweenBitmapsAlikeAndRefusesAllOthers) {
  std::vector<std::uint8_t> from{1, 2, 3, 4, 5, 6};
  std::vector<std::uint8_t> to(6);
  const CMBitmap source{from.data(), 2, 1, 6, 24, BitmapSpace::cmRGB24Space};
  CMBitmap destination = source;
  constexpr ColorProfile kRgb = ColorProfile::deviceRGB;
  EXPECT_EQ(matchFromBitmap(source, &destination, kRgb, kRgb), -4);  // the same memory
  EXPECT_EQ(matchFromBitmap(source, nullptr, kRgb, kRgb), -4);
  destination.image = to.data();
  destination.space = BitmapSpace::cmLAB24Space;
  EXPECT_EQ(matchFromBitmap(source, &destination, kRgb, kRgb), -4);
  EXPECT_EQ(to, std::vector<std::uint8_t>(6));
  destination.space = source.space;
  EXPECT_NE(matchFromBitmap(source, &destination, kRgb, kRgb), 0);
  EXPECT_EQ(to, from);
}

}  // namespace
}  // namespace kelvo
