#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <initializer_list>
#include <numbers>
#include <string>

#include "platform/image/ci_filter.h"
#include "tests/support/pixels.h"

// Each built-in filter against its formula in double precision, on straight colours.
namespace kelvo {
namespace {

using testing::Rgba;
using testing::Rgba8;

using Formula = std::function<Rgba(const Rgba&)>;

CIImageRef filtered(const CIImageRef& input, std::string_view name,
                    std::initializer_list<std::pair<std::string_view, FilterValue>> inputs = {}) {
  const CIFilterRef filter = CIFilter::filterWithName(name);
  if (!filter) return nullptr;
  filter->setDefaults();
  for (const auto& [key, value] : inputs) {
    EXPECT_TRUE(filter->setValue_forKey(value, key)) << key;
  }
  filter->setValue_forKey(input, "inputImage");
  return std::get<CIImageRef>(filter->valueForKey("outputImage"));
}

double luminance(const Rgba& c) { return 0.2125 * c[0] + 0.7154 * c[1] + 0.0721 * c[2]; }

// Half a level is rounding; the rest is what single precision may lose on the way.
constexpr double kOneLevel = 0.5 + 0.01;

void expectFormula(std::string_view name,
                   std::initializer_list<std::pair<std::string_view, FilterValue>> inputs,
                   const Formula& formula) {
  for (const auto& opaque : {testing::allGreys(), testing::colorCube()}) {
    const auto actual =
        testing::rendered(filtered(testing::image(opaque, testing::kOpaque8), name, inputs));
    ASSERT_EQ(actual.size(), opaque.size()) << name;
    for (std::size_t i = 0; i < opaque.size(); ++i) {
      ASSERT_LE(
          testing::distance(actual[i], testing::levels(formula(testing::straight(opaque[i])))),
          kOneLevel)
          << name << " on " << +opaque[i][0] << ' ' << +opaque[i][1] << ' ' << +opaque[i][2];
    }
  }
  const auto translucent = testing::translucentPixels();
  const auto actual =
      testing::rendered(filtered(testing::image(translucent, testing::kStraight8), name, inputs));
  ASSERT_EQ(actual.size(), translucent.size()) << name;
  for (std::size_t i = 0; i < translucent.size(); ++i) {
    Rgba color = testing::straight(translucent[i]);
    if (color[3] == 0) color = {0, 0, 0, 0};
    ASSERT_LE(testing::distance(actual[i], testing::levels(formula(color))), kOneLevel)
        << name << " on translucent pixel " << i;
  }
}

TEST(BuiltInFilters, InvertGivesOneMinusTheColour) {
  expectFormula("CIColorInvert", {}, [](const Rgba& c) {
    return Rgba{1 - c[0], 1 - c[1], 1 - c[2], c[3]};
  });
}

TEST(BuiltInFilters, InvertIsExactForEveryGrey) {
  const auto greys = testing::allGreys();
  const auto actual =
      testing::rendered(filtered(testing::image(greys, testing::kOpaque8), "CIColorInvert"));
  ASSERT_EQ(actual.size(), 256U);
  for (int v = 0; v < 256; ++v) EXPECT_EQ(actual[static_cast<std::size_t>(v)][0], 255 - v);
}

TEST(BuiltInFilters, ControlsScaleSaturationThenBrightnessThenContrast) {
  for (const auto& [saturation, brightness, contrast] :
       std::initializer_list<std::array<double, 3>>{
           {1, 0, 1}, {0, 0, 1}, {2, 0, 1}, {1, 0.2, 1}, {1, 0, 4}, {1.3, -0.1, 0.25}}) {
    expectFormula("CIColorControls",
                  {{"inputSaturation", saturation},
                   {"inputBrightness", brightness},
                   {"inputContrast", contrast}},
                  [=](const Rgba& c) {
                    const double y = luminance(c);
                    Rgba out = c;
                    for (std::size_t i = 0; i < 3; ++i) {
                      const double s = y + (c[i] - y) * saturation;
                      out[i] = (s + brightness - 0.5) * contrast + 0.5;
                    }
                    return out;
                  });
  }
}

TEST(BuiltInFilters, MatrixGivesEachComponentItsVectorAndBias) {
  const double m[5][4] = {{0.5, 0.3, 0.1, 0.1},
                          {-0.2, 1.1, 0, 0},
                          {0, 0.5, 0.5, -0.1},
                          {0, 0, 0.25, 0.75},
                          {0.05, -0.05, 0.1, 0}};
  const auto vector = [&](int row) {
    return CIVector::vectorWithX_Y_Z_W(m[row][0], m[row][1], m[row][2], m[row][3]);
  };
  expectFormula("CIColorMatrix",
                {{"inputRVector", vector(0)},
                 {"inputGVector", vector(1)},
                 {"inputBVector", vector(2)},
                 {"inputAVector", vector(3)},
                 {"inputBiasVector", vector(4)}},
                [&](const Rgba& c) {
                  Rgba out{};
                  for (std::size_t row = 0; row < 4; ++row) {
                    out[row] = m[4][row];
                    for (std::size_t i = 0; i < 4; ++i) out[row] += m[row][i] * c[i];
                  }
                  return out;
                });
}

TEST(BuiltInFilters, MatrixDefaultsToTheIdentity) {
  const auto cube = testing::colorCube();
  EXPECT_EQ(testing::rendered(filtered(testing::image(cube, testing::kOpaque8), "CIColorMatrix")),
            cube);
}

TEST(BuiltInFilters, MonochromeMovesTowardsTheColourTimesLuminance) {
  for (const double intensity : {0.0, 0.35, 1.0}) {
    // The colour's own alpha takes no part.
    for (const double alpha : {1.0, 0.5, 0.0}) {
      expectFormula("CIColorMonochrome",
                    {{"inputColor", CIColor(0.9, 0.2, 0.4, alpha)}, {"inputIntensity", intensity}},
                    [=](const Rgba& c) {
                      const double y = luminance(c);
                      const double color[3] = {0.9, 0.2, 0.4};
                      Rgba out = c;
                      for (std::size_t i = 0; i < 3; ++i) {
                        out[i] = c[i] + (y * color[i] - c[i]) * intensity;
                      }
                      return out;
                    });
    }
  }
}

TEST(BuiltInFilters, MonochromeDefaultsToFullSepia) {
  expectFormula("CIColorMonochrome", {}, [](const Rgba& c) {
    const double y = luminance(c);
    return Rgba{0.6 * y, 0.45 * y, 0.3 * y, c[3]};
  });
}

// v cos t + (k x v) sin t + k (k . v)(1 - cos t), k the unit vector along (1, 1, 1).
Rgba turned(const Rgba& v, double t) {
  const double k = 1 / std::numbers::sqrt3;
  const double cross[3] = {k * (v[2] - v[1]), k * (v[0] - v[2]), k * (v[1] - v[0])};
  const double along = k * (v[0] + v[1] + v[2]);
  Rgba out = v;
  for (std::size_t i = 0; i < 3; ++i) {
    out[i] = v[i] * std::cos(t) + cross[i] * std::sin(t) + k * along * (1 - std::cos(t));
  }
  return out;
}

TEST(BuiltInFilters, HueTurnsTheColourAboutTheNeutralAxis) {
  for (const double angle : {0.0, 0.3, -1.2, 3.14, 2.0}) {
    expectFormula("CIHueAdjust", {{"inputAngle", angle}},
                  [=](const Rgba& c) { return turned(c, angle); });
  }
}

TEST(BuiltInFilters, APositiveHueAngleTurnsRedTowardsGreen) {
  const auto actual =
      testing::rendered(filtered(testing::image({{200, 0, 0, 255}}, testing::kOpaque8),
                                 "CIHueAdjust", {{"inputAngle", 2 * std::numbers::pi / 3}}));
  EXPECT_EQ(actual.at(0), (Rgba8{0, 200, 0, 255}));
}

double decoded(double c) {
  const double m = std::abs(c);
  return std::copysign(m <= 0.04045 ? m / 12.92 : std::pow((m + 0.055) / 1.055, 2.4), c);
}

double encoded(double c) {
  const double m = std::abs(c);
  return std::copysign(m <= 0.0031308 ? m * 12.92 : 1.055 * std::pow(m, 1 / 2.4) - 0.055, c);
}

TEST(BuiltInFilters, ExposureMultipliesLinearLight) {
  for (const double ev : {0.0, 1.0, -1.0, 2.5, -4.0}) {
    expectFormula("CIExposureAdjust", {{"inputEV", ev}}, [=](const Rgba& c) {
      Rgba out = c;
      for (std::size_t i = 0; i < 3; ++i) out[i] = encoded(decoded(c[i]) * std::exp2(ev));
      return out;
    });
  }
}

TEST(BuiltInFilters, ExposureIsOddSymmetricBelowZeroAndContinuesAboveOne) {
  const float pixel[4] = {-0.5F, 1.5F, -0.01F, 1};
  const CIImageRef input = CIImage::initWithBitmapData_bytesPerRow_size_format_colorSpace(
      std::as_bytes(std::span(pixel)), 16, 1, 1, kCIFormatRGBAf, nullptr);
  const auto out = testing::renderedFloats(filtered(input, "CIExposureAdjust", {{"inputEV", 1.0}}));
  ASSERT_EQ(out.size(), 1U);
  for (std::size_t c = 0; c < 3; ++c) {
    EXPECT_NEAR(out[0][c], encoded(decoded(pixel[c]) * 2), 1e-5);
  }
}

TEST(BuiltInFilters, PosterizeMakesEqualBinsAndThatManyValues) {
  for (const double levels : {2.0, 3.0, 6.0, 7.5, 255.0, 256.0}) {
    const auto greys = testing::allGreys();
    const auto actual = testing::rendered(filtered(testing::image(greys, testing::kOpaque8),
                                                   "CIColorPosterize", {{"inputLevels", levels}}));
    ASSERT_EQ(actual.size(), 256U);
    for (int v = 0; v < 256; ++v) {
      const double bin = std::min(std::floor(v * levels / 255), levels - 1);
      EXPECT_NEAR(actual[static_cast<std::size_t>(v)][0], 255 * bin / (levels - 1), kOneLevel)
          << v << " at " << levels;
    }
  }
}

TEST(BuiltInFilters, PosterizeBelowTwoLevelsActsAsTwo) {
  const auto greys = testing::allGreys();
  for (const double levels : {1.0, 0.0, -5.0, std::nan("")}) {
    const auto actual = testing::rendered(filtered(testing::image(greys, testing::kOpaque8),
                                                   "CIColorPosterize", {{"inputLevels", levels}}));
    ASSERT_EQ(actual.size(), 256U);
    EXPECT_EQ(actual[127][0], 0);
    EXPECT_EQ(actual[128][0], 255);
  }
}

TEST(BuiltInFilters, SourceOverLaysOnePictureOverTheOther) {
  const auto over = testing::translucentPixels(512);
  auto under = testing::translucentPixels(1024);
  under.erase(under.begin(), under.begin() + 512);
  const auto actual = testing::rendered(
      filtered(testing::image(over, testing::kStraight8), "CISourceOverCompositing",
               {{"inputBackgroundImage", testing::image(under, testing::kStraight8)}}));
  ASSERT_EQ(actual.size(), over.size());
  for (std::size_t i = 0; i < over.size(); ++i) {
    const Rgba s = testing::straight(over[i]);
    const Rgba b = testing::straight(under[i]);
    std::array<double, 4> expected{};
    for (std::size_t c = 0; c < 3; ++c) {
      expected[c] = 255 * (s[c] * s[3] + b[c] * b[3] * (1 - s[3]));
    }
    expected[3] = 255 * (s[3] + b[3] * (1 - s[3]));
    ASSERT_LE(testing::distance(actual[i], expected), kOneLevel) << i;
  }
}

TEST(BuiltInFilters, NothingIsLimitedBetweenFilters) {
  // Up by one whole and down again: every level survives.
  const auto greys = testing::allGreys();
  const CIImageRef up = filtered(testing::image(greys, testing::kOpaque8), "CIColorControls",
                                 {{"inputBrightness", 1.0}});
  EXPECT_EQ(testing::rendered(filtered(up, "CIColorControls", {{"inputBrightness", -1.0}})), greys);
}

TEST(BuiltInFilters, ATransparentPixelStaysTransparent) {
  for (const char* name : {"CIColorInvert", "CIColorControls", "CIExposureAdjust", "CIHueAdjust",
                           "CIColorMonochrome", "CIColorPosterize", "CIColorMatrix"}) {
    EXPECT_EQ(
        testing::rendered(filtered(testing::image({{77, 88, 99, 0}}, testing::kStraight8), name))
            .at(0),
        (Rgba8{0, 0, 0, 0}))
        << name;
  }
}

}  // namespace
}  // namespace kelvo
