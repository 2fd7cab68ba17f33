#pragma once

#include <cstdint>
#include <string_view>

namespace kelvo::kernel_language {

enum class BinaryOperator : std::uint8_t {
  add,
  subtract,
  multiply,
  divide,
  remainder,
  less,
  greater,
  lessEqual,
  greaterEqual,
  equal,
  notEqual,
  logicalAnd,
  logicalXor,
  logicalOr,
};

enum class UnaryOperator : std::uint8_t { plus, minus, logicalNot };

constexpr std::string_view spelling(BinaryOperator op) {
  constexpr std::string_view kSpellings[] = {"+",  "-",  "*",  "/",  "%",  "<",  ">",
                                             "<=", ">=", "==", "!=", "&&", "^^", "||"};
  return kSpellings[static_cast<std::size_t>(op)];
}

constexpr std::string_view spelling(UnaryOperator op) {
  constexpr std::string_view kSpellings[] = {"+", "-", "!"};
  return kSpellings[static_cast<std::size_t>(op)];
}

}  // namespace kelvo::kernel_language
