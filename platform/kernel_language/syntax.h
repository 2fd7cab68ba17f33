#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/kernel_language/diagnostics.h"
#include "platform/kernel_language/operators.h"
#include "platform/kernel_language/value_type.h"

// What the parser makes of a source: its shape, no meaning yet. All names point into the text.
namespace kelvo::kernel_language::syntax {

struct Expression;
using ExpressionPtr = std::unique_ptr<Expression>;

struct Literal {
  std::variant<float, std::int32_t, bool> value;
};
struct Name {
  std::string_view name;
};
struct Unary {
  UnaryOperator op;
  ExpressionPtr operand;
};
struct Increment {  // ++ and --
  bool up;
  bool prefix;
  ExpressionPtr target;
};
struct Binary {
  BinaryOperator op;
  ExpressionPtr left;
  ExpressionPtr right;
};
struct Conditional {
  ExpressionPtr condition;
  ExpressionPtr whenTrue;
  ExpressionPtr whenFalse;
};
struct Assign {
  std::optional<BinaryOperator> op;  // of += and the like
  ExpressionPtr target;
  ExpressionPtr value;
};
struct Call {
  std::string_view callee;
  std::vector<ExpressionPtr> arguments;
};
struct Construct {
  ValueType type;
  std::vector<ExpressionPtr> arguments;
};
struct Member {
  ExpressionPtr object;
  std::string_view name;
};
struct Index {
  ExpressionPtr object;
  ExpressionPtr index;
};

struct Expression {
  Position position;
  std::variant<Literal, Name, Unary, Increment, Binary, Conditional, Assign, Call, Construct,
               Member, Index>
      node;
  std::uint32_t depth = 1;
};

struct Statement;
using StatementPtr = std::unique_ptr<Statement>;

struct Evaluate {
  ExpressionPtr expression;
};
struct Declarator {
  Position position;
  std::string_view name;
  ExpressionPtr initializer;  // may be empty
};
struct Declare {
  bool isConst;
  ValueType type;
  std::vector<Declarator> declarators;
};
struct Block {
  std::vector<StatementPtr> statements;
  Position end;  // of the closing brace
};
struct If {
  ExpressionPtr condition;
  StatementPtr whenTrue;
  StatementPtr whenFalse;  // may be empty
};
struct Return {
  ExpressionPtr value;  // may be empty
};

struct Statement {
  Position position;
  std::variant<Evaluate, Declare, Block, If, Return> node;
};

struct Parameter {
  Position position;
  ValueType type;
  std::string_view name;  // may be empty
  bool isConst;
};

struct Function {
  Position position;  // of the name
  bool isKernel;
  ValueType result;
  std::string_view name;
  std::vector<Parameter> parameters;
  std::optional<Block> body;  // absent in a mere declaration
};

struct Source {
  std::vector<Function> functions;
  std::vector<Statement> constants;  // Declare, in the order of the text
};

}  // namespace kelvo::kernel_language::syntax
