#include "curves_editor/kelvo_tq_curves_view.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/curves/plain_spline.h"
#include "tests/curves_editor/recording_host.h"
#include "tests/support/pixels.h"

namespace kelvo {
namespace {

using testing::Calls;
using testing::CurvePoints;
using testing::PlainSpline;
using testing::RecordingHost;
using testing::renderedFloats;
using testing::sameBits;
using Ramp = std::vector<std::array<float, 4>>;

const CurvePoints kIdentity{{0, 0}, {191, 191}};

Ramp rampOf(const KelvoTQCurvesView& view) {
  return renderedFloats(view.curvesValuesImageForColorSpace_forOKAction(nullptr, false));
}

// Gives the view a curve by way of its parameters.
void setCurve(KelvoTQCurvesView& view, const char* count, const char* points,
              const std::string& text) {
  auto params = std::make_shared<ParameterDictionary>();
  params->setObject_forKey("2", "rgbN");
  params->setObject_forKey("0 0,191 191", "rgbPoints");
  params->setObject_forKey("1000", count);
  params->setObject_forKey(text, points);
  view.setParams(params);
  view.loadParameters();
}

TEST(CurvesView, ANewOneIsTheIdentityWithoutSelection) {
  const KelvoTQCurvesView view;
  EXPECT_EQ(view.activeChannel(), 0);
  EXPECT_EQ(view.mouseDownAction(), MouseDownAction::none);
  EXPECT_EQ(view.promisedIndexToSelect(), -1);
  EXPECT_FALSE(view.isTemporalyRemoved());
  EXPECT_EQ(view.temporalyRemovedIndex(), -1);
  for (int channel = 0; channel < 4; ++channel) {
    EXPECT_EQ(view.curve(channel).points, kIdentity);
    EXPECT_EQ(view.selectedIndex(channel), -1);
  }
}

TEST(CurvesView, AfterAResetEveryChannelIsTheIdentityWithoutSelection) {
  KelvoTQCurvesView view;
  for (int channel = 0; channel < 4; ++channel) {
    view.setActiveChannel(channel);
    view.addPointToCurveAt({50, 90});
  }
  view.resetCurves();
  for (int channel = 0; channel < 4; ++channel) {
    const ToneCurve& curve = view.curve(channel);
    EXPECT_EQ(curve.points, kIdentity);
    EXPECT_EQ(view.selectedIndex(channel), -1);
    EXPECT_EQ(view.checksumForChannel(channel), 382);
    for (std::size_t i = 0; i < 256; ++i) {
      EXPECT_EQ(curve.cache[i], static_cast<float>(std::min<std::size_t>(i, 191)));
    }
  }
  EXPECT_TRUE(view.needToDrawCurveForChannel(0));
  for (const int channel : {1, 2, 3}) EXPECT_FALSE(view.needToDrawCurveForChannel(channel));
}

TEST(CurvesView, AResetRedisplaysAndAnnouncesTheChangeOnce) {
  KelvoTQCurvesView view;
  RecordingHost host(view);
  view.resetCurves();
  EXPECT_EQ(host.takeCalls(), (Calls{"redisplay", "changed"}));
}

TEST(CurvesView, AResetKeepsTheActiveChannelAndAPointThatIsOut) {
  KelvoTQCurvesView view;
  view.setActiveChannel(2);
  view.addPointToCurveAt({50, 90});
  view.temporalyRemovePointFromActiveChannelAtIndex(1);
  view.resetCurves();
  EXPECT_EQ(view.activeChannel(), 2);
  EXPECT_TRUE(view.isTemporalyRemoved());
  EXPECT_EQ(view.temporalyRemovedIndex(), 1);
}

TEST(CurvesView, AnotherChannelRedisplaysTheSameOneDoesNot) {
  KelvoTQCurvesView view;
  RecordingHost host(view);
  view.setActiveChannel(3);
  EXPECT_EQ(view.activeChannel(), 3);
  EXPECT_EQ(host.takeCalls(), (Calls{"redisplay"}));
  view.setActiveChannel(3);
  EXPECT_EQ(host.takeCalls(), Calls{});
}

TEST(CurvesView, RecalculatingNeitherRedisplaysNorAnnounces) {
  KelvoTQCurvesView view;
  RecordingHost host(view);
  for (const int channel : {0, 1, 2, 3, 4, -1}) view.recalculateCurveValues(channel);
  EXPECT_EQ(host.takeCalls(), Calls{});
}

TEST(CurvesView, TheChecksumAddsAllCoordinates) {
  KelvoTQCurvesView view;
  view.setActiveChannel(1);
  view.addPointToCurveAt({50.5, 90.25});
  EXPECT_EQ(view.checksumForChannel(1), 382 + 50.5F + 90.25F);
  EXPECT_EQ(view.checksumForChannel(2), 382);
}

TEST(CurvesView, TheChecksumIsASinglePrecisionSumInTheOrderOfThePoints) {
  KelvoTQCurvesView view;
  setCurve(view, "gN", "gPoints", "0 0,0.1 16777216,0.3 3,191 0.7");
  float sum = 0;
  for (const CurvePoint& point : view.curve(2).points) {
    const float both = point.x + point.y;
    sum = both + sum;
  }
  EXPECT_EQ(view.curve(2).points.size(), 4U);
  EXPECT_EQ(view.checksumForChannel(2), sum);
}

TEST(CurvesView, ChecksumsOfOtherChannelNumbersAreTheMasters) {
  KelvoTQCurvesView view;
  view.addPointToCurveAt({10, 20});
  for (const int channel : {-1, 0, 4, 100}) EXPECT_EQ(view.checksumForChannel(channel), 412);
}

TEST(CurvesView, AColourCurveIsDrawnUnlessAllItsPointsLieOnTheDiagonal) {
  KelvoTQCurvesView view;
  for (const int channel : {1, 2, 3}) {
    view.setActiveChannel(channel);
    view.addPointToCurveAt({40, 40});
    EXPECT_FALSE(view.needToDrawCurveForChannel(channel));
    view.addPointToCurveAt({60, 61});
    EXPECT_TRUE(view.needToDrawCurveForChannel(channel));
  }
  EXPECT_TRUE(view.needToDrawCurveForChannel(0));
}

TEST(CurvesView, CoefficientsAndCacheEqualThePlainArithmeticToTheBit) {
  std::mt19937 random(5);
  for (int round = 0; round < 500; ++round) {
    KelvoTQCurvesView view;
    for (int channel = 0; channel < 4; ++channel) {
      view.setActiveChannel(channel);
      for (auto i = random() % 8; i > 0; --i) {
        view.addPointToCurveAt(
            {static_cast<double>(random() % 1910) / 10, static_cast<double>(random() % 1910) / 10});
      }
      const ToneCurve& curve = view.curve(channel);
      std::vector<testing::PlainPoint> points;
      for (const CurvePoint& point : curve.points) points.push_back({point.x, point.y});
      const PlainSpline expected(points);
      ASSERT_EQ(curve.A, expected.a);
      ASSERT_EQ(curve.B, expected.b);
      ASSERT_EQ(curve.C, expected.c);
      ASSERT_EQ(curve.D, expected.d);
      const auto cache = expected.cache();
      for (std::size_t i = 0; i < 256; ++i) ASSERT_TRUE(sameBits(curve.cache[i], cache[i])) << i;
    }
  }
}

TEST(CurvesView, TheIdentitysRampDoublesTheMiddleOfEachGroupOfThree) {
  KelvoTQCurvesView view;
  const Ramp ramp = rampOf(view);
  ASSERT_EQ(ramp.size(), 256U);
  for (std::size_t k = 0; k < 64; ++k) {
    const std::size_t levels[4] = {3 * k, 3 * k + 1, 3 * k + 1, 3 * k + 2};
    for (std::size_t i = 0; i < 4; ++i) {
      for (std::size_t c = 0; c < 3; ++c) {
        EXPECT_NEAR(ramp[4 * k + i][c], static_cast<double>(levels[i]) / 192, 1e-7);
        EXPECT_EQ(ramp[4 * k + i][c], static_cast<float>(levels[i]) * 0.00390625F * 4.0F / 3.0F);
      }
      EXPECT_EQ(ramp[4 * k + i][3], 1);
    }
  }
  EXPECT_NEAR(ramp[255][0], 191.0 / 192, 1e-7);
}

TEST(CurvesView, TheRampIs256ByOneAtTheOriginInTheSpacePassed) {
  const KelvoTQCurvesView view;
  const auto space =
      std::make_shared<const CGColorSpace>(CGColorSpace{ColorModel::rgb, {std::byte{7}}});
  for (const bool ok : {false, true}) {
    const CIImageRef ramp = view.curvesValuesImageForColorSpace_forOKAction(space, ok);
    ASSERT_NE(ramp, nullptr);
    EXPECT_EQ(ramp->extent(), (CGRect{0, 0, 256, 1}));
    EXPECT_EQ(std::get<CIImage::Source>(ramp->recipe()).image.colorSpace, space);
  }
  EXPECT_EQ(std::get<CIImage::Source>(
                view.curvesValuesImageForColorSpace_forOKAction(nullptr, false)->recipe())
                .image.colorSpace,
            nullptr);
}

TEST(CurvesView, RandomRampsAreTheChannelsCurveThenTheMastersStretchedFrom192To256) {
  std::mt19937 random(6);
  for (int round = 0; round < 200; ++round) {
    KelvoTQCurvesView view;
    std::array<std::array<float, 256>, 4> caches{};
    for (int channel = 0; channel < 4; ++channel) {
      view.setActiveChannel(channel);
      for (auto i = random() % 6; i > 0; --i) {
        view.addPointToCurveAt(
            {static_cast<double>(random() % 191), static_cast<double>(random() % 256)});
      }
      std::vector<testing::PlainPoint> points;
      for (const CurvePoint& point : view.curve(channel).points) {
        points.push_back({point.x, point.y});
      }
      caches[static_cast<std::size_t>(channel)] = PlainSpline(points).cache();
    }
    const Ramp ramp = rampOf(view);
    ASSERT_EQ(ramp.size(), 256U);
    for (std::size_t column = 0; column < 256; ++column) {
      // Of four columns the two in the middle show the same plot level.
      const std::size_t level = column / 4 * 3 + (column % 4 + 1) / 2;
      for (std::size_t c = 0; c < 3; ++c) {
        const auto own = static_cast<std::size_t>(caches[c + 1][level]);
        const float unstretched = caches[0][own] * 0.00390625F;
        const float times4 = unstretched * 4;
        ASSERT_EQ(ramp[column][c], times4 / 3) << column;
      }
    }
  }
}

TEST(CurvesView, MasterAndColourChannelsAreIndependent) {
  KelvoTQCurvesView view;
  view.setActiveChannel(0);
  view.addPointToCurveAt({100, 20});
  for (const int channel : {1, 2, 3}) EXPECT_EQ(view.curve(channel).points, kIdentity);
  view.setActiveChannel(2);
  view.addPointToCurveAt({70, 100});
  EXPECT_EQ(view.curve(0).points, (CurvePoints{{0, 0}, {100, 20}, {191, 191}}));
  EXPECT_EQ(view.curve(2).points, (CurvePoints{{0, 0}, {70, 100}, {191, 191}}));
}

}  // namespace
}  // namespace kelvo
