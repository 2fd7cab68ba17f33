#include "platform/foundation/path_text.h"

#include <gtest/gtest.h>

namespace kelvo {
namespace {

TEST(PathText, DropsTheLastComponent) {
  EXPECT_EQ(stringByDeletingLastPathComponent("/a/b/c.action"), "/a/b");
  EXPECT_EQ(stringByDeletingLastPathComponent("/a/b/"), "/a");
  EXPECT_EQ(stringByDeletingLastPathComponent("/a"), "/");
  EXPECT_EQ(stringByDeletingLastPathComponent("/"), "/");
  EXPECT_EQ(stringByDeletingLastPathComponent("a/b"), "a");
  EXPECT_EQ(stringByDeletingLastPathComponent("a"), "");
  EXPECT_EQ(stringByDeletingLastPathComponent(""), "");
}

TEST(PathText, AppendsAComponentAfterOneSlash) {
  EXPECT_EQ(stringByAppendingPathComponent("/a", "b/c"), "/a/b/c");
  EXPECT_EQ(stringByAppendingPathComponent("/a/", "b"), "/a/b");
  EXPECT_EQ(stringByAppendingPathComponent("/", "b"), "/b");
  EXPECT_EQ(stringByAppendingPathComponent("", "b"), "b");
}

TEST(PathText, TellsTheExtensionOfTheLastComponent) {
  EXPECT_EQ(pathExtension("/a/b.tif"), "tif");
  EXPECT_EQ(pathExtension("/a.b/c.tar.gz"), "gz");
  EXPECT_EQ(pathExtension("/a.b/c"), "");
  EXPECT_EQ(pathExtension("/a/.hidden"), "");
  EXPECT_EQ(pathExtension(".hidden.png"), "png");
  EXPECT_EQ(pathExtension("/a/b."), "");
  EXPECT_EQ(pathExtension("/a/b.tif/"), "tif");
  EXPECT_EQ(pathExtension(""), "");
}

TEST(PathText, DropsTheExtension) {
  EXPECT_EQ(stringByDeletingPathExtension("/a/b.tif"), "/a/b");
  EXPECT_EQ(stringByDeletingPathExtension("/a/b.tar.gz"), "/a/b.tar");
  EXPECT_EQ(stringByDeletingPathExtension("/a.b/c"), "/a.b/c");
  EXPECT_EQ(stringByDeletingPathExtension("/a/.hidden"), "/a/.hidden");
  EXPECT_EQ(stringByDeletingPathExtension("/a/b.tif/"), "/a/b");
}

TEST(PathText, AppendsAnExtension) {
  EXPECT_EQ(stringByAppendingPathExtension("/a/b", "png"), "/a/b.png");
  EXPECT_EQ(stringByAppendingPathExtension("/a/b/", "png"), "/a/b.png");
  EXPECT_EQ(stringByAppendingPathExtension("/a/b.tar", "gz"), "/a/b.tar.gz");
  EXPECT_EQ(stringByAppendingPathExtension("/a/b", ""), "/a/b");
}

}  // namespace
}  // namespace kelvo
