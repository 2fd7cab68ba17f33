#include "platform/image/cg_rect.h"

#include <gtest/gtest.h>

namespace kelvo {
namespace {

TEST(CGRect, UnionSpansBothAndIgnoresEmptyOnes) {
  EXPECT_EQ(CGRectUnion({0, 0, 10, 10}, {5, -5, 10, 5}), (CGRect{0, -5, 15, 15}));
  EXPECT_EQ(CGRectUnion({}, {5, 5, 1, 1}), (CGRect{5, 5, 1, 1}));
  EXPECT_EQ(CGRectUnion({5, 5, 1, 1}, {90, 90, 0, 4}), (CGRect{5, 5, 1, 1}));
}

TEST(CGRect, IntersectionIsWhatBothCoverOrNothing) {
  EXPECT_EQ(CGRectIntersection({0, 0, 10, 10}, {5, -5, 10, 10}), (CGRect{5, 0, 5, 5}));
  EXPECT_TRUE(CGRectIntersection({0, 0, 10, 10}, {10, 0, 5, 5}).empty());
}

TEST(CGRect, ContainsOnlyWhatLiesInsideWhole) {
  EXPECT_TRUE((CGRect{0, 0, 10, 10}).contains({0, 0, 10, 10}));
  EXPECT_FALSE((CGRect{0, 0, 10, 10}).contains({1, 1, 10, 2}));
}

}  // namespace
}  // namespace kelvo
