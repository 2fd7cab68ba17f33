// Comparisons with constants that look through monotonic arithmetic hold for the same floats.
#include <cmath>
#include <functional>
#include <random>

#include "platform/kernel_language/one_lane.h"
#include "tests/kernel_language/executable_support.h"

namespace kelvo::kernel_language {
namespace {

// A chain of operations on one value, as instructions and as plain arithmetic.
struct Link {
  std::function<ValueId(Builder&, ValueId)> build;
  std::function<float(float)> compute;
};

Link linkOf(unsigned kind, float k) {
  const auto with = [k](Op op, bool constantFirst) {
    return [=](Builder& b, ValueId x) {
      return constantFirst ? b.binary(op, b.constant(k), x) : b.binary(op, x, b.constant(k));
    };
  };
  const auto alone = [](Op op) { return [op](Builder& b, ValueId x) { return b.unary(op, x); }; };
  switch (kind % 8) {
    case 0:
      return {with(Op::add, false), [k](float x) { return x + k; }};
    case 1:
      return {with(Op::sub, false), [k](float x) { return x - k; }};
    case 2:
      return {with(Op::sub, true), [k](float x) { return k - x; }};
    case 3:
      return {with(Op::mul, false), [k](float x) { return x * k; }};
    case 4:
      return {with(Op::div, false), [k](float x) { return x / k; }};
    case 5:
      return {alone(Op::sqrt), [](float x) { return std::sqrt(x); }};
    case 6:
      return {alone(Op::neg), [](float x) { return -x; }};
    default:
      return {alone(Op::floor), [](float x) { return std::floor(x); }};
  }
}

// The mask of a program that ends in a comparison, for one value of its only input.
bool maskFor(const Program& program, float input) {
  std::vector<std::uint32_t> results;
  for (const Instruction& in : program.instructions) {
    const auto operand = [&](ValueId id) { return id == kNoValue ? 0U : results[id]; };
    switch (in.op) {
      case Op::constant:
      case Op::constantMask:
        results.push_back(in.immediate);
        break;
      case Op::input:
        results.push_back(std::bit_cast<std::uint32_t>(input));
        break;
      default:
        results.push_back(evaluateOneLane(in.op, operand(in.a), operand(in.b), operand(in.c)));
    }
  }
  return std::bit_cast<float>(results[program.outputs[0]]) == 1.0F;
}

Program programOf(Builder& b, ValueId mask) {
  const ValueId result = b.select(mask, b.constant(1.0F), b.constant(0.0F));
  return b.finish({result, result, result, result});
}

// What lies around `value`, and a few others.
std::vector<float> floatsAround(float value, const std::vector<float>& others) {
  std::vector<float> floats = others;
  float up = value;
  float down = value;
  for (int i = 0; i < 40; ++i) {
    floats.insert(floats.end(), {up, down});
    up = std::nextafter(up, kInfinity);
    down = std::nextafter(down, -kInfinity);
  }
  return floats;
}

std::size_t countOf(const Program& program, Op op) {
  std::size_t count = 0;
  for (const Instruction& in : program.instructions) count += in.op == op ? 1U : 0U;
  return count;
}

TEST(IrThresholds, AComparisonOfARootNeedsNoRoot) {
  Builder b;
  b.assumeUnitRange(0);
  const ValueId x = b.input(0, 0);
  const ValueId likeness =
      b.binary(Op::sub, b.constant(1.0F),
               b.binary(Op::mul, b.unary(Op::sqrt, b.binary(Op::mul, x, x)), b.constant(0.75F)));
  const Program program = programOf(b, b.binary(Op::less, b.constant(0.5F), likeness));
  EXPECT_EQ(countOf(program, Op::sqrt), 0U);
  EXPECT_EQ(countOf(program, Op::sub), 0U);
  EXPECT_EQ(countOf(program, Op::mul), 1U);
  for (const float value : floatsAround(2.0F / 3.0F, {0.0F, 0.5F, 1.0F})) {
    const float expected = 1.0F - std::sqrt(value * value) * 0.75F;
    EXPECT_EQ(maskFor(program, value), 0.5F < expected) << value;
  }
}

TEST(IrThresholds, TheRootOfWhatMayBeNegativeStays) {
  Builder b;
  const Program program =
      programOf(b, b.binary(Op::less, b.unary(Op::sqrt, b.input(0, 0)), b.constant(2.0F)));
  EXPECT_EQ(countOf(program, Op::sqrt), 1U);
  EXPECT_FALSE(maskFor(program, -1.0F));
  EXPECT_TRUE(maskFor(program, 1.0F));
  EXPECT_FALSE(maskFor(program, 4.0F));
}

TEST(IrThresholds, WhatIsNotANumberStaysOutsideOfAComparisonThatAlwaysHolds) {
  Builder b;
  const ValueId x = b.input(0, 0);
  const ValueId below =
      b.binary(Op::lessEqual, b.binary(Op::add, x, b.constant(1.0F)), b.constant(kInfinity));
  const Program program = programOf(b, below);
  EXPECT_TRUE(maskFor(program, kInfinity));
  EXPECT_TRUE(maskFor(program, -kInfinity));
  EXPECT_FALSE(maskFor(program, kNan));
}

// Chains of one to four links over everything, and over 0 to 1.
TEST(IrThresholds, ComparisonsHoldForTheSameFloats) {
  std::mt19937 random(7);
  constexpr std::array kConstants{0.5F, -0.25F, 3.0F, -1.5F, 0.0F, 1e-3F, 0.1F, 255.0F, -0.7F};
  const auto constant = [&] { return kConstants[random() % kConstants.size()]; };
  std::size_t moved = 0;
  for (int round = 0; round < 3000; ++round) {
    const bool isUnit = random() % 2 == 0;
    std::vector<Link> links;
    const std::size_t length = 1 + random() % 4;
    for (std::size_t i = 0; i < length; ++i) {
      const auto kind = static_cast<unsigned>(random());
      links.push_back(linkOf(kind, constant()));
    }
    const auto compute = [&](float x) {
      for (const Link& link : links) x = link.compute(x);
      return x;
    };
    // At a float that the chain reaches, where the comparison turns.
    const float turn = static_cast<float>(random() % 65536) / 65535.0F;
    const float limit = std::isfinite(compute(turn)) ? compute(turn) : 0.5F;
    const Op op = random() % 2 == 0 ? Op::less : Op::lessEqual;
    const bool constantFirst = random() % 2 == 0;

    Builder b;
    if (isUnit) b.assumeUnitRange(0);
    ValueId value = b.input(0, 0);
    for (const Link& link : links) value = link.build(b, value);
    const ValueId k = b.constant(limit);
    const Program program =
        programOf(b, constantFirst ? b.binary(op, k, value) : b.binary(op, value, k));
    moved += program.instructions.size() <= 6 ? 1U : 0U;

    std::vector<float> others{0.0F, 1.0F, 0.5F, 0.25F};
    if (!isUnit) others = awkwardFloats();
    for (const float x : floatsAround(turn, others)) {
      if (isUnit && !(x >= 0.0F && x <= 1.0F)) continue;
      if (isUnit && std::signbit(x)) continue;
      const float result = compute(x);
      const float left = constantFirst ? limit : result;
      const float right = constantFirst ? result : limit;
      const bool expected = op == Op::less ? left < right : left <= right;
      ASSERT_EQ(maskFor(program, x), expected) << "round " << round << ", " << x;
    }
  }
  EXPECT_GT(moved, 2000U);
}

}  // namespace
}  // namespace kelvo::kernel_language
