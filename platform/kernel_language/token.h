#pragma once

#include <cstdint>
#include <string_view>

#include "platform/kernel_language/diagnostics.h"

namespace kelvo::kernel_language {

enum class TokenKind : std::uint8_t {
  end,
  invalid,  // reported by the lexer
  identifier,
  floatLiteral,
  intLiteral,
  // keywords
  typeName,  // void float vec2 vec3 vec4 int bool sampler
  constKeyword,
  kernelKeyword,
  ifKeyword,
  elseKeyword,
  returnKeyword,
  trueKeyword,
  falseKeyword,
  reserved,  // words of the wider language family that have no meaning here
  // punctuation
  leftParenthesis,
  rightParenthesis,
  leftBrace,
  rightBrace,
  leftBracket,
  rightBracket,
  comma,
  semicolon,
  dot,
  question,
  colon,
  plus,
  minus,
  star,
  slash,
  percent,
  bang,
  less,
  greater,
  lessEqual,
  greaterEqual,
  equalEqual,
  bangEqual,
  andAnd,
  orOr,
  xorXor,
  plusPlus,
  minusMinus,
  assign,
  plusAssign,
  minusAssign,
  starAssign,
  slashAssign,
  percentAssign,
};

struct Token {
  TokenKind kind = TokenKind::end;
  std::string_view text;  // into the source
  Position position;
  float floatValue = 0;
  std::int32_t intValue = 0;
};

}  // namespace kelvo::kernel_language
