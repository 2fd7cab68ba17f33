#include "host/arguments/suggestion.h"

#include <gtest/gtest.h>

#include <array>

namespace kelvo::host {
namespace {

constexpr std::array<std::string_view, 4> kNames = {"invert", "posterize", "threshold", "levels"};

TEST(Suggestion, FindsTheNearestName) {
  EXPECT_EQ(nearestName("posterise", kNames), "posterize");
  EXPECT_EQ(nearestName("theshold", kNames), "threshold");
  EXPECT_EQ(nearestName("INVERT", kNames), "invert");
  EXPECT_EQ(nearestName("leevls", kNames), "levels");  // a swap is one slip
}

TEST(Suggestion, FindsTheOnlyNameThatGoesOnLikeThis) {
  EXPECT_EQ(nearestName("thr", kNames), "threshold");
  EXPECT_EQ(nearestName("th", kNames), std::nullopt);
}

TEST(Suggestion, FindsNothingFarAway) {
  EXPECT_EQ(nearestName("sepia", kNames), std::nullopt);
  EXPECT_EQ(nearestName("", kNames), std::nullopt);
  EXPECT_EQ(nearestName(std::string(1000, 'i'), kNames), std::nullopt);
  EXPECT_EQ(nearestName("invert", {}), std::nullopt);
}

TEST(Suggestion, IsTheEndOfASentence) {
  EXPECT_EQ(suggestion("invertt", kNames), "; did you mean 'invert'?");
  EXPECT_EQ(suggestion("sepia", kNames), "");
}

}  // namespace
}  // namespace kelvo::host
