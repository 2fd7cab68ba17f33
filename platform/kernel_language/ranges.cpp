#include "platform/kernel_language/ranges.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <initializer_list>

namespace kelvo::kernel_language {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

bool isOfUnitSource(const Instruction& input, const std::vector<bool>& isUnitSource) {
  const std::size_t source = input.immediate / 4;
  return source < isUnitSource.size() && isUnitSource[source];
}

// The smallest range with all of the ends in it.
Range bounded(std::initializer_list<float> ends, bool notANumber, bool negativeZero) {
  Range result{kInfinity, -kInfinity, notANumber, negativeZero};
  for (const float end : ends) {
    if (std::isnan(end)) return {};
    result.low = std::min(result.low, end);
    result.high = std::max(result.high, end);
  }
  return result;
}

// True if min and max of common values tell that a <= b wherever both are numbers.
bool isAtMost(const Known& known, ValueId a, ValueId b, int depth = 4) {
  if (a == b) return true;
  if (depth == 0) return false;
  const Instruction& left = known.instructions[a];
  const Instruction& right = known.instructions[b];
  return (left.op == Op::min &&
          (isAtMost(known, left.a, b, depth - 1) || isAtMost(known, left.b, b, depth - 1))) ||
         (right.op == Op::max &&
          (isAtMost(known, a, right.a, depth - 1) || isAtMost(known, a, right.b, depth - 1)));
}

Range sumRange(const Range& a, const Range& b) {
  // Infinities of both signs would have to meet for a new not-a-number.
  const bool clash =
      (a.low == -kInfinity && b.high == kInfinity) || (a.high == kInfinity && b.low == -kInfinity);
  return bounded({a.low + b.low, a.high + b.high}, clash || a.maybeNotANumber || b.maybeNotANumber,
                 a.maybeNegativeZero && b.maybeNegativeZero);
}

Range differenceRange(const Instruction& in, const Known& known) {
  const Range& a = known.ranges[in.a];
  const Range& b = known.ranges[in.b];
  const bool clash =
      (a.low == -kInfinity && b.low == -kInfinity) || (a.high == kInfinity && b.high == kInfinity);
  Range result =
      bounded({a.low - b.high, a.high - b.low}, clash || a.maybeNotANumber || b.maybeNotANumber,
              a.maybeNegativeZero && b.contains(0.0F));
  if (a.finite() && b.finite() && isAtMost(known, in.b, in.a)) {
    result.low = std::max(result.low, 0.0F);
  }
  return result;
}

Range productRange(const Instruction& in, const Known& known) {
  const Range& a = known.ranges[in.a];
  const Range& b = known.ranges[in.b];
  for (const float end : {a.low, a.high, b.low, b.high}) {
    if (!std::isfinite(end)) return {};
  }
  if (in.a == in.b) {
    const float far = std::max(-a.low, a.high);
    return {0.0F, far * far, a.maybeNotANumber, false};
  }
  const bool positive =
      a.low >= 0.0F && b.low >= 0.0F && !a.maybeNegativeZero && !b.maybeNegativeZero;
  return bounded({a.low * b.low, a.low * b.high, a.high * b.low, a.high * b.high},
                 a.maybeNotANumber || b.maybeNotANumber, !positive);
}

// Of (b - x) / b for 0 <= x <= b: 0 … 1, or 0 / 0.
Range quotientRange(const Instruction& in, const Known& known) {
  const Instruction& part = known.instructions[in.a];
  if (part.op != Op::sub || part.a != in.b) return {};
  const Range& whole = known.ranges[in.b];
  const Range& rest = known.ranges[part.b];
  if (!whole.finite() || !rest.finite() || whole.low < 0.0F || rest.low < 0.0F) return {};
  if (!isAtMost(known, part.b, in.b)) return {};
  return {0.0F, 1.0F, true, true};
}

Range limitRange(Op op, const Range& a, const Range& b) {
  const bool negativeZero = a.maybeNegativeZero || b.maybeNegativeZero;
  // Not a number in second place is passed over; in first place it is kept. Passed over, it lets
  // the whole range of the first place through.
  if (a.maybeNotANumber || b.maybeNotANumber) {
    return {std::min(a.low, b.low), std::max(a.high, b.high), a.maybeNotANumber, negativeZero};
  }
  if (op == Op::min) {
    return {std::min(a.low, b.low), std::min(a.high, b.high), false, negativeZero};
  }
  return {std::max(a.low, b.low), std::max(a.high, b.high), false, negativeZero};
}

}  // namespace

