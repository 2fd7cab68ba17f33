#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>

#include "curves_editor/kelvo_tq_curves_view.h"
#include "platform/drawing/display_list.h"
#include "tests/curves_editor/recording_field.h"
#include "tests/curves_editor/recording_host.h"

// Somebody who does anything at all, 100,000 times.
namespace kelvo {
namespace {

using testing::CurvePoints;
using testing::RecordingField;
using testing::RecordingHost;

constexpr int kOperations = 100000;

class RandomWalk {
 public:
  explicit RandomWalk(unsigned seed) : random_(seed) {
    view_.setParams(params_);
    view_.awakeFromNib();
  }

  // One operation. Whatever it is that takes a point out, the ends stay.
  void step() {
    std::array<CurvePoints, 4> before;
    for (int channel = 0; channel < 4; ++channel) {
      before[static_cast<std::size_t>(channel)] = view_.curve(channel).points;
    }
    replaced_ = false;
    operate();
    if (replaced_) return;
    for (int channel = 0; channel < 4; ++channel) {
      const CurvePoints& was = before[static_cast<std::size_t>(channel)];
      const CurvePoints& is = view_.curve(channel).points;
      ASSERT_GE(is.size() + 1, was.size());
      if (is.size() + 1 == was.size()) {
        ASSERT_EQ(is.front(), was.front());
        ASSERT_EQ(is.back(), was.back());
      }
    }
  }

  void operate() {
    switch (below(16)) {
      case 0:
      case 1:
        return view_.mouseMoved(event());
      case 2:
      case 3:
        return view_.mouseDown(event());
      case 4:
      case 5:
      case 6:
        return view_.mouseDragged(event());
      case 7:
      case 8:
        return view_.mouseUp(event());
      case 9:
        replaced_ = true;  // perhaps
        return view_.keyDown(key());
      case 10:
        return below(2) == 0 ? view_.leftLabelAction(typed()) : view_.bottomLabelAction(typed());
      case 11:
        return view_.setActiveChannel(static_cast<int>(below(4)));
      case 12:
        return view_.addPointToCurveAt(place());
      case 13:
        return below(2) == 0 ? view_.mouseEntered({}) : view_.mouseExited({});
      case 14:
        replaced_ = true;
        return below(2) == 0 ? view_.undo() : view_.redo();
      default:
        return rareStep();
    }
  }

  // What must hold after each operation.
  void check() {
    for (int channel = 0; channel < 4; ++channel) {
      const ToneCurve& curve = view_.curve(channel);
      const CurvePoints& points = curve.points;
      ASSERT_GE(points.size(), 2U);
      for (std::size_t i = 0; i < points.size(); ++i) {
        ASSERT_TRUE(std::isfinite(points[i].x) && std::isfinite(points[i].y));
        if (i > 0) {
          ASSERT_LT(points[i - 1].x, points[i].x);
        }
      }
      ASSERT_EQ(curve.A.size(), points.size() - 1);
      ASSERT_GE(view_.selectedIndex(channel), -1);
      ASSERT_LT(view_.selectedIndex(channel), static_cast<int>(points.size()));
      ASSERT_TRUE(
          std::ranges::all_of(curve.cache, [](float value) { return value >= 0 && value <= 255; }));
    }
  }

  // Saving and loading gives the same curves, but for digits beyond the sixth decimal.
  void checkSaving() {
    view_.saveParameters();
    KelvoTQCurvesView loaded;
    loaded.setParams(params_);
    loaded.loadParameters();
    for (int channel = 0; channel < 4; ++channel) {
      const CurvePoints& points = view_.curve(channel).points;
      ASSERT_EQ(loaded.curve(channel).points.size(), points.size());
      for (std::size_t i = 0; i < points.size(); ++i) {
        ASSERT_NEAR(loaded.curve(channel).points[i].x, points[i].x, 1e-6);
        ASSERT_NEAR(loaded.curve(channel).points[i].y, points[i].y, 1e-6);
      }
      for (std::size_t i = 0; i < 256; ++i) {
        // A value that stands on a half may round to either side.
        ASSERT_NEAR(loaded.curve(channel).cache[i], view_.curve(channel).cache[i], 1);
      }
    }
  }

