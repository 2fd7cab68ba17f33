// Every operation on every target, against an evaluation of its own that spells out the rules of
// ir.h.
#include <array>
#include <cmath>
#include <functional>
#include <random>

#include "tests/kernel_language/executable_support.h"

namespace kelvo::kernel_language {
namespace {

// Two floats in (the first two components), one float out.
std::vector<float> runOnFloats(const Executable& executable, const std::vector<float>& pixels) {
  const std::vector<float> out =
      valuesOf<float>(runRow(executable, {bytesOf(pixels)}, kRgbaFloat, pixels.size() / 4));
  std::vector<float> first;
  for (std::size_t i = 0; i < out.size(); i += 4) first.push_back(out[i]);
  return first;
}

Executable compileValue(const std::function<ValueId(Builder&, ValueId, ValueId)>& build) {
  Builder builder;
  const ValueId value = build(builder, builder.input(0, 0), builder.input(0, 1));
  const ValueId zero = builder.constant(0.0F);
  const std::array inputs{kRgbaFloat};
  return Executable::compile(builder.finish({value, zero, zero, zero}), inputs, kRgbaFloat);
}

// A mask as 1 and 0, so that it can be looked at.
ValueId asFloat(Builder& builder, ValueId value) {
  switch (builder.type(value)) {
    case Type::f32:
      return value;
    case Type::i32:
      return builder.unary(Op::intToFloat, value);
    case Type::mask:
      break;
  }
  return builder.select(value, builder.constant(1.0F), builder.constant(0.0F));
}

std::vector<float> awkwardPairs() {
  std::vector<float> pixels;
  for (const float a : awkwardFloats()) {
    for (const float b : awkwardFloats()) pixels.insert(pixels.end(), {a, b, 0.0F, 1.0F});
  }
  std::mt19937 random(7);
  for (int i = 0; i < 4000; ++i) {
    const auto number = [&] { return std::bit_cast<float>(static_cast<std::uint32_t>(random())); };
    pixels.insert(pixels.end(), {number(), number(), 0.0F, 1.0F});
  }
  for (int i = 0; i < 4000; ++i) {
    const auto number = [&] {
      return static_cast<float>(static_cast<std::int32_t>(random() % 20001) - 10000) / 1000.0F;
    };
    pixels.insert(pixels.end(), {number(), number(), 0.0F, 1.0F});
  }
  return pixels;
}

using Reference = std::function<float(float, float)>;

struct OpCase {
  Op op;
  Reference exact;
};

float signOf(float x) { return x > 0 ? 1.0F : x < 0 ? -1.0F : 0.0F; }

const std::vector<OpCase>& exactCases() {
  static const std::vector<OpCase> cases{
      {Op::neg, [](float x, float) { return -x; }},
      {Op::abs, [](float x, float) { return std::fabs(x); }},
      {Op::sign, [](float x, float) { return signOf(x); }},
      {Op::floor, [](float x, float) { return std::floor(x); }},
      {Op::ceil, [](float x, float) { return std::ceil(x); }},
      {Op::fract, [](float x, float) { return x - std::floor(x); }},
      {Op::sqrt, [](float x, float) { return std::sqrt(x); }},
      {Op::add, [](float x, float y) { return x + y; }},
      {Op::sub, [](float x, float y) { return x - y; }},
      {Op::mul, [](float x, float y) { return x * y; }},
      {Op::div, [](float x, float y) { return x / y; }},
      {Op::min, [](float x, float y) { return y < x ? y : x; }},
      {Op::max, [](float x, float y) { return x < y ? y : x; }},
      {Op::mod,
       [](float x, float y) {
         const float whole = std::floor(x / y);
         const float taken = y * whole;
         return x - taken;
       }},
      {Op::less, [](float x, float y) { return x < y ? 1.0F : 0.0F; }},
      {Op::lessEqual, [](float x, float y) { return x <= y ? 1.0F : 0.0F; }},
      {Op::equal, [](float x, float y) { return x == y ? 1.0F : 0.0F; }},
      {Op::notEqual, [](float x, float y) { return x != y ? 1.0F : 0.0F; }},
      {Op::floatToInt,
       [](float x, float) {
         if (std::isnan(x)) return 0.0F;
         const double limited =
             std::fmin(std::fmax(std::trunc(static_cast<double>(x)), -0x1p31), 0x1p31 - 1);
         return static_cast<float>(static_cast<std::int32_t>(limited));
       }},
  };
  return cases;
}

bool sameFloat(float a, float b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

ValueId apply(Builder& builder, Op op, ValueId a, ValueId b) {
  return asFloat(builder, operandCount(op) == 1 ? builder.unary(op, a) : builder.binary(op, a, b));
}

TEST(ExecutableOps, ArithmeticIsExactOnEveryTarget) {
  const std::vector<float> pixels = awkwardPairs();
  for (const OpCase& c : exactCases()) {
    const Executable executable = compileValue(
        [&](Builder& builder, ValueId a, ValueId b) { return apply(builder, c.op, a, b); });
    for (const std::string& target : targets()) {
      const ForcedTarget forced(target);
      const std::vector<float> results = runOnFloats(executable, pixels);
      for (std::size_t i = 0; i < results.size(); ++i) {
        const float a = pixels[4 * i];
        const float b = pixels[4 * i + 1];
        ASSERT_TRUE(sameFloat(results[i], c.exact(a, b)))
            << opName(c.op) << '(' << a << ", " << b << ") = " << results[i] << ", not "
            << c.exact(a, b) << " on " << target;
      }
    }
  }
}

// Masks, integers and selections, from whole numbers and comparisons of the inputs.
struct DerivedCase {
  std::string name;
  std::function<ValueId(Builder&, ValueId, ValueId)> build;
  Reference exact;
};

std::int32_t wholeOf(float value) {
  if (std::isnan(value)) return 0;
  return static_cast<std::int32_t>(
      std::fmin(std::fmax(std::trunc(static_cast<double>(value)), -0x1p31), 0x1p31 - 1));
}

DerivedCase integerCase(Op op, std::function<std::int64_t(std::int64_t, std::int64_t)> exact) {
  return {
      std::string(opName(op)),
      [op](Builder& builder, ValueId a, ValueId b) {
        const ValueId x = builder.unary(Op::floatToInt, a);
        const ValueId y = builder.unary(Op::floatToInt, b);
        return apply(builder, op, x, y);
      },
      [exact](float a, float b) {
        // Wraps around: the low 32 bits of the exact result.
        const std::int64_t result = exact(wholeOf(a), wholeOf(b));
        return static_cast<float>(static_cast<std::int32_t>(static_cast<std::uint32_t>(result)));
      }};
}

DerivedCase maskCase(Op op, std::function<bool(bool, bool)> exact) {
  return {std::string(opName(op)),
          [op](Builder& builder, ValueId a, ValueId b) {
            const ValueId x = builder.binary(Op::less, a, b);
            const ValueId y = builder.binary(Op::lessEqual, builder.constant(0.5F), a);
            return apply(builder, op, x, y);
          },
          [exact](float a, float b) { return exact(a < b, 0.5F <= a) ? 1.0F : 0.0F; }};
}

const std::vector<DerivedCase>& derivedCases() {
  static const std::vector<DerivedCase> cases{
      integerCase(Op::intNeg, [](auto x, auto) { return -x; }),
      integerCase(Op::intAdd, [](auto x, auto y) { return x + y; }),
      integerCase(Op::intSub, [](auto x, auto y) { return x - y; }),
      integerCase(Op::intMul, [](auto x, auto y) { return x * y; }),
      integerCase(Op::intDiv, [](auto x, auto y) { return y == 0 ? 0 : x / y; }),
      integerCase(Op::intRemainder, [](auto x, auto y) { return y == 0 ? 0 : x % y; }),
      integerCase(Op::intLess, [](auto x, auto y) { return x < y ? 1 : 0; }),
      integerCase(Op::intEqual, [](auto x, auto y) { return x == y ? 1 : 0; }),
      maskCase(Op::maskNot, [](bool x, bool) { return !x; }),
      maskCase(Op::maskAnd, [](bool x, bool y) { return x && y; }),
      maskCase(Op::maskOr, [](bool x, bool y) { return x || y; }),
      maskCase(Op::maskXor, [](bool x, bool y) { return x != y; }),
      {"select of stored values",
       [](Builder& b, ValueId x, ValueId y) { return b.select(b.binary(Op::less, x, y), x, y); },
       [](float x, float y) { return x < y ? x : y; }},
      {"select of constants",
       [](Builder& b, ValueId x, ValueId y) {
         return b.select(b.binary(Op::less, x, y), b.constant(2.0F), b.constant(-0.0F));
       },
       [](float x, float y) { return x < y ? 2.0F : -0.0F; }},
      {"select of a constant and a computed value",
       [](Builder& b, ValueId x, ValueId y) {
         return b.select(b.binary(Op::less, x, y), b.constant(2.0F), b.unary(Op::sqrt, x));
       },
       [](float x, float y) { return x < y ? 2.0F : std::sqrt(x); }},
      {"select of computed values",
       [](Builder& b, ValueId x, ValueId y) {
         return b.select(b.binary(Op::less, x, y), b.unary(Op::sqrt, x), b.binary(Op::div, x, y));
       },
       [](float x, float y) { return x < y ? std::sqrt(x) : x / y; }},
      {"select by a mask used twice",
       [](Builder& b, ValueId x, ValueId y) {
         const ValueId mask = b.binary(Op::equal, x, y);
         const ValueId first = b.select(mask, b.unary(Op::floor, x), b.constant(3.0F));
         return b.select(mask, first, b.unary(Op::ceil, y));
       },
       [](float x, float y) { return x == y ? std::floor(x) : std::ceil(y); }},
      {"selectInt",
       [](Builder& b, ValueId x, ValueId y) {
         const ValueId whole =
             b.select(b.binary(Op::less, x, y), b.unary(Op::floatToInt, x), b.constantInt(-7));
         return b.unary(Op::intToFloat, whole);
       },
       [](float x, float y) { return x < y ? static_cast<float>(wholeOf(x)) : -7.0F; }},
      {"select of masks",
       [](Builder& b, ValueId x, ValueId y) {
         const ValueId mask = b.select(b.binary(Op::less, x, y), b.binary(Op::equal, x, x),
                                       b.binary(Op::notEqual, x, y));
         return asFloat(b, mask);
       },
       [](float x, float y) { return (x < y ? x == x : x != y) ? 1.0F : 0.0F; }},
  };
  return cases;
}

TEST(ExecutableOps, MasksIntegersAndSelectionsAreExactOnEveryTarget) {
  const std::vector<float> pixels = awkwardPairs();
  for (const DerivedCase& c : derivedCases()) {
    const Executable executable = compileValue(c.build);
    for (const std::string& target : targets()) {
      const ForcedTarget forced(target);
      const std::vector<float> results = runOnFloats(executable, pixels);
      for (std::size_t i = 0; i < results.size(); ++i) {
        const float a = pixels[4 * i];
        const float b = pixels[4 * i + 1];
        ASSERT_TRUE(sameFloat(results[i], c.exact(a, b)))
            << c.name << '(' << a << ", " << b << ") = " << results[i] << ", not " << c.exact(a, b)
            << " on " << target;
      }
    }
  }
}

// Every form of every binary operation: operands computed, stored and constant, on either side.
TEST(ExecutableOps, EveryPlaceOfTheOperandsGivesTheSameResult) {
  const std::vector<float> pixels = awkwardPairs();
  constexpr float kConstants[] = {0.75F, -2.0F, 0.0F, -0.0F, kNan, kInfinity};
  for (const OpCase& c : exactCases()) {
    if (operandCount(c.op) != 2) continue;
    for (const float constant : kConstants) {
      // Inner: an absolute value that nothing else needs.
      using Operand = std::function<ValueId(Builder&, ValueId)>;
      const std::array<Operand, 3> operands{
          [](Builder&, ValueId v) { return v; },
          [](Builder& b, ValueId v) { return b.unary(Op::abs, v); },
          [constant](Builder& b, ValueId) { return b.constant(constant); }};
      const std::array<std::function<float(float)>, 3> values{
          [](float v) { return v; }, [](float v) { return std::fabs(v); },
          [constant](float) { return constant; }};
      for (std::size_t left = 0; left < 3; ++left) {
        for (std::size_t right = 0; right < 3; ++right) {
          const Executable executable = compileValue([&](Builder& b, ValueId x, ValueId y) {
            const ValueId first = operands[left](b, x);
            const ValueId second = operands[right](b, y);
            return apply(b, c.op, first, second);
          });
          for (const std::string& target : targets()) {
            const ForcedTarget forced(target);
            const std::vector<float> results = runOnFloats(executable, pixels);
            for (std::size_t i = 0; i < results.size(); ++i) {
              const float a = values[left](pixels[4 * i]);
              const float b = values[right](pixels[4 * i + 1]);
              ASSERT_TRUE(sameFloat(results[i], c.exact(a, b)))
                  << opName(c.op) << '(' << a << ", " << b << ") = " << results[i] << " on "
                  << target << '\n'
                  << executable.listing();
            }
          }
        }
      }
    }
  }
}

// The steps that join several operations, against the operations one by one.
TEST(ExecutableOps, FusedStepsRoundEveryOperation) {
  struct Fused {
    std::string code;
    std::function<ValueId(Builder&, ValueId, ValueId)> build;
    Reference exact;
  };
  const auto k = [](Builder& b, float v) { return b.constant(v); };
  const auto add = [](Builder& b, ValueId x, ValueId y) { return b.binary(Op::add, x, y); };
  const auto mul = [](Builder& b, ValueId x, ValueId y) { return b.binary(Op::mul, x, y); };
  const auto root = [](Builder& b, ValueId x) { return b.unary(Op::abs, x); };
  const auto volatileSum = [](float x, float y) {
    volatile float sum = x + y;  // whatever the compiler would like to contract
    return static_cast<float>(sum);
  };
  const auto volatileProduct = [](float x, float y) {
    volatile float product = x * y;
    return static_cast<float>(product);
  };
  const std::vector<Fused> cases{
      {"scaleAddK",
       [&](Builder& b, ValueId x, ValueId) {
         return add(b, mul(b, root(b, x), k(b, 1.1F)), k(b, 0.3F));
       },
       [&](float x, float) { return volatileSum(volatileProduct(std::fabs(x), 1.1F), 0.3F); }},
      {"scaleAddM",
       [&](Builder& b, ValueId x, ValueId y) { return add(b, mul(b, root(b, x), k(b, 1.1F)), y); },
       [&](float x, float y) { return volatileSum(volatileProduct(std::fabs(x), 1.1F), y); }},
      {"addScale",
       [&](Builder& b, ValueId x, ValueId) {
         return mul(b, add(b, root(b, x), k(b, 0.7F)), k(b, 1.3F));
       },
       [&](float x, float) { return volatileProduct(volatileSum(std::fabs(x), 0.7F), 1.3F); }},
      {"addScaleAdd",
       [&](Builder& b, ValueId x, ValueId) {
         return add(b, mul(b, add(b, root(b, x), k(b, 0.7F)), k(b, 1.3F)), k(b, -0.2F));
       },
       [&](float x, float) {
         return volatileSum(volatileProduct(volatileSum(std::fabs(x), 0.7F), 1.3F), -0.2F);
       }},
      {"addAddScaleAdd",
       [&](Builder& b, ValueId x, ValueId) {
         const ValueId twice = add(b, add(b, root(b, x), k(b, 0.05F)), k(b, -0.5F));
         return add(b, mul(b, twice, k(b, 1.1F)), k(b, 0.5F));
       },
       [&](float x, float) {
         const float twice = volatileSum(volatileSum(std::fabs(x), 0.05F), -0.5F);
         return volatileSum(volatileProduct(twice, 1.1F), 0.5F);
       }},
      {"scaleFrom",
       [&](Builder& b, ValueId x, ValueId y) {
         return add(b, mul(b, b.binary(Op::sub, x, y), k(b, 1.2F)), y);
       },
       [&](float x, float y) { return volatileSum(volatileProduct(volatileSum(x, -y), 1.2F), y); }},
      {"subScaleAdd",
       [&](Builder& b, ValueId x, ValueId y) {
         return add(b, mul(b, b.binary(Op::sub, x, y), k(b, 1.2F)), x);
       },
       [&](float x, float y) { return volatileSum(volatileProduct(volatileSum(x, -y), 1.2F), x); }},
      {"productAdd",
       [&](Builder& b, ValueId x, ValueId y) { return add(b, mul(b, x, y), k(b, 0.3F)); },
       [&](float x, float y) { return volatileSum(volatileProduct(x, y), 0.3F); }},
      {"leastOfThree",
       [&](Builder& b, ValueId x, ValueId y) {
         return b.binary(Op::min, y, b.binary(Op::min, x, y));
       },
       [&](float x, float y) {
         const float inner = y < x ? y : x;
         return inner < y ? inner : y;
       }},
      {"mostOfThree",
       [&](Builder& b, ValueId x, ValueId y) {
         return b.binary(Op::max, y, b.binary(Op::max, x, y));
       },
       [&](float x, float y) {
         const float inner = x < y ? y : x;
         return y < inner ? inner : y;
       }},
      {"square",
       [&](Builder& b, ValueId x, ValueId y) {
         const ValueId difference = b.binary(Op::sub, x, y);
         return mul(b, difference, difference);
       },
       [&](float x, float y) { return volatileProduct(volatileSum(x, -y), volatileSum(x, -y)); }},
      {"selectMKK",
       [&](Builder& b, ValueId x, ValueId y) {
         const ValueId mask = b.binary(Op::less, x, y);  // stored, since it serves twice
         return add(b, b.select(mask, k(b, 0.3F), k(b, 0.6F)), b.select(mask, y, x));
       },
       [&](float x, float y) { return volatileSum(x < y ? 0.3F : 0.6F, x < y ? y : x); }},
      {"addProductMM",
       [&](Builder& b, ValueId x, ValueId y) { return add(b, root(b, x), mul(b, x, y)); },
       [&](float x, float y) { return volatileSum(std::fabs(x), volatileProduct(x, y)); }},
      {"subProductMM",
       [&](Builder& b, ValueId x, ValueId y) {
         return b.binary(Op::sub, root(b, x), mul(b, x, y));
       },
       [&](float x, float y) { return volatileSum(std::fabs(x), -volatileProduct(x, y)); }},
      {"addProductMK",
       [&](Builder& b, ValueId x, ValueId y) {
         return b.binary(Op::sub, root(b, x), mul(b, y, k(b, 0.3F)));
       },
       [&](float x, float y) { return volatileSum(std::fabs(x), -volatileProduct(y, 0.3F)); }},
      {"weightedPair",
       [&](Builder& b, ValueId x, ValueId y) {
         return add(b, mul(b, x, k(b, 0.3F)), mul(b, y, k(b, 0.7F)));
       },
       [&](float x, float y) {
         return volatileSum(volatileProduct(x, 0.3F), volatileProduct(y, 0.7F));
       }},
      {"weightedSumAdd",
       [&](Builder& b, ValueId x, ValueId y) {
         const ValueId pair = add(b, mul(b, x, k(b, 0.3F)), mul(b, y, k(b, 0.7F)));
         return add(b, add(b, pair, mul(b, x, k(b, -1.7F))), k(b, 0.1F));
       },
       [&](float x, float y) {
         const float pair = volatileSum(volatileProduct(x, 0.3F), volatileProduct(y, 0.7F));
         return volatileSum(volatileSum(pair, volatileProduct(x, -1.7F)), 0.1F);
       }},
  };
  const std::vector<float> pixels = awkwardPairs();
  for (const Fused& c : cases) {
    const Executable executable = compileValue(c.build);
    EXPECT_NE(executable.listing().find(c.code), std::string::npos) << c.code << '\n'
                                                                    << executable.listing();
    for (const std::string& target : targets()) {
      const ForcedTarget forced(target);
      const std::vector<float> results = runOnFloats(executable, pixels);
      for (std::size_t i = 0; i < results.size(); ++i) {
        const float a = pixels[4 * i];
        const float b = pixels[4 * i + 1];
        ASSERT_TRUE(sameFloat(results[i], c.exact(a, b)))
            << c.code << " of " << a << ", " << b << " = " << results[i] << " on " << target;
      }
    }
  }
}

TEST(ExecutableOps, TheSineAndTheCosineOfOneAngleAreThoseOfEachAlone) {
  const Executable sine =
      compileValue([](Builder& b, ValueId x, ValueId) { return b.unary(Op::sin, x); });
  const Executable cosine =
      compileValue([](Builder& b, ValueId x, ValueId) { return b.unary(Op::cos, x); });
  Builder builder;
  const ValueId x = builder.input(0, 0);
  const ValueId zero = builder.constant(0.0F);
  const Program program =
      builder.finish({builder.unary(Op::cos, x), builder.unary(Op::sin, x), zero, zero});
  const std::array layouts{kRgbaFloat};
  const Executable both = Executable::compile(program, layouts, kRgbaFloat);
  EXPECT_NE(both.listing().find("sinCos"), std::string::npos) << both.listing();
  EXPECT_EQ(both.listing().find("call"), std::string::npos) << both.listing();
  const std::vector<float> pixels = awkwardPairs();
  for (const std::string& target : targets()) {
    const ForcedTarget forced(target);
    const std::vector<float> sines = runOnFloats(sine, pixels);
    const std::vector<float> cosines = runOnFloats(cosine, pixels);
    const std::vector<float> out =
        valuesOf<float>(runRow(both, {bytesOf(pixels)}, kRgbaFloat, pixels.size() / 4));
    for (std::size_t i = 0; i < sines.size(); ++i) {
      ASSERT_TRUE(sameFloat(out[4 * i], cosines[i])) << pixels[4 * i] << " on " << target;
      ASSERT_TRUE(sameFloat(out[4 * i + 1], sines[i])) << pixels[4 * i] << " on " << target;
    }
  }
}

TEST(ExecutableOps, ColumnsAndRowsAreThoseOfTheRun) {
  Builder builder;
  const Program program = builder.finish(
      {builder.destX(), builder.destY(), builder.constant(0.0F), builder.constant(0.0F)});
  const Executable executable = Executable::compile(program, {}, kRgbaFloat);
  for (const std::string& target : targets()) {
    const ForcedTarget forced(target);
    const std::vector<float> out = valuesOf<float>(runRow(executable, {}, kRgbaFloat, 333, -5, 19));
    for (std::size_t i = 0; i < 333; ++i) {
      ASSERT_EQ(out[4 * i], static_cast<float>(static_cast<int>(i) - 5)) << target;
      ASSERT_EQ(out[4 * i + 1], 19.0F) << target;
    }
  }
}

}  // namespace
}  // namespace kelvo::kernel_language