bool Range::finite() const { return !maybeNotANumber && std::isfinite(low) && std::isfinite(high); }

// Rounding is monotonic, so the rounded results at the ends of ranges bound the rounded results
// between them.
Range rangeOf(const Instruction& instruction, const Known& known,
              const std::vector<bool>& isUnitSource) {
  const auto range = [&known](ValueId value) { return known.ranges[value]; };
  switch (instruction.op) {
    case Op::constant: {
      const auto value = std::bit_cast<float>(instruction.immediate);
      if (std::isnan(value)) return {};
      return {value, value, false, value == 0.0F && std::signbit(value)};
    }
    case Op::input:
      return isOfUnitSource(instruction, isUnitSource) ? Range{0.0F, 1.0F, false, false} : Range{};
    case Op::destX:
    case Op::destY:
    case Op::intToFloat:
      return {-0x1p31F, 0x1p31F, false, false};
    case Op::neg: {
      const Range a = range(instruction.a);
      return {-a.high, -a.low, a.maybeNotANumber, a.contains(0.0F)};
    }
    case Op::abs: {
      const Range a = range(instruction.a);
      const float far = std::max(std::fabs(a.low), std::fabs(a.high));
      const float near = a.contains(0.0F) ? 0.0F : std::min(std::fabs(a.low), std::fabs(a.high));
      return {near, far, a.maybeNotANumber, false};
    }
    case Op::sign:
      return {-1.0F, 1.0F, false, false};
    case Op::floor:
    case Op::ceil: {
      const Range a = range(instruction.a);
      const bool down = instruction.op == Op::floor;
      return {down ? std::floor(a.low) : std::ceil(a.low),
              down ? std::floor(a.high) : std::ceil(a.high), a.maybeNotANumber, true};
    }
    case Op::sqrt: {
      const Range a = range(instruction.a);
      if (!(a.low >= 0.0F)) return {};
      return {std::sqrt(a.low), std::sqrt(a.high), a.maybeNotANumber, a.maybeNegativeZero};
    }
    case Op::sin:
    case Op::cos:
      return {-1.0F, 1.0F, !range(instruction.a).finite(), true};
    case Op::add:
      return sumRange(range(instruction.a), range(instruction.b));
    case Op::sub:
      return differenceRange(instruction, known);
    case Op::mul:
      return productRange(instruction, known);
    case Op::div:
      return quotientRange(instruction, known);
    case Op::min:
    case Op::max:
      return limitRange(instruction.op, range(instruction.a), range(instruction.b));
    case Op::select: {
      const Range a = range(instruction.b);
      const Range b = range(instruction.c);
      return {std::min(a.low, b.low), std::max(a.high, b.high),
              a.maybeNotANumber || b.maybeNotANumber, a.maybeNegativeZero || b.maybeNegativeZero};
    }
    default:
      return {};
  }
}

std::vector<Range> rangesOf(const Program& program, const std::vector<bool>& isUnitSource) {
  std::vector<Range> ranges;
  ranges.reserve(program.instructions.size());
  for (const Instruction& in : program.instructions) {
    ranges.push_back(rangeOf(in, {program.instructions, ranges}, isUnitSource));
  }
  return ranges;
}

}  // namespace kelvo::kernel_language
