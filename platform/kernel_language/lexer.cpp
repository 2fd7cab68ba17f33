#include "platform/kernel_language/lexer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "platform/kernel_language/text_quote.h"

namespace kelvo::kernel_language {
namespace {

using Spelling = std::pair<std::string_view, TokenKind>;

constexpr auto kWords = std::to_array<Spelling>({
    {"void", TokenKind::typeName},        {"float", TokenKind::typeName},
    {"vec2", TokenKind::typeName},        {"vec3", TokenKind::typeName},
    {"vec4", TokenKind::typeName},        {"int", TokenKind::typeName},
    {"bool", TokenKind::typeName},        {"sampler", TokenKind::typeName},
    {"const", TokenKind::constKeyword},   {"kernel", TokenKind::kernelKeyword},
    {"if", TokenKind::ifKeyword},         {"else", TokenKind::elseKeyword},
    {"return", TokenKind::returnKeyword}, {"true", TokenKind::trueKeyword},
    {"false", TokenKind::falseKeyword},   {"for", TokenKind::reserved},
    {"while", TokenKind::reserved},       {"do", TokenKind::reserved},
    {"break", TokenKind::reserved},       {"continue", TokenKind::reserved},
    {"switch", TokenKind::reserved},      {"struct", TokenKind::reserved},
});

// Longer spellings stand before their beginnings.
constexpr auto kPunctuation = std::to_array<Spelling>({
    {"++", TokenKind::plusPlus},
    {"--", TokenKind::minusMinus},
    {"+=", TokenKind::plusAssign},
    {"-=", TokenKind::minusAssign},
    {"*=", TokenKind::starAssign},
    {"/=", TokenKind::slashAssign},
    {"%=", TokenKind::percentAssign},
    {"<=", TokenKind::lessEqual},
    {">=", TokenKind::greaterEqual},
    {"==", TokenKind::equalEqual},
    {"!=", TokenKind::bangEqual},
    {"&&", TokenKind::andAnd},
    {"||", TokenKind::orOr},
    {"^^", TokenKind::xorXor},
    {"(", TokenKind::leftParenthesis},
    {")", TokenKind::rightParenthesis},
    {"{", TokenKind::leftBrace},
    {"}", TokenKind::rightBrace},
    {"[", TokenKind::leftBracket},
    {"]", TokenKind::rightBracket},
    {",", TokenKind::comma},
    {";", TokenKind::semicolon},
    {".", TokenKind::dot},
    {"?", TokenKind::question},
    {":", TokenKind::colon},
    {"+", TokenKind::plus},
    {"-", TokenKind::minus},
    {"*", TokenKind::star},
    {"/", TokenKind::slash},
    {"%", TokenKind::percent},
    {"!", TokenKind::bang},
    {"<", TokenKind::less},
    {">", TokenKind::greater},
    {"=", TokenKind::assign},
});

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHexDigit(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
bool isWordStart(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool isWordPart(char c) { return isWordStart(c) || isDigit(c); }

// The nearest float; nothing if it lies beyond the largest one. What is too small becomes 0.
std::optional<float> parseFloat(std::string_view digits) {
  double wide = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), wide);
  if (result.ec == std::errc::result_out_of_range) {
    const std::size_t exponent = digits.find_first_of("eE");
    const bool tiny = exponent == std::string_view::npos
                          ? digits.front() == '0' || digits.front() == '.'
                          : digits.substr(exponent + 1).starts_with('-');
    if (tiny) return 0.0F;
    return std::nullopt;
  }
  float value = 0;
  const auto narrow = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (narrow.ec == std::errc::result_out_of_range) value = static_cast<float>(wide);
  if (std::isinf(value)) return std::nullopt;
  return value;
}

class Lexer {
 public:
  Lexer(std::string_view text, Diagnostics& diagnostics) : text_(text), diagnostics_(diagnostics) {}

  std::vector<Token> run() {
    std::vector<Token> tokens;
    while (skipBlanks()) tokens.push_back(readToken());
    tokens.push_back({TokenKind::end, {}, position_, 0, 0});
    return tokens;
  }

 private:
  [[nodiscard]] char at(std::size_t offset) const {
    return index_ + offset < text_.size() ? text_[index_ + offset] : '\0';
  }
  [[nodiscard]] bool done() const { return index_ >= text_.size(); }

  void advance() {
    const char c = at(0);
    const bool newLine = c == '\n' || (c == '\r' && at(1) != '\n');
    ++index_;
    if (newLine) {
      ++position_.line;
      position_.column = 1;
    } else {
      ++position_.column;
    }
  }
  void advance(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) advance();
  }
  // Past what has no line break in it.
  void advanceWithin(std::size_t count) {
    index_ += count;
    position_.column += static_cast<decltype(position_.column)>(count);
  }

