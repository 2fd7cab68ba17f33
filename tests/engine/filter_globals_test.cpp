#include "engine/filter_globals.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

namespace kelvo {
namespace {

TEST(FilterGlobals, TearDownBeforeAnySetUpDoesNothing) {
  unregisterAdjustmentFilters();
  EXPECT_EQ(initialized, 0);
}

// Which objects the globals hold now.
std::vector<const void*> objects() {
  return {replaceColorFilter.get(), equalizeFilter.get(), thresholdFilter.get(),
          colorBalanceFilter.get(), levelsFilter.get()};
}

TEST(FilterGlobals, SetUpTwiceCreatesEachObjectOnce) {
  registerAdjustmentFilters();
  const auto kept = objects();
  for (const void* object : kept) EXPECT_NE(object, nullptr);
  const float* const minus = colorbalance_slope1_100Minus.data();
  const float* const plus = colorbalance_slope1_100Plus.data();
  registerAdjustmentFilters();
  EXPECT_EQ(objects(), kept);
  EXPECT_EQ(colorbalance_slope1_100Minus.data(), minus);
  EXPECT_EQ(colorbalance_slope1_100Plus.data(), plus);
  EXPECT_EQ(colorbalance_slope1_100Minus.size(), 256U);
  EXPECT_EQ(colorbalance_slope1_100Plus.size(), 256U);
  EXPECT_NE(initialized, 0);
}

TEST(FilterGlobals, EveryFilterIsKnownByNameAfterTheSetUp) {
  registerAdjustmentFilters();
  for (const char* name : {"TQTresholdFilter", "TQEqualizeFilter", "TQLevelsFilter",
                           "TQReplaceColorSelectiveFilter", "TQCurvesFilter"}) {
    EXPECT_NE(CIFilter::filterWithName(name), nullptr) << name;
  }
}

TEST(FilterGlobals, BothReferenceCurvesHold256EntriesAfterTheSetUp) {
  registerAdjustmentFilters();
  ASSERT_EQ(colorbalance_slope1_100Minus.size(), 256U);
  ASSERT_EQ(colorbalance_slope1_100Plus.size(), 256U);
  EXPECT_EQ(colorbalance_slope1_100Minus[12], 1);
  EXPECT_EQ(colorbalance_slope1_100Plus[1], 4);
}

TEST(FilterGlobals, AfterTheTearDownASecondOneDoesNothing) {
  registerAdjustmentFilters();
  unregisterAdjustmentFilters();
  unregisterAdjustmentFilters();
  EXPECT_EQ(initialized, 0);
  registerAdjustmentFilters();
  EXPECT_EQ(colorbalance_slope1_100Minus.size(), 256U);
}

TEST(FilterGlobals, OneTearDownEndsAnyNumberOfSetUpsAndFiltersStayRegistered) {
  registerAdjustmentFilters();
  registerAdjustmentFilters();
  unregisterAdjustmentFilters();
  EXPECT_EQ(initialized, 0);
  for (const char* name : {"TQTresholdFilter", "TQEqualizeFilter", "TQLevelsFilter",
                           "TQReplaceColorSelectiveFilter", "TQCurvesFilter"}) {
    EXPECT_NE(CIFilter::filterWithName(name), nullptr) << name;
  }
}

TEST(FilterGlobals, ALaterSetUpCreatesEverythingAfresh) {
  registerAdjustmentFilters();
  // Held on to, so that no new object takes an old one's place.
  const auto before = std::tuple(replaceColorFilter, equalizeFilter, thresholdFilter,
                                 colorBalanceFilter, levelsFilter);
  const auto old = objects();
  unregisterAdjustmentFilters();
  registerAdjustmentFilters();
  const auto now = objects();
  for (std::size_t i = 0; i < old.size(); ++i) {
    EXPECT_NE(now[i], nullptr);
    EXPECT_NE(now[i], old[i]);
  }
  EXPECT_EQ(std::get<4>(before).get(), old[4]);
  EXPECT_EQ(colorbalance_slope1_100Plus.size(), 256U);
}

}  // namespace
}  // namespace kelvo
