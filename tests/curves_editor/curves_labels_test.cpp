#include <gtest/gtest.h>

#include "curves_editor/kelvo_tq_curves_view.h"
#include "tests/curves_editor/recording_field.h"
#include "tests/curves_editor/recording_host.h"

namespace kelvo {
namespace {

using testing::Calls;
using testing::CurvePoints;
using testing::RecordingField;
using testing::RecordingHost;

// A view with a point at (96, 48) that is selected.
class CurvesLabels : public ::testing::Test {
 protected:
  void SetUp() override {
    view_.addPointToCurveAt({96, 48});
    view_.setLeftLabel(&left_);
    view_.setBottomLabel(&bottom_);
    host_.takeCalls();
  }
  [[nodiscard]] CurvePoint point() const { return view_.curve(0).points[1]; }

  KelvoTQCurvesView view_;
  RecordingHost host_{view_};
  RecordingField left_;
  RecordingField bottom_;
};

TEST_F(CurvesLabels, ShowTheSelectedPointInLevels) {
  view_.drawLabels();
  EXPECT_EQ(bottom_.text, "128");
  EXPECT_EQ(left_.text, "64");
}

TEST_F(CurvesLabels, RoundToTheNearestLevel) {
  view_.moveSelectedPointInActiveChannelToPosition({100, 100.9});
  view_.drawLabels();
  EXPECT_EQ(bottom_.text, "133");  // 133.33
  EXPECT_EQ(left_.text, "135");    // 134.53
}

TEST_F(CurvesLabels, AtTheEndsOfThePlotShow0And255) {
  view_.setSelectedIndex(0, 0);
  view_.drawLabels();
  EXPECT_EQ(bottom_.text, "0");
  EXPECT_EQ(left_.text, "0");
  view_.setSelectedIndex(0, 2);
  view_.drawLabels();
  EXPECT_EQ(bottom_.text, "255");  // 254.67
  EXPECT_EQ(left_.text, "255");
}

TEST_F(CurvesLabels, KeepTheirTextWithoutASelection) {
  view_.drawLabels();
  view_.setSelectedIndex(0, -1);
  view_.drawLabels();
  EXPECT_EQ(bottom_.text, "128");
  EXPECT_EQ(left_.text, "64");
}

TEST_F(CurvesLabels, MayBeMissing) {
  view_.setLeftLabel(nullptr);
  view_.drawLabels();
  EXPECT_EQ(bottom_.text, "128");
  EXPECT_EQ(left_.text, "");
  view_.setBottomLabel(nullptr);
  view_.drawLabels();
}

TEST_F(CurvesLabels, SurvivePointsFarOutsideThePlot) {
  auto params = std::make_shared<ParameterDictionary>();
  params->setObject_forKey("2", "rgbN");
  params->setObject_forKey("-1e30 1e30,1e30 -1e30", "rgbPoints");
  view_.setParams(params);
  view_.loadParameters();
  view_.setSelectedIndex(0, 1);
  view_.drawLabels();
  EXPECT_EQ(bottom_.text, "0");
}

TEST_F(CurvesLabels, HaveTheTransparentWindowPainted) {
  view_.setupTransparentWindow();
  host_.takeCalls();
  view_.drawLabels();
  EXPECT_EQ(host_.takeCalls(), (Calls{"display child"}));
  view_.hideTransparentWindow();
  host_.takeCalls();
  view_.drawLabels();
  EXPECT_EQ(host_.takeCalls(), Calls{});
}

// Typing

TEST_F(CurvesLabels, AnInputLevelMovesThePointToAMultipleOfThree) {
  view_.bottomLabelAction(RecordingField("201"));
  EXPECT_EQ(point(), (CurvePoint{150, 48}));  // 201 / 4 = 50, times 3
  EXPECT_EQ(host_.takeCalls(), (Calls{"display"}));
  view_.bottomLabelAction(RecordingField("23"));
  EXPECT_EQ(point().x, 15);
}

TEST_F(CurvesLabels, AnOutputLevelMovesThePointExactly) {
  view_.leftLabelAction(RecordingField("201"));
  EXPECT_EQ(point(), (CurvePoint{96, 150.75F}));
  EXPECT_EQ(host_.takeCalls(), (Calls{"display"}));
}

TEST_F(CurvesLabels, AnOutputLevelIsRoundedFirst) {
  view_.leftLabelAction(RecordingField("100.5"));
  EXPECT_EQ(point().y, 75.75F);  // 101 * 0.75
}

TEST_F(CurvesLabels, AnInputLevelIsReadAsAWholeNumber) {
  view_.bottomLabelAction(RecordingField("127.9"));
  EXPECT_EQ(point().x, 93);
}

TEST_F(CurvesLabels, LevelsAreLimitedTo0To255) {
  view_.leftLabelAction(RecordingField("-5"));
  EXPECT_EQ(point().y, 0);
  view_.leftLabelAction(RecordingField("1000"));
  EXPECT_EQ(point().y, 191);  // 191.25, limited to the plot
  view_.leftLabelAction(RecordingField("nan"));
  EXPECT_EQ(point().y, 0);
  view_.setSelectedIndex(0, 2);
  view_.bottomLabelAction(RecordingField("1000"));
  EXPECT_EQ(view_.curve(0).points[2].x, 189);
  view_.bottomLabelAction(RecordingField("-7"));
  EXPECT_EQ(view_.curve(0).points[2].x, 100);  // 0, but for its neighbour at 96
}

TEST_F(CurvesLabels, TextThatIsNoNumberIsLevel0) {
  view_.leftLabelAction(RecordingField("dark"));
  EXPECT_EQ(point().y, 0);
}

TEST_F(CurvesLabels, APointPushedPastItsNeighbourIsTakenOut) {
  view_.bottomLabelAction(RecordingField("255"));
  EXPECT_EQ(view_.curve(0).points, (CurvePoints{{0, 0}, {191, 191}}));
  EXPECT_TRUE(view_.isTemporalyRemoved());
}

TEST_F(CurvesLabels, WithoutASelectionNothingHappens) {
  view_.setSelectedIndex(0, -1);
  view_.bottomLabelAction(RecordingField("201"));
  view_.leftLabelAction(RecordingField("201"));
  EXPECT_EQ(point(), (CurvePoint{96, 48}));
  EXPECT_EQ(host_.takeCalls(), Calls{});
}

TEST_F(CurvesLabels, TheFirstActionAfterThePointerCameInIsSwallowed) {
  for (const bool isLeft : {true, false}) {
    const CurvePoint before = point();
    view_.mouseEntered({});
    host_.takeCalls();
    const RecordingField typed("100");
    const auto act = [&] {
      isLeft ? view_.leftLabelAction(typed) : view_.bottomLabelAction(typed);
    };
    act();
    EXPECT_EQ(point(), before);
    EXPECT_FALSE(view_.dontNeedToMove());
    EXPECT_EQ(host_.takeCalls(), Calls{});
    act();
    EXPECT_NE(point(), before);
  }
}

TEST_F(CurvesLabels, OnceThePointerLeftActionsCountAgain) {
  view_.mouseEntered({});
  view_.mouseExited({});
  view_.leftLabelAction(RecordingField("100"));
  EXPECT_EQ(point().y, 75);
}

TEST_F(CurvesLabels, ATypedLevelIsAStepToUndo) {
  view_.leftLabelAction(RecordingField("100"));
  view_.undo();
  EXPECT_EQ(point(), (CurvePoint{96, 48}));
}

// Pictures of labels

TEST_F(CurvesLabels, APictureOfAnOutputLevelIsThePlateWithTheNumberInTheMiddle) {
  setTextMeasurer([](const std::string& text, const TextAttributes&) {
    return NSSize{5.0 * static_cast<double>(text.size()), 11};
  });
  const NSImageRef label = view_.labelImageForValue_ofType(127.9F, 0);
  const NSImageRef other = view_.labelImageForValue_ofType(8, 1);
  setTextMeasurer(nullptr);
  ASSERT_NE(label, nullptr);
  EXPECT_EQ(label->size(), (NSSize{52, 37}));
  ASSERT_EQ(label->drawing().commands().size(), 2U);
  const auto& plate = std::get<drawing::Composite>(label->drawing().commands()[0]);
  EXPECT_EQ(plate.point, (NSPoint{0, 0}));
  EXPECT_EQ(plate.fraction, 1);
  const auto& text = std::get<drawing::DrawText>(label->drawing().commands()[1]);
  EXPECT_EQ(text.text, "127");
  EXPECT_EQ(text.point, (NSPoint{19, 13}));  // (52 - 15) / 2 = 18.5
  EXPECT_EQ(text.attributes, (TextAttributes{{9, true}, NSColor::whiteColor()}));

  ASSERT_NE(other, nullptr);
  EXPECT_EQ(other->size(), (NSSize{51, 39}));
  EXPECT_EQ(std::get<drawing::DrawText>(other->drawing().commands()[1]).point,
            (NSPoint{23, 13}));  // (51 - 5) / 2
}

TEST_F(CurvesLabels, ThePlatesAreTheBundlesPictures) {
  auto bundle = NSBundle::bundleWithPath(KELVO_BINARY_DIR "/lib/kelvo/Kelvo Images.action");
  ASSERT_TRUE(bundle.ok());
  view_.setBundle(std::move(bundle).value());
  const char* const names[] = {"CurvesLabelLeft.png", "CurvesLabelBottom.png"};
  for (const int type : {0, 1}) {
    const NSImageRef label = view_.labelImageForValue_ofType(1, type);
    const auto& plate = std::get<drawing::Composite>(label->drawing().commands().at(0));
    EXPECT_TRUE(plate.image->referencedFile().ends_with(names[type]));
  }
}

TEST_F(CurvesLabels, ThereAreNoPicturesOfOtherTypes) {
  for (const int type : {-1, 2, 100}) {
    EXPECT_EQ(view_.labelImageForValue_ofType(1, type), nullptr);
  }
}

TEST_F(CurvesLabels, APictureOfAValueThatIsNoLevelIsDrawnAllTheSame) {
  for (const float value : {1e30F, -1e30F, std::numeric_limits<float>::quiet_NaN()}) {
    const NSImageRef label = view_.labelImageForValue_ofType(value, 0);
    EXPECT_EQ(std::get<drawing::DrawText>(label->drawing().commands().at(1)).text, "0");
  }
}

}  // namespace
}  // namespace kelvo
