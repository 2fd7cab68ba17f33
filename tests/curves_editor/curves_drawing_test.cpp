#include <gtest/gtest.h>

#include <initializer_list>

#include "curves_editor/kelvo_tq_curves_view.h"
#include "platform/drawing/display_list.h"
#include "tests/curves_editor/recording_field.h"
#include "tests/curves_editor/recording_host.h"

namespace kelvo {
namespace {

using drawing::AddClip;
using drawing::Command;
using drawing::Composite;
using drawing::FillRect;
using drawing::FrameRect;
using drawing::RestoreState;
using drawing::SaveState;
using drawing::SetAntialias;
using drawing::SetColor;
using drawing::SetShadow;
using drawing::Stroke;
using Commands = std::vector<Command>;

NSColor rgb(double red, double green, double blue, double alpha) {
  return NSColor::colorWithCalibratedRed_green_blue_alpha(red, green, blue, alpha);
}

NSBezierPath line(NSPoint from, NSPoint to) {
  NSBezierPath path;
  path.moveToPoint(from);
  path.lineToPoint(to);
  return path;
}

NSBezierPath rectangles(std::initializer_list<NSRect> rects) {
  NSBezierPath path;
  for (const NSRect& rect : rects) path.appendBezierPathWithRect(rect);
  return path;
}

// Counts what is asked of the panel.
class CountingController final : public CurvesController {
 public:
  void applyCurves() override { ++calls; }
  int calls = 0;
};

class CurvesDrawing : public ::testing::Test {
 protected:
  void addPoint(int channel, NSPoint point) {
    const int before = view_.activeChannel();
    view_.setActiveChannel(channel);
    view_.addPointToCurveAt(point);
    view_.setSelectedIndex(channel, -1);
    view_.setActiveChannel(before);
  }
  Commands draw(void (KelvoTQCurvesView::*layer)(Canvas&) const) {
    DisplayList list;
    (view_.*layer)(list);
    return list.commands();
  }
  Commands drawAll() {
    DisplayList list;
    view_.drawRect(list, {{0, 0}, {1, 1}});
    return list.commands();
  }
  [[nodiscard]] NSBezierPath curvePath(int channel) const {
    NSBezierPath path = view_.getFullCurveBezierPathForChannel(channel);
    path.setLineWidth(1.1);
    return path;
  }
  [[nodiscard]] AddClip clipToBounds() const {
    return {NSBezierPath::bezierPathWithRect({{0, 0}, {198, 198}})};
  }

