// Estimated cosines keep what they promise, on every target.
#define HWY_WANT_AVX3_DL
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tests/kernel_language/cos_estimate_test.cpp"
#include <hwy/foreach_target.h>
// After foreach_target.
#include <hwy/highway.h>

#include "platform/kernel_language/vector_estimates-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kelvo::kernel_language {
namespace HWY_NAMESPACE {

// The angles that one call takes, or 0 where there are no vectors. The cosines of angle + turn.
std::size_t estimate(const float* angles, float turn, float* cosines) {
#if HWY_TARGET == HWY_SCALAR
  (void)angles, (void)turn, (void)cosines;
  return 0;
#else
  const D d;
  const V sum = hn::Add(hn::Load(d, angles), hn::Set(d, turn));
  hn::Store(cosEstimateOf(sum), d, cosines);
  return kLanes;
#endif
}

}  // namespace HWY_NAMESPACE
}  // namespace kelvo::kernel_language
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <functional>
#include <limits>

namespace kelvo::kernel_language {
namespace {

HWY_EXPORT(estimate);

class CosEstimate : public testing::TestWithParam<std::int64_t> {
 protected:
  void SetUp() override { hwy::SetSupportedTargetsForTest(GetParam()); }
  void TearDown() override { hwy::SetSupportedTargetsForTest(0); }

  // `check(angle, cosine)` for `count` angles.
  static void forAngles(std::size_t count, float turn,
                        const std::function<float(std::size_t)>& angleAt,
                        const std::function<void(float, float)>& check) {
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    constexpr std::size_t kMost = 16;
    alignas(64) std::array<float, kMost> angles{};
    alignas(64) std::array<float, kMost> cosines{};
    const std::size_t lanes = HWY_DYNAMIC_DISPATCH(estimate)(angles.data(), turn, cosines.data());
    ASSERT_GT(lanes, 0U);
    ASSERT_LE(lanes, kMost);
    for (std::size_t done = 0; done < count; done += lanes) {
      for (std::size_t i = 0; i < lanes; ++i) angles[i] = angleAt(done + i);
      HWY_DYNAMIC_DISPATCH(estimate)(angles.data(), turn, cosines.data());
      for (std::size_t i = 0; i < lanes; ++i) {
        check(angles[i], cosines[i]);
        if (testing::Test::HasFailure()) return;
      }
    }
  }
};

TEST_P(CosEstimate, IsAsCloseAsPromised) {
  // Every 977th float from -16 to 16: all exponents, and low bits of every kind.
  const auto most = std::bit_cast<std::uint32_t>(kEstimatedAngle);
  const std::size_t count = 2 * (most / 977);
  double worst = 0.0;
  for (const float turn : {0.0F, -0.7F, 3.1415927F}) {
    forAngles(
        count, turn,
        [](std::size_t i) {
          const float size = std::bit_cast<float>(static_cast<std::uint32_t>(i / 2 * 977));
          return i % 2 == 0 ? size : -size;
        },
        [&worst, turn](float angle, float cosine) {
          if (!(std::fabs(angle + turn) <= kEstimatedAngle)) return;
          const double exact = std::cos(static_cast<double>(angle) + static_cast<double>(turn));
          const double error = std::fabs(static_cast<double>(cosine) - exact);
          worst = std::max(worst, error);
          ASSERT_LT(error, static_cast<double>(kCosEstimateError)) << angle << " + " << turn;
        });
  }
  EXPECT_GT(worst, 0.0);
}

TEST_P(CosEstimate, IsNotANumberForLargeAngles) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  const std::array angles{
      std::nextafter(kEstimatedAngle, kInfinity), -17.0F, 1e5F, -1e30F, kInfinity, -kInfinity,
      std::numeric_limits<float>::quiet_NaN()};
  forAngles(
      128, 0.0F, [&](std::size_t i) { return angles[i % angles.size()]; },
      [](float angle, float cosine) { ASSERT_TRUE(std::isnan(cosine)) << angle; });
}

std::vector<std::int64_t> targetsWithVectors() {
  std::vector<std::int64_t> targets = hwy::SupportedAndGeneratedTargets();
  std::erase(targets, HWY_SCALAR);
  return targets;
}

INSTANTIATE_TEST_SUITE_P(, CosEstimate, testing::ValuesIn(targetsWithVectors()),
                         [](const auto& param) { return hwy::TargetName(param.param); });

}  // namespace
}  // namespace kelvo::kernel_language
#endif
