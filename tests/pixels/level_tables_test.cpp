// Pixels looked up in tables, against one look-up after the other, on every target.
// The best x86 target is among them only then.
#define HWY_WANT_AVX3_DL

#include "platform/pixels/level_tables.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <vector>

namespace kelvo {
namespace {

using Table = LevelTables::Table;

Table unchanged() {
  Table table{};
  std::iota(table.begin(), table.end(), std::uint8_t{0});
  return table;
}

Table shuffled(unsigned seed) {
  std::mt19937 random(seed);
  Table table = unchanged();
  std::shuffle(table.begin(), table.end(), random);
  return table;
}

class LevelTablesOnTarget : public testing::TestWithParam<std::int64_t> {
 protected:
  void SetUp() override { use(GetParam()); }
  void TearDown() override { use(0); }

  // Every number of pixels around those of a vector, behind and before bytes that must stay.
  static void expectRight(const std::array<Table, 3>& tables) {
    const LevelTables lookUp(tables[0], tables[1], tables[2]);
    std::mt19937 random(5);
    for (const std::size_t components : {std::size_t{3}, std::size_t{4}}) {
      for (std::size_t pixels = 0; pixels < 150; ++pixels) {
        std::vector<std::uint8_t> from(3 * pixels);
        for (std::uint8_t& level : from) level = static_cast<std::uint8_t>(random());
        std::vector<std::uint8_t> expected(components * pixels + 2, 77);
        for (std::size_t i = 0; i < pixels; ++i) {
          for (std::size_t c = 0; c < 3; ++c) {
            expected[1 + components * i + c] = tables[c][from[3 * i + c]];
          }
          if (components == 4) expected[1 + components * i + 3] = 255;
        }
        std::vector<std::uint8_t> to(components * pixels + 2, 77);
        lookUp.apply(from.data(), to.data() + 1, pixels, components);
        ASSERT_EQ(to, expected) << pixels << " pixels, " << components;
        std::fill(to.begin(), to.end(), std::uint8_t{77});
        lookUp.applyPlainly(from.data(), to.data() + 1, pixels, components);
        ASSERT_EQ(to, expected) << pixels << " pixels, " << components << ", plainly";
        if (components == 4) continue;
        lookUp.apply(from.data(), from.data(), pixels, 3);  // in their own memory
        ASSERT_TRUE(std::equal(from.begin(), from.end(), expected.begin() + 1)) << pixels;
      }
    }
  }

 private:
  static void use(std::int64_t target) {
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
  }
};

TEST_P(LevelTablesOnTarget, AllChannelsInOneTable) {
  expectRight({shuffled(1), shuffled(1), shuffled(1)});
}

TEST_P(LevelTablesOnTarget, EachChannelInATableOfItsOwn) {
  expectRight({shuffled(1), shuffled(2), shuffled(3)});
}

TEST_P(LevelTablesOnTarget, OneOrTwoChannelsAsTheyAre) {
  expectRight({shuffled(1), unchanged(), unchanged()});
  expectRight({unchanged(), shuffled(2), unchanged()});
  expectRight({shuffled(1), unchanged(), shuffled(1)});
  expectRight({unchanged(), shuffled(3), shuffled(2)});
}

TEST_P(LevelTablesOnTarget, NothingChanges) {
  expectRight({unchanged(), unchanged(), unchanged()});
}

INSTANTIATE_TEST_SUITE_P(, LevelTablesOnTarget,
                         testing::ValuesIn(hwy::SupportedAndGeneratedTargets()),
                         [](const auto& param) { return hwy::TargetName(param.param); });

TEST(LevelTables, LeaveLevelsAsTheyAreUnlessTold) {
  const std::vector<std::uint8_t> from{0, 1, 2, 253, 254, 255};
  std::vector<std::uint8_t> to(from.size());
  LevelTables().apply(from.data(), to.data(), 2, 3);
  EXPECT_EQ(to, from);
}

}  // namespace
}  // namespace kelvo
