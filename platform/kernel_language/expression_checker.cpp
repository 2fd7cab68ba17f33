#include "platform/kernel_language/expression_checker.h"

#include <algorithm>
#include <utility>

#include "platform/kernel_language/binary_types.h"
#include "platform/kernel_language/checked_tree.h"
#include "platform/kernel_language/text_quote.h"

namespace kelvo::kernel_language {

using checked::ExpressionPtr;
using checked::makeExpression;

namespace {

std::string named(ValueType type) { return std::string(typeName(type)); }

bool isSamplerFunction(LibraryFunction function) {
  switch (function) {
    case LibraryFunction::sample:
    case LibraryFunction::samplerCoord:
    case LibraryFunction::samplerTransform:
    case LibraryFunction::samplerExtent:
    case LibraryFunction::destCoord:
      return true;
    default:
      return false;
  }
}

// The same type for both branches of ?:, or none.
std::optional<ValueType> commonType(ValueType a, ValueType b) {
  if (a == ValueType::nothing || a == ValueType::sampler) return std::nullopt;
  if (converts(b, a)) return a;
  if (converts(a, b)) return b;
  return std::nullopt;
}

}  // namespace

ExpressionPtr ExpressionChecker::fail(Position position, std::string message) {
  diagnostics_.report(position, std::move(message));
  return nullptr;
}

ExpressionPtr ExpressionChecker::check(const syntax::Expression& expression) {
  ++measure_.nodes;
  measure_.depth = std::max(measure_.depth, ++depth_);
  ExpressionPtr result = std::visit(
      [&](const auto& node) { return checkNode(expression.position, node); }, expression.node);
  --depth_;
  return result;
}

ExpressionPtr ExpressionChecker::checkAs(const syntax::Expression& expression, ValueType wanted,
                                         const std::string& purpose) {
  ExpressionPtr value = check(expression);
  if (!value) return nullptr;
  if (!converts(value->type, wanted)) {
    return fail(expression.position, purpose + " " + named(wanted) + ", not " + named(value->type));
  }
  return checked::convertScalar(std::move(value), wanted);
}

std::optional<std::vector<ExpressionPtr>> ExpressionChecker::checkAll(
    const std::vector<syntax::ExpressionPtr>& expressions) {
  std::vector<ExpressionPtr> results;
  results.reserve(expressions.size());
  bool complete = true;
  for (const syntax::ExpressionPtr& expression : expressions) {
    results.push_back(check(*expression));
    complete = complete && results.back() != nullptr;
  }
  if (!complete) return std::nullopt;
  return results;
}

ExpressionPtr ExpressionChecker::checkNode(Position, const syntax::Literal& node) {
  constexpr ValueType kTypes[] = {ValueType::floating, ValueType::integer, ValueType::boolean};
  return makeExpression(kTypes[node.value.index()], false, checked::Constant{node.value});
}

ExpressionPtr ExpressionChecker::checkNode(Position position, const syntax::Name& node) {
  const Variable* const variable = variables_.find(node.name);
  if (variable == nullptr) {
    if (functions_.isFunction(node.name)) {
      return fail(position, "the function " + quote(node.name) + " is not called");
    }
    return fail(position, quote(node.name) + " is not declared");
  }
  if (variable->isGlobal) {
    return makeExpression(variable->type, false, checked::ReadGlobal{variable->slot});
  }
  return makeExpression(variable->type, false, checked::ReadVariable{variable->slot});
}

ExpressionPtr ExpressionChecker::checkNode(Position position, const syntax::Unary& node) {
  ExpressionPtr operand = check(*node.operand);
  if (!operand) return nullptr;
  const ValueType type = operand->type;
  const bool assigns = operand->assigns;
  const bool logical = node.op == UnaryOperator::logicalNot;
  const bool fits =
      logical ? type == ValueType::boolean : isFloating(type) || type == ValueType::integer;
  if (!fits) {
    return fail(position, "the operator '" + std::string(spelling(node.op)) +
                              "' cannot be applied to " + named(type));
  }
  switch (node.op) {
    case UnaryOperator::plus:
      return operand;
    case UnaryOperator::minus:
      return makeExpression(type, assigns, checked::Negate{std::move(operand)});
    case UnaryOperator::logicalNot:
      return makeExpression(type, assigns, checked::Not{std::move(operand)});
  }
  return nullptr;
}

ExpressionPtr ExpressionChecker::checkNode(Position position, const syntax::Binary& node) {
  ExpressionPtr left = check(*node.left);
  ExpressionPtr right = check(*node.right);
  if (!left || !right) return nullptr;
  const std::optional<BinaryTypes> types = binaryTypes(node.op, left->type, right->type);
  if (!types) {
    return fail(position, "the operator '" + std::string(spelling(node.op)) + "' cannot combine " +
                              named(left->type) + " and " + named(right->type));
  }
  const bool assigns = left->assigns || right->assigns;
  left = checked::convertScalar(std::move(left), types->left);
  right = checked::convertScalar(std::move(right), types->right);
  if (node.op == BinaryOperator::logicalAnd || node.op == BinaryOperator::logicalOr) {
    const bool isAnd = node.op == BinaryOperator::logicalAnd;
    return makeExpression(types->result, assigns,
                          checked::ShortCircuit{isAnd, std::move(left), std::move(right)});
  }
  return makeExpression(types->result, assigns,
                        checked::Binary{node.op, std::move(left), std::move(right)});
}

ExpressionPtr ExpressionChecker::checkNode(Position position, const syntax::Conditional& node) {
  ExpressionPtr condition = checkAs(*node.condition, ValueType::boolean, "the condition must be");
  ExpressionPtr whenTrue = check(*node.whenTrue);
  ExpressionPtr whenFalse = check(*node.whenFalse);
  if (!condition || !whenTrue || !whenFalse) return nullptr;
  const std::optional<ValueType> type = commonType(whenTrue->type, whenFalse->type);
  if (!type) {
    return fail(position, "the operator '?:' cannot choose between " + named(whenTrue->type) +
                              " and " + named(whenFalse->type));
  }
  const bool assigns = condition->assigns || whenTrue->assigns || whenFalse->assigns;
  whenTrue = checked::convertScalar(std::move(whenTrue), *type);
  whenFalse = checked::convertScalar(std::move(whenFalse), *type);
  return makeExpression(
      *type, assigns,
      checked::Conditional{std::move(condition), std::move(whenTrue), std::move(whenFalse)});
}

ExpressionPtr ExpressionChecker::checkNode(Position position, const syntax::Call& node) {
  std::optional<std::vector<ExpressionPtr>> arguments = checkAll(node.arguments);
  if (!arguments) return nullptr;
  std::vector<ValueType> types;
  types.reserve(arguments->size());
  for (const ExpressionPtr& argument : *arguments) types.push_back(argument->type);
  const std::optional<FunctionTable::Callee> callee =
      functions_.resolve(node.callee, types, position, diagnostics_);
  if (!callee) return nullptr;

  const bool assigns = checked::anyAssigns(*arguments);
  if (const auto* const own = std::get_if<std::uint32_t>(&*callee)) {
    const FunctionEntry& entry = functions_.entries()[*own];
    if (!insideFunction_) {
      return fail(position, quote(node.callee) + " cannot be called outside of all functions");
    }
    for (std::size_t i = 0; i < arguments->size(); ++i) {
      (*arguments)[i] = checked::convertScalar(std::move((*arguments)[i]), entry.parameters[i]);
    }
    measure_.calls.push_back({*own, position});
    return makeExpression(entry.result, assigns,
                          checked::CallFunction{*own, std::move(*arguments)});
  }
  const LibraryMatch& match = std::get<LibraryMatch>(*callee);
  if (!insideFunction_ && isSamplerFunction(match.function)) {
    return fail(position, quote(node.callee) + " cannot be called outside of all functions");
  }
  for (ExpressionPtr& argument : *arguments) {
    if (argument->type == ValueType::integer) {
      argument = checked::convertScalar(std::move(argument), ValueType::floating);
    }
  }
  return makeExpression(match.result, assigns,
                        checked::CallLibrary{match.function, std::move(*arguments)});
}

ExpressionPtr ExpressionChecker::checkNode(Position position, const syntax::Construct& node) {
  std::optional<std::vector<ExpressionPtr>> arguments = checkAll(node.arguments);
  if (!arguments) return nullptr;
  if (node.type == ValueType::nothing || node.type == ValueType::sampler) {
    return fail(position, "a " + named(node.type) + " cannot be constructed");
  }
  for (std::size_t i = 0; i < arguments->size(); ++i) {
    const ValueType type = (*arguments)[i]->type;
    if (type == ValueType::nothing || type == ValueType::sampler) {
      return fail(node.arguments[i]->position,
                  named(node.type) + " cannot be constructed from " + named(type));
    }
  }
  return isVector(node.type) ? constructVector(position, node.type, std::move(*arguments))
                             : constructScalar(position, node.type, std::move(*arguments));
}

ExpressionPtr ExpressionChecker::constructScalar(Position position, ValueType type,
                                                 std::vector<ExpressionPtr> arguments) {
  if (arguments.size() != 1) {
    return fail(position,
                named(type) + " needs 1 value but got " + std::to_string(arguments.size()));
  }
  ExpressionPtr value = std::move(arguments.front());
  if (isVector(value->type)) value = checked::swizzle(std::move(value), {1, {0, 0, 0, 0}});
  return checked::convertScalar(std::move(value), type);
}

ExpressionPtr ExpressionChecker::constructVector(Position position, ValueType type,
                                                 std::vector<ExpressionPtr> arguments) {
  const std::uint32_t wanted = componentCount(type);
  std::uint32_t given = 0;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (given >= wanted) {
      return fail(position, named(type) + " has no room for argument " + std::to_string(i + 1));
    }
    if (!isVector(arguments[i]->type)) {
      arguments[i] = checked::convertScalar(std::move(arguments[i]), ValueType::floating);
    }
    given += componentCount(arguments[i]->type);
  }
  const bool splat = arguments.size() == 1 && given == 1;
  if (given < wanted && !splat) {
    return fail(position, named(type) + " needs " + std::to_string(wanted) +
                              " components but got " + std::to_string(given));
  }
  const bool assigns = checked::anyAssigns(arguments);
  return makeExpression(type, assigns, checked::Construct{std::move(arguments)});
}