  void draw() {
    DisplayList list;
    view_.drawRect(list, view_.bounds());
    ASSERT_GT(list.commands().size(), 10U);
  }

  // Forgets what was recorded, which would grow without end.
  void forget() {
    host_.takeCalls();
    host_.forgetCursors();
  }

 private:
  std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(random_()) % limit; }
  // On a grid often enough that coordinates coincide.
  double coordinate() {
    return below(3) == 0 ? below(250) - 20.0 : static_cast<double>(below(250000)) / 1000 - 20;
  }
  NSPoint place() { return {coordinate(), coordinate()}; }
  unsigned modifiers() {
    return (below(8) == 0 ? NSCommandKeyMask : 0U) | (below(3) == 0 ? NSShiftKeyMask : 0U);
  }
  NSEvent event() { return {NSEventType::mouseMoved, place(), modifiers(), kKeyOther}; }
  NSEvent key() {
    constexpr int kKeys[] = {kKeyLeft, kKeyRight, kKeyUp,     kKeyDown,         kKeyTab, kKeyZ,
                             kKeyY,    kKeyC,     kKeyV,      kKeyDelete,       kKeyTab, kKeyOther,
                             kKeyLeft, kKeyRight, kKeyEscape, kKeyForwardDelete};
    return {NSEventType::keyDown, {}, modifiers(), kKeys[below(16)]};
  }
  RecordingField typed() {
    return RecordingField(std::to_string(static_cast<int>(below(300)) - 20));
  }
  void rareStep() {
    replaced_ = true;
    switch (below(8)) {
      case 0:
        if (below(3) == 0) view_.resetCurves();
        return;
      case 1:
        if (below(10) == 0) view_.loadParameters();
        return;
      case 2:
        return view_.copyCurve();
      case 3:
        return view_.pasteCurve();
      case 4:
        return view_.temporalyRemovePointFromActiveChannelAtIndex(static_cast<int>(below(6)) - 1);
      case 5:
        return view_.putBackTemporalyRemovedPoint(putBackPlace());
      case 6:
        view_.setPromisedIndexToSelect(static_cast<int>(below(8)) - 1);
        return view_.selectPromisedPointInActiveChannelAndMooveToPoint(place());
      default:
        return view_.moveSelectedPointInActiveChannelToPosition(place());
    }
  }
  // Between the neighbours, as who puts points back has to ask for.
  NSPoint putBackPlace() {
    const int t = view_.temporalyRemovedIndex();
    const CurvePoints& points = view_.curve(view_.activeChannel()).points;
    if (t < 1 || t >= static_cast<int>(points.size())) return place();
    const auto at = static_cast<std::size_t>(t);
    return {(static_cast<double>(points[at - 1].x) + points[at].x) / 2, 50};
  }

  std::mt19937 random_;
  bool replaced_ = false;  // the last operation may have replaced whole curves
  std::shared_ptr<ParameterDictionary> params_ = std::make_shared<ParameterDictionary>();
  KelvoTQCurvesView view_;
  RecordingHost host_{view_};
};

TEST(CurvesRandomWalk, KeepsWhatMustHoldThrough100000Operations) {
  RandomWalk walk(2026);
  for (int i = 0; i < kOperations; ++i) {
    walk.step();
    walk.check();
    if (::testing::Test::HasFatalFailure()) FAIL() << "after operation " << i;
    if (i % 100 == 0) {
      walk.checkSaving();
      walk.draw();
      walk.forget();
    }
    if (::testing::Test::HasFatalFailure()) FAIL() << "saving after operation " << i;
  }
}

}  // namespace
}  // namespace kelvo
