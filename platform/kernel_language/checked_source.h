#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/kernel_language/library.h"
#include "platform/kernel_language/operators.h"
#include "platform/kernel_language/value_type.h"

// The type-checked tree: names resolved, conversions made explicit, every call bound to one
// function. It holds nothing of the source's text, so it outlives it. No recursion is left, and
// size and depth are within source_limits.h.
//
// Rules that all who walk the tree share:
// - operands are evaluated from the left; of an assignment first the value, then the index of the
//   target, then (for += and the like) the target's present value; the result is the new value;
// - && and || evaluate the right side only if the left one does not decide, ?: only the branch
//   chosen;
// - between a vector and a float the float acts on every component;
// - == of vectors holds if it holds for every component, != if it holds for any;
// - an index outside the vector acts as the nearest one inside;
// - variables without initial value are 0 or false;
// - conversions: bool gives 1 or 0; to bool: whatever does not equal 0; int to float rounds to the
//   nearest.
namespace kelvo::kernel_language {
namespace checked {

struct Expression;
using ExpressionPtr = std::unique_ptr<const Expression>;

// Which components of a value, in which order.
struct Components {
  std::uint32_t count = 0;
  std::array<std::uint8_t, 4> indices{};
};

struct Constant {
  std::variant<float, std::int32_t, bool> value;
};
struct ReadVariable {
  std::uint32_t slot;
};
struct ReadGlobal {
  std::uint32_t index;
};
struct Convert {  // scalar to scalar
  ExpressionPtr operand;
};
struct Construct {  // a vector: one float for all components, or the parts' first components
  std::vector<ExpressionPtr> parts;
};
struct Swizzle {
  ExpressionPtr operand;
  Components components;
};
struct Index {
  ExpressionPtr operand;
  ExpressionPtr index;
};
struct Negate {
  ExpressionPtr operand;
};
struct Not {
  ExpressionPtr operand;
};
struct Binary {  // all but && and ||; operands both int, both bool or both floating
  BinaryOperator op;
  ExpressionPtr left;
  ExpressionPtr right;
};
struct ShortCircuit {
  bool isAnd;
  ExpressionPtr left;
  ExpressionPtr right;
};
struct Conditional {
  ExpressionPtr condition;
  ExpressionPtr whenTrue;
  ExpressionPtr whenFalse;
};
struct Assign {
  std::uint32_t slot;
  Components components;  // of the variable, the target's
  ExpressionPtr index;    // if set: into `components`, the target is one of them
  std::optional<BinaryOperator> op;
  ExpressionPtr value;
  bool givesOldValue = false;  // x++ and x--
};
struct CallFunction {
  std::uint32_t function;
  std::vector<ExpressionPtr> arguments;
};
struct CallLibrary {
  LibraryFunction function;
  std::vector<ExpressionPtr> arguments;
};

struct Expression {
  ValueType type = ValueType::nothing;
  bool assigns = false;  // changes variables of the function it stands in
  std::variant<Constant, ReadVariable, ReadGlobal, Convert, Construct, Swizzle, Index, Negate, Not,
               Binary, ShortCircuit, Conditional, Assign, CallFunction, CallLibrary>
      node;
};

struct Statement;

struct Block {
  std::vector<std::unique_ptr<const Statement>> statements;
};
struct Evaluate {
  ExpressionPtr expression;
};
struct Declare {  // one variable; slots are counted up in the order of the text
  std::uint32_t slot;
  ExpressionPtr value;  // may be empty
};
struct If {
  ExpressionPtr condition;
  Block whenTrue;
  Block whenFalse;
};
struct Return {
  ExpressionPtr value;  // empty in void functions
};

struct Statement {
  std::variant<Block, Evaluate, Declare, If, Return> node;
};

struct Parameter {
  ValueType type = ValueType::nothing;
  std::string name;
};

struct Function {
  std::string name;
  bool isKernel = false;
  ValueType result = ValueType::nothing;
  std::vector<Parameter> parameters;  // they have the first slots
  std::vector<ValueType> slots;       // the type of every variable
  Block body;
};

struct Global {  // a constant outside of all functions
  ValueType type = ValueType::nothing;
  ExpressionPtr value;
};

}  // namespace checked

struct CheckedSource {
  std::vector<checked::Function> functions;
  std::vector<checked::Global> globals;
};

}  // namespace kelvo::kernel_language