ExpressionPtr ExpressionChecker::checkNode(Position position, const syntax::Member& node) {
  ExpressionPtr object = check(*node.object);
  if (!object) return nullptr;
  const std::optional<checked::Components> chosen = components(position, object->type, node.name);
  if (!chosen) return nullptr;
  return checked::swizzle(std::move(object), *chosen);
}

ExpressionPtr ExpressionChecker::checkNode(Position position, const syntax::Index& node) {
  ExpressionPtr object = check(*node.object);
  if (!object) return nullptr;
  if (!isVector(object->type)) {
    return fail(position, named(object->type) + " cannot be indexed");
  }
  ExpressionPtr index = checkIndex(*node.index, object->type);
  if (!index) return nullptr;
  const bool assigns = object->assigns || index->assigns;
  return makeExpression(ValueType::floating, assigns,
                        checked::Index{std::move(object), std::move(index)});
}

ExpressionPtr ExpressionChecker::checkIndex(const syntax::Expression& expression,
                                            ValueType object) {
  ExpressionPtr index = checkAs(expression, ValueType::integer, "an index must be");
  if (!index) return nullptr;
  std::optional<std::int64_t> known;
  if (const auto* const constant = std::get_if<checked::Constant>(&index->node)) {
    known = std::get<std::int32_t>(constant->value);
  } else if (const auto* const negate = std::get_if<checked::Negate>(&index->node)) {
    if (const auto* const inner = std::get_if<checked::Constant>(&negate->operand->node)) {
      known = -std::int64_t{std::get<std::int32_t>(inner->value)};
    }
  }
  if (known && (*known < 0 || *known >= componentCount(object))) {
    return fail(expression.position,
                "the index " + std::to_string(*known) + " is outside of " + named(object));
  }
  return index;
}

