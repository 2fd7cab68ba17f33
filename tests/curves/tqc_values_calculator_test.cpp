#include "curves/tqc_values_calculator.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "tests/curves/plain_spline.h"
#include "tests/support/pixels.h"

namespace kelvo {
namespace {

using testing::PlainSpline;
using testing::renderedFloats;
using testing::sameBits;
using Points = std::vector<NSPoint>;
using Ramp = std::vector<std::array<float, 4>>;

const Points kIdentity{{0, 0}, {255, 255}};

PlainSpline plain(const Points& points) {
  std::vector<testing::PlainPoint> singles;
  for (const NSPoint& point : points) {
    singles.push_back({static_cast<float>(point.x), static_cast<float>(point.y)});
  }
  return PlainSpline(singles);
}

Ramp rampOf(const TQCValuesCalculator& calculator) {
  return renderedFloats(calculator.valuesImageForColorSpace_forOKAction(nullptr, false));
}

TEST(TQCValuesCalculator, TheSharedInstanceIsOneObject) {
  EXPECT_EQ(&TQCValuesCalculator::sharedInstance(), &TQCValuesCalculator::sharedInstance());
}

TEST(TQCValuesCalculator, BeforeAResetThereAreNoPoints) {
  const TQCValuesCalculator calculator;
  for (int channel = 0; channel < 4; ++channel) {
    EXPECT_TRUE(calculator.curve(channel).points.empty());
  }
  // Asked all the same, it is black.
  for (const auto& pixel : rampOf(calculator)) {
    EXPECT_EQ(pixel, (std::array<float, 4>{0, 0, 0, 1}));
  }
}

TEST(TQCValuesCalculator, ResetMakesEveryCurveTheIdentity) {
  TQCValuesCalculator calculator;
  calculator.setPoints_pointsCount_forCgannel(Points{{0, 5}, {9, 100}, {255, 3}}, 0);
  calculator.setPoints_pointsCount_forCgannel(Points{{0, 5}, {255, 3}}, 3);
  calculator.resetCalculator();
  for (int channel = 0; channel < 4; ++channel) {
    const ToneCurve& curve = calculator.curve(channel);
    EXPECT_EQ(curve.points, (std::vector<CurvePoint>{{0, 0}, {255, 255}}));
    for (std::size_t i = 0; i < 256; ++i) EXPECT_EQ(curve.cache[i], static_cast<float>(i));
  }
}

TEST(TQCValuesCalculator, AfterAResetTheRampHoldsTheLevelOver256AndAlphaOne) {
  TQCValuesCalculator calculator;
  calculator.resetCalculator();
  const Ramp ramp = rampOf(calculator);
  ASSERT_EQ(ramp.size(), 256U);
  for (std::size_t i = 0; i < 256; ++i) {
    const float level = static_cast<float>(i) / 256.0F;
    EXPECT_EQ(ramp[i], (std::array<float, 4>{level, level, level, 1}));
  }
  EXPECT_EQ(ramp[255][0], 0.99609375F);
}

TEST(TQCValuesCalculator, TheRampIs256ByOneAtTheOrigin) {
  TQCValuesCalculator calculator;
  calculator.resetCalculator();
  const CIImageRef ramp = calculator.valuesImageForColorSpace_forOKAction(nullptr, false);
  ASSERT_NE(ramp, nullptr);
  const CGRect extent = ramp->extent();
  EXPECT_EQ(extent.x, 0);
  EXPECT_EQ(extent.y, 0);
  EXPECT_EQ(extent.width, 256);
  EXPECT_EQ(extent.height, 1);
}

TEST(TQCValuesCalculator, AHalvedRedCurveLeavesTheOthersAlone) {
  TQCValuesCalculator calculator;
  calculator.resetCalculator();
  calculator.setPoints_pointsCount_forCgannel(Points{{0, 0}, {255, 128}}, 1);
  const Ramp ramp = rampOf(calculator);
  EXPECT_EQ(ramp.at(255), (std::array<float, 4>{128.0F / 256, 255.0F / 256, 255.0F / 256, 1}));
  EXPECT_EQ(ramp.at(0), (std::array<float, 4>{0, 0, 0, 1}));
}

TEST(TQCValuesCalculator, AFallingMasterCurveInvertsTheRamp) {
  TQCValuesCalculator calculator;
  calculator.resetCalculator();
  calculator.setPoints_pointsCount_forCgannel(Points{{0, 255}, {255, 0}}, 0);
  const Ramp ramp = rampOf(calculator);
  for (std::size_t i = 0; i < 256; ++i) {
    EXPECT_EQ(ramp[i][1], static_cast<float>(255 - i) / 256.0F) << i;
  }
}

TEST(TQCValuesCalculator, TheChannelsCurveComesFirstAndTheMasterSecond) {
  TQCValuesCalculator calculator;
  calculator.resetCalculator();
  calculator.setPoints_pointsCount_forCgannel(Points{{0, 255}, {255, 0}}, 0);    // 255 - x
  calculator.setPoints_pointsCount_forCgannel(Points{{0, 0}, {255, 51}}, 2);     // x / 5
  calculator.setPoints_pointsCount_forCgannel(Points{{0, 100}, {255, 100}}, 3);  // 100
  const Ramp ramp = rampOf(calculator);
  EXPECT_EQ(ramp.at(255)[1], (255.0F - 51) / 256);  // the other way round it would be 0
  EXPECT_EQ(ramp.at(100)[1], (255.0F - 20) / 256);
  EXPECT_EQ(ramp.at(7)[2], 155.0F / 256);
}

TEST(TQCValuesCalculator, ChannelValuesAreTruncatedToALevelBeforeTheMasterIsLookedUp) {
  TQCValuesCalculator calculator;
  calculator.resetCalculator();
  // Left of its first point a curve is not rounded.
  calculator.setPoints_pointsCount_forCgannel(Points{{200, 99.9}, {255, 120}}, 1);
  EXPECT_EQ(rampOf(calculator).at(10)[0], 99.0F / 256);
}

TEST(TQCValuesCalculator, ValuesBeyondTheLevelsAreLimitedInBothCurves) {
  TQCValuesCalculator calculator;
  calculator.resetCalculator();
  calculator.setPoints_pointsCount_forCgannel(Points{{100, -40}, {150, 700}}, 1);
  calculator.setPoints_pointsCount_forCgannel(Points{{100, -1e30}, {150, 1e30}}, 2);
  Ramp ramp = rampOf(calculator);
  EXPECT_EQ(ramp.at(3)[0], 0);
  EXPECT_EQ(ramp.at(200)[0], 255.0F / 256);
  EXPECT_EQ(ramp.at(3)[1], 0);
  EXPECT_EQ(ramp.at(200)[1], 255.0F / 256);
  calculator.resetCalculator();
  calculator.setPoints_pointsCount_forCgannel(Points{{100, -40}, {150, 700}}, 0);
  ramp = rampOf(calculator);
  EXPECT_EQ(ramp.at(3)[2], 0);
  EXPECT_EQ(ramp.at(200)[2], 255.0F / 256);
}

TEST(TQCValuesCalculator, RandomCurvesComposeLikeThePlainArithmeticToTheBit) {
  std::mt19937 random(8);
  for (int round = 0; round < 300; ++round) {
    TQCValuesCalculator calculator;
    std::vector<std::array<float, 256>> caches;
    for (int channel = 0; channel < 4; ++channel) {
      Points points;
      double x = static_cast<double>(random() % 30) - 3;
      while (x < 250 || points.size() < 2) {
        points.push_back({x, static_cast<double>(random() % 3000) / 10 - 20});
        x += 1 + static_cast<double>(random() % 1000) / 10;
      }
      calculator.setPoints_pointsCount_forCgannel(points, channel);
      caches.push_back(plain(points).cache());
      for (std::size_t i = 0; i < 256; ++i) {
        ASSERT_TRUE(sameBits(calculator.curve(channel).cache[i],
                             caches[static_cast<std::size_t>(channel)][i]));
      }
    }
    const Ramp ramp = rampOf(calculator);
    for (std::size_t i = 0; i < 256; ++i) {
      for (std::size_t c = 0; c < 3; ++c) {
        const float own = std::min(std::max(caches[c + 1][i], 0.0F), 255.0F);
        const float master = caches[0][static_cast<std::size_t>(std::floor(own))];
        ASSERT_EQ(ramp[i][c], std::min(std::max(master, 0.0F), 255.0F) / 256) << i;
      }
    }
  }
}

TEST(TQCValuesCalculator, OneChannelsPointsReplaceOnlyItsOwn) {
  TQCValuesCalculator calculator;
  calculator.resetCalculator();
  calculator.setPoints_pointsCount_forCgannel(Points{{0, 0}, {100, 30}, {255, 255}}, 2);
  EXPECT_EQ(calculator.curve(2).points.size(), 3U);
  EXPECT_EQ(calculator.curve(2).A.size(), 2U);
  for (const int other : {0, 1, 3}) EXPECT_EQ(calculator.curve(other).points.size(), 2U);
  calculator.setPoints_pointsCount_forCgannel(kIdentity, 2);
  EXPECT_EQ(calculator.curve(2).points.size(), 2U);
  EXPECT_EQ(calculator.curve(2).cache[100], 100);
}

TEST(TQCValuesCalculator, PointsAreKeptInSinglePrecision) {
  TQCValuesCalculator calculator;
  calculator.setPoints_pointsCount_forCgannel(Points{{0.1, 0.2}, {254.7, 200.3}}, 1);
  EXPECT_EQ(calculator.curve(1).points, (std::vector<CurvePoint>{{0.1F, 0.2F}, {254.7F, 200.3F}}));
}

TEST(TQCValuesCalculator, OtherChannelNumbersAreIgnored) {
  TQCValuesCalculator calculator;
  calculator.resetCalculator();
  for (const int channel : {-1, 4, std::numeric_limits<int>::max()}) {
    calculator.setPoints_pointsCount_forCgannel(Points{{0, 9}, {255, 9}}, channel);
    calculator.recalculateCurveValues(channel);
  }
  EXPECT_EQ(rampOf(calculator).at(255)[0], 255.0F / 256);
}

TEST(TQCValuesCalculator, TheOKActionTagsTheRampWithDeviceRGBInPlaceOfTheSpacePassed) {
  TQCValuesCalculator calculator;
  calculator.resetCalculator();
  const auto passed = std::make_shared<const CGColorSpace>(
      CGColorSpace{ColorModel::rgb, std::vector<std::byte>(3, std::byte{1})});
  const auto spaceOf = [](const CIImageRef& ramp) {
    return std::get<CIImage::Source>(ramp->recipe()).image.colorSpace;
  };
  EXPECT_EQ(spaceOf(calculator.valuesImageForColorSpace_forOKAction(passed, false)), passed);
  EXPECT_EQ(spaceOf(calculator.valuesImageForColorSpace_forOKAction(nullptr, false)), nullptr);
  for (const CGColorSpaceRef& given : {CGColorSpaceRef(passed), CGColorSpaceRef()}) {
    const auto tagged = spaceOf(calculator.valuesImageForColorSpace_forOKAction(given, true));
    ASSERT_NE(tagged, nullptr);
    EXPECT_NE(tagged, passed);
    EXPECT_EQ(tagged->model, ColorModel::rgb);
    EXPECT_TRUE(tagged->profile.empty());
  }
}

TEST(TQCValuesCalculator, ARampOutlivesLaterChangesOfTheCurves) {
  TQCValuesCalculator calculator;
  calculator.resetCalculator();
  const CIImageRef before = calculator.valuesImageForColorSpace_forOKAction(nullptr, false);
  calculator.setPoints_pointsCount_forCgannel(Points{{0, 0}, {255, 0}}, 0);
  EXPECT_EQ(renderedFloats(before).at(255)[0], 255.0F / 256);
}

TEST(TQCValuesCalculator, CurvesOfOnePointSharedXAndNoNumbersStillMakeARampOfNumbersOrBlack) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  for (const Points& points :
       {Points{}, Points{{40, 50}}, Points{{40, 50}, {40, 90}}, Points{{200, 10}, {20, 90}},
        Points{{0, nan}, {255, nan}}, Points{{nan, 0}, {nan, 9}},
        Points{{0, -infinity}, {255, infinity}}, Points{{-infinity, 0}, {infinity, 9}},
        Points{{0, 1e38}, {1e-30, -1e38}, {255, 1e38}}}) {
    for (const int channel : {0, 1}) {
      TQCValuesCalculator calculator;
      calculator.resetCalculator();
      calculator.setPoints_pointsCount_forCgannel(points, channel);
      const Ramp ramp = rampOf(calculator);
      ASSERT_EQ(ramp.size(), 256U);
      for (const auto& pixel : ramp) {
        for (const float value : pixel) {
          EXPECT_TRUE(std::isnan(value) || (value >= 0 && value <= 1)) << value;
        }
      }
    }
  }
}

}  // namespace
}  // namespace kelvo
