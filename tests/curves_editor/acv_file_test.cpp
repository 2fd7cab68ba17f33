#include "curves_editor/acv_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "curves_editor/kelvo_tq_curves_view.h"
#include "tests/curves_editor/recording_host.h"

namespace kelvo {
namespace {

using testing::Calls;
using testing::CurvePoints;
using testing::RecordingHost;
using Curve = std::vector<AcvPoint>;

std::string file(const std::vector<int>& numbers) {
  std::string bytes;
  for (const int number : numbers) {
    bytes += static_cast<char>(number / 256);
    bytes += static_cast<char>(number % 256);
  }
  return bytes;
}

Result<std::vector<Curve>> parse(const std::string& bytes) {
  return parseAcv(std::as_bytes(std::span(bytes)));
}

std::string errorOf(const std::vector<int>& numbers) {
  const auto curves = parse(file(numbers));
  return curves ? "no error" : curves.error().message;
}

TEST(AcvFile, PointsAreOutputThenInput) {
  const auto curves = parse(file({4, 1, 3, 0, 0, 200, 100, 255, 255}));
  ASSERT_TRUE(curves.ok());
  ASSERT_EQ(curves->size(), 1U);
  EXPECT_EQ((*curves)[0], (Curve{{0, 0}, {100, 200}, {255, 255}}));
}

TEST(AcvFile, HasOneCurveAfterTheOther) {
  const auto curves = parse(file({1, 3, 2, 0, 0, 255, 255, 2, 255, 0, 0, 255, 2, 7, 10, 9, 11}));
  ASSERT_TRUE(curves.ok());
  EXPECT_EQ(*curves,
            (std::vector<Curve>{{{0, 0}, {255, 255}}, {{0, 255}, {255, 0}}, {{10, 7}, {11, 9}}}));
}

TEST(AcvFile, WhatFollowsTheCurvesIsNotLookedAt) {
  EXPECT_TRUE(parse(file({4, 1, 2, 0, 0, 255, 255}) + "Crv and more").ok());
}

TEST(AcvFile, ACurveMayHave19Points) {
  std::vector<int> numbers{4, 1, 19};
  for (int i = 0; i < 19; ++i) numbers.insert(numbers.end(), {i, 10 * i});
  EXPECT_TRUE(parse(file(numbers)).ok());
}

TEST(AcvFile, CutShortAnywhereIsAnError) {
  const std::string whole = file({4, 2, 2, 0, 0, 255, 255, 3, 0, 0, 9, 9, 255, 255});
  ASSERT_TRUE(parse(whole).ok());
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const auto curves = parse(whole.substr(0, size));
    ASSERT_FALSE(curves.ok()) << size;
    EXPECT_EQ(curves.error().message, size < 4    ? "the file is too short for a curve file"
                                      : size < 14 ? "the file ends in curve 1"
                                                  : "the file ends in curve 2");
  }
}

TEST(AcvFile, ErrorsSayWhatIsWrong) {
  EXPECT_EQ(errorOf({2, 1, 2, 0, 0, 255, 255}),
            "the file has version 2, and curve files have version 1 or 4");
  EXPECT_EQ(errorOf({4, 0}), "the file has no curves");
  EXPECT_EQ(errorOf({4, 65}), "the file announces 65 curves, 64 at most are read");
  EXPECT_EQ(errorOf({4, 1, 1, 0, 0}), "curve 1 has 1 points, not 2 to 19");
  EXPECT_EQ(errorOf({4, 1, 20}), "curve 1 has 20 points, not 2 to 19");
  EXPECT_EQ(errorOf({4, 1, 2, 0, 0, 256, 255}), "curve 1 has a level above 255");
  EXPECT_EQ(errorOf({4, 1, 2, 0, 0, 255, 256}), "curve 1 has a level above 255");
  EXPECT_EQ(errorOf({4, 1, 2, 0, 9, 255, 9}), "the inputs of curve 1 do not ascend");
  EXPECT_EQ(errorOf({4, 1, 2, 0, 9, 255, 8}), "the inputs of curve 1 do not ascend");
}

// Importing

class CurvesImport : public ::testing::Test {
 protected:
  void SetUp() override { std::filesystem::create_directories(folder_); }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string write(const std::string& bytes) {
    const std::string path = folder_ + "/curves.acv";
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }

  std::string folder_ = ::testing::TempDir() + "kelvo_curves_import";
  KelvoTQCurvesView view_;
  RecordingHost host_{view_};
};

TEST_F(CurvesImport, LevelsBecomePlotUnits) {
  const std::string path = write(file({4, 5,                           //
                                       3, 0,   0, 51,  102, 255, 255,  // composite
                                       2, 255, 0, 0,   255,            // red
                                       2, 0,   0, 255, 255,            // green
                                       3, 10,  0, 20,  5,   30,  255,  // blue
                                       2, 0,   0, 255, 255}));         // one more channel
  EXPECT_TRUE(view_.importCurves(path).ok());
  EXPECT_EQ(view_.curve(0).points,
            (CurvePoints{{0, 0}, {102 * 191.0F / 255, 51 * 191.0F / 255}, {191, 191}}));
  EXPECT_EQ(view_.curve(1).points, (CurvePoints{{0, 191}, {191, 0}}));
  EXPECT_EQ(view_.curve(2).points, (CurvePoints{{0, 0}, {191, 191}}));
  EXPECT_EQ(view_.curve(3).points.size(), 3U);
  EXPECT_EQ(view_.curve(1).cache[191], 0);
  EXPECT_EQ(host_.takeCalls(), (Calls{"redisplay", "changed"}));
}

TEST_F(CurvesImport, ChannelsWithoutACurveBecomeTheIdentityAndAllIsOneStep) {
  view_.setActiveChannel(3);
  view_.addPointToCurveAt({50, 90});
  const CurvePoints before = view_.curve(3).points;
  EXPECT_TRUE(view_.importCurves(write(file({4, 1, 2, 9, 0, 200, 255}))).ok());
  EXPECT_EQ(view_.curve(3).points, (CurvePoints{{0, 0}, {191, 191}}));
  EXPECT_EQ(view_.selectedIndex(3), -1);
  view_.undo();
  EXPECT_EQ(view_.curve(3).points, before);
  EXPECT_EQ(view_.curve(0).points, (CurvePoints{{0, 0}, {191, 191}}));
}

TEST_F(CurvesImport, ABadFileChangesNothingAndIsNamed) {
  view_.addPointToCurveAt({50, 90});
  const CurvePoints before = view_.curve(0).points;
  host_.takeCalls();
  const std::string path = write("no curves");
  const auto bad = view_.importCurves(path);
  ASSERT_FALSE(bad.ok());
  EXPECT_EQ(bad.error().message,
            path + ": the file has version 28271, and curve files have version 1 or 4");
  EXPECT_EQ(view_.curve(0).points, before);
  EXPECT_EQ(host_.takeCalls(), Calls{});
}

TEST_F(CurvesImport, AMissingFileIsNamed) {
  const auto missing = view_.importCurves(folder_ + "/none.acv");
  ASSERT_FALSE(missing.ok());
  EXPECT_TRUE(missing.error().message.starts_with(folder_ + "/none.acv: "));
}

}  // namespace
}  // namespace kelvo
