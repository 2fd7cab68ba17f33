#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/kernel_language/call_graph.h"
#include "platform/kernel_language/checked_source.h"
#include "platform/kernel_language/function_table.h"
#include "platform/kernel_language/syntax.h"
#include "platform/kernel_language/variable_scopes.h"

namespace kelvo::kernel_language {

// Gives expressions their types and meanings. An empty result means that something was reported.
class ExpressionChecker {
 public:
  ExpressionChecker(const FunctionTable& functions, const VariableScopes& variables,
                    FunctionMeasure& measure, Diagnostics& diagnostics, bool insideFunction)
      : functions_(functions),
        variables_(variables),
        measure_(measure),
        diagnostics_(diagnostics),
        insideFunction_(insideFunction) {}

  checked::ExpressionPtr check(const syntax::Expression& expression);

  // Checks and converts to `wanted`. `purpose` begins the message if that is impossible, which goes
  // on "…, not vec3".
  checked::ExpressionPtr checkAs(const syntax::Expression& expression, ValueType wanted,
                                 const std::string& purpose);

 private:
  struct Target {
    std::uint32_t slot = 0;
    checked::Components components;
    checked::ExpressionPtr index;
    ValueType type = ValueType::nothing;
  };

  checked::ExpressionPtr checkNode(Position position, const syntax::Literal& node);
  checked::ExpressionPtr checkNode(Position position, const syntax::Name& node);
  checked::ExpressionPtr checkNode(Position position, const syntax::Unary& node);
  checked::ExpressionPtr checkNode(Position position, const syntax::Increment& node);
  checked::ExpressionPtr checkNode(Position position, const syntax::Binary& node);
  checked::ExpressionPtr checkNode(Position position, const syntax::Conditional& node);
  checked::ExpressionPtr checkNode(Position position, const syntax::Assign& node);
  checked::ExpressionPtr checkNode(Position position, const syntax::Call& node);
  checked::ExpressionPtr checkNode(Position position, const syntax::Construct& node);
  checked::ExpressionPtr checkNode(Position position, const syntax::Member& node);
  checked::ExpressionPtr checkNode(Position position, const syntax::Index& node);

  std::optional<std::vector<checked::ExpressionPtr>> checkAll(
      const std::vector<syntax::ExpressionPtr>& expressions);
  checked::ExpressionPtr constructScalar(Position position, ValueType type,
                                         std::vector<checked::ExpressionPtr> arguments);
  checked::ExpressionPtr constructVector(Position position, ValueType type,
                                         std::vector<checked::ExpressionPtr> arguments);
  checked::ExpressionPtr checkIndex(const syntax::Expression& expression, ValueType object);

  std::optional<Target> resolveTarget(const syntax::Expression& expression);
  std::optional<Target> resolveVariable(Position position, std::string_view name);
  std::optional<Target> resolveMember(Position position, const syntax::Member& node);
  std::optional<Target> resolveElement(Position position, const syntax::Index& node);

  std::optional<checked::Components> components(Position position, ValueType object,
                                                std::string_view names);
  checked::ExpressionPtr fail(Position position, std::string message);

  const FunctionTable& functions_;
  const VariableScopes& variables_;
  FunctionMeasure& measure_;
  Diagnostics& diagnostics_;
  bool insideFunction_;
  std::uint32_t depth_ = 0;
};

// True if a value of one type may stand where the other is wanted.
constexpr bool converts(ValueType from, ValueType to) {
  return from == to || (from == ValueType::integer && to == ValueType::floating);
}

}  // namespace kelvo::kernel_language
