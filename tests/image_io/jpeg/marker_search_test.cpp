// The search for markers in entropy-coded data, against a plain loop, on every target.
#include "platform/image_io/jpeg/marker_search.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <random>
#include <vector>

namespace kelvo::jpeg {
namespace {

std::size_t findPlainly(const std::vector<std::byte>& data, std::size_t from, std::size_t to) {
  for (std::size_t at = from; at < to && at + 1 < data.size(); ++at) {
    const auto next = std::to_integer<unsigned>(data[at + 1]);
    const bool isHarmless = next == 0 || (next >= 0xD0 && next <= 0xD7);
    if (data[at] == std::byte{0xFF} && !isHarmless) return at;
  }
  return to;
}

class MarkerSearch : public testing::TestWithParam<std::int64_t> {
 protected:
  void SetUp() override { use(GetParam()); }
  void TearDown() override { use(0); }

 private:
  static void use(std::int64_t target) {
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
  }
};

// Dense in 0xFF, 0 and the bytes around the restart markers, of all lengths around a vector's.
TEST_P(MarkerSearch, FindsWhatAPlainLoopFinds) {
  constexpr std::array kBytes{0x00, 0x01, 0x7F, 0xCF, 0xD0, 0xD7, 0xD8, 0xD9, 0xFE, 0xFF};
  std::mt19937 random(11);
  std::size_t found = 0;
  for (int round = 0; round < 20'000; ++round) {
    std::vector<std::byte> data(random() % 300);
    const bool isDense = round % 2 == 0;
    for (std::byte& byte : data) {
      // Sparse data pass many vectors before there is a marker, if there is one.
      const auto value =
          isDense ? kBytes[random() % kBytes.size()] : static_cast<int>(random() % 255);
      byte = static_cast<std::byte>(value);
    }
    if (!isDense && data.size() > 1) data[random() % data.size()] = std::byte{0xFF};
    const std::size_t to = random() % (data.size() + 1);
    const std::size_t from = random() % (to + 1);
    const std::size_t expected = findPlainly(data, from, to);
    ASSERT_EQ(findMarker(data, from, to), expected) << "round " << round;
    ASSERT_EQ(findMarker(data, 0, data.size()), findPlainly(data, 0, data.size()));
    found += expected < to ? 1U : 0U;
  }
  EXPECT_GT(found, 5'000U);
}

TEST_P(MarkerSearch, PassesOverStuffedBytesAndRestartMarkers) {
  std::vector<std::byte> data(1000, std::byte{0x55});
  for (std::size_t i = 0; i < 900; i += 2) {
    data[i] = std::byte{0xFF};
    data[i + 1] = static_cast<std::byte>(i % 18 == 0 ? 0 : 0xD0 + (i / 2) % 8);
  }
  EXPECT_EQ(findMarker(data, 0, data.size()), data.size());
  data[951] = std::byte{0xFF};
  EXPECT_EQ(findMarker(data, 0, data.size()), 951U);
  EXPECT_EQ(findMarker(data, 0, 951), 951U);
  // The last byte has nothing behind it that would tell.
  data[951] = std::byte{0};
  data.back() = std::byte{0xFF};
  EXPECT_EQ(findMarker(data, 0, data.size()), data.size());
  // A byte behind `to` tells what stands before it.
  EXPECT_EQ(findMarker(data, 0, 901), 901U);
  data[900] = std::byte{0xFF};
  data[901] = std::byte{0xD9};
  EXPECT_EQ(findMarker(data, 0, 901), 900U);
}

INSTANTIATE_TEST_SUITE_P(, MarkerSearch, testing::ValuesIn(hwy::SupportedAndGeneratedTargets()),
                         [](const auto& param) { return hwy::TargetName(param.param); });

}  // namespace
}  // namespace kelvo::jpeg
