#include "platform/kernel_language/plain_value.h"

#include <limits>

namespace kelvo::kernel_language {
namespace {

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();

// The low 32 bits, read as a signed number.
std::int32_t wrapped(std::int64_t value) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

std::int32_t wholeResult(BinaryOperator op, std::int64_t a, std::int64_t b) {
  switch (op) {
    case BinaryOperator::add:
      return wrapped(a + b);
    case BinaryOperator::subtract:
      return wrapped(a - b);
    case BinaryOperator::multiply:
      return wrapped(a * b);
    case BinaryOperator::divide:
      return b == 0 ? 0 : wrapped(a / b);
    default:
      return b == 0 ? 0 : wrapped(a % b);
  }
}

float numberResult(BinaryOperator op, float a, float b) {
  switch (op) {
    case BinaryOperator::add:
      return a + b;
    case BinaryOperator::subtract:
      return a - b;
    case BinaryOperator::multiply:
      return a * b;
    default:
      return a / b;
  }
}

template <typename T>
bool compared(BinaryOperator op, T a, T b) {
  switch (op) {
    case BinaryOperator::less:
      return a < b;
    case BinaryOperator::greater:
      return a > b;
    case BinaryOperator::lessEqual:
      return a <= b;
    case BinaryOperator::greaterEqual:
      return a >= b;
    case BinaryOperator::equal:
      return a == b;
    default:
      return a != b;
  }
}

bool compares(BinaryOperator op) {
  switch (op) {
    case BinaryOperator::add:
    case BinaryOperator::subtract:
    case BinaryOperator::multiply:
    case BinaryOperator::divide:
    case BinaryOperator::remainder:
      return false;
    default:
      return true;
  }
}

std::int32_t truncated(float value) {
  if (value != value) return 0;
  if (value >= 2147483648.0F) return kHighest;
  if (value <= -2147483648.0F) return kLowest;
  return static_cast<std::int32_t>(value);
}

}  // namespace

PlainValue PlainValue::of(float number) {
  PlainValue value;
  value.type = ValueType::floating;
  value.numbers[0] = number;
  return value;
}

PlainValue PlainValue::of(std::int32_t whole) {
  PlainValue value;
  value.type = ValueType::integer;
  value.whole = whole;
  return value;
}

PlainValue PlainValue::of(bool truth) {
  PlainValue value;
  value.type = ValueType::boolean;
  value.truth = truth;
  return value;
}

PlainValue plainBinary(BinaryOperator op, const PlainValue& left, const PlainValue& right) {
  if (left.type == ValueType::integer) {
    if (compares(op)) return PlainValue::of(compared(op, left.whole, right.whole));
    return PlainValue::of(wholeResult(op, left.whole, right.whole));
  }
  if (left.type == ValueType::boolean) {
    return PlainValue::of((left.truth != right.truth) != (op == BinaryOperator::equal));
  }
  if (op == BinaryOperator::equal || op == BinaryOperator::notEqual) {
    bool same = true;
    for (std::uint32_t i = 0; i < componentCount(left.type); ++i) {
      same = same && left.numbers[i] == right.numbers[i];
    }
    return PlainValue::of(same == (op == BinaryOperator::equal));
  }
  if (compares(op)) return PlainValue::of(compared(op, left.numbers[0], right.numbers[0]));
  PlainValue result;
  result.type = isVector(left.type) ? left.type : right.type;
  for (std::uint32_t i = 0; i < componentCount(result.type); ++i) {
    result.numbers[i] = numberResult(op, left.number(i), right.number(i));
  }
  return result;
}

PlainValue plainNegate(const PlainValue& operand) {
  if (operand.type == ValueType::integer) {
    return PlainValue::of(wrapped(-std::int64_t{operand.whole}));
  }
  PlainValue result = operand;
  for (float& number : result.numbers) number = -number;
  return result;
}

PlainValue plainConversion(const PlainValue& operand, ValueType type) {
  const bool isBool = operand.type == ValueType::boolean;
  const bool isInt = operand.type == ValueType::integer;
  switch (type) {
    case ValueType::floating:
      if (isBool) return PlainValue::of(operand.truth ? 1.0F : 0.0F);
      return PlainValue::of(static_cast<float>(operand.whole));
    case ValueType::integer:
      if (isBool) return PlainValue::of(std::int32_t{operand.truth ? 1 : 0});
      return PlainValue::of(truncated(operand.numbers[0]));
    default:
      return PlainValue::of(isInt ? operand.whole != 0 : operand.numbers[0] != 0.0F);
  }
}

}  // namespace kelvo::kernel_language
