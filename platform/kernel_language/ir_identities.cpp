// Identities that hold for every float, signed zeros and values that are not numbers included, and
// those that hold within a value's range. An identity may change which bits stand for not-a-number,
// never whether a value is a number.
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

#include "platform/kernel_language/ir.h"

namespace kelvo::kernel_language {
namespace {

bool isNegativeZero(float value) { return value == 0.0F && std::signbit(value); }

bool isPowerOfTwo(float value) {
  int exponent = 0;
  return std::isfinite(value) && std::fabs(std::frexp(value, &exponent)) == 0.5F;
}

// 1 / value where that is exact and neither it nor value is subnormal.
std::optional<float> exactReciprocal(float value) {
  if (!isPowerOfTwo(value) || !std::isnormal(value)) return std::nullopt;
  const float reciprocal = 1.0F / value;
  if (!std::isnormal(reciprocal)) return std::nullopt;
  return reciprocal;
}

}  // namespace

bool Builder::isWithin(ValueId value, float limit) const {
  return -limit <= ranges_[value].low && ranges_[value].high <= limit;
}

// x for x + 0: they differ in the sign of zero alone, which a sum with another number hides.
ValueId Builder::withoutZero(ValueId value) const {
  const Instruction& in = instructions_[value];
  return in.op == Op::add && constantValue(in.b) == 0.0F ? in.a : value;
}

ValueId Builder::withAnyZero(ValueId value) {
  const Instruction in = instructions_[value];
  if (in.op != Op::select) return withoutZero(value);
  // One selection deep: filters limit what they change by one mask.
  return select(in.a, withoutZero(in.b), withoutZero(in.c));
}

ValueId Builder::side(ValueId value, ValueId mask, bool whenSet) const {
  if (value == kNoValue) return value;
  const Instruction& in = instructions_[value];
  const bool chosen = (in.op == Op::select || in.op == Op::selectInt) && in.a == mask;
  if (!chosen) return value;
  return whenSet ? in.b : in.c;
}

// An operation on selections by one mask is a selection between two operations. That pays if one of
// the two comes for nothing, a constant or what is there already: the selection moves behind the
// operation, and in the end many of them meet in one. So opacity that is 0 or 1 by a mask, as
// filters make that keep some pixels and drop others, costs no divisions further on.
std::optional<ValueId> Builder::distributed(Op op, ValueId a, ValueId b) {
  constexpr int kMostMasks = 2;  // one within the other: the work doubles with each
  if (distributing_ == kMostMasks) return std::nullopt;
  const std::size_t before = instructions_.size();
  const auto isConstant = [&](ValueId value) { return constantBits(value).has_value(); };
  const auto isFree = [&](ValueId value) { return value < before || isConstant(value); };
  const auto sideOf = [&](ValueId mask, bool whenSet) {
    const ValueId left = side(a, mask, whenSet);
    return b == kNoValue ? unary(op, left) : binary(op, left, side(b, mask, whenSet));
  };
  for (const ValueId operand : {a, b}) {
    if (operand == kNoValue || instructions_[operand].op != Op::select) continue;
    const ValueId mask = instructions_[operand].a;
    ++distributing_;
    const ValueId whenSet = sideOf(mask, true);
    const ValueId otherwise = sideOf(mask, false);
    --distributing_;
    const bool pays = resultType(op) == Type::mask ? isConstant(whenSet) && isConstant(otherwise)
                                                   : isFree(whenSet) || isFree(otherwise);
    if (pays) return select(mask, whenSet, otherwise);
    forgetFrom(before);
  }
  return std::nullopt;
}

void Builder::forgetFrom(std::size_t size) {
  while (instructions_.size() > size) {
    known_.erase(instructions_.back());
    instructions_.pop_back();
    ranges_.pop_back();
  }
}

std::optional<ValueId> Builder::simplified(Op op, ValueId a) {
  const Instruction inner = instructions_[a];
  switch (op) {
    case Op::neg:
    case Op::maskNot:
    case Op::intNeg:
      if (inner.op == op) return inner.a;  // the bits come back, whatever they are
      return std::nullopt;
    case Op::abs:
      if (inner.op == Op::abs) return a;
      if (inner.op == Op::neg) return unary(Op::abs, inner.a);
      if (!ranges_[a].maybeNotANumber && ranges_[a].low >= 0.0F && !ranges_[a].maybeNegativeZero) {
        return a;
      }
      return std::nullopt;
    case Op::floor:
    case Op::ceil:
      // Whole already; both keep -0 and what is not a number.
      if (inner.op == Op::floor || inner.op == Op::ceil || inner.op == Op::intToFloat) return a;
      return std::nullopt;
    default:
      return std::nullopt;
  }
}

std::optional<ValueId> Builder::simplified(Op op, ValueId a, ValueId b) {
  switch (op) {
    case Op::add:
    case Op::sub:
    case Op::mul:
    case Op::div:
      return simplifiedArithmetic(op, a, b);
    case Op::min:
    case Op::max:
      return simplifiedLimit(op, a, b);
    case Op::less:
    case Op::lessEqual:
    case Op::equal:
    case Op::notEqual: {
      if (const auto known = knownComparison(op, a, b)) return constantMask(*known);
      const bool isOrdered = op == Op::less || op == Op::lessEqual;
      return isOrdered ? withMovedThreshold(op, a, b) : std::nullopt;
    }
    case Op::maskAnd:
    case Op::maskOr:
    case Op::maskXor:
      return simplifiedLogic(op, a, b);
    case Op::intAdd:
    case Op::intSub:
    case Op::intMul:
    case Op::intDiv:
      return simplifiedInteger(op, a, b);
    default:
      return std::nullopt;
  }
}

// Constants of add and mul are in second place here.
std::optional<ValueId> Builder::simplifiedArithmetic(Op op, ValueId a, ValueId b) {
  const Instruction left = instructions_[a];
  const Instruction right = instructions_[b];
  const auto first = constantValue(a);
  const auto second = constantValue(b);
  switch (op) {
    case Op::add:
      // x + -0 = x; x + 0 = x but for x = -0.
      if (second == 0.0F && (isNegativeZero(*second) || !ranges_[a].maybeNegativeZero)) return a;
      if (right.op == Op::neg) return binary(Op::sub, a, right.a);
      if (left.op == Op::neg) return binary(Op::sub, b, left.a);
      if (second && second != 0.0F && withoutZero(a) != a) {
        return binary(Op::add, withoutZero(a), b);
      }
      return std::nullopt;
    case Op::sub:
      // x - 0 = x; x - -0 = x but for x = -0.
      if (second == 0.0F && (!isNegativeZero(*second) || !ranges_[a].maybeNegativeZero)) return a;
      if (right.op == Op::neg) return binary(Op::add, a, right.a);
      if (first == 0.0F && isNegativeZero(*first)) return unary(Op::neg, b);  // -0 - x
      if (a == b && ranges_[a].finite()) return constant(0.0F);
      if (second && second != 0.0F && withoutZero(a) != a) {
        return binary(Op::sub, withoutZero(a), b);
      }
      if (first && first != 0.0F && withoutZero(b) != b) {
        return binary(Op::sub, a, withoutZero(b));
      }
      return std::nullopt;
    case Op::mul:
      if (second == 1.0F) return a;
      if (second == -1.0F) return unary(Op::neg, a);
      // 0 x = 0 where x is finite and has no sign.
      if (second == 0.0F && !isNegativeZero(*second) && ranges_[a].finite() &&
          ranges_[a].low >= 0.0F && !ranges_[a].maybeNegativeZero) {
        return b;
      }
      return std::nullopt;
    case Op::div:
      if (second == 1.0F) return a;
      if (second == -1.0F) return unary(Op::neg, a);
      if (second) {
        // A power of two: both round the same real number.
        if (const auto reciprocal = exactReciprocal(*second)) {
          return binary(Op::mul, a, constant(*reciprocal));
        }
      }
      return std::nullopt;
    default:
      return std::nullopt;
  }
}

// min(a, b) = b < a ? b : a, max(a, b) = a < b ? b : a. Where the comparison is known to fail, for
// values that are not numbers too, the result is a; where it is known to hold, b.
std::optional<ValueId> Builder::simplifiedLimit(Op op, ValueId a, ValueId b) const {
  if (a == b) return a;
  const auto takesSecond =
      op == Op::min ? knownComparison(Op::less, b, a) : knownComparison(Op::less, a, b);
  if (!takesSecond) return std::nullopt;
  return *takesSecond ? b : a;
}

std::optional<bool> Builder::knownComparison(Op op, ValueId a, ValueId b) const {
  const Range& left = ranges_[a];
  const Range& right = ranges_[b];
  const bool numbers = !left.maybeNotANumber && !right.maybeNotANumber;
  switch (op) {
    case Op::less:
      if (a == b || left.low >= right.high) return false;
      if (numbers && left.high < right.low) return true;
      return std::nullopt;
    case Op::lessEqual:
      if (left.low > right.high) return false;
      if (numbers && (a == b || left.high <= right.low)) return true;
      return std::nullopt;
    case Op::equal:
    case Op::notEqual: {
      const bool whenEqual = op == Op::equal;
      if (left.low > right.high || left.high < right.low) return !whenEqual;
      if (numbers && a == b) return whenEqual;
      if (numbers && left.low == left.high && right.low == right.high && left.low == right.low) {
        return whenEqual;
      }
      return std::nullopt;
    }
    default:
      return std::nullopt;
  }
}

std::optional<ValueId> Builder::simplifiedLogic(Op op, ValueId a, ValueId b) {
  const auto second = constantBits(b);
  const bool opposite = (instructions_[a].op == Op::maskNot && instructions_[a].a == b) ||
                        (instructions_[b].op == Op::maskNot && instructions_[b].a == a);
  switch (op) {
    case Op::maskAnd:
      if (a == b) return a;
      if (second) return *second != 0 ? a : b;
      if (opposite) return constantMask(false);
      return std::nullopt;
    case Op::maskOr:
      if (a == b) return a;
      if (second) return *second != 0 ? b : a;
      if (opposite) return constantMask(true);
      return std::nullopt;
    case Op::maskXor:
      if (a == b) return constantMask(false);
      if (second) return *second != 0 ? unary(Op::maskNot, a) : a;
      if (opposite) return constantMask(true);
      return std::nullopt;
    default:
      return std::nullopt;
  }
}

// i32 wraps around, so these hold for all numbers.
std::optional<ValueId> Builder::simplifiedInteger(Op op, ValueId a, ValueId b) {
  const auto second = constantBits(b);
  switch (op) {
    case Op::intAdd:
      if (second == 0U) return a;
      return std::nullopt;
    case Op::intSub:
      if (second == 0U) return a;
      if (a == b) return constantInt(0);
      return std::nullopt;
    case Op::intMul:
      if (second == 0U) return b;
      if (second == 1U) return a;
      return std::nullopt;
    case Op::intDiv:
      if (second == 1U) return a;
      return std::nullopt;
    default:
      return std::nullopt;
  }
}

}  // namespace kelvo::kernel_language
