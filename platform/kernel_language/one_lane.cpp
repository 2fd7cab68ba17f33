#include "platform/kernel_language/one_lane.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "platform/kernel_language/plain_lanes.h"

namespace kelvo::kernel_language {
namespace {

namespace math {
namespace hn = plain;
#define KELVO_MATH_INLINE inline
#include "platform/kernel_language/math-inl.h"
#undef KELVO_MATH_INLINE
}  // namespace math

float asFloat(std::uint32_t bits) { return std::bit_cast<float>(bits); }
std::uint32_t bitsOf(float value) { return std::bit_cast<std::uint32_t>(value); }
std::uint32_t bitsOf(bool value) { return value ? 1U : 0U; }

std::int32_t truncated(float value) {
  if (!(value == value)) return 0;
  if (value >= 0x1p31F) return std::numeric_limits<std::int32_t>::max();
  if (value <= -0x1p31F) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(value);
}

float sign(float value) { return value > 0.0F ? 1.0F : value < 0.0F ? -1.0F : 0.0F; }

// Negation with unsigned numbers: the smallest number has no positive counterpart and stays.
std::uint32_t quotient(std::uint32_t a, std::uint32_t b) {
  if (b == 0) return 0;
  if (b == 0xffffffffU) return 0U - a;
  return static_cast<std::uint32_t>(static_cast<std::int32_t>(a) / static_cast<std::int32_t>(b));
}

std::uint32_t evaluateInteger(Op op, std::uint32_t a, std::uint32_t b) {
  switch (op) {
    case Op::intNeg:
      return 0U - a;
    case Op::intAdd:
      return a + b;
    case Op::intSub:
      return a - b;
    case Op::intMul:
      return a * b;
    case Op::intDiv:
      return quotient(a, b);
    case Op::intRemainder:
      return b == 0 ? 0U : a - quotient(a, b) * b;
    case Op::intLess:
      return bitsOf(static_cast<std::int32_t>(a) < static_cast<std::int32_t>(b));
    case Op::intEqual:
      return bitsOf(a == b);
    case Op::intToFloat:
      return bitsOf(static_cast<float>(static_cast<std::int32_t>(a)));
    default:
      return 0;
  }
}

float evaluateFunction(Op op, double a, double b) {
  constexpr plain::DoubleTag d;
  const auto value = [&]() -> double {
    switch (op) {
      case Op::exp:
        return math::expLanes(d, a);
      case Op::exp2:
        return math::exp2Lanes(d, a);
      case Op::log:
        return math::logLanes(d, a);
      case Op::log2:
        return math::log2Lanes(d, a);
      case Op::sin:
        return math::sinLanes(d, a);
      case Op::cos:
        return math::cosLanes(d, a);
      case Op::tan:
        return math::tanLanes(d, a);
      case Op::asin:
        return math::asinLanes(d, a);
      case Op::acos:
        return math::acosLanes(d, a);
      case Op::atan:
        return math::atanLanes(d, a);
      case Op::pow:
        return math::powLanes(d, a, b);
      case Op::atan2:
        return math::atan2Lanes(d, a, b);
      default:
        return 0.0;
    }
  };
  return static_cast<float>(value());
}

}  // namespace

std::uint32_t evaluateOneLane(Op op, std::uint32_t a, std::uint32_t b, std::uint32_t c) {
  const float x = asFloat(a);
  const float y = asFloat(b);
  switch (op) {
    case Op::constant:
    case Op::constantInt:
    case Op::constantMask:
    case Op::input:
    case Op::destX:
    case Op::destY:
    case Op::sampleImage:
      return 0;
    case Op::neg:
      return a ^ 0x80000000U;
    case Op::abs:
      return a & 0x7fffffffU;
    case Op::sign:
      return bitsOf(sign(x));
    case Op::floor:
      return bitsOf(std::floor(x));
    case Op::ceil:
      return bitsOf(std::ceil(x));
    case Op::fract:
      return bitsOf(x - std::floor(x));
    case Op::sqrt:
      return bitsOf(std::sqrt(x));
    case Op::exp:
    case Op::exp2:
    case Op::log:
    case Op::log2:
    case Op::sin:
    case Op::cos:
    case Op::tan:
    case Op::asin:
    case Op::acos:
    case Op::atan:
    case Op::pow:
    case Op::atan2:
      return bitsOf(evaluateFunction(op, static_cast<double>(x), static_cast<double>(y)));
    case Op::add:
      return bitsOf(x + y);
    case Op::sub:
      return bitsOf(x - y);
    case Op::mul:
      return bitsOf(x * y);
    case Op::div:
      return bitsOf(x / y);
    case Op::min:
      return y < x ? b : a;
    case Op::max:
      return x < y ? b : a;
    case Op::mod: {
      const float whole = std::floor(x / y);
      return bitsOf(x - y * whole);
    }
    case Op::less:
      return bitsOf(x < y);
    case Op::lessEqual:
      return bitsOf(x <= y);
    case Op::equal:
      return bitsOf(x == y);
    case Op::notEqual:
      return bitsOf(x != y);
    case Op::maskNot:
      return a ^ 1U;
    case Op::maskAnd:
      return a & b;
    case Op::maskOr:
      return a | b;
    case Op::maskXor:
      return a ^ b;
    case Op::select:
    case Op::selectInt:
      return a != 0 ? b : c;
    case Op::floatToInt:
      return static_cast<std::uint32_t>(truncated(x));
    case Op::intNeg:
    case Op::intAdd:
    case Op::intSub:
    case Op::intMul:
    case Op::intDiv:
    case Op::intRemainder:
    case Op::intLess:
    case Op::intEqual:
    case Op::intToFloat:
      return evaluateInteger(op, a, b);
  }
  return 0;
}

}  // namespace kelvo::kernel_language