  KelvoTQCurvesView view_;
  CountingController controller_;
};

TEST_F(CurvesDrawing, TheGridIsAFrameADiagonalAndSixLinesInGrey) {
  const Commands expected{
      SetColor{rgb(0.45F, 0.45F, 0.45F, 1)}, FrameRect{{{3, 3}, {192, 192}}},
      Stroke{line({3, 3}, {195, 195})},      FillRect{{{99, 3}, {1, 192}}},
      FillRect{{{51, 3}, {1, 192}}},         FillRect{{{147, 3}, {1, 192}}},
      FillRect{{{3, 99}, {192, 1}}},         FillRect{{{3, 51}, {192, 1}}},
      FillRect{{{3, 147}, {192, 1}}},
  };
  EXPECT_EQ(draw(&KelvoTQCurvesView::drawGrid), expected);
}

TEST_F(CurvesDrawing, TheDiagonalHasTheUsualWidthAndNoDashes) {
  const auto diagonal = std::get<Stroke>(draw(&KelvoTQCurvesView::drawGrid)[2]).path;
  EXPECT_EQ(diagonal.lineWidth(), 1);
  EXPECT_TRUE(diagonal.lineDash().empty());
}

TEST_F(CurvesDrawing, FramesAreEmpty) {
  EXPECT_EQ(draw(&KelvoTQCurvesView::drawFrames), Commands{});
}

TEST_F(CurvesDrawing, WithoutHistogramsNothingIsBehindTheGrid) {
  for (int channel = 0; channel < 4; ++channel) {
    view_.setActiveChannel(channel);
    EXPECT_EQ(draw(&KelvoTQCurvesView::drawHistogram), Commands{});
  }
}

// The guide

TEST_F(CurvesDrawing, TheGuideIsTwoDashedLinesThroughTheSelectedPoint) {
  view_.addPointToCurveAt({96, 48});
  NSBezierPath vertical = line({99, 3}, {99, 195});
  NSBezierPath horizontal = line({3, 51}, {195, 51});
  const double dash[] = {4, 5};
  vertical.setLineDash_count_phase(dash, 0);
  horizontal.setLineDash_count_phase(dash, 0);
  const Commands expected{SaveState{},
                          SetAntialias{false},
                          SetColor{rgb(165.0 / 255, 154.0 / 255, 115.0 / 255, 1)},
                          Stroke{vertical},
                          Stroke{horizontal},
                          RestoreState{}};
  EXPECT_FALSE(view_.needToDrawGuide());  // which is not asked
  EXPECT_EQ(draw(&KelvoTQCurvesView::drawGuide), expected);
}

TEST_F(CurvesDrawing, ThereIsNoGuideWithoutASelectedPointInTheActiveChannel) {
  EXPECT_EQ(draw(&KelvoTQCurvesView::drawGuide), Commands{});
  view_.addPointToCurveAt({96, 48});
  for (const int selected : {-1, 3, 100}) {
    view_.setSelectedIndex(0, selected);
    EXPECT_EQ(draw(&KelvoTQCurvesView::drawGuide), Commands{}) << selected;
  }
  view_.setSelectedIndex(0, 1);
  view_.setActiveChannel(2);
  EXPECT_EQ(draw(&KelvoTQCurvesView::drawGuide), Commands{});
}

// Curves

TEST_F(CurvesDrawing, AnActiveCurveIsKeptOutOfTheBoxesAroundItsPoints) {
  addPoint(0, {96, 48});
  DisplayList list;
  view_.drawCurveForChannel(list, 0);
  const Commands expected{SaveState{},
                          // (0, 0): view (3, 3), on the bottom edge
                          AddClip{rectangles({{{3, 3}, {-2, 192}},
                                              {{3, 2}, {-2, 1}},
                                              {{6, 2}, {189, 1}},
                                              {{3, 2}, {192, -1}},
                                              {{3, 6}, {192, 189}},
                                              {{6, 3}, {189, 192}}})},
                          // (96, 48): view (99, 51)
                          AddClip{rectangles({{{3, 3}, {94, 192}},
                                              {{3, 2}, {192, 47}},
                                              {{3, 54}, {192, 141}},
                                              {{102, 3}, {93, 192}}})},
                          // (191, 191): view (194, 194)
                          AddClip{rectangles({{{3, 3}, {189, 192}},
                                              {{3, 2}, {192, 190}},
                                              {{3, 197}, {192, -2}},
                                              {{197, 3}, {-2, 192}}})},
                          clipToBounds(), SetColor{rgb(0, 0, 0, 1)}, Stroke{curvePath(0)},
                          RestoreState{}};
  EXPECT_EQ(list.commands(), expected);
}

TEST_F(CurvesDrawing, TheBoxOfAPointBetweenPixelsIsComputedInSinglePrecision) {
  addPoint(0, {50.3, 99.6});
  DisplayList list;
  view_.drawCurveForChannel(list, 0);
  const float x = 50.3F + 3.0F;
  const float y = 99.6F + 3.0F;
  EXPECT_EQ(std::get<AddClip>(list.commands()[2]),
            (AddClip{rectangles({{{3, 3}, {x - 5.0F, 192}},
                                 {{3, 2}, {192, y - 4.0F}},
                                 {{3, y + 3.0F}, {192, 192.0F - y}},
                                 {{x + 3.0F, 3}, {192.0F - x, 192}}})}));
}

TEST_F(CurvesDrawing, AnInactiveCurveGlowsInItsColour) {
  const NSColor strokes[] = {rgb(1, 1, 1, 0.25), rgb(1, 0, 0, 0.25), rgb(0, 1, 0, 0.25),
                             rgb(0, 0, 1, 0.25)};
  const NSColor glows[] = {rgb(1, 1, 1, 0.5), rgb(1, 0, 0, 0.5), rgb(0, 1, 0, 0.5),
                           rgb(0, 0, 1, 0.5)};
  for (int channel = 0; channel < 4; ++channel) {
    view_.setActiveChannel((channel + 1) % 4);
    DisplayList list;
    view_.drawCurveForChannel(list, channel);
    const auto i = static_cast<std::size_t>(channel);
    const Commands expected{SaveState{},          SetShadow{{glows[i], 4}},   clipToBounds(),
                            SetColor{strokes[i]}, Stroke{curvePath(channel)}, RestoreState{}};
    EXPECT_EQ(list.commands(), expected) << channel;
  }
}

TEST_F(CurvesDrawing, ActiveCurvesAreOpaqueInTheirColour) {
  const NSColor colors[] = {rgb(0, 0, 0, 1), rgb(1, 0, 0, 1), rgb(0, 1, 0, 1), rgb(0, 0, 1, 1)};
  for (int channel = 0; channel < 4; ++channel) {
    view_.setActiveChannel(channel);
    DisplayList list;
    view_.drawCurveForChannel(list, channel);
    const Commands& commands = list.commands();
    ASSERT_EQ(commands.size(), 7U);
    EXPECT_EQ(commands[4], Command(SetColor{colors[channel]}));
    EXPECT_EQ(commands[5], Command(Stroke{curvePath(channel)}));
    EXPECT_EQ(std::get<Stroke>(commands[5]).path.lineWidth(), 1.1);
  }
}

TEST_F(CurvesDrawing, OtherChannelNumbersDrawNothingAndTellNobody) {
  view_.setController(&controller_);
  DisplayList list;
  for (const int channel : {-1, 4}) view_.drawCurveForChannel(list, channel);
  EXPECT_EQ(list.commands(), Commands{});
  EXPECT_EQ(controller_.calls, 0);
}

TEST_F(CurvesDrawing, WithAllColoursOnTheDiagonalOnlyTheMasterCurveIsDrawn) {
  view_.setController(&controller_);
  DisplayList list;
  view_.drawCurves(list);
  DisplayList master;
  view_.drawCurveForChannel(master, 0);
  EXPECT_EQ(list.commands(), master.commands());
  EXPECT_EQ(controller_.calls, 2);
}

TEST_F(CurvesDrawing, ColourCurvesOffTheDiagonalLieUnderTheMasterCurve) {
  addPoint(1, {96, 100});
  addPoint(3, {96, 30});
  view_.setController(&controller_);
  DisplayList list;
  view_.drawCurves(list);
  EXPECT_EQ(controller_.calls, 3);
  DisplayList expected;
  for (const int channel : {1, 3, 0}) view_.drawCurveForChannel(expected, channel);
  EXPECT_EQ(list.commands(), expected.commands());
}

TEST_F(CurvesDrawing, WithAColourActiveOnlyItsCurveIsDrawn) {
  addPoint(1, {96, 100});
  addPoint(2, {96, 30});
  view_.setController(&controller_);
  for (const int channel : {1, 2, 3}) {
    view_.setActiveChannel(channel);
    controller_.calls = 0;
    DisplayList list;
    view_.drawCurves(list);
    EXPECT_EQ(controller_.calls, 1);
    DisplayList expected;
    view_.drawCurveForChannel(expected, channel);
    EXPECT_EQ(list.commands(), expected.commands());
  }
}

TEST_F(CurvesDrawing, TheControllerIsToldBeforeTheCurveIsDrawn) {
  // What it does to the points still shows.
  struct Changing final : CurvesController {
    explicit Changing(KelvoTQCurvesView& changed) : view(changed) {}
    void applyCurves() override { view.addPointToCurveAt({50, 90}); }
    KelvoTQCurvesView& view;
  } changing(view_);
  view_.setController(&changing);
  DisplayList list;
  view_.drawCurveForChannel(list, 0);
  view_.setController(nullptr);
  EXPECT_EQ(list.commands()[list.commands().size() - 2], Command(Stroke{curvePath(0)}));
}

// Points

TEST_F(CurvesDrawing, PointsAreBoxesAtTheirPlotCoordinates) {
  view_.awakeFromNib();
  view_.setActiveChannel(2);
  addPoint(2, {96.5, 48});
  view_.setSelectedIndex(2, 1);
  const Commands commands = draw(&KelvoTQCurvesView::drawPointBounds);
  ASSERT_EQ(commands.size(), 3U);
  const NSPoint places[] = {{0, 0}, {96.5, 48}, {191, 191}};
  for (std::size_t i = 0; i < 3; ++i) {
    const auto& box = std::get<Composite>(commands[i]);
    EXPECT_EQ(box.point, places[i]);
    EXPECT_EQ(box.operation, NSCompositingOperation::sourceOver);
    EXPECT_EQ(box.fraction, 1);
  }
  const auto image = [&](std::size_t i) { return std::get<Composite>(commands[i]).image; };
  EXPECT_EQ(image(0), image(2));
  EXPECT_NE(image(0), image(1));
}

TEST_F(CurvesDrawing, PointsShowThePicturesOfTheBundle) {
  auto bundle = NSBundle::bundleWithPath(KELVO_BINARY_DIR "/lib/kelvo/Kelvo Images.action");
  ASSERT_TRUE(bundle.ok());
  view_.setBundle(std::move(bundle).value());
  view_.awakeFromNib();
  view_.setSelectedIndex(0, 1);
  const Commands commands = draw(&KelvoTQCurvesView::drawPointBounds);
  ASSERT_EQ(commands.size(), 2U);
  EXPECT_TRUE(
      std::get<Composite>(commands[0]).image->referencedFile().ends_with("/CurvesBoxNormal.png"));
  EXPECT_TRUE(
      std::get<Composite>(commands[1]).image->referencedFile().ends_with("/CuvesBoxSelected.png"));
}

TEST_F(CurvesDrawing, BeforeWakingThereAreNoBoxes) {
  EXPECT_EQ(draw(&KelvoTQCurvesView::drawPointBounds), Commands{});
}

// The whole

TEST_F(CurvesDrawing, TheLayersFollowEachOther) {
  view_.awakeFromNib();
  view_.addPointToCurveAt({96, 48});
  testing::RecordingField bottom;
  view_.setBottomLabel(&bottom);
  DisplayList expected;
  view_.drawGrid(expected);
  expected.saveGraphicsState();
  expected.setShouldAntialias(true);
  view_.drawGuide(expected);
  view_.drawCurves(expected);
  view_.drawPointBounds(expected);
  expected.restoreGraphicsState();
  EXPECT_EQ(drawAll(), expected.commands());
  EXPECT_EQ(bottom.text, "128");
}

TEST_F(CurvesDrawing, EverythingIsPaintedWhateverPartIsAskedFor) {
  DisplayList part;
  view_.drawRect(part, {{10, 10}, {1, 1}});
  DisplayList nothing;
  view_.drawRect(nothing, {});
  EXPECT_EQ(part.commands(), nothing.commands());
  EXPECT_GT(part.commands().size(), 10U);
}

TEST_F(CurvesDrawing, DrawingChangesNoPointAndAnnouncesNothing) {
  addPoint(1, {60, 20});
  testing::RecordingHost host(view_);
  const auto before = view_.curve(1).points;
  drawAll();
  EXPECT_EQ(host.takeCalls(), testing::Calls{});
  EXPECT_EQ(view_.curve(1).points, before);
}

TEST_F(CurvesDrawing, SavesAndRestoresAreBalanced) {
  view_.addPointToCurveAt({96, 48});
  addPoint(1, {60, 20});
  int depth = 0;
  for (const Command& command : drawAll()) {
    if (std::holds_alternative<SaveState>(command)) ++depth;
    if (std::holds_alternative<RestoreState>(command)) --depth;
    ASSERT_GE(depth, 0);
  }
  EXPECT_EQ(depth, 0);
}

}  // namespace
}  // namespace kelvo
