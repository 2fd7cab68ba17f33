// Every operation on every target, against an evaluation of its own: the C library in long double
// where it rounds, the rules of ir.h spelled out where it does not.
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

// How far a result may lie from the exact value, in units of the last place. Arithmetic is exact;
// functions are computed in double precision and rounded once, which is right to 0.51.
constexpr long double kFunctionTolerance = 0.51L;

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

}  // namespace
}  // namespace kelvo::kernel_language
