// Comparisons with a constant look through what is monotonic: sqrt(x) < 2 is x <= t for the largest
// t whose rounded root is below 2. The threshold is found by bisection with the very functions that
// the executor uses, so the comparison holds for the same floats as before.
#include <bit>
#include <cmath>
#include <cstdint>

#include "platform/kernel_language/ir.h"
#include "platform/kernel_language/one_lane.h"

namespace kelvo::kernel_language {
namespace {

// Floats in their order as whole numbers, one apart from neighbour to neighbour.
std::int64_t orderOf(float value) {
  const auto bits = std::bit_cast<std::uint32_t>(value);
  const std::int64_t magnitude = bits & 0x7fffffffU;
  return bits == static_cast<std::uint32_t>(magnitude) ? magnitude : -magnitude;
}

float inOrder(std::int64_t order) {
  return order < 0 ? -std::bit_cast<float>(static_cast<std::uint32_t>(-order))
                   : std::bit_cast<float>(static_cast<std::uint32_t>(order));
}

}  // namespace

// The operand of `value` if that rises or falls with it, and with nothing else, where the operand
// is a number. What is not a number stays so.
ValueId Builder::throughMonotonic(ValueId value) const {
  const Instruction& in = instructions_[value];
  const auto isFinite = [this](ValueId operand) {
    const auto k = constantValue(operand);
    return k.has_value() && std::isfinite(*k);
  };
  switch (in.op) {
    case Op::neg:
    case Op::floor:
    case Op::ceil:
      return in.a;
    case Op::sqrt:
      return ranges_[in.a].low >= 0.0F ? in.a : kNoValue;
    case Op::add:
    case Op::mul:
      return isFinite(in.b) ? in.a : kNoValue;
    case Op::sub:
      if (isFinite(in.a)) return in.b;
      return isFinite(in.b) ? in.a : kNoValue;
    case Op::div:
      return isFinite(in.b) && constantValue(in.b) != 0.0F ? in.a : kNoValue;
    default:
      return kNoValue;
  }
}

std::optional<ValueId> Builder::withMovedThreshold(Op op, ValueId a, ValueId b) {
  const bool constantFirst = constantValue(a).has_value();
  if (!constantFirst && !constantValue(b).has_value()) return std::nullopt;
  std::vector<ValueId> chain;  // from the comparison down
  ValueId source = constantFirst ? b : a;
  for (ValueId next = throughMonotonic(source); next != kNoValue; next = throughMonotonic(source)) {
    chain.push_back(source);
    source = next;
  }
  if (chain.empty()) return std::nullopt;

  const auto resultFor = [&](float value) {
    std::uint32_t bits = std::bit_cast<std::uint32_t>(value);
    for (auto link = chain.rbegin(); link != chain.rend(); ++link) {
      const Instruction& in = instructions_[*link];
      const auto left = in.b == kNoValue ? std::nullopt : constantBits(in.a);
      const auto right = in.b == kNoValue ? std::nullopt : constantBits(in.b);
      bits = evaluateOneLane(in.op, left.value_or(bits), right.value_or(bits));
    }
    return bits;
  };
  const auto holdsFor = [&](std::int64_t order) {
    const std::uint32_t bits = resultFor(inOrder(order));
    return evaluateOneLane(op, constantFirst ? *constantBits(a) : bits,
                           constantFirst ? bits : *constantBits(b)) != 0;
  };
  const Range& range = ranges_[source];
  for (const float end : {range.low, range.high}) {
    if (std::isnan(std::bit_cast<float>(resultFor(end)))) return std::nullopt;
  }
  std::int64_t low = orderOf(range.low);
  std::int64_t high = orderOf(range.high);
  const bool holdsLow = holdsFor(low);
  if (holdsFor(high) == holdsLow) {
    if (!holdsLow) return constantMask(false);
    return binary(Op::lessEqual, source, constant(range.high));
  }
  while (high - low > 1) {
    const std::int64_t middle = low + (high - low) / 2;
    (holdsFor(middle) == holdsLow ? low : high) = middle;
  }
  return holdsLow ? binary(Op::lessEqual, source, constant(inOrder(low)))
                  : binary(Op::lessEqual, constant(inOrder(high)), source);
}

}  // namespace kelvo::kernel_language
