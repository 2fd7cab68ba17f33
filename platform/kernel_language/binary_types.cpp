#include "platform/kernel_language/binary_types.h"

namespace kelvo::kernel_language {
namespace {

std::optional<BinaryTypes> arithmetic(ValueType left, ValueType right) {
  const bool numbers = (isFloating(left) || left == ValueType::integer) &&
                       (isFloating(right) || right == ValueType::integer);
  if (!numbers) return std::nullopt;
  if (left == right) return BinaryTypes{left, right, left};
  if (left == ValueType::integer) left = ValueType::floating;
  if (right == ValueType::integer) right = ValueType::floating;
  if (left == right || right == ValueType::floating) return BinaryTypes{left, right, left};
  if (left == ValueType::floating) return BinaryTypes{left, right, right};
  return std::nullopt;
}

}  // namespace

std::optional<BinaryTypes> binaryTypes(BinaryOperator op, ValueType left, ValueType right) {
  switch (op) {
    case BinaryOperator::add:
    case BinaryOperator::subtract:
    case BinaryOperator::multiply:
    case BinaryOperator::divide:
      return arithmetic(left, right);
    case BinaryOperator::remainder:
      if (left != ValueType::integer || right != ValueType::integer) return std::nullopt;
      return BinaryTypes{left, right, left};
    case BinaryOperator::less:
    case BinaryOperator::greater:
    case BinaryOperator::lessEqual:
    case BinaryOperator::greaterEqual: {
      std::optional<BinaryTypes> types = arithmetic(left, right);
      if (!types || isVector(types->result)) return std::nullopt;
      types->result = ValueType::boolean;
      return types;
    }
    case BinaryOperator::equal:
    case BinaryOperator::notEqual: {
      if (left == ValueType::boolean && right == ValueType::boolean) {
        return BinaryTypes{left, right, left};
      }
      std::optional<BinaryTypes> types = arithmetic(left, right);
      if (!types || types->left != types->right) return std::nullopt;
      types->result = ValueType::boolean;
      return types;
    }
    case BinaryOperator::logicalAnd:
    case BinaryOperator::logicalXor:
    case BinaryOperator::logicalOr:
      if (left != ValueType::boolean || right != ValueType::boolean) return std::nullopt;
      return BinaryTypes{left, right, left};
  }
  return std::nullopt;
}

}  // namespace kelvo::kernel_language
