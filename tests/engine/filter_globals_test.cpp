#include "engine/filter_globals.h"

#include <gtest/gtest.h>

namespace kelvo {
namespace {

TEST(FilterGlobals, TearDownBeforeAnySetUpDoesNothing) {
  unregisterAdjustmentFilters();
  EXPECT_EQ(initialized, 0);
}

TEST(FilterGlobals, SetUpTwiceCreatesEachObjectOnce) {
  registerAdjustmentFilters();
  const auto kept = thresholdFilter;
  ASSERT_NE(kept, nullptr);
  registerAdjustmentFilters();
  EXPECT_EQ(thresholdFilter, kept);
  EXPECT_NE(initialized, 0);
}

TEST(FilterGlobals, OneTearDownEndsAnyNumberOfSetUpsAndFiltersStayRegistered) {
  registerAdjustmentFilters();
  registerAdjustmentFilters();
  unregisterAdjustmentFilters();
  EXPECT_EQ(initialized, 0);
  EXPECT_NE(CIFilter::filterWithName("TQTresholdFilter"), nullptr);
}

TEST(FilterGlobals, ALaterSetUpCreatesEverythingAfresh) {
  registerAdjustmentFilters();
  const auto before = thresholdFilter;
  unregisterAdjustmentFilters();
  registerAdjustmentFilters();
  EXPECT_NE(thresholdFilter, before);
}

}  // namespace
}  // namespace kelvo
