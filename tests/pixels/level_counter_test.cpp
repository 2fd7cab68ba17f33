#include "platform/pixels/level_counter.h"

#include <gtest/gtest.h>

#include <vector>

namespace kelvo {
namespace {

// 3 black, 2 of level 7, 1 white, in every rotation, and each number of pixels.
TEST(LevelCounter, CountsEveryLevelWhereverItStands) {
  const std::vector<std::uint8_t> levels{0, 7, 255, 0, 7, 0};
  for (std::size_t first = 0; first < levels.size(); ++first) {
    LevelCounter counter;
    counter.add(levels.size(), [&](std::size_t i) { return levels[(first + i) % levels.size()]; });
    LevelCounter::Counts expected{};
    expected[0] = 3;
    expected[7] = 2;
    expected[255] = 1;
    EXPECT_EQ(counter.counts(), expected) << first;
  }
}

TEST(LevelCounter, GoesOnCounting) {
  LevelCounter counter;
  for (std::size_t pixels = 0; pixels <= 9; ++pixels) {
    counter.add(pixels, [](std::size_t) { return std::uint8_t{200}; });
  }
  LevelCounter::Counts expected{};
  expected[200] = 45;
  EXPECT_EQ(counter.counts(), expected);
}

}  // namespace
}  // namespace kelvo
