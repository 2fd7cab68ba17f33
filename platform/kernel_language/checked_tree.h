#pragma once

#include <memory>
#include <utility>

#include "platform/kernel_language/checked_source.h"

// Small helpers to build the checked tree.
namespace kelvo::kernel_language::checked {

template <typename Node>
ExpressionPtr makeExpression(ValueType type, bool assigns, Node node) {
  auto expression = std::make_unique<Expression>();
  expression->type = type;
  expression->assigns = assigns;
  expression->node = std::move(node);
  return expression;
}

// The same scalar in another type.
inline ExpressionPtr convertScalar(ExpressionPtr operand, ValueType type) {
  if (operand->type == type) return operand;
  const bool assigns = operand->assigns;
  return makeExpression(type, assigns, Convert{std::move(operand)});
}

inline ExpressionPtr swizzle(ExpressionPtr operand, const Components& components) {
  const bool assigns = operand->assigns;
  return makeExpression(floatingType(components.count), assigns,
                        Swizzle{std::move(operand), components});
}

constexpr Components allComponents(ValueType type) { return {componentCount(type), {0, 1, 2, 3}}; }

inline bool anyAssigns(const std::vector<ExpressionPtr>& expressions) {
  for (const ExpressionPtr& expression : expressions) {
    if (expression->assigns) return true;
  }
  return false;
}

}  // namespace kelvo::kernel_language::checked
