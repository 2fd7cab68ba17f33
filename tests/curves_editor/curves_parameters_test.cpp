#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "curves_editor/kelvo_tq_curves_view.h"
#include "tests/curves_editor/recording_host.h"

namespace kelvo {
namespace {

using testing::Calls;
using testing::CurvePoints;
using testing::RecordingHost;

const CurvePoints kIdentity{{0, 0}, {191, 191}};

class CurvesParameters : public ::testing::Test {
 protected:
  void SetUp() override { view_.setParams(params_); }

  void set(const char* key, ParameterValue value) {
    params_->setObject_forKey(std::move(value), key);
  }
  [[nodiscard]] std::string text(const char* key) const { return params_->stringValue(key); }

  // The red curve after loading it from this count and text.
  CurvePoints loaded(ParameterValue count, ParameterValue points) {
    set("rN", std::move(count));
    set("rPoints", std::move(points));
    view_.loadParameters();
    return view_.curve(1).points;
  }

  ActionParameters params_ = std::make_shared<ParameterDictionary>();
  KelvoTQCurvesView view_;
};

TEST_F(CurvesParameters, TheIdentityIsSavedAsTwoPointsOfSixDecimals) {
  view_.saveParameters();
  for (const char* key : {"rgbN", "rN", "gN", "bN"}) EXPECT_EQ(text(key), "2");
  for (const char* key : {"rgbPoints", "rPoints", "gPoints", "bPoints"}) {
    EXPECT_EQ(text(key), "0.000000 0.000000,191.000000 191.000000");
  }
  EXPECT_EQ(params_->all().size(), 8U);
}

TEST_F(CurvesParameters, EverythingIsSavedAsText) {
  view_.saveParameters();
  for (const auto& [key, value] : params_->all()) {
    EXPECT_TRUE(std::holds_alternative<std::string>(value.stored())) << key;
  }
}

TEST_F(CurvesParameters, EachChannelIsSavedUnderItsOwnKeys) {
  for (int channel = 0; channel < 4; ++channel) {
    view_.setActiveChannel(channel);
    for (int point = 0; point <= channel; ++point) {
      view_.addPointToCurveAt({20.5 + 10 * point, 30.25 + channel});
    }
  }
  view_.saveParameters();
  EXPECT_EQ(text("rgbN"), "3");
  EXPECT_EQ(text("rgbPoints"), "0.000000 0.000000,20.500000 30.250000,191.000000 191.000000");
  EXPECT_EQ(text("rN"), "4");
  EXPECT_EQ(text("rPoints"),
            "0.000000 0.000000,20.500000 31.250000,30.500000 31.250000,191.000000 191.000000");
  EXPECT_EQ(text("gN"), "5");
  EXPECT_EQ(text("gPoints"),
            "0.000000 0.000000,20.500000 32.250000,30.500000 32.250000,40.500000 32.250000,"
            "191.000000 191.000000");
  EXPECT_EQ(text("bN"), "6");
  EXPECT_EQ(text("bPoints").substr(0, 38), "0.000000 0.000000,20.500000 33.250000,");
}

TEST_F(CurvesParameters, SavingAnnouncesAndRedisplaysNothing) {
  RecordingHost host(view_);
  view_.saveParameters();
  EXPECT_EQ(host.takeCalls(), Calls{});
}

TEST_F(CurvesParameters, EachChannelIsLoadedFromItsOwnKeys) {
  set("rgbN", "2");
  set("rgbPoints", "1 11,191 191");
  set("rN", "3");
  set("rPoints", "2.000000 12.000000,50.500000 60.250000,191.000000 191.000000");
  set("gN", "2");
  set("gPoints", "3 13,191 191");
  set("bN", "2");
  set("bPoints", "4 14,191 191");
  view_.loadParameters();
  EXPECT_EQ(view_.curve(0).points, (CurvePoints{{1, 11}, {191, 191}}));
  EXPECT_EQ(view_.curve(1).points, (CurvePoints{{2, 12}, {50.5F, 60.25F}, {191, 191}}));
  EXPECT_EQ(view_.curve(2).points, (CurvePoints{{3, 13}, {191, 191}}));
  EXPECT_EQ(view_.curve(3).points, (CurvePoints{{4, 14}, {191, 191}}));
  EXPECT_EQ(view_.checksumForChannel(1), 2 + 12 + 50.5F + 60.25F + 382);
  EXPECT_EQ(view_.curve(1).cache[1], 12);
  EXPECT_EQ(view_.curve(1).cache[200], 191);
}

TEST_F(CurvesParameters, LoadingEndsEverySelectionRedisplaysAndAnnouncesTheChangeOnce) {
  for (int channel = 0; channel < 4; ++channel) view_.setSelectedIndex(channel, 1);
  RecordingHost host(view_);
  view_.loadParameters();
  for (int channel = 0; channel < 4; ++channel) EXPECT_EQ(view_.selectedIndex(channel), -1);
  EXPECT_EQ(host.takeCalls(), (Calls{"redisplay", "changed"}));
}

TEST_F(CurvesParameters, WhatIsSavedIsLoadedAgainToTheSixthDecimal) {
  std::mt19937 random(3);
  for (int round = 0; round < 200; ++round) {
    view_.resetCurves();
    for (int channel = 0; channel < 4; ++channel) {
      view_.setActiveChannel(channel);
      for (auto i = random() % 9; i > 0; --i) {
        view_.addPointToCurveAt({static_cast<double>(random() % 191000) / 1000,
                                 static_cast<double>(random() % 191000) / 1000});
      }
    }
    view_.saveParameters();
    KelvoTQCurvesView other;
    other.setParams(params_);
    other.loadParameters();
    for (int channel = 0; channel < 4; ++channel) {
      const CurvePoints& from = view_.curve(channel).points;
      const CurvePoints& to = other.curve(channel).points;
      ASSERT_EQ(to.size(), from.size());
      for (std::size_t i = 0; i < from.size(); ++i) {
        EXPECT_NEAR(to[i].x, from[i].x, 1e-5);
        EXPECT_NEAR(to[i].y, from[i].y, 1e-5);
      }
    }
  }
}

TEST_F(CurvesParameters, WithoutKeysEveryChannelIsTheIdentity) {
  view_.addPointToCurveAt({10, 50});
  view_.loadParameters();
  for (int channel = 0; channel < 4; ++channel) EXPECT_EQ(view_.curve(channel).points, kIdentity);
}

TEST_F(CurvesParameters, WithoutADictionaryLoadingGivesTheIdentityAndSavingDoesNothing) {
  view_.setParams(nullptr);
  view_.addPointToCurveAt({10, 50});
  view_.saveParameters();
  view_.loadParameters();
  EXPECT_EQ(view_.curve(0).points, kIdentity);
  EXPECT_TRUE(params_->all().empty());
}

TEST_F(CurvesParameters, ACountMayBeANumberObject) {
  EXPECT_EQ(loaded(std::int64_t{3}, "0 0,50 60,191 191"),
            (CurvePoints{{0, 0}, {50, 60}, {191, 191}}));
  EXPECT_EQ(loaded(3.0, "0 0,50 60,191 191"), (CurvePoints{{0, 0}, {50, 60}, {191, 191}}));
}

TEST_F(CurvesParameters, PiecesBeyondTheCountAreLeftAside) {
  EXPECT_EQ(loaded("2", "0 10,100 50,150 60,191 191"), (CurvePoints{{0, 10}, {100, 50}}));
}

TEST_F(CurvesParameters, ACountBeyondThePiecesMakesNoPointsOfItsOwn) {
  EXPECT_EQ(loaded("5", "0 10,191 150"), (CurvePoints{{0, 10}, {191, 150}}));
}

TEST_F(CurvesParameters, AHugeCountTakesNoMoreRoomThanThePieces) {
  for (const char* count : {"2147483647", "99999999999999999999"}) {
    EXPECT_EQ(loaded(count, "0 10,191 150"), (CurvePoints{{0, 10}, {191, 150}})) << count;
  }
}

TEST_F(CurvesParameters, ACountBelowTwoIsTheIdentity) {
  for (const char* count : {"1", "0", "-1", "-2147483648", "many", ""}) {
    EXPECT_EQ(loaded(count, "0 10,191 150"), kIdentity) << count;
  }
}

TEST_F(CurvesParameters, OnePointAloneIsTheIdentity) {
  EXPECT_EQ(loaded("2", "40 50"), kIdentity);
  EXPECT_EQ(loaded("1", "40 50"), kIdentity);
}

TEST_F(CurvesParameters, PiecesOfOneOrThreePartsAreSkipped) {
  EXPECT_EQ(loaded("4", "0 10,12.5,60 70,191 150"), (CurvePoints{{0, 10}, {60, 70}, {191, 150}}));
  EXPECT_EQ(loaded("4", "0 10,1 2 3,60 70,191 150"), (CurvePoints{{0, 10}, {60, 70}, {191, 150}}));
  // A skipped piece counts: the fourth is the last one read.
  EXPECT_EQ(loaded("4", "0 10,,60 70,191 150,255 0"), (CurvePoints{{0, 10}, {60, 70}, {191, 150}}));
  EXPECT_EQ(loaded("3", "12.5,1 2 3,"), kIdentity);
}

TEST_F(CurvesParameters, APieceOfTwoBlanksHasThreeParts) {
  EXPECT_EQ(loaded("3", "0 10,60  70,191 150"), (CurvePoints{{0, 10}, {191, 150}}));
}

TEST_F(CurvesParameters, TextInPlaceOfANumberReadsAsZero) {
  EXPECT_EQ(loaded("2", "zero ten,191 150"), (CurvePoints{{0, 0}, {191, 150}}));
  EXPECT_EQ(loaded("2", "0 10,end end"), kIdentity);
}

TEST_F(CurvesParameters, NumbersEndAtTheFirstThingThatIsNoNumber) {
  EXPECT_EQ(loaded("2", "0x 10y,191.5e0z +150"), (CurvePoints{{0, 10}, {191.5F, 150}}));
}

TEST_F(CurvesParameters, PointsThatDoNotGoOnToTheRightAreLeftOut) {
  EXPECT_EQ(loaded("4", "0 10,150 20,100 50,191 150"),
            (CurvePoints{{0, 10}, {150, 20}, {191, 150}}));
  EXPECT_EQ(loaded("4", "0 10,100 20,100 50,191 150"),
            (CurvePoints{{0, 10}, {100, 20}, {191, 150}}));
  EXPECT_EQ(loaded("2", "191 150,0 10"), kIdentity);
  EXPECT_EQ(loaded("2", "70 150,70 10"), kIdentity);
}

TEST_F(CurvesParameters, XThatSinglePrecisionCannotTellApartCountAsEqual) {
  EXPECT_EQ(loaded("3", "0 10,100 20,100.000000001 50"), (CurvePoints{{0, 10}, {100, 20}}));
}

TEST_F(CurvesParameters, InfinitiesAreLeftOut) {
  for (const char* infinite : {"1e400 50", "-1e400 50", "50 1e400", "50 -1e39", "1e39 1"}) {
    EXPECT_EQ(loaded("3", std::string("0 10,") + infinite + ",191 150"),
              (CurvePoints{{0, 10}, {191, 150}}))
        << infinite;
  }
  // Names of what is no number are no numbers either.
  EXPECT_EQ(loaded("3", "0 10,inf nan,191 150"), (CurvePoints{{0, 10}, {191, 150}}));
}

TEST_F(CurvesParameters, HugeNumbersStillMakeARamp) {
  EXPECT_EQ(loaded("3", "-3e38 3e38,0 -3e38,3e38 3e38").size(), 3U);
  EXPECT_NE(view_.curvesValuesImageForColorSpace_forOKAction(nullptr, false), nullptr);
}

TEST_F(CurvesParameters, PointsOutsideThePlotAreKeptAsTheyAre) {
  EXPECT_EQ(loaded("3", "-20 -30,100 20,300 400"),
            (CurvePoints{{-20, -30}, {100, 20}, {300, 400}}));
}

TEST_F(CurvesParameters, TextsOfAnythingEndInAscendingPointsOfNumbers) {
  std::mt19937 random(31);
  const std::string alphabet = "0123456789.,  -+eE,nif\t\n";
  for (int round = 0; round < 5000; ++round) {
    std::string text;
    for (auto i = random() % 80; i > 0; --i) text += alphabet[random() % alphabet.size()];
    const CurvePoints points = loaded(std::to_string(random() % 12), text);
    ASSERT_GE(points.size(), 2U) << text;
    for (std::size_t i = 0; i < points.size(); ++i) {
      ASSERT_TRUE(std::isfinite(points[i].x) && std::isfinite(points[i].y)) << text;
      if (i > 0) {
        ASSERT_LT(points[i - 1].x, points[i].x) << text;
      }
    }
  }
}

TEST_F(CurvesParameters, AListOfTenThousandPointsIsLoaded) {
  std::string text;
  for (int i = 0; i < 10000; ++i) {
    text += (i > 0 ? "," : "") + std::to_string(i) + " " + std::to_string(i % 191);
  }
  EXPECT_EQ(loaded("10000", text).size(), 10000U);
}

}  // namespace
}  // namespace kelvo
