#include "platform/color/color_world.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>
#include <lcms2.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <random>
#include <utility>
#include <vector>

#include "platform/color/rgb_profile_numbers.h"

namespace kelvo {
namespace {

using Bytes = std::array<std::uint8_t, 3>;

Bytes lab(Bytes rgb) {
  Bytes out{};
  NCWNewColorWorld(ColorProfile::deviceRGB, ColorProfile::lab)->convert(rgb.data(), out.data(), 1);
  return out;
}

Bytes rgb(Bytes labBytes) {
  Bytes out{};
  NCWNewColorWorld(ColorProfile::lab, ColorProfile::deviceRGB)
      ->convert(labBytes.data(), out.data(), 1);
  return out;
}

Bytes encoded(double l, double a, double b) {
  return {static_cast<std::uint8_t>(std::lround(l * 2.55)),
          static_cast<std::uint8_t>(std::lround(a + 128)),
          static_cast<std::uint8_t>(std::lround(b + 128))};
}

// L*a*b* of sRGB relative to D50 as published with Bradford adaptation (B. Lindbloom's calculator).
TEST(ColorWorld, PublishedColoursHaveTheirPublishedValues) {
  EXPECT_EQ(lab({255, 255, 255}), (Bytes{255, 128, 128}));
  EXPECT_EQ(lab({0, 0, 0}), (Bytes{0, 128, 128}));
  EXPECT_EQ(lab({255, 0, 0}), encoded(54.29, 80.81, 69.89));
  EXPECT_EQ(lab({0, 255, 0}), encoded(87.82, -79.29, 80.99));
  EXPECT_EQ(lab({0, 0, 255}), encoded(29.57, 68.30, -112.03));
  EXPECT_EQ(lab({119, 119, 119}), encoded(50.03, 0, 0));
}

TEST(ColorWorld, GreysHaveNoColour) {
  for (int v = 0; v < 256; ++v) {
    const auto level = static_cast<std::uint8_t>(v);
    const Bytes converted = lab({level, level, level});
    EXPECT_EQ(converted[1], 128) << v;
    EXPECT_EQ(converted[2], 128) << v;
    const Bytes back = rgb(converted);
    for (const std::uint8_t c : back) EXPECT_LE(std::abs(c - v), 1) << v;
  }
}

TEST(DeviceRGBNumbers, AreThoseOfTheColourManagementLibrarysProfile) {
  const RgbProfileNumbers numbers = deviceRGBNumbers();
  cmsHPROFILE srgb = cmsCreate_sRGBProfile();
  const std::pair<cmsTagSignature, cmsTagSignature> tags[] = {
      {cmsSigRedColorantTag, cmsSigRedTRCTag},
      {cmsSigGreenColorantTag, cmsSigGreenTRCTag},
      {cmsSigBlueColorantTag, cmsSigBlueTRCTag}};
  for (std::size_t c = 0; c < 3; ++c) {
    const auto* colorant = static_cast<const cmsCIEXYZ*>(cmsReadTag(srgb, tags[c].first));
    EXPECT_EQ(numbers.toXYZ[0][c], colorant->X) << c;
    EXPECT_EQ(numbers.toXYZ[1][c], colorant->Y) << c;
    EXPECT_EQ(numbers.toXYZ[2][c], colorant->Z) << c;
    const auto* curve = static_cast<const cmsToneCurve*>(cmsReadTag(srgb, tags[c].second));
    for (std::size_t level = 0; level < 256; ++level) {
      const auto place = static_cast<float>(level);
      EXPECT_EQ(numbers.linear[c][level], cmsEvalToneCurveFloat(curve, place / 255.0F)) << level;
      if (level == 0) continue;
      EXPECT_EQ(numbers.thresholds[c][level], cmsEvalToneCurveFloat(curve, (place - 0.5F) / 255.0F))
          << level;
    }
  }
  cmsCloseProfile(srgb);
}

// The library's own pipeline without any interpolation.
std::vector<double> exactly(const std::vector<std::uint8_t>& pixels, bool toLab) {
  cmsHPROFILE srgb = cmsCreate_sRGBProfile();
  cmsHPROFILE labSpace = cmsCreateLab4Profile(nullptr);
  cmsHTRANSFORM transform = toLab ? cmsCreateTransform(srgb, TYPE_RGB_8, labSpace, TYPE_Lab_DBL,
                                                       INTENT_RELATIVE_COLORIMETRIC,
                                                       cmsFLAGS_NOOPTIMIZE | cmsFLAGS_NOCACHE)
                                  : cmsCreateTransform(labSpace, TYPE_Lab_8, srgb, TYPE_RGB_DBL,
                                                       INTENT_RELATIVE_COLORIMETRIC,
                                                       cmsFLAGS_NOOPTIMIZE | cmsFLAGS_NOCACHE);
  std::vector<double> out(pixels.size());
  cmsDoTransform(transform, pixels.data(), out.data(),
                 static_cast<cmsUInt32Number>(pixels.size() / 3));
  cmsDeleteTransform(transform);
  cmsCloseProfile(srgb);
  cmsCloseProfile(labSpace);
  return out;
}

std::vector<std::uint8_t> randomBytes(std::size_t count) {
  std::mt19937 random(5);
  std::vector<std::uint8_t> bytes(count);
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
  return bytes;
}

// What single precision and the library's own curve tables may differ by, in levels, beyond
// rounding.
constexpr double kRounding = 0.5 + 0.02;

TEST(ColorWorld, EveryConversionToLabIsTheNearestLevelToTheExactValue) {
  const auto pixels = randomBytes(std::size_t{3} * 300'001);
  std::vector<std::uint8_t> actual(pixels.size());
  NCWNewColorWorld(ColorProfile::deviceRGB, ColorProfile::lab)
      ->convert(pixels.data(), actual.data(), pixels.size() / 3);
  const auto exact = exactly(pixels, true);
  for (std::size_t i = 0; i < pixels.size(); i += 3) {
    ASSERT_LE(std::abs(actual[i] - exact[i] * 2.55), kRounding) << i;
    for (std::size_t c = 1; c < 3; ++c) {
      const double expected = std::clamp(exact[i + c] + 128, 0.0, 255.0);
      ASSERT_LE(std::abs(actual[i + c] - expected), kRounding) << i;
    }
  }
}

TEST(ColorWorld, EveryConversionFromLabIsTheNearestLevelToTheExactValue) {
  // Colours that lie in the RGB space: outside it the library limits in other places than we do.
  const auto original = randomBytes(std::size_t{3} * 300'001);
  std::vector<std::uint8_t> pixels(original.size());
  NCWNewColorWorld(ColorProfile::deviceRGB, ColorProfile::lab)
      ->convert(original.data(), pixels.data(), pixels.size() / 3);
  std::vector<std::uint8_t> actual(pixels.size());
  NCWNewColorWorld(ColorProfile::lab, ColorProfile::deviceRGB)
      ->convert(pixels.data(), actual.data(), pixels.size() / 3);
  const auto exact = exactly(pixels, false);
  std::size_t far = 0;
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    const double expected = std::clamp(255 * exact[i], 0.0, 255.0);
    if (std::abs(actual[i] - expected) > 0.6) ++far;
    ASSERT_LE(std::abs(actual[i] - expected), 1.0) << i;
  }
  // The library reads its curves backwards through a table, which costs it precision in the
  // shadows.
  EXPECT_LE(far, pixels.size() / 100);
}

// The rows r, g, b of the matrix from X/Xn, Y/Yn, Z/Zn: the inverse of the profile's colorants, by
// Cramer's rule.
std::array<std::array<double, 3>, 3> matrixFromXYZ() {
  constexpr double kWhite[3] = {0.9642, 1.0, 0.8249};
  double m[3][3];
  cmsHPROFILE srgb = cmsCreate_sRGBProfile();
  constexpr cmsTagSignature kColorants[3] = {cmsSigRedColorantTag, cmsSigGreenColorantTag,
                                             cmsSigBlueColorantTag};
  for (std::size_t c = 0; c < 3; ++c) {
    const auto* xyz = static_cast<const cmsCIEXYZ*>(cmsReadTag(srgb, kColorants[c]));
    m[0][c] = xyz->X / kWhite[0];
    m[1][c] = xyz->Y / kWhite[1];
    m[2][c] = xyz->Z / kWhite[2];
  }
  cmsCloseProfile(srgb);
  const auto determinant = [](const double(&a)[3][3]) {
    return a[0][0] * (a[1][1] * a[2][2] - a[1][2] * a[2][1]) -
           a[0][1] * (a[1][0] * a[2][2] - a[1][2] * a[2][0]) +
           a[0][2] * (a[1][0] * a[2][1] - a[1][1] * a[2][0]);
  };
  std::array<std::array<double, 3>, 3> inverse{};
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t column = 0; column < 3; ++column) {
      double replaced[3][3];
      std::copy(&m[0][0], &m[0][0] + 9, &replaced[0][0]);
      for (std::size_t i = 0; i < 3; ++i) replaced[i][row] = i == column ? 1 : 0;
      inverse[row][column] = determinant(replaced) / determinant(m);
    }
  }
  return inverse;
}

// Into the RGB space and out of it: CIE 15 and IEC 61966-2-1 in double precision.
TEST(ColorWorld, EveryConversionFromLabIsTheNearestLevelToTheFormula) {
  const auto pixels = randomBytes(std::size_t{3} * 300'001);
  std::vector<std::uint8_t> actual(pixels.size());
  NCWNewColorWorld(ColorProfile::lab, ColorProfile::deviceRGB)
      ->convert(pixels.data(), actual.data(), pixels.size() / 3);
  const auto matrix = matrixFromXYZ();
  for (std::size_t i = 0; i < pixels.size(); i += 3) {
    const double fy = (pixels[i] / 2.55 + 16) / 116;
    const double f[3] = {fy + (pixels[i + 1] - 128) / 500.0, fy,
                         fy - (pixels[i + 2] - 128) / 200.0};
    double xyz[3];
    for (std::size_t k = 0; k < 3; ++k) {
      xyz[k] = f[k] > 6.0 / 29 ? f[k] * f[k] * f[k] : (116 * f[k] - 16) * 27 / 24389;
    }
    for (std::size_t c = 0; c < 3; ++c) {
      double v = matrix[c][0] * xyz[0] + matrix[c][1] * xyz[1] + matrix[c][2] * xyz[2];
      v = v <= 0.04045 / 12.92 ? v * 12.92 : 1.055 * std::pow(v, 1 / 2.4) - 0.055;
      ASSERT_LE(std::abs(actual[i + c] - 255 * std::clamp(v, 0.0, 1.0)), kRounding) << i + c;
    }
  }
}

// Restores the choice of vector instructions.
class TargetsForTest {
 public:
  TargetsForTest() = default;
  TargetsForTest(const TargetsForTest&) = delete;
  TargetsForTest& operator=(const TargetsForTest&) = delete;
  ~TargetsForTest() { choose(0); }

  static void choose(std::int64_t target) {
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
  }
};

TEST(ColorWorld, AllVectorInstructionsGiveTheSameBytes) {
  const auto pixels = randomBytes(std::size_t{3} * 100'003);
  const auto convert = [&](ColorProfile from, ColorProfile to) {
    std::vector<std::uint8_t> out(pixels.size());
    NCWNewColorWorld(from, to)->convert(pixels.data(), out.data(), pixels.size() / 3);
    return out;
  };
  const auto toLab = convert(ColorProfile::deviceRGB, ColorProfile::lab);
  const auto toRgb = convert(ColorProfile::lab, ColorProfile::deviceRGB);
  const TargetsForTest targets;
  for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
    TargetsForTest::choose(target);
    EXPECT_EQ(convert(ColorProfile::deviceRGB, ColorProfile::lab), toLab) << target;
    EXPECT_EQ(convert(ColorProfile::lab, ColorProfile::deviceRGB), toRgb) << target;
  }
}

TEST(ColorWorld, TheLightnessCountedIsTheFirstByteOfTheConversion) {
  const auto pixels = randomBytes(std::size_t{3} * 100'003);
  std::vector<std::uint8_t> converted(pixels.size());
  NCWNewColorWorld(ColorProfile::deviceRGB, ColorProfile::lab)
      ->convert(pixels.data(), converted.data(), pixels.size() / 3);
  std::array<std::uint64_t, 256> expected{};
  for (std::size_t i = 0; i < converted.size(); i += 3) ++expected[converted[i]];
  LevelCounter counter;
  countLightness(pixels.data(), pixels.size() / 3, counter);
  EXPECT_EQ(counter.counts(), expected);
}

TEST(ColorWorld, SourceAndDestinationMayBeTheSamePixels) {
  const auto pixels = randomBytes(std::size_t{3} * 1'000);
  std::vector<std::uint8_t> apart(pixels.size());
  const ColorWorldRef world = NCWNewColorWorld(ColorProfile::deviceRGB, ColorProfile::lab);
  world->convert(pixels.data(), apart.data(), 1'000);
  std::vector<std::uint8_t> inPlace = pixels;
  world->convert(inPlace.data(), inPlace.data(), 1'000);
  EXPECT_EQ(inPlace, apart);
}

TEST(ColorWorld, EveryNumberOfPixelsIsConvertedAndNothingBeyondIsTouched) {
  const auto pixels = randomBytes(std::size_t{3} * 600);
  for (const auto& [from, to] : {std::pair(ColorProfile::deviceRGB, ColorProfile::lab),
                                 std::pair(ColorProfile::lab, ColorProfile::deviceRGB)}) {
    const ColorWorldRef world = NCWNewColorWorld(from, to);
    std::vector<std::uint8_t> whole(pixels.size());
    for (std::size_t i = 0; i < pixels.size(); i += 3) world->convert(&pixels[i], &whole[i], 1);
    for (const std::size_t count : {0U, 1U, 2U, 7U, 15U, 16U, 17U, 255U, 256U, 257U, 599U}) {
      std::vector<std::uint8_t> part(pixels.size(), 0xa5);
      world->convert(pixels.data(), part.data(), count);
      EXPECT_TRUE(std::equal(part.begin(), part.begin() + static_cast<std::ptrdiff_t>(3 * count),
                             whole.begin()));
      EXPECT_TRUE(std::all_of(part.begin() + static_cast<std::ptrdiff_t>(3 * count), part.end(),
                              [](std::uint8_t byte) { return byte == 0xa5; }));
    }
  }
}

TEST(ColorWorld, ThereIsNoWayFromAProfileToItself) {
  EXPECT_EQ(NCWNewColorWorld(ColorProfile::lab, ColorProfile::lab), nullptr);
  EXPECT_EQ(NCWNewColorWorld(ColorProfile::deviceRGB, ColorProfile::deviceRGB), nullptr);
}

TEST(ColorWorld, BitmapsOfOtherSpacesOrSizesAreRefused) {
  std::vector<std::uint8_t> bytes(12);
  const ColorWorldRef world = NCWNewColorWorld(ColorProfile::deviceRGB, ColorProfile::lab);
  const CMBitmap asRgb{bytes.data(), 2, 2, 6, 24, BitmapSpace::cmRGB24Space};
  CMBitmap asLab = asRgb;
  asLab.space = BitmapSpace::cmLAB24Space;
  EXPECT_EQ(CWMatchBitmap(*world, asRgb, asLab), 0);
  EXPECT_EQ(CWMatchBitmap(*world, asRgb, asRgb), -1);
  asLab.height = 1;
  EXPECT_EQ(CWMatchBitmap(*world, asRgb, asLab), -1);
}

TEST(ColorWorld, RowsMayHavePadding) {
  const auto pixels = randomBytes(20);
  std::vector<std::uint8_t> out(20, 0xa5);
  const CMBitmap source{
      const_cast<std::uint8_t*>(pixels.data()), 2, 2, 10, 24, BitmapSpace::cmRGB24Space};
  const CMBitmap destination{out.data(), 2, 2, 10, 24, BitmapSpace::cmLAB24Space};
  const ColorWorldRef world = NCWNewColorWorld(ColorProfile::deviceRGB, ColorProfile::lab);
  ASSERT_EQ(CWMatchBitmap(*world, source, destination), 0);
  EXPECT_EQ(out[6], 0xa5);
  EXPECT_EQ((Bytes{out[10], out[11], out[12]}), lab({pixels[10], pixels[11], pixels[12]}));
}

}  // namespace
}  // namespace kelvo
