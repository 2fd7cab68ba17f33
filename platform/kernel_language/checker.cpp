#include "platform/kernel_language/checker.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/kernel_language/expression_checker.h"
#include "platform/kernel_language/function_table.h"
#include "platform/kernel_language/text_quote.h"
#include "platform/kernel_language/variable_scopes.h"

namespace kelvo::kernel_language {
namespace {

bool reportBadVariable(ValueType type, const syntax::Declarator& declarator, bool isConst,
                       Diagnostics& diagnostics) {
  if (type == ValueType::nothing || type == ValueType::sampler) {
    diagnostics.report(declarator.position, "the variable " + quote(declarator.name) +
                                                " cannot be " + std::string(typeName(type)));
    return true;
  }
  if (isConst && !declarator.initializer) {
    diagnostics.report(declarator.position, quote(declarator.name) + " is const and needs a value");
    return true;
  }
  return false;
}

// Checks one function's body.
class BodyChecker {
 public:
  // `scopes` holds the constants outside of all functions, before and after.
  BodyChecker(const FunctionTable& functions, VariableScopes& scopes, const FunctionEntry& entry,
              Diagnostics& diagnostics)
      : scopes_(scopes),
        entry_(entry),
        diagnostics_(diagnostics),
        expressions_(functions, scopes_, measure_, diagnostics, true) {}

  checked::Function run() {
    const syntax::Function& definition = *entry_.definition;
    checked::Function function;
    function.name = entry_.name;
    function.isKernel = entry_.isKernel;
    function.result = entry_.result;
    scopes_.enter();
    for (const syntax::Parameter& parameter : definition.parameters) {
      function.parameters.push_back({parameter.type, std::string(parameter.name)});
      const std::uint32_t slot = newSlot(parameter.type);
      if (parameter.name.empty()) continue;
      declare(parameter.position, parameter.name, {parameter.type, parameter.isConst, false, slot});
    }
    function.body = checkStatements(*definition.body);
    scopes_.leave();
    if (entry_.result != ValueType::nothing && !alwaysReturns(*definition.body)) {
      diagnostics_.report(definition.body->end,
                          quote(entry_.name) + " can end without returning a value");
    }
    function.slots = std::move(slots_);
    return function;
  }

  // Valid after run().
  [[nodiscard]] FunctionMeasure takeMeasure() && {
    measure_.depth += deepest_;
    return std::move(measure_);
  }

 private:
  std::uint32_t newSlot(ValueType type) {
    slots_.push_back(type);
    return static_cast<std::uint32_t>(slots_.size() - 1);
  }

  void declare(Position position, std::string_view name, const Variable& variable) {
    if (!scopes_.declare(name, variable)) {
      diagnostics_.report(position, quote(name) + " is already declared in this scope");
    }
  }

  static bool alwaysReturns(const syntax::Block& block) {
    return std::any_of(block.statements.begin(), block.statements.end(),
                       [](const auto& statement) { return alwaysReturns(*statement); });
  }
  static bool alwaysReturns(const syntax::Statement& statement) {
    if (std::holds_alternative<syntax::Return>(statement.node)) return true;
    if (const auto* const block = std::get_if<syntax::Block>(&statement.node)) {
      return alwaysReturns(*block);
    }
    if (const auto* const branch = std::get_if<syntax::If>(&statement.node)) {
      return branch->whenFalse && alwaysReturns(*branch->whenTrue) &&
             alwaysReturns(*branch->whenFalse);
    }
    return false;
  }

  checked::Block checkStatements(const syntax::Block& block) {
    checked::Block result;
    for (const syntax::StatementPtr& statement : block.statements) checkInto(result, *statement);
    return result;
  }

  // A block of its own scope.
  checked::Block checkBranch(const syntax::Statement& statement) {
    checked::Block result;
    scopes_.enter();
    if (const auto* const block = std::get_if<syntax::Block>(&statement.node)) {
      result = checkStatements(*block);
    } else {
      checkInto(result, statement);
    }
    scopes_.leave();
    return result;
  }

  void checkInto(checked::Block& block, const syntax::Statement& statement) {
    ++measure_.nodes;
    ++depth_;
    std::visit([&](const auto& node) { add(block, statement.position, node); }, statement.node);
    deepest_ = std::max(deepest_, depth_);
    --depth_;
  }

  template <typename Node>
  void append(checked::Block& block, Node node) {
    auto statement = std::make_unique<checked::Statement>();
    statement->node = std::move(node);
    block.statements.push_back(std::move(statement));
  }

