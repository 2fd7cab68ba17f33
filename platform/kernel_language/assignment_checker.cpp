// The part of ExpressionChecker that deals with what can be assigned to.
#include <utility>

#include "platform/kernel_language/binary_types.h"
#include "platform/kernel_language/checked_tree.h"
#include "platform/kernel_language/expression_checker.h"
#include "platform/kernel_language/text_quote.h"

namespace kelvo::kernel_language {

using checked::ExpressionPtr;
using checked::makeExpression;

ExpressionPtr ExpressionChecker::checkNode(Position position, const syntax::Assign& node) {
  std::optional<Target> target = resolveTarget(*node.target);
  ExpressionPtr value = check(*node.value);
  if (!target || !value) return nullptr;
  const auto typeText = [](ValueType type) { return std::string(typeName(type)); };
  ValueType wanted = target->type;
  if (node.op) {
    const std::optional<BinaryTypes> types = binaryTypes(*node.op, target->type, value->type);
    if (!types || types->result != target->type) {
      diagnostics_.report(position, "the operator '" + std::string(spelling(*node.op)) +
                                        "=' cannot change " + typeText(target->type) + " by " +
                                        typeText(value->type));
      return nullptr;
    }
    wanted = types->right;
  } else if (!converts(value->type, wanted)) {
    diagnostics_.report(position,
                        typeText(value->type) + " cannot be assigned to " + typeText(wanted));
    return nullptr;
  }
  return makeExpression(target->type, true,
                        checked::Assign{target->slot, target->components, std::move(target->index),
                                        node.op, checked::convertScalar(std::move(value), wanted)});
}

ExpressionPtr ExpressionChecker::checkNode(Position position, const syntax::Increment& node) {
  std::optional<Target> target = resolveTarget(*node.target);
  if (!target) return nullptr;
  if (target->type == ValueType::boolean) {
    diagnostics_.report(position, std::string("the operator '") + (node.up ? "++" : "--") +
                                      "' cannot be applied to bool");
    return nullptr;
  }
  ExpressionPtr one =
      target->type == ValueType::integer
          ? makeExpression(ValueType::integer, false, checked::Constant{std::int32_t{1}})
          : makeExpression(ValueType::floating, false, checked::Constant{1.0F});
  return makeExpression(target->type, true,
                        checked::Assign{target->slot, target->components, std::move(target->index),
                                        node.up ? BinaryOperator::add : BinaryOperator::subtract,
                                        std::move(one), !node.prefix});
}

std::optional<ExpressionChecker::Target> ExpressionChecker::resolveTarget(
    const syntax::Expression& expression) {
  ++measure_.nodes;
  if (const auto* const name = std::get_if<syntax::Name>(&expression.node)) {
    return resolveVariable(expression.position, name->name);
  }
  if (const auto* const member = std::get_if<syntax::Member>(&expression.node)) {
    return resolveMember(expression.position, *member);
  }
  if (const auto* const element = std::get_if<syntax::Index>(&expression.node)) {
    return resolveElement(expression.position, *element);
  }
  fail(expression.position, "this is not a variable and cannot be assigned to");
  return std::nullopt;
}

std::optional<ExpressionChecker::Target> ExpressionChecker::resolveVariable(Position position,
                                                                            std::string_view name) {
  const Variable* const variable = variables_.find(name);
  if (variable == nullptr) {
    fail(position, quote(name) + " is not declared");
    return std::nullopt;
  }
  if (variable->isConst || variable->type == ValueType::sampler) {
    fail(position, quote(name) + " is " +
                       (variable->isConst ? "const" : std::string(typeName(variable->type))) +
                       " and cannot be assigned to");
    return std::nullopt;
  }
  return Target{variable->slot, checked::allComponents(variable->type), nullptr, variable->type};
}

std::optional<ExpressionChecker::Target> ExpressionChecker::resolveMember(
    Position position, const syntax::Member& node) {
  std::optional<Target> object = resolveTarget(*node.object);
  if (!object) return std::nullopt;
  const std::optional<checked::Components> chosen = components(position, object->type, node.name);
  if (!chosen) return std::nullopt;
  checked::Components mapped{chosen->count, {}};
  std::uint32_t used = 0;
  for (std::uint32_t i = 0; i < chosen->count; ++i) {
    mapped.indices[i] = object->components.indices[chosen->indices[i]];
    const std::uint32_t bit = 1U << mapped.indices[i];
    if ((used & bit) != 0) {
      fail(position, quote(node.name) + " names a component twice and cannot be assigned to");
      return std::nullopt;
    }
    used |= bit;
  }
  object->components = mapped;
  object->type = floatingType(mapped.count);
  return object;
}

std::optional<ExpressionChecker::Target> ExpressionChecker::resolveElement(
    Position position, const syntax::Index& node) {
  std::optional<Target> object = resolveTarget(*node.object);
  if (!object) return std::nullopt;
  if (!isVector(object->type)) {
    fail(position, std::string(typeName(object->type)) + " cannot be indexed");
    return std::nullopt;
  }
  object->index = checkIndex(*node.index, object->type);
  if (!object->index) return std::nullopt;
  object->type = ValueType::floating;
  return object;
}

}  // namespace kelvo::kernel_language
