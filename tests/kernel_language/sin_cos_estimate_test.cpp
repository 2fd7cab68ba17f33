// Estimates of sine and cosine keep what they promise, on every target.
#define HWY_WANT_AVX3_DL
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tests/kernel_language/sin_cos_estimate_test.cpp"
#include <hwy/foreach_target.h>
// After foreach_target.
#include <hwy/highway.h>

#include "platform/kernel_language/vector_estimates-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kelvo::kernel_language {
namespace HWY_NAMESPACE {

// The angles that one call takes, or 0 where there are no vectors.
std::size_t estimate(const float* angles, float* sines, float* cosines) {
#if HWY_TARGET == HWY_SCALAR
  (void)angles, (void)sines, (void)cosines;
  return 0;
#else
  sinCosEstimateCall(sines, cosines, angles);
  return kBlock;
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

class SinCosEstimate : public testing::TestWithParam<std::int64_t> {
 protected:
  void SetUp() override { hwy::SetSupportedTargetsForTest(GetParam()); }
  void TearDown() override { hwy::SetSupportedTargetsForTest(0); }

  // `check(angle, sine, cosine)` for `count` angles.
  static void forAngles(std::size_t count, const std::function<float(std::size_t)>& angleAt,
                        const std::function<void(float, float, float)>& check) {
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    constexpr std::size_t kMost = 128;
    alignas(64) std::array<float, kMost> angles{};
    alignas(64) std::array<float, kMost> sines{};
    alignas(64) std::array<float, kMost> cosines{};
    const std::size_t block =
        HWY_DYNAMIC_DISPATCH(estimate)(angles.data(), sines.data(), cosines.data());
    ASSERT_GT(block, 0U);
    ASSERT_LE(block, kMost);
    for (std::size_t done = 0; done < count; done += block) {
      for (std::size_t i = 0; i < block; ++i) angles[i] = angleAt(done + i);
      HWY_DYNAMIC_DISPATCH(estimate)(angles.data(), sines.data(), cosines.data());
      for (std::size_t i = 0; i < block; ++i) {
        check(angles[i], sines[i], cosines[i]);
        if (testing::Test::HasFailure()) return;
      }
    }
  }
};

TEST_P(SinCosEstimate, IsAsCloseAsPromised) {
  // Every 977th float from -32 to 32: all exponents, and low bits of every kind.
  const auto most = std::bit_cast<std::uint32_t>(kEstimatedAngle);
  const std::size_t count = 2 * (most / 977);
  double worst = 0.0;
  forAngles(
      count,
      [](std::size_t i) {
        const float size = std::bit_cast<float>(static_cast<std::uint32_t>(i / 2 * 977));
        return i % 2 == 0 ? size : -size;
      },
      [&worst](float angle, float sine, float cosine) {
        if (!(std::fabs(angle) <= kEstimatedAngle)) return;  // beyond the last of them
        const double sineError = std::fabs(sine - std::sin(static_cast<double>(angle)));
        const double cosineError = std::fabs(cosine - std::cos(static_cast<double>(angle)));
        worst = std::max({worst, sineError, cosineError});
        // The floats that they stand for are off by half a unit in the last place themselves.
        ASSERT_LT(std::max(sineError, cosineError), kSinCosEstimateError - 0x1p-25) << angle;
      });
  EXPECT_GT(worst, 0.0);
}

TEST_P(SinCosEstimate, IsNotANumberForLargeAngles) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  const std::array angles{
      std::nextafter(kEstimatedAngle, kInfinity), -33.0F, 1e5F, -1e30F, kInfinity, -kInfinity,
      std::numeric_limits<float>::quiet_NaN()};
  forAngles(
      128, [&](std::size_t i) { return angles[i % angles.size()]; },
      [](float angle, float sine, float cosine) {
        ASSERT_TRUE(std::isnan(sine) && std::isnan(cosine)) << angle;
      });
}

std::vector<std::int64_t> targetsWithVectors() {
  std::vector<std::int64_t> targets = hwy::SupportedAndGeneratedTargets();
  std::erase(targets, HWY_SCALAR);
  return targets;
}

INSTANTIATE_TEST_SUITE_P(, SinCosEstimate, testing::ValuesIn(targetsWithVectors()),
                         [](const auto& param) { return hwy::TargetName(param.param); });

}  // namespace
}  // namespace kelvo::kernel_language
#endif
