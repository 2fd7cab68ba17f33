#include "platform/kernel_language/expression_parser.h"

#include <algorithm>
#include <array>
#include <utility>

namespace kelvo::kernel_language {
namespace {

using syntax::ExpressionPtr;

struct BinaryEntry {
  TokenKind token;
  BinaryOperator op;
  int precedence;  // higher binds tighter
};

constexpr auto kBinaryOperators = std::to_array<BinaryEntry>({
    {TokenKind::star, BinaryOperator::multiply, 7},
    {TokenKind::slash, BinaryOperator::divide, 7},
    {TokenKind::percent, BinaryOperator::remainder, 7},
    {TokenKind::plus, BinaryOperator::add, 6},
    {TokenKind::minus, BinaryOperator::subtract, 6},
    {TokenKind::less, BinaryOperator::less, 5},
    {TokenKind::greater, BinaryOperator::greater, 5},
    {TokenKind::lessEqual, BinaryOperator::lessEqual, 5},
    {TokenKind::greaterEqual, BinaryOperator::greaterEqual, 5},
    {TokenKind::equalEqual, BinaryOperator::equal, 4},
    {TokenKind::bangEqual, BinaryOperator::notEqual, 4},
    {TokenKind::andAnd, BinaryOperator::logicalAnd, 3},
    {TokenKind::xorXor, BinaryOperator::logicalXor, 2},
    {TokenKind::orOr, BinaryOperator::logicalOr, 1},
});

const BinaryEntry* binaryEntry(TokenKind kind) {
  const auto* const found =
      std::find_if(kBinaryOperators.begin(), kBinaryOperators.end(),
                   [&](const BinaryEntry& entry) { return entry.token == kind; });
  return found == kBinaryOperators.end() ? nullptr : found;
}

struct AssignEntry {
  TokenKind token;
  std::optional<BinaryOperator> op;
};

constexpr auto kAssignOperators = std::to_array<AssignEntry>({
    {TokenKind::assign, std::nullopt},
    {TokenKind::plusAssign, BinaryOperator::add},
    {TokenKind::minusAssign, BinaryOperator::subtract},
    {TokenKind::starAssign, BinaryOperator::multiply},
    {TokenKind::slashAssign, BinaryOperator::divide},
    {TokenKind::percentAssign, BinaryOperator::remainder},
});

std::optional<UnaryOperator> unaryOperator(TokenKind kind) {
  switch (kind) {
    case TokenKind::plus:
      return UnaryOperator::plus;
    case TokenKind::minus:
      return UnaryOperator::minus;
    case TokenKind::bang:
      return UnaryOperator::logicalNot;
    default:
      return std::nullopt;
  }
}

std::uint32_t deepest(const std::vector<ExpressionPtr>& expressions) {
  std::uint32_t depth = 0;
  for (const ExpressionPtr& expression : expressions) depth = std::max(depth, expression->depth);
  return depth;
}

}  // namespace

ValueType typeOf(const Token& token) {
  constexpr auto kTypes =
      std::to_array({ValueType::nothing, ValueType::floating, ValueType::vec2, ValueType::vec3,
                     ValueType::vec4, ValueType::integer, ValueType::boolean, ValueType::sampler});
  const auto* const found = std::find_if(
      kTypes.begin(), kTypes.end(), [&](ValueType type) { return typeName(type) == token.text; });
  return found == kTypes.end() ? ValueType::nothing : *found;
}

template <typename Node>
ExpressionPtr ExpressionParser::make(Position position, Node node, std::uint32_t depthBelow) {
  // Chains of operators grow the tree without nesting the parser.
  if (depthBelow + 1 > kMaximumNesting) {
    cursor_.tooDeep();
    return nullptr;
  }
  auto expression = std::make_unique<syntax::Expression>();
  expression->position = position;
  expression->node = std::move(node);
  expression->depth = depthBelow + 1;
  return expression;
}

ExpressionPtr ExpressionParser::parse() {
  const TokenCursor::Level level(cursor_);
  if (!level) return nullptr;
  ExpressionPtr target = parseConditional();
  if (!target) return nullptr;
  const auto* const entry =
      std::find_if(kAssignOperators.begin(), kAssignOperators.end(),
                   [&](const AssignEntry& candidate) { return cursor_.at(candidate.token); });
  if (entry == kAssignOperators.end()) return target;
  const Position position = cursor_.next().position;
  ExpressionPtr value = parse();
  if (!value) return nullptr;
  const std::uint32_t depth = std::max(target->depth, value->depth);
  return make(position, syntax::Assign{entry->op, std::move(target), std::move(value)}, depth);
}

ExpressionPtr ExpressionParser::parseConditional() {
  ExpressionPtr condition = parseBinary(1);
  if (!condition || !cursor_.at(TokenKind::question)) return condition;
  const Position position = cursor_.next().position;
  ExpressionPtr whenTrue = parse();
  if (!whenTrue || !cursor_.expect(TokenKind::colon, "':'")) return nullptr;
  ExpressionPtr whenFalse = parse();
  if (!whenFalse) return nullptr;
  const std::uint32_t depth = std::max({condition->depth, whenTrue->depth, whenFalse->depth});
  return make(position,
              syntax::Conditional{std::move(condition), std::move(whenTrue), std::move(whenFalse)},
              depth);
}

ExpressionPtr ExpressionParser::parseBinary(int lowestPrecedence) {
  ExpressionPtr left = parseUnary();
  while (left) {
    const BinaryEntry* const entry = binaryEntry(cursor_.peek().kind);
    if (entry == nullptr || entry->precedence < lowestPrecedence) return left;
    const Position position = cursor_.next().position;
    ExpressionPtr right = parseBinary(entry->precedence + 1);
    if (!right) return nullptr;
    const std::uint32_t depth = std::max(left->depth, right->depth);
    left = make(position, syntax::Binary{entry->op, std::move(left), std::move(right)}, depth);
  }
  return left;
}

ExpressionPtr ExpressionParser::parseUnary() {
  const Token& token = cursor_.peek();
  const std::optional<UnaryOperator> op = unaryOperator(token.kind);
  const bool increments = token.kind == TokenKind::plusPlus || token.kind == TokenKind::minusMinus;
  if (!op && !increments) return parsePostfix();
  const TokenCursor::Level level(cursor_);
  if (!level) return nullptr;
  cursor_.next();
  ExpressionPtr operand = parseUnary();
  if (!operand) return nullptr;
  const std::uint32_t depth = operand->depth;
  if (op) return make(token.position, syntax::Unary{*op, std::move(operand)}, depth);
  const bool up = token.kind == TokenKind::plusPlus;
  return make(token.position, syntax::Increment{up, true, std::move(operand)}, depth);
}

ExpressionPtr ExpressionParser::parsePostfix() {
  ExpressionPtr object = parsePrimary();
  while (object) {
    const Token& token = cursor_.peek();
    const std::uint32_t depth = object->depth;
    if (cursor_.accept(TokenKind::dot)) {
      const Token& name = cursor_.peek();
      if (!cursor_.expect(TokenKind::identifier, "the name of components after '.'"))
        return nullptr;
      object = make(name.position, syntax::Member{std::move(object), name.text}, depth);
    } else if (cursor_.accept(TokenKind::leftBracket)) {
      ExpressionPtr index = parse();
      if (!index || !cursor_.expect(TokenKind::rightBracket, "']'")) return nullptr;
      const std::uint32_t below = std::max(depth, index->depth);
      object = make(token.position, syntax::Index{std::move(object), std::move(index)}, below);
    } else if (cursor_.at(TokenKind::plusPlus) || cursor_.at(TokenKind::minusMinus)) {
      const bool up = cursor_.next().kind == TokenKind::plusPlus;
      object = make(token.position, syntax::Increment{up, false, std::move(object)}, depth);
    } else {
      return object;
    }
  }
  return object;
}

ExpressionPtr ExpressionParser::parsePrimary() {
  const Token& token = cursor_.peek();
  switch (token.kind) {
    case TokenKind::floatLiteral:
      cursor_.next();
      return make(token.position, syntax::Literal{token.floatValue}, 0);
    case TokenKind::intLiteral:
      cursor_.next();
      return make(token.position, syntax::Literal{token.intValue}, 0);
    case TokenKind::trueKeyword:
    case TokenKind::falseKeyword:
      cursor_.next();
      return make(token.position, syntax::Literal{token.kind == TokenKind::trueKeyword}, 0);
    case TokenKind::leftParenthesis: {
      cursor_.next();
      ExpressionPtr inner = parse();
      if (!inner || !cursor_.expect(TokenKind::rightParenthesis, "')'")) return nullptr;
      return inner;
    }
    case TokenKind::identifier: {
      cursor_.next();
      if (!cursor_.at(TokenKind::leftParenthesis)) {
        return make(token.position, syntax::Name{token.text}, 0);
      }
      std::optional<std::vector<ExpressionPtr>> arguments = parseArguments();
      if (!arguments) return nullptr;
      const std::uint32_t depth = deepest(*arguments);
      return make(token.position, syntax::Call{token.text, std::move(*arguments)}, depth);
    }
    case TokenKind::typeName: {
      cursor_.next();
      if (!cursor_.at(TokenKind::leftParenthesis)) {
        cursor_.unexpected("'(' after " + quote(token.text));
        return nullptr;
      }
      std::optional<std::vector<ExpressionPtr>> arguments = parseArguments();
      if (!arguments) return nullptr;
      const std::uint32_t depth = deepest(*arguments);
      return make(token.position, syntax::Construct{typeOf(token), std::move(*arguments)}, depth);
    }
    case TokenKind::reserved:
      cursor_.report(token.position, quote(token.text) + " is not part of the language");
      return nullptr;
    default:
      cursor_.unexpected("an expression");
      return nullptr;
  }
}

std::optional<std::vector<ExpressionPtr>> ExpressionParser::parseArguments() {
  cursor_.next();
  std::vector<ExpressionPtr> arguments;
  if (cursor_.accept(TokenKind::rightParenthesis)) return arguments;
  // f(void) is another way to write f().
  if (cursor_.peek().text == "void" && cursor_.peek(1).kind == TokenKind::rightParenthesis) {
    cursor_.next();
    cursor_.next();
    return arguments;
  }
  do {
    ExpressionPtr argument = parse();
    if (!argument) return std::nullopt;
    arguments.push_back(std::move(argument));
  } while (cursor_.accept(TokenKind::comma));
  if (!cursor_.expect(TokenKind::rightParenthesis, "',' or ')'")) return std::nullopt;
  return arguments;
}

}  // namespace kelvo::kernel_language
