#include "kernels/levels_filter.h"

#include <gtest/gtest.h>

#include "tests/support/formula.h"

namespace kelvo {
namespace {

using testing::expectFormula;
using testing::floatImage;
using testing::Rgba;
using testing::Rgba8;

struct Tone {
  double centre, below, above, weight;

  [[nodiscard]] CIVector vector() const {
    return CIVector::vectorWithX_Y_Z_W(centre, below, above, weight);
  }
  // 1 at the centre, falling smoothly to 0 where the slopes reach -1, and 0 from there on.
  [[nodiscard]] double bump(double p) const {
    double u = p - centre;
    u *= u < 0 ? below : above;
    return u + 1 < 0 ? 0 : 1 - (3 + 2 * u) * u * u;
  }
};

constexpr Tone kNone{0, 0, 0, 0};

CIImageRef levels(const CIImageRef& input, double offset, double gain, const Tone& midtone = kNone,
                  const Tone& dark = kNone, const Tone& light = kNone) {
  TQLevelsFilter::initialize();
  return testing::filtered("TQLevelsFilter", input,
                           {{"linear", CIVector::vectorWithX_Y(offset, gain)},
                            {"midtone", midtone.vector()},
                            {"dark", dark.vector()},
                            {"light", light.vector()}});
}

TEST(LevelsFilter, AStraightLineOfGainOneWithoutBumpsGivesTheInput) {
  const auto cube = testing::colorCube();
  EXPECT_EQ(testing::rendered(levels(testing::image(cube, testing::kOpaque8), 0, 1)), cube);
  const CIImageRef translucent = testing::image(testing::translucentPixels(), testing::kStraight8);
  EXPECT_EQ(testing::rendered(levels(translucent, 0, 1)), testing::rendered(translucent));
}

TEST(LevelsFilter, ABumpIsExactlyOneAtItsCentreAndExactlyZeroAtBlackAndWhite) {
  // Black 0.25, centre 0.5, white 1: every step is exact.
  const Tone tone{0.5, 4, -2, 1};
  const CIImageRef input =
      floatImage({{0.5F, 0.25F, 1, 1}, {0.375F, 0.75F, 0, 1}, {1.5F, -3, 0.125F, 1}});
  for (const int slot : {0, 1, 2}) {
    const auto out = testing::renderedFloats(levels(
        input, 0, 0, slot == 0 ? tone : kNone, slot == 1 ? tone : kNone, slot == 2 ? tone : kNone));
    ASSERT_EQ(out.size(), 3U);
    EXPECT_EQ(out[0], (std::array<float, 4>{1, 0, 0, 1})) << slot;
    // Half way to either end: 1 - (3 - 1) / 4.
    EXPECT_EQ(out[1], (std::array<float, 4>{0.5F, 0.5F, 0, 1})) << slot;
    EXPECT_EQ(out[2], (std::array<float, 4>{0, 0, 0, 1})) << slot;
  }
}

TEST(LevelsFilter, BeyondTheWhitePointThereIsOnlyTheLineWhichIsNotLimited) {
  const Tone tone{0.5, 2, -2, 0.25};
  const auto out =
      testing::renderedFloats(levels(floatImage({{1.5F, -0.5F, 0.5F, 1}}), -0.5, 2, tone));
  EXPECT_EQ(out.at(0), (std::array<float, 4>{2.5F, -1.5F, 0.75F, 1}));
}

TEST(LevelsFilter, EveryPixelFollowsTheFormula) {
  const Tone midtone{0.4, 1 / 0.3, -1 / 0.5, 0.17};
  const Tone dark{0.2, 1 / 0.1, -1 / 0.3, -0.11};
  const Tone light{0.7, 1 / 0.2, -1 / 0.25, 0.23};
  expectFormula([&](const CIImageRef& in) { return levels(in, -0.125, 1.2, midtone, dark, light); },
                [&](const Rgba& c) {
                  Rgba out = c;
                  for (std::size_t i = 0; i < 3; ++i) {
                    out[i] = -0.125 + 1.2 * c[i] + midtone.bump(c[i]) * midtone.weight +
                             dark.bump(c[i]) * dark.weight + light.bump(c[i]) * light.weight;
                  }
                  return out;
                });
}

TEST(LevelsFilter, ChannelsArePulledIndependently) {
  const Tone tone{0.5, 2, -2, 0.5};
  const auto out = testing::renderedFloats(levels(floatImage({{0, 0.5F, 1, 1}}), 0, 1, tone));
  EXPECT_EQ(out.at(0), (std::array<float, 4>{0, 1, 1, 1}));
}

TEST(LevelsFilter, WhatABumpThatIsNotChosenWouldBeLeavesNoTrace) {
  // Far outside, the polynomial overflows.
  const Tone steep{0.5, 1e30, -1e30, 1};
  const auto out =
      testing::renderedFloats(levels(floatImage({{0.25F, 0.75F, 0.5F, 1}}), 0, 1, steep));
  EXPECT_EQ(out.at(0), (std::array<float, 4>{0.25F, 0.75F, 1.5F, 1}));
}

TEST(LevelsFilter, WithoutVectorsEverythingIsBlack) {
  TQLevelsFilter filter;
  filter.setValue_forKey(testing::image({{9, 99, 255, 255}}, testing::kOpaque8), "inputImage");
  EXPECT_EQ(testing::rendered(filter.outputImage()).at(0), (Rgba8{0, 0, 0, 255}));
}

TEST(LevelsFilter, ATransparentPixelStaysTransparentWhateverTheOffset) {
  EXPECT_EQ(
      testing::rendered(levels(testing::image({{9, 99, 255, 0}}, testing::kStraight8), 0.7, 3))
          .at(0),
      (Rgba8{0, 0, 0, 0}));
}

}  // namespace
}  // namespace kelvo