  // False at the end of the text.
  bool skipBlanks() {
    while (!done()) {
      const char c = at(0);
      if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v') {
        advance();
      } else if (c == '/' && at(1) == '/') {
        while (!done() && at(0) != '\n' && at(0) != '\r') advance();
      } else if (c == '/' && at(1) == '*') {
        skipBlockComment();
      } else {
        return true;
      }
    }
    return false;
  }

  void skipBlockComment() {
    const Position start = position_;
    advance(2);
    while (!done()) {
      if (at(0) == '*' && at(1) == '/') {
        advance(2);
        return;
      }
      advance();
    }
    diagnostics_.report(start, "the comment is not closed");
  }

  Token take(TokenKind kind, std::size_t length) {
    const Token token{kind, text_.substr(index_, length), position_, 0, 0};
    advanceWithin(length);
    return token;
  }

  Token readToken() {
    const char c = at(0);
    if (isWordStart(c)) return readWord();
    if (isDigit(c) || (c == '.' && isDigit(at(1)))) return readNumber();
    const std::string_view rest = text_.substr(index_);
    for (const auto& [spelling, kind] : kPunctuation) {
      if (spelling.front() == c && rest.starts_with(spelling)) return take(kind, spelling.size());
    }
    diagnostics_.report(position_, "unexpected character " + quote(text_.substr(index_, 1)));
    // One report for a run of bytes that belong to one character of another alphabet.
    std::size_t length = 1;
    while ((static_cast<unsigned char>(at(length)) & 0xC0U) == 0x80U) ++length;
    return take(TokenKind::invalid, length);
  }

  Token readWord() {
    std::size_t length = 1;
    while (isWordPart(at(length))) ++length;
    const std::string_view word = text_.substr(index_, length);
    const char c = word.front();
    const auto* const known = std::find_if(
        kWords.begin(), kWords.end(),
        [&](const Spelling& entry) { return entry.first.front() == c && entry.first == word; });
    return take(known == kWords.end() ? TokenKind::identifier : known->second, length);
  }

  Token readNumber() {
    if (at(0) == '0' && (at(1) == 'x' || at(1) == 'X')) return readHexadecimal();
    std::size_t length = 0;
    bool isFloat = false;
    while (isDigit(at(length))) ++length;
    if (at(length) == '.') {
      isFloat = true;
      ++length;
      while (isDigit(at(length))) ++length;
    }
    if (at(length) == 'e' || at(length) == 'E') {
      const std::size_t sign = at(length + 1) == '+' || at(length + 1) == '-' ? 1 : 0;
      if (isDigit(at(length + 1 + sign))) {
        isFloat = true;
        length += 1 + sign;
        while (isDigit(at(length))) ++length;
      }
    }
    const std::size_t digits = length;
    if (at(length) == 'f' || at(length) == 'F') {
      isFloat = true;
      ++length;
    }
    if (isWordPart(at(length))) return malformed(length);
    return isFloat ? finishFloat(digits, length) : finishDecimal(length);
  }

  Token finishFloat(std::size_t digits, std::size_t length) {
    const std::optional<float> value = parseFloat(text_.substr(index_, digits));
    Token token = take(TokenKind::floatLiteral, length);
    if (!value)
      diagnostics_.report(token.position,
                          "the number " + quote(token.text) + " is too large for float");
    token.floatValue = value.value_or(0.0F);
    return token;
  }

  Token finishDecimal(std::size_t length) {
    Token token = take(TokenKind::intLiteral, length);
    // A leading zero would mean base 8 to some readers and base 10 to others.
    if (length > 1 && token.text.front() == '0') {
      diagnostics_.report(token.position,
                          "the whole number " + quote(token.text) + " begins with a zero");
      return token;
    }
    return finishInteger(token, token.text, 10);
  }

  Token readHexadecimal() {
    std::size_t length = 2;
    while (isHexDigit(at(length))) ++length;
    if (length == 2 || isWordPart(at(length))) return malformed(length);
    const Token token = take(TokenKind::intLiteral, length);
    return finishInteger(token, token.text.substr(2), 16);
  }

  Token finishInteger(Token token, std::string_view digits, int base) {
    const auto result =
        std::from_chars(digits.data(), digits.data() + digits.size(), token.intValue, base);
    if (result.ec != std::errc{}) {
      diagnostics_.report(token.position,
                          "the number " + quote(token.text) + " is too large for int");
    }
    return token;
  }

  Token malformed(std::size_t length) {
    while (isWordPart(at(length))) ++length;
    const Token token = take(TokenKind::invalid, length);
    diagnostics_.report(token.position, quote(token.text) + " is not a number");
    return token;
  }

  std::string_view text_;
  Diagnostics& diagnostics_;
  std::size_t index_ = 0;
  Position position_;
};

}  // namespace

std::vector<Token> tokenize(std::string_view text, Diagnostics& diagnostics) {
  return Lexer(text, diagnostics).run();
}

}  // namespace kelvo::kernel_language