  void add(checked::Block& block, Position, const syntax::Block& node) {
    scopes_.enter();
    append(block, checkStatements(node));
    scopes_.leave();
  }

  void add(checked::Block& block, Position, const syntax::Evaluate& node) {
    if (auto expression = expressions_.check(*node.expression)) {
      append(block, checked::Evaluate{std::move(expression)});
    }
  }

  void add(checked::Block& block, Position, const syntax::Declare& node) {
    for (const syntax::Declarator& declarator : node.declarators) {
      ++measure_.nodes;
      if (reportBadVariable(node.type, declarator, node.isConst, diagnostics_)) continue;
      checked::ExpressionPtr value;
      if (declarator.initializer) {
        value = expressions_.checkAs(*declarator.initializer, node.type,
                                     "the value of " + quote(declarator.name) + " must be");
      }
      const std::uint32_t slot = newSlot(node.type);
      declare(declarator.position, declarator.name, {node.type, node.isConst, false, slot});
      append(block, checked::Declare{slot, std::move(value)});
    }
  }

  void add(checked::Block& block, Position, const syntax::If& node) {
    checked::If result;
    result.condition =
        expressions_.checkAs(*node.condition, ValueType::boolean, "the condition must be");
    result.whenTrue = checkBranch(*node.whenTrue);
    if (node.whenFalse) result.whenFalse = checkBranch(*node.whenFalse);
    append(block, std::move(result));
  }

  void add(checked::Block& block, Position position, const syntax::Return& node) {
    checked::Return result;
    if (node.value && entry_.result == ValueType::nothing) {
      diagnostics_.report(position, quote(entry_.name) + " is void and cannot return a value");
    } else if (node.value) {
      result.value =
          expressions_.checkAs(*node.value, entry_.result, quote(entry_.name) + " must return");
    } else if (entry_.result != ValueType::nothing) {
      diagnostics_.report(
          position, quote(entry_.name) + " must return " + std::string(typeName(entry_.result)));
    }
    append(block, std::move(result));
  }

  VariableScopes& scopes_;
  const FunctionEntry& entry_;
  Diagnostics& diagnostics_;
  FunctionMeasure measure_;
  ExpressionChecker expressions_;
  std::vector<ValueType> slots_;
  std::uint32_t depth_ = 0;  // of statements
  std::uint32_t deepest_ = 0;
};

// Constants outside of all functions become part of `scopes` and of `result`.
void checkGlobals(const syntax::Source& source, const FunctionTable& functions,
                  VariableScopes& scopes, FunctionMeasure& measure, CheckedSource& result,
                  Diagnostics& diagnostics) {
  ExpressionChecker expressions(functions, scopes, measure, diagnostics, false);
  for (const syntax::Statement& statement : source.constants) {
    const auto& node = std::get<syntax::Declare>(statement.node);
    for (const syntax::Declarator& declarator : node.declarators) {
      if (reportBadVariable(node.type, declarator, true, diagnostics)) continue;
      checked::ExpressionPtr value =
          expressions.checkAs(*declarator.initializer, node.type,
                              "the value of " + quote(declarator.name) + " must be");
      const auto index = static_cast<std::uint32_t>(result.globals.size());
      if (!scopes.declare(declarator.name, {node.type, true, true, index})) {
        diagnostics.report(declarator.position,
                           quote(declarator.name) + " is already declared in this scope");
      }
      result.globals.push_back({node.type, std::move(value)});
    }
  }
}

}  // namespace

std::shared_ptr<const CheckedSource> check(const syntax::Source& source, Diagnostics& diagnostics) {
  const FunctionTable functions(source, diagnostics);
  auto result = std::make_shared<CheckedSource>();
  VariableScopes globals;
  FunctionMeasure shared;
  checkGlobals(source, functions, globals, shared, *result, diagnostics);
  std::vector<FunctionMeasure> measures;
  for (const FunctionEntry& entry : functions.entries()) {
    measures.emplace_back();
    result->functions.emplace_back();
    if (entry.definition == nullptr) continue;
    BodyChecker body(functions, globals, entry, diagnostics);
    result->functions.back() = body.run();
    measures.back() = std::move(body).takeMeasure();
  }
  checkCalls(functions, measures, shared.nodes, diagnostics);
  const bool hasKernel = std::any_of(result->functions.begin(), result->functions.end(),
                                     [](const checked::Function& f) { return f.isKernel; });
  if (!hasKernel && diagnostics.empty()) diagnostics.report({}, "the source holds no kernel");
  if (!diagnostics.empty()) return nullptr;
  return result;
}

}  // namespace kelvo::kernel_language
