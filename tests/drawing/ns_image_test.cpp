#include "platform/drawing/ns_image.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/drawing/ns_cursor.h"

namespace kelvo {
namespace {

TEST(Image, ANewOneHasASizeAndNothingInIt) {
  const NSImageRef image = NSImage::initWithSize({256, 128});
  EXPECT_EQ(image->size(), (NSSize{256, 128}));
  EXPECT_TRUE(image->drawing().commands().empty());
  EXPECT_TRUE(image->representations().empty());
  EXPECT_EQ(image->referencedFile(), "");
}

TEST(Image, WhatIsDrawnWhileItHasTheFocusIsAddedToIt) {
  const NSImageRef image = NSImage::initWithSize({256, 256});
  image->lockFocus().fillRect({{0, 0}, {1, 1}});
  image->unlockFocus();
  image->lockFocus().frameRect({{0, 0}, {2, 2}});
  image->unlockFocus();
  EXPECT_EQ(image->drawing().commands(),
            (std::vector<drawing::Command>{drawing::FillRect{{{0, 0}, {1, 1}}},
                                           drawing::FrameRect{{{0, 0}, {2, 2}}}}));
}

TEST(Image, AtTwiceTheScaleTheLargerFileBesideItIsRead) {
  const std::filesystem::path folder = ::testing::TempDir() + "kelvo_ns_image";
  std::filesystem::create_directories(folder);
  const std::string one = (folder / "Some.box.png").string();
  const std::string two = (folder / "Some.box@2x.png").string();
  const NSImageRef image = NSImage::initByReferencingFile(one);
  EXPECT_EQ(image->referencedFile(), one);
  // Without a larger one it is always the same.
  for (const double scale : {0.5, 1.0, 1.5, 2.0}) {
    EXPECT_EQ(image->fileForScale(scale).path, one);
    EXPECT_EQ(image->fileForScale(scale).pixelsPerUnit, 1);
  }
  std::ofstream(two) << "picture";
  for (const double scale : {1.25, 2.0, 3.0}) {
    EXPECT_EQ(image->fileForScale(scale).path, two);
    EXPECT_EQ(image->fileForScale(scale).pixelsPerUnit, 2);
  }
  EXPECT_EQ(image->fileForScale(1).path, one);
  std::filesystem::remove_all(folder);
}

TEST(Image, WithoutAFileThereIsNoneAtAnyScale) {
  EXPECT_EQ(NSImage::initByReferencingFile("")->fileForScale(2).path, "");
}

TEST(CursorStack, ShowsTheTopmostAndUnderAllOfThemTheUsualShape) {
  CursorStack stack;
  EXPECT_EQ(stack.currentCursor(), nullptr);
  stack.pop();  // nothing to take off
  const auto first = NSCursor::initWithImage_hotSpot(nullptr, {3, 1.5});
  const auto second = NSCursor::initWithImage_hotSpot(nullptr, {3, 1.5});
  EXPECT_NE(first, second);
  stack.push(first);
  stack.push(second);
  EXPECT_EQ(stack.currentCursor(), second);
  stack.pop();
  EXPECT_EQ(stack.currentCursor(), first);
  stack.pop();
  EXPECT_EQ(stack.currentCursor(), nullptr);
}

}  // namespace
}  // namespace kelvo
