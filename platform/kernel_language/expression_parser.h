#pragma once

#include <optional>

#include "platform/kernel_language/syntax.h"
#include "platform/kernel_language/token_cursor.h"

namespace kelvo::kernel_language {

// The type that a typeName token names.
ValueType typeOf(const Token& token);

// Reads expressions. Empty results mean that something was reported.
class ExpressionParser {
 public:
  explicit ExpressionParser(TokenCursor& cursor) : cursor_(cursor) {}

  // assignment: conditional [assign-op assignment]
  syntax::ExpressionPtr parse();

 private:
  syntax::ExpressionPtr parseConditional();
  syntax::ExpressionPtr parseBinary(int lowestPrecedence);
  syntax::ExpressionPtr parseUnary();
  syntax::ExpressionPtr parsePostfix();
  syntax::ExpressionPtr parsePrimary();
  std::optional<std::vector<syntax::ExpressionPtr>> parseArguments();

  template <typename Node>
  syntax::ExpressionPtr make(Position position, Node node, std::uint32_t depthBelow);

  TokenCursor& cursor_;
};

}  // namespace kelvo::kernel_language
