// The transcendental functions, against the C library in long double, on every target.
#include <cmath>
#include <functional>
#include <random>

#include "tests/kernel_language/executable_support.h"

namespace kelvo::kernel_language {
namespace {

// The functions are computed in double precision and rounded once, so that they are right to a
// little more than half a unit in the last place.
constexpr double kTolerance = 0.51;

// In units of the last place of the exact value; huge where a special value is missed.
double errorOf(float result, long double exact) {
  const auto nearest = static_cast<float>(exact);
  if (std::isnan(nearest) || std::isnan(result)) {
    return std::isnan(nearest) == std::isnan(result) ? 0.0 : 1e30;
  }
  if (result == nearest) return std::signbit(result) == std::signbit(nearest) ? 0.0 : 1e30;
  if (std::isinf(nearest) || std::isinf(result)) return 1e30;
  const float magnitude = std::fabs(nearest);
  const double unit =
      static_cast<double>(std::nextafter(magnitude, kInfinity)) - static_cast<double>(magnitude);
  return static_cast<double>(std::fabs(static_cast<long double>(result) - exact)) / unit;
}

std::vector<float> evaluate(Op op, const std::vector<float>& a, const std::vector<float>& b) {
  Builder builder;
  const ValueId x = builder.input(0, 0);
  const ValueId y = builder.input(0, 1);
  const ValueId value = operandCount(op) == 1 ? builder.unary(op, x) : builder.binary(op, x, y);
  const ValueId zero = builder.constant(0.0F);
  const std::array inputs{kRgbaFloat};
  const Executable executable =
      Executable::compile(builder.finish({value, zero, zero, zero}), inputs, kRgbaFloat);
  std::vector<float> pixels;
  for (std::size_t i = 0; i < a.size(); ++i) pixels.insert(pixels.end(), {a[i], b[i], 0.0F, 0.0F});
  const std::vector<float> out =
      valuesOf<float>(runRow(executable, {bytesOf(pixels)}, kRgbaFloat, a.size()));
  std::vector<float> results;
  for (std::size_t i = 0; i < a.size(); ++i) results.push_back(out[4 * i]);
  return results;
}

// Awkward numbers, numbers of any magnitude, and many in low … high.
std::vector<float> argumentsWithin(float low, float high, std::uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<float> values = awkwardFloats();
  for (int i = 0; i < 20000; ++i) {
    values.push_back(std::bit_cast<float>(static_cast<std::uint32_t>(random())));
  }
  std::uniform_real_distribution<float> within(low, high);
  for (int i = 0; i < 60000; ++i) values.push_back(within(random));
  return values;
}

struct FunctionCase {
  Op op;
  std::function<long double(long double)> exact;
  float low;
  float high;
};

const std::vector<FunctionCase>& functions() {
  static const std::vector<FunctionCase> cases{
      {Op::exp, [](long double x) { return std::exp(x); }, -104.0F, 89.0F},
      {Op::exp2, [](long double x) { return std::exp2(x); }, -150.0F, 128.0F},
      {Op::log, [](long double x) { return std::log(x); }, 0.0F, 4.0F},
      {Op::log2, [](long double x) { return std::log2(x); }, 0.0F, 4.0F},
      {Op::asin, [](long double x) { return std::asin(x); }, -1.0F, 1.0F},
      {Op::acos, [](long double x) { return std::acos(x); }, -1.0F, 1.0F},
      {Op::atan, [](long double x) { return std::atan(x); }, -4.0F, 4.0F},
  };
  return cases;
}

TEST(MathFunctions, AreRightToHalfAUnitInTheLastPlace) {
  for (const FunctionCase& c : functions()) {
    const std::vector<float> x = argumentsWithin(c.low, c.high, 11);
    for (const std::string& target : targets()) {
      const ForcedTarget forced(target);
      const std::vector<float> results = evaluate(c.op, x, x);
      for (std::size_t i = 0; i < x.size(); ++i) {
        ASSERT_LE(errorOf(results[i], c.exact(static_cast<long double>(x[i]))), kTolerance)
            << opName(c.op) << '(' << x[i] << ") = " << results[i] << " on " << target;
      }
    }
  }
}

TEST(MathFunctions, SineCosineAndTangentAreRightUpToAMillion) {
  const std::vector<FunctionCase> cases{
      {Op::sin, [](long double x) { return std::sin(x); }, -100.0F, 100.0F},
      {Op::cos, [](long double x) { return std::cos(x); }, -100.0F, 100.0F},
      {Op::tan, [](long double x) { return std::tan(x); }, -100.0F, 100.0F},
  };
  for (const FunctionCase& c : cases) {
    for (const float reach : {4.0F, 100.0F, 1e5F, 1e6F}) {
      std::vector<float> x;
      for (const float value : argumentsWithin(-reach, reach, 12)) {
        if (std::fabs(value) <= 1e6F || !std::isfinite(value)) x.push_back(value);
      }
      for (const std::string& target : targets()) {
        const ForcedTarget forced(target);
        const std::vector<float> results = evaluate(c.op, x, x);
        for (std::size_t i = 0; i < x.size(); ++i) {
          ASSERT_LE(errorOf(results[i], c.exact(static_cast<long double>(x[i]))), kTolerance)
              << opName(c.op) << '(' << x[i] << ") = " << results[i] << " on " << target;
        }
      }
    }
  }
}

TEST(MathFunctions, SineAndCosineOfHugeAnglesStayWithinOne) {
  std::mt19937 random(5);
  std::vector<float> x;
  while (x.size() < 20000) {
    const auto value = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
    if (std::isfinite(value) && std::fabs(value) > 1e6F) x.push_back(value);
  }
  for (const std::string& target : targets()) {
    const ForcedTarget forced(target);
    for (const Op op : {Op::sin, Op::cos}) {
      for (const float result : evaluate(op, x, x)) ASSERT_LE(std::fabs(result), 1.0F) << target;
    }
  }
}

TEST(MathFunctions, PowIsRightAndHasTheSpecialCasesOfC) {
  std::mt19937 random(6);
  std::vector<float> x;
  std::vector<float> y;
  std::vector<float> special = awkwardFloats();
  special.insert(special.end(), {4.0F, 7.0F, -7.0F, 16777217.0F, 0x1.fffffep23F});
  for (const float a : special) {
    for (const float b : special) {
      x.push_back(a);
      y.push_back(b);
    }
  }
  for (int i = 0; i < 60000; ++i) {
    const auto any = [&] { return std::bit_cast<float>(static_cast<std::uint32_t>(random())); };
    x.push_back(any());
    y.push_back(any());
    std::uniform_real_distribution<float> base(0.0F, 4.0F);
    std::uniform_real_distribution<float> exponent(-12.0F, 12.0F);
    x.push_back(base(random));
    y.push_back(exponent(random));
    x.push_back(-base(random));
    y.push_back(std::round(exponent(random)));
  }
  for (const std::string& target : targets()) {
    const ForcedTarget forced(target);
    const std::vector<float> results = evaluate(Op::pow, x, y);
    for (std::size_t i = 0; i < x.size(); ++i) {
      const long double exact =
          std::pow(static_cast<long double>(x[i]), static_cast<long double>(y[i]));
      ASSERT_LE(errorOf(results[i], exact), kTolerance)
          << "pow(" << x[i] << ", " << y[i] << ") = " << results[i] << " on " << target;
    }
  }
}

TEST(MathFunctions, PowWithAKnownExponentIsTheSameAsWithAnyExponent) {
  std::vector<float> x = argumentsWithin(-1.0F, 4.0F, 17);
  for (const float exponent : {2.4F, 1.0F / 2.4F, 0.5F, -0.5F, 2.0F, 3.0F, -3.0F, 0.0F, 1.0F, -1.0F,
                               kInfinity, -kInfinity, kNan, 1e10F}) {
    Builder builder;
    const ValueId value = builder.binary(Op::pow, builder.input(0, 0), builder.constant(exponent));
    const ValueId zero = builder.constant(0.0F);
    const std::array inputs{kRgbaFloat};
    const Executable executable =
        Executable::compile(builder.finish({value, zero, zero, zero}), inputs, kRgbaFloat);
    std::vector<float> pixels;
    for (const float a : x) pixels.insert(pixels.end(), {a, 0.0F, 0.0F, 0.0F});
    for (const std::string& target : targets()) {
      const ForcedTarget forced(target);
      const std::vector<float> out =
          valuesOf<float>(runRow(executable, {bytesOf(pixels)}, kRgbaFloat, x.size()));
      for (std::size_t i = 0; i < x.size(); ++i) {
        const long double exact =
            std::pow(static_cast<long double>(x[i]), static_cast<long double>(exponent));
        ASSERT_LE(errorOf(out[4 * i], exact), kTolerance)
            << "pow(" << x[i] << ", " << exponent << ") = " << out[4 * i] << " on " << target;
      }
    }
  }
}

TEST(MathFunctions, Atan2IsRightInEveryQuadrantAndOnTheAxes) {
  std::mt19937 random(8);
  std::vector<float> y;
  std::vector<float> x;
  for (const float a : awkwardFloats()) {
    for (const float b : awkwardFloats()) {
      y.push_back(a);
      x.push_back(b);
    }
  }
  std::uniform_real_distribution<float> within(-2.0F, 2.0F);
  for (int i = 0; i < 60000; ++i) {
    y.push_back(within(random));
    x.push_back(within(random));
    y.push_back(std::bit_cast<float>(static_cast<std::uint32_t>(random())));
    x.push_back(std::bit_cast<float>(static_cast<std::uint32_t>(random())));
  }
  for (const std::string& target : targets()) {
    const ForcedTarget forced(target);
    const std::vector<float> results = evaluate(Op::atan2, y, x);
    for (std::size_t i = 0; i < x.size(); ++i) {
      const long double exact =
          std::atan2(static_cast<long double>(y[i]), static_cast<long double>(x[i]));
      ASSERT_LE(errorOf(results[i], exact), kTolerance)
          << "atan2(" << y[i] << ", " << x[i] << ") = " << results[i] << " on " << target;
    }
  }
}

}  // namespace
}  // namespace kelvo::kernel_language
