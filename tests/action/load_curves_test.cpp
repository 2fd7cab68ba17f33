#include "action/load_curves.h"

#include <gtest/gtest.h>

#include "action/apply_image.h"
#include "action/kelvo_images.h"
#include "engine/filter_globals.h"
#include "platform/foundation/ns_notification_center.h"
#include "tests/support/pixels.h"

namespace kelvo {
namespace {

using testing::kOpaque8;
using testing::rendered;
using CurvePoints = std::vector<CurvePoint>;

const CurvePoints kIdentity{{0, 0}, {191, 191}};

ActionParameters masterCurve(const char* points, const char* count = "2") {
  auto parameters = std::make_shared<ParameterDictionary>();
  parameters->setObject_forKey("2", "filterPopUp");
  parameters->setObject_forKey(count, "rgbN");
  parameters->setObject_forKey(points, "rgbPoints");
  return parameters;
}

class LoadCurves : public ::testing::Test {
 protected:
  void SetUp() override {
    registerAdjustmentFilters();
    curves = nullptr;
  }
  void TearDown() override { curves = nullptr; }

  std::vector<testing::Rgba8> greys_ = testing::allGreys();
  CIImageRef image_ = testing::image(greys_, kOpaque8);
};

TEST_F(LoadCurves, MakesOneObjectThatHoldsTheParametersCurves) {
  loadCurves(masterCurve("0 191,100 50,191 0", "3"));
  ASSERT_NE(curves, nullptr);
  EXPECT_EQ(curves->curve(0).points, (CurvePoints{{0, 191}, {100, 50}, {191, 0}}));
  for (const int channel : {1, 2, 3}) EXPECT_EQ(curves->curve(channel).points, kIdentity);
}

TEST_F(LoadCurves, ASecondCallKeepsTheObjectAndReadsTheParametersItHolds) {
  const ActionParameters first = masterCurve("0 191,191 0");
  loadCurves(first);
  const auto made = curves;
  first->setObject_forKey("0 10,191 20", "rgbPoints");
  loadCurves(masterCurve("0 77,191 77"));
  EXPECT_EQ(curves, made);
  EXPECT_EQ(curves->curve(0).points, (CurvePoints{{0, 10}, {191, 20}}));
}

TEST_F(LoadCurves, EachCallAnnouncesTheLoadedCurves) {
  loadCurves(masterCurve("0 0,191 100"));
  int announced = 0;
  const auto token = NSNotificationCenter::defaultCenter().addObserverForName_object(
      "TQCurvesValuesChanged", curves.get(), [&](const NSNotification&) { ++announced; });
  loadCurves(masterCurve("0 0,191 100"));
  EXPECT_EQ(announced, 1);
}

TEST_F(LoadCurves, APanelsViewIsKeptAndReloaded) {
  const auto panels = std::make_shared<KelvoTQCurvesView>();
  panels->setParams(masterCurve("0 5,191 6"));
  curves = panels;
  loadCurves(masterCurve("0 77,191 77"));
  EXPECT_EQ(curves, panels);
  EXPECT_EQ(panels->curve(0).points, (CurvePoints{{0, 5}, {191, 6}}));
}

TEST_F(LoadCurves, MalformedCurvesInTheParametersGiveTheIdentity) {
  for (const char* points :
       {"", "12.5", "1 2 3", "5 5", "191 0,0 191", "nonsense", ",,,,", "1e999 0"}) {
    curves = nullptr;
    loadCurves(masterCurve(points, "7"));
    EXPECT_EQ(curves->curve(0).points, kIdentity) << points;
  }
}

// The Curves adjustment

TEST_F(LoadCurves, TheFirstCurvesRunMakesTheObjectFromTheParameters) {
  const auto out = rendered(applyImage(masterCurve("0 191,191 0"), image_));
  ASSERT_NE(curves, nullptr);
  ASSERT_EQ(out.size(), 256U);
  for (std::size_t v = 0; v < 256; ++v) {
    // Column v shows plot level x, and the falling line gives 191 - x of 192.
    const double x = static_cast<double>(v / 4 * 3 + (v % 4 + 1) / 2);
    EXPECT_NEAR(out[v][0], (191 - x) / 192 * 255, 0.51) << v;
    EXPECT_EQ(out[v][1], out[v][0]);
    EXPECT_EQ(out[v][2], out[v][0]);
  }
}

TEST_F(LoadCurves, ASecondCurvesRunUsesTheObjectAndDoesNotReadTheParametersAgain) {
  const ActionParameters parameters = masterCurve("0 191,191 0");
  const auto first = rendered(applyImage(parameters, image_));
  const auto made = curves;
  parameters->setObject_forKey("0 0,191 100", "rgbPoints");
  EXPECT_EQ(rendered(applyImage(parameters, image_)), first);
  EXPECT_EQ(rendered(applyImage(masterCurve("0 50,191 60"), image_)), first);
  EXPECT_EQ(curves, made);
  // Told to load, it does.
  loadCurves(parameters);
  EXPECT_NE(rendered(applyImage(parameters, image_)), first);
}

TEST_F(LoadCurves, ARunUsesTheCurvesOnScreenEvenIfTheyWereNeverSaved) {
  const ActionParameters parameters = masterCurve("0 0,191 191");
  loadCurves(parameters);
  const auto before = rendered(applyImage(parameters, image_));
  curves->addPointToCurveAt({96, 150});
  EXPECT_NE(rendered(applyImage(parameters, image_)), before);
}

TEST_F(LoadCurves, APictureKeepsTheCurvesItWasMadeWith) {
  const ActionParameters parameters = masterCurve("0 191,191 0");
  const CIImageRef lazy = applyImage(parameters, image_);
  const auto expected = rendered(applyImage(parameters, image_));
  curves->resetCurves();
  EXPECT_EQ(rendered(lazy), expected);
}

TEST_F(LoadCurves, ColourCurvesActOnTheirChannelBeforeTheMaster) {
  const ActionParameters parameters = masterCurve("0 191,191 0");
  parameters->setObject_forKey("2", "gN");
  parameters->setObject_forKey("0 96,191 96", "gPoints");  // green is 96 of 191 everywhere
  for (const auto& pixel : rendered(applyImage(parameters, image_))) {
    EXPECT_NEAR(pixel[1], (191.0 - 96) / 192 * 255, 0.51);
  }
}

TEST_F(LoadCurves, OtherAdjustmentsMakeNoCurvesObject) {
  for (const char* number : {"0", "3", "9", "13", "14"}) {
    const ActionParameters parameters = masterCurve("0 191,191 0");
    parameters->setObject_forKey(number, "filterPopUp");
    (void)applyImage(parameters, image_);
    EXPECT_EQ(curves, nullptr) << number;
  }
}

// The action being opened

TEST_F(LoadCurves, OpeningTheActionLoadsItsCurves) {
  Kelvo_Images action;
  action.setParameters(*masterCurve("0 191,191 0"));
  action.opened();
  ASSERT_NE(curves, nullptr);
  EXPECT_EQ(curves->curve(0).points, (CurvePoints{{0, 191}, {191, 0}}));
}

TEST_F(LoadCurves, OpeningItAgainReloadsThePointsFromItsDictionary) {
  Kelvo_Images action;
  action.setParameters(*masterCurve("0 191,191 0"));
  action.opened();
  const auto made = curves;
  action.parameters().setObject_forKey("0 30,191 40", "rgbPoints");
  EXPECT_EQ(curves->curve(0).points, (CurvePoints{{0, 191}, {191, 0}}));
  action.opened();
  EXPECT_EQ(curves, made);
  EXPECT_EQ(curves->curve(0).points, (CurvePoints{{0, 30}, {191, 40}}));
}

}  // namespace
}  // namespace kelvo
