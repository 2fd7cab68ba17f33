// Programs as the builder leaves them: equal instructions joined, constants folded, identities
// applied only where they hold.
#include <cmath>
#include <random>

#include "tests/kernel_language/executable_support.h"

namespace kelvo::kernel_language {
namespace {

bool sameBits(float a, float b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

TEST(IrBuilder, EqualInstructionsBecomeOne) {
  Builder b;
  const ValueId x = b.input(0, 0);
  const ValueId y = b.input(0, 1);
  EXPECT_EQ(b.input(0, 0), x);
  EXPECT_EQ(b.binary(Op::sub, x, y), b.binary(Op::sub, x, y));
  EXPECT_NE(b.binary(Op::sub, x, y), b.binary(Op::sub, y, x));
  EXPECT_EQ(b.binary(Op::add, x, y), b.binary(Op::add, y, x));
  EXPECT_EQ(b.binary(Op::mul, x, y), b.binary(Op::mul, y, x));
  EXPECT_EQ(b.constant(0.5F), b.constant(0.5F));
  EXPECT_NE(b.constant(0.0F), b.constant(-0.0F));
}

TEST(IrBuilder, MinimumAndMaximumDoNotExchangeTheirOperands) {
  Builder b;
  const ValueId x = b.input(0, 0);
  const ValueId y = b.input(0, 1);
  EXPECT_NE(b.binary(Op::min, x, y), b.binary(Op::min, y, x));
  EXPECT_NE(b.binary(Op::max, x, y), b.binary(Op::max, y, x));
}

TEST(IrBuilder, IdentitiesThatHoldForEveryFloatAreApplied) {
  Builder b;
  const ValueId x = b.input(0, 0);
  const ValueId mask = b.binary(Op::less, x, b.input(0, 1));
  EXPECT_EQ(b.binary(Op::mul, x, b.constant(1.0F)), x);
  EXPECT_EQ(b.binary(Op::div, x, b.constant(1.0F)), x);
  EXPECT_EQ(b.binary(Op::sub, x, b.constant(0.0F)), x);
  EXPECT_EQ(b.binary(Op::add, x, b.constant(-0.0F)), x);
  EXPECT_EQ(b.unary(Op::neg, b.unary(Op::neg, x)), x);
  EXPECT_EQ(b.binary(Op::min, x, x), x);
  EXPECT_EQ(b.select(mask, x, x), x);
  EXPECT_EQ(b.select(b.constantMask(true), x, b.input(0, 1)), x);
  EXPECT_EQ(b.unary(Op::maskNot, b.unary(Op::maskNot, mask)), mask);
  EXPECT_EQ(b.binary(Op::maskAnd, mask, b.constantMask(true)), mask);
  EXPECT_EQ(b.binary(Op::maskOr, mask, mask), mask);
  EXPECT_EQ(b.binary(Op::div, x, b.constant(4.0F)), b.binary(Op::mul, x, b.constant(0.25F)));
  EXPECT_EQ(b.unary(Op::floor, b.unary(Op::floor, x)), b.unary(Op::floor, x));
}

TEST(IrBuilder, WhatChangesASignedZeroOrAHiddenNumberStays) {
  Builder b;
  const ValueId x = b.input(0, 0);  // nothing is known about it
  EXPECT_NE(b.binary(Op::add, x, b.constant(0.0F)), x);
  EXPECT_NE(b.binary(Op::sub, x, b.constant(-0.0F)), x);
  EXPECT_FALSE(b.constantValue(b.binary(Op::mul, x, b.constant(0.0F))).has_value());
  EXPECT_FALSE(b.constantValue(b.binary(Op::sub, x, x)).has_value());
  EXPECT_NE(b.binary(Op::equal, x, x), b.constantMask(true));
  EXPECT_NE(b.binary(Op::div, x, b.constant(3.0F)), b.binary(Op::mul, x, b.constant(1.0F / 3.0F)));
  EXPECT_NE(b.binary(Op::max, x, b.constant(0.0F)), x);
}

TEST(IrBuilder, InputsWithinZeroAndOneNeedNoLimits) {
  Builder b;
  b.assumeUnitRange(0);
  const ValueId x = b.input(0, 0);
  EXPECT_EQ(b.binary(Op::min, b.binary(Op::max, x, b.constant(0.0F)), b.constant(1.0F)), x);
  EXPECT_EQ(b.binary(Op::add, x, b.constant(0.0F)), x);
  EXPECT_EQ(b.constantValue(b.binary(Op::mul, x, b.constant(0.0F))), 0.0F);
  EXPECT_EQ(b.binary(Op::less, x, b.constant(0.0F)), b.constantMask(false));
  EXPECT_EQ(b.constantValue(b.binary(Op::sub, x, x)), 0.0F);
  const ValueId other = b.input(1, 0);
  EXPECT_NE(b.binary(Op::add, other, b.constant(0.0F)), other);
}

TEST(IrBuilder, RangesFollowArithmetic) {
  Builder b;
  b.assumeUnitRange(0);
  const ValueId x = b.input(0, 0);
  const ValueId shifted =
      b.binary(Op::add, b.binary(Op::mul, x, b.constant(2.0F)), b.constant(1.0F));
  EXPECT_EQ(b.binary(Op::less, shifted, b.constant(1.0F)), b.constantMask(false));
  EXPECT_NE(b.binary(Op::less, shifted, b.constant(1.5F)), b.constantMask(false));
  EXPECT_TRUE(b.isWithin(shifted, 3.0F));
  EXPECT_FALSE(b.isWithin(shifted, 2.9F));
  EXPECT_FALSE(b.isWithin(b.binary(Op::div, x, b.input(0, 1)), 1e30F));
}

TEST(IrBuilder, SelectionsByOneMaskMeet) {
  Builder b;
  const ValueId x = b.input(0, 0);
  const ValueId y = b.input(0, 1);
  const ValueId z = b.input(0, 2);
  const ValueId mask = b.binary(Op::less, x, y);
  const ValueId inner = b.select(mask, x, y);
  EXPECT_EQ(b.select(mask, inner, z), b.select(mask, x, z));
  EXPECT_EQ(b.select(mask, z, inner), b.select(mask, z, y));
  EXPECT_EQ(b.select(mask, inner, b.select(mask, z, y)), inner);
}

// Opacity of 1 or 0 by a mask, as filters make it that drop some pixels.
TEST(IrBuilder, OpacityByAMaskCostsNoDivision) {
  Builder b;
  b.assumeUnitRange(0);
  const ValueId x = b.input(0, 0);
  const ValueId zero = b.constant(0.0F);
  const ValueId mask = b.binary(Op::less, x, b.input(0, 1));
  const ValueId alpha = b.select(mask, b.constant(1.0F), zero);
  const ValueId dropped = b.binary(Op::mul, x, alpha);
  EXPECT_EQ(dropped, b.select(mask, x, zero));
  const ValueId empty = b.binary(Op::equal, alpha, zero);
  EXPECT_EQ(empty, b.unary(Op::maskNot, mask));
  EXPECT_EQ(b.select(empty, zero, b.binary(Op::div, dropped, alpha)), dropped);
  // Put over what it came from.
  const ValueId behind = b.binary(Op::mul, x, b.binary(Op::sub, b.constant(1.0F), alpha));
  EXPECT_EQ(b.binary(Op::add, dropped, behind), x);
}

TEST(IrBuilder, SelectionsStayBeforeWorkThatBothSidesWouldDo) {
  Builder b;
  const ValueId x = b.input(0, 0);
  const ValueId y = b.input(0, 1);
  const ValueId mask = b.binary(Op::less, x, y);
  const ValueId root = b.unary(Op::sqrt, b.select(mask, x, y));
  const Program program = b.finish({root, root, root, root});
  int roots = 0;
  for (const Instruction& in : program.instructions) roots += in.op == Op::sqrt ? 1 : 0;
  EXPECT_EQ(roots, 1);
  EXPECT_EQ(program.instructions.size(), 5U);
}

TEST(IrBuilder, FinishDropsWhatNobodyNeeds) {
  Builder b;
  const ValueId x = b.input(0, 0);
  b.unary(Op::sqrt, x);
  const ValueId doubled = b.binary(Op::add, x, x);
  const Program program = b.finish({doubled, doubled, doubled, doubled});
  ASSERT_EQ(program.instructions.size(), 2U);
  EXPECT_EQ(program.instructions[0].op, Op::input);
  EXPECT_EQ(program.instructions[1].op, Op::add);
  EXPECT_EQ(program.outputs, (Pixel{1, 1, 1, 1}));
}

// A program of operations on `x` and `y`, each of which is a constant or an input that will hold
// the same value: folding must not change the result.
ValueId buildMixture(Builder& b, std::uint32_t seed, const std::vector<ValueId>& leaves) {
  std::mt19937 random(seed);
  std::vector<ValueId> values = leaves;
  const auto pick = [&] { return values[random() % values.size()]; };
  constexpr std::array kUnary{Op::neg,  Op::abs, Op::sign, Op::floor, Op::ceil, Op::fract,
                              Op::sqrt, Op::exp, Op::exp2, Op::log,   Op::log2, Op::sin,
                              Op::cos,  Op::tan, Op::asin, Op::acos,  Op::atan};
  constexpr std::array kBinary{Op::add, Op::sub, Op::mul, Op::div,  Op::min,
                               Op::max, Op::mod, Op::pow, Op::atan2};
  constexpr std::array kCompare{Op::less, Op::lessEqual, Op::equal, Op::notEqual};
  for (int i = 0; i < 12; ++i) {
    switch (random() % 4) {
      case 0:
        values.push_back(b.unary(kUnary[random() % kUnary.size()], pick()));
        break;
      case 1: {
        const ValueId first = pick();
        const ValueId second = pick();
        const ValueId mask = b.binary(kCompare[random() % kCompare.size()], first, second);
        const ValueId yes = pick();
        const ValueId no = pick();
        values.push_back(b.select(mask, yes, no));
        break;
      }
      default: {
        const ValueId first = pick();
        const ValueId second = pick();
        values.push_back(b.binary(kBinary[random() % kBinary.size()], first, second));
      }
    }
  }
  return values.back();
}

float evaluate(std::uint32_t seed, const std::array<float, 4>& leaves, unsigned constants) {
  Builder b;
  std::vector<ValueId> values;
  for (std::uint32_t c = 0; c < 4; ++c) {
    const bool known = (constants >> c & 1U) != 0;
    values.push_back(known ? b.constant(leaves[c]) : b.input(0, c));
  }
  const ValueId result = buildMixture(b, seed, values);
  const std::array inputs{kRgbaFloat};
  const Executable executable =
      Executable::compile(b.finish({result, result, result, result}), inputs, kRgbaFloat);
  const std::vector<float> pixel(leaves.begin(), leaves.end());
  return valuesOf<float>(runRow(executable, {bytesOf(pixel)}, kRgbaFloat, 1))[0];
}

TEST(IrBuilder, FoldingNeverChangesAResult) {
  std::mt19937 random(99);
  for (std::uint32_t seed = 0; seed < 4000; ++seed) {
    std::array<float, 4> leaves{};
    for (float& leaf : leaves) leaf = awkwardFloats()[random() % awkwardFloats().size()];
    const float computed = evaluate(seed, leaves, 0);
    for (const unsigned constants : {1U, 2U, 5U, 10U, 7U, 15U}) {
      const float folded = evaluate(seed, leaves, constants);
      ASSERT_TRUE(sameBits(folded, computed)) << "program " << seed << ", constants " << constants
                                              << ": " << folded << ", not " << computed;
    }
  }
}

// The same over 8-bit sources, whose range is known.
TEST(IrBuilder, FoldingByRangeNeverChangesAResult) {
  std::mt19937 random(100);
  for (std::uint32_t seed = 0; seed < 3000; ++seed) {
    std::vector<std::uint8_t> bytes;
    std::vector<float> floats;
    for (int i = 0; i < 32; ++i) {
      for (int c = 0; c < 4; ++c) {
        const auto level = static_cast<std::uint8_t>(random() % 3 == 0   ? 0
                                                     : random() % 2 == 0 ? 255
                                                                         : random() % 256);
        bytes.push_back(level);
        floats.push_back(static_cast<float>(level) / 255.0F);
      }
    }
    Builder b;
    std::vector<ValueId> leaves;
    for (std::uint32_t c = 0; c < 3; ++c) leaves.push_back(b.input(0, c));
    for (const float k : {0.0F, -0.0F, 1.0F, 0.5F, -2.0F}) leaves.push_back(b.constant(k));
    const ValueId result = buildMixture(b, seed, leaves);
    const Program program = b.finish({result, result, result, result});
    const std::array narrow{kRgba8};
    const std::array wide{kRgbaFloat};
    const auto known = valuesOf<float>(
        runRow(Executable::compile(program, narrow, kRgbaFloat), {bytesOf(bytes)}, kRgbaFloat, 32));
    const auto unknown = valuesOf<float>(
        runRow(Executable::compile(program, wide, kRgbaFloat), {bytesOf(floats)}, kRgbaFloat, 32));
    for (std::size_t i = 0; i < known.size(); ++i) {
      ASSERT_TRUE(sameBits(known[i], unknown[i])) << "program " << seed << ": " << known[i];
    }
  }
}

}  // namespace
}  // namespace kelvo::kernel_language
