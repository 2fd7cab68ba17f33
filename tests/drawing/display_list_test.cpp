#include "platform/drawing/display_list.h"

#include <gtest/gtest.h>

#include "platform/drawing/ns_image.h"

namespace kelvo {
namespace {

void drawEverything(Canvas& canvas, const NSImageRef& image) {
  canvas.saveGraphicsState();
  canvas.setShouldAntialias(false);
  canvas.setColor(NSColor::whiteColor());
  canvas.setShadow({NSColor::clearColor(), 4});
  canvas.addClip(NSBezierPath::bezierPathWithRect({{1, 2}, {3, 4}}));
  canvas.stroke(NSBezierPath::bezierPathWithRect({{5, 6}, {7, 8}}));
  canvas.fill(NSBezierPath::bezierPathWithRect({{9, 10}, {11, 12}}));
  canvas.frameRect({{1, 1}, {2, 2}});
  canvas.fillRect({{3, 3}, {4, 4}});
  canvas.compositeToPoint_operation_fraction(image, {5, 5}, NSCompositingOperation::sourceOver,
                                             0.5);
  canvas.drawTextAtPoint("text", {6, 6}, {NSFont::boldSystemFontOfSize(9), NSColor::whiteColor()});
  canvas.restoreGraphicsState();
}

TEST(DisplayList, WritesDownEachCallWithWhatItWasGiven) {
  const NSImageRef image = NSImage::initWithSize({1, 1});
  DisplayList list;
  drawEverything(list, image);
  const std::vector<drawing::Command> expected{
      drawing::SaveState{},
      drawing::SetAntialias{false},
      drawing::SetColor{NSColor::whiteColor()},
      drawing::SetShadow{{NSColor::clearColor(), 4}},
      drawing::AddClip{NSBezierPath::bezierPathWithRect({{1, 2}, {3, 4}})},
      drawing::Stroke{NSBezierPath::bezierPathWithRect({{5, 6}, {7, 8}})},
      drawing::Fill{NSBezierPath::bezierPathWithRect({{9, 10}, {11, 12}})},
      drawing::FrameRect{{{1, 1}, {2, 2}}},
      drawing::FillRect{{{3, 3}, {4, 4}}},
      drawing::Composite{image, {5, 5}, NSCompositingOperation::sourceOver, 0.5},
      drawing::DrawText{"text", {6, 6}, {{9, true}, NSColor::whiteColor()}},
      drawing::RestoreState{}};
  EXPECT_EQ(list.commands(), expected);
}

TEST(DisplayList, DrawnAgainMakesTheSameCalls) {
  DisplayList list;
  drawEverything(list, NSImage::initWithSize({1, 1}));
  DisplayList again;
  list.replay(again);
  EXPECT_EQ(again.commands(), list.commands());
}

}  // namespace
}  // namespace kelvo
