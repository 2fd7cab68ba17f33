// Comparisons that estimates of sine and cosine settle come out as if there were no estimates.
#include <cmath>
#include <functional>
#include <random>
#include <utility>

#include "tests/kernel_language/executable_support.h"

namespace kelvo::kernel_language {
namespace {

constexpr Pixel kNoPixel{kNoValue, kNoValue, kNoValue, kNoValue};

bool estimates(const Executable& executable) {
  return executable.listing().find("skipSettled") != std::string::npos;
}

// How far a colour is from another in a cone of hues, squared; by three levels.
struct Cone {
  ValueId sine = kNoValue;
  ValueId distance = kNoValue;
};
Cone coneDistance(Builder& b) {
  const auto op = [&b](Op code, ValueId x, ValueId y) { return b.binary(code, x, y); };
  const std::array rgb{b.input(0, 0), b.input(0, 1), b.input(0, 2)};
  const ValueId low = op(Op::min, rgb[0], op(Op::min, rgb[1], rgb[2]));
  const ValueId high = op(Op::max, rgb[0], op(Op::max, rgb[1], rgb[2]));
  const ValueId chroma = op(Op::sub, high, low);
  const ValueId hue =
      op(Op::sub, b.constant(3.0F), op(Op::div, op(Op::sub, rgb[1], rgb[2]), chroma));
  const ValueId saturation = op(Op::div, chroma, high);
  const ValueId sine = b.unary(Op::sin, hue);
  const ValueId across =
      op(Op::add, op(Op::mul, saturation, b.unary(Op::cos, hue)), b.constant(0.3F));
  const ValueId along = op(Op::add, op(Op::mul, saturation, sine), b.constant(0.1F));
  const ValueId up = op(Op::sub, high, b.constant(0.75F));
  return {sine, op(Op::add, op(Op::add, op(Op::mul, up, up), op(Op::mul, across, across)),
                   op(Op::mul, along, along))};
}

Executable compileFor(const PixelLayout& input, const PixelLayout& output,
                      const std::function<ValueId(Builder&)>& build) {
  Builder b;
  const ValueId value = build(b);
  Pixel result = kNoPixel;
  result.fill(value);
  result[3] = b.constant(1.0F);
  const std::array inputs{input};
  return Executable::compile(b.finish(result), inputs, output);
}

ValueId asLevel(Builder& b, ValueId mask) {
  return b.select(mask, b.constant(1.0F), b.constant(0.0F));
}

// Sixteen levels of each component, so that many pixels lie on and next to every threshold.
std::vector<std::byte> colors() {
  std::vector<std::byte> bytes;
  for (unsigned r = 0; r < 16; ++r) {
    for (unsigned g = 0; g < 16; ++g) {
      for (unsigned b = 0; b < 16; ++b) {
        for (const unsigned level : {r, g, b}) bytes.push_back(static_cast<std::byte>(17 * level));
      }
    }
  }
  return bytes;
}
constexpr std::size_t kColors = 4096;

TEST(Estimates, ComparisonsAtTheThresholdItselfAreExact) {
  const std::vector<std::vector<std::byte>> source{colors()};
  const ForcedTarget plain("SCALAR");
  const std::vector<float> distances = valuesOf<float>(
      runRow(compileFor(kRgb8, kRgbaFloat, [](Builder& b) { return coneDistance(b).distance; }),
             source, kRgbaFloat, kColors));
  std::mt19937 random(3);
  std::size_t compared = 0;
  for (int round = 0; round < 200; ++round) {
    const float distance = distances[4 * (random() % kColors)];
    if (std::isnan(distance)) continue;  // grey has no hue
    for (const float threshold :
         {std::nextafter(distance, -kInfinity), distance, std::nextafter(distance, kInfinity)}) {
      const Op op = round % 2 == 0 ? Op::less : Op::lessEqual;
      const bool constantFirst = round % 4 < 2;
      const Executable executable = compileFor(kRgb8, kRgb8, [&](Builder& b) {
        const ValueId value = coneDistance(b).distance;
        const ValueId k = b.constant(threshold);
        return asLevel(b, constantFirst ? b.binary(op, k, value) : b.binary(op, value, k));
      });
      ASSERT_TRUE(estimates(executable)) << executable.listing();
      std::vector<std::byte> expected;
      for (std::size_t i = 0; i < kColors; ++i) {
        const float left = constantFirst ? threshold : distances[4 * i];
        const float right = constantFirst ? distances[4 * i] : threshold;
        const bool holds = op == Op::less ? left < right : left <= right;
        expected.insert(expected.end(), 3, holds ? std::byte{255} : std::byte{0});
      }
      for (const std::string& target : targets()) {
        const ForcedTarget forced(target);
        ASSERT_EQ(runRow(executable, source, kRgb8, kColors), expected) << target;
        ++compared;
      }
    }
  }
  EXPECT_GT(compared, 0U);
}

// Far from the threshold everywhere: nothing is computed twice, and nothing is different.
TEST(Estimates, ComparisonsFarFromTheThresholdAreSettled) {
  const std::vector<std::vector<std::byte>> source{colors()};
  const Executable executable = compileFor(kRgb8, kRgb8, [](Builder& b) {
    return asLevel(b, b.binary(Op::less, coneDistance(b).distance, b.constant(50.0F)));
  });
  // A range says that it always holds, but for grey.
  for (const std::string& target : targets()) {
    const ForcedTarget forced(target);
    const std::vector<std::byte> result = runRow(executable, source, kRgb8, kColors);
    for (std::size_t i = 0; i < kColors; ++i) {
      const auto at = [&](std::size_t c) { return source[0][3 * i + c]; };
      const bool isGrey = at(0) == at(1) && at(1) == at(2);
      ASSERT_EQ(result[3 * i], isGrey ? std::byte{0} : std::byte{255}) << target << ' ' << i;
    }
  }
}

// (r cos h - 0.3)^2 + (r sin h + 0.2)^2
ValueId squaredDistance(Builder& b, ValueId radius, ValueId angle) {
  ValueId sum = kNoValue;
  for (const auto& [function, offset] : {std::pair{Op::cos, -0.3F}, std::pair{Op::sin, 0.2F}}) {
    const ValueId along = b.binary(Op::mul, radius, b.unary(function, angle));
    const ValueId away = b.binary(Op::add, along, b.constant(offset));
    const ValueId square = b.binary(Op::mul, away, away);
    sum = sum == kNoValue ? square : b.binary(Op::add, sum, square);
  }
  return sum;
}

// Angles far beyond what estimates are made for, in between ordinary ones.
TEST(Estimates, LargeAnglesAreComputedExactly) {
  const Executable executable = compileFor(kRgb16, kRgb8, [](Builder& b) {
    const ValueId angle = b.binary(Op::mul, b.input(0, 0), b.constant(1000.0F));
    const ValueId distance = squaredDistance(b, b.input(0, 1), angle);
    return asLevel(b, b.binary(Op::less, distance, b.constant(0.5F)));
  });
  ASSERT_TRUE(estimates(executable)) << executable.listing();
  std::vector<std::uint16_t> samples;
  for (std::uint32_t i = 0; i < 65536; ++i) {
    samples.insert(samples.end(), 3, static_cast<std::uint16_t>(i * 40503U));
  }
  const std::vector<std::vector<std::byte>> source{bytesOf(samples)};
  std::vector<std::byte> expected;
  for (std::size_t i = 0; i < 65536; ++i) {
    const float radius = static_cast<float>(samples[3 * i]) / 65535.0F;
    const auto angle = static_cast<double>(radius * 1000.0F);
    const float across = radius * static_cast<float>(std::cos(angle)) + -0.3F;
    const float along = radius * static_cast<float>(std::sin(angle)) + 0.2F;
    const bool isNear = across * across + along * along < 0.5F;
    expected.insert(expected.end(), 3, isNear ? std::byte{255} : std::byte{0});
  }
  for (const std::string& target : targets()) {
    const ForcedTarget forced(target);
    EXPECT_TRUE(runRow(executable, source, kRgb8, 65536) == expected) << target;
  }
}

TEST(Estimates, AreNotMadeOfWhatTheResultShows) {
  const auto compiled = [](const std::function<ValueId(Builder&)>& build) {
    return compileFor(kRgb8, kRgb8, build);
  };
  const auto near = [](Builder& b, ValueId value) {
    return b.binary(Op::less, value, b.constant(0.4F));
  };
  EXPECT_TRUE(estimates(
      compiled([&](Builder& b) { return asLevel(b, near(b, coneDistance(b).distance)); })));
  // The sine itself, the distance itself, a second comparison, and one without a constant.
  EXPECT_FALSE(estimates(compiled([&](Builder& b) {
    const Cone cone = coneDistance(b);
    return b.select(near(b, cone.distance), cone.sine, b.constant(0.0F));
  })));
  EXPECT_FALSE(estimates(compiled([&](Builder& b) {
    const Cone cone = coneDistance(b);
    return b.select(near(b, cone.distance), cone.distance, b.constant(0.0F));
  })));
  EXPECT_FALSE(estimates(compiled([&](Builder& b) {
    const Cone cone = coneDistance(b);
    const ValueId other = b.binary(Op::less, cone.distance, b.constant(0.2F));
    return asLevel(b, b.binary(Op::maskXor, near(b, cone.distance), other));
  })));
  EXPECT_FALSE(estimates(compiled([&](Builder& b) {
    return asLevel(b, b.binary(Op::less, coneDistance(b).distance, b.input(0, 0)));
  })));
  // What is no distance.
  EXPECT_FALSE(estimates(compiled([&](Builder& b) {
    const ValueId angle = b.input(0, 0);
    const ValueId sum = b.binary(Op::add, b.unary(Op::sin, angle), b.unary(Op::cos, angle));
    return asLevel(b, near(b, sum));
  })));
  // Of floats nothing is known that would bound the error.
  EXPECT_FALSE(estimates(compileFor(kRgbaFloat, kRgb8, [&](Builder& b) {
    return asLevel(b, near(b, coneDistance(b).distance));
  })));
}

// The plain implementation estimates nothing.
void expectAsPlain(const Executable& executable) {
  ASSERT_TRUE(estimates(executable)) << executable.listing();
  const std::vector<std::vector<std::byte>> source{colors()};
  const auto run = [&](const std::string& target) {
    const ForcedTarget forced(target);
    return runRow(executable, source, kRgb8, kColors);
  };
  const std::vector<std::byte> expected = run("SCALAR");
  for (const std::string& target : targets()) EXPECT_TRUE(run(target) == expected) << target;
}

// What the comparison needs and what serves others too is there whether it is settled or not.
TEST(Estimates, WhatElseIsNeededStays) {
  const Executable executable = compileFor(kRgb8, kRgb8, [](Builder& b) {
    const ValueId angle = b.binary(Op::mul, b.input(0, 0), b.constant(6.0F));
    const ValueId other = b.binary(Op::mul, b.input(0, 1), b.input(0, 2));
    const ValueId distance = b.binary(Op::add, b.binary(Op::mul, other, b.input(0, 0)),
                                      squaredDistance(b, other, angle));
    const ValueId mask = b.binary(Op::less, distance, b.constant(0.25F));
    return b.select(mask, other, b.input(0, 0));
  });
  expectAsPlain(executable);
}

// The distance between two moving points: the one is estimated, the other computed for it.
TEST(Estimates, OneOfTwoMovingPointsIsEstimated) {
  const Executable executable = compileFor(kRgb8, kRgb8, [](Builder& b) {
    const ValueId one =
        squaredDistance(b, b.input(0, 1), b.binary(Op::mul, b.input(0, 0), b.constant(6.0F)));
    const ValueId two =
        squaredDistance(b, b.input(0, 0), b.binary(Op::mul, b.input(0, 2), b.constant(-3.0F)));
    return asLevel(b, b.binary(Op::less, b.binary(Op::add, one, two), b.constant(0.9F)));
  });
  expectAsPlain(executable);
}

}  // namespace
}  // namespace kelvo::kernel_language