std::optional<checked::Components> ExpressionChecker::components(Position position,
                                                                 ValueType object,
                                                                 std::string_view names) {
  if (!isVector(object)) {
    fail(position, named(object) + " has no component " + quote(names));
    return std::nullopt;
  }
  if (names.size() > 4) {
    fail(position, quote(names) + " names more than four components");
    return std::nullopt;
  }
  constexpr std::string_view kSets[] = {"xyzw", "rgba", "stpq"};
  const auto* const set = std::find_if(std::begin(kSets), std::end(kSets), [&](auto candidate) {
    return candidate.find(names.front()) != std::string_view::npos;
  });
  checked::Components chosen;
  for (const char name : names) {
    const std::size_t index = set == std::end(kSets) ? std::string_view::npos : set->find(name);
    if (index == std::string_view::npos || index >= componentCount(object)) {
      const bool elsewhere = set != std::end(kSets) && index == std::string_view::npos &&
                             std::any_of(std::begin(kSets), std::end(kSets), [&](auto other) {
                               return other.find(name) != std::string_view::npos;
                             });
      fail(position, elsewhere ? quote(names) + " mixes two ways of naming components"
                               : named(object) + " has no component " + quote({&name, 1}));
      return std::nullopt;
    }
    chosen.indices[chosen.count++] = static_cast<std::uint8_t>(index);
  }
  return chosen;
}

}  // namespace kelvo::kernel_language
