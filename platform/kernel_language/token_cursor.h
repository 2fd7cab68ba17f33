#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/kernel_language/source_limits.h"
#include "platform/kernel_language/text_quote.h"
#include "platform/kernel_language/token.h"

namespace kelvo::kernel_language {

// Where the parser stands in the tokens, and how deep. Too much depth ends the parse: the cursor
// jumps to the end of the source and stays silent from then on.
class TokenCursor {
 public:
  TokenCursor(std::span<const Token> tokens, Diagnostics& diagnostics)
      : tokens_(tokens), diagnostics_(diagnostics) {}

  [[nodiscard]] const Token& peek(std::size_t ahead = 0) const {
    const std::size_t last = tokens_.size() - 1;
    return tokens_[index_ + ahead < last ? index_ + ahead : last];
  }
  [[nodiscard]] bool at(TokenKind kind) const { return peek().kind == kind; }
  [[nodiscard]] bool atEnd() const { return at(TokenKind::end); }
  [[nodiscard]] std::size_t index() const { return index_; }

  const Token& next() {
    const Token& token = peek();
    if (index_ + 1 < tokens_.size()) ++index_;
    return token;
  }
  bool accept(TokenKind kind) {
    if (!at(kind)) return false;
    next();
    return true;
  }
  // Reports what stands here instead of `what`.
  bool expect(TokenKind kind, std::string_view what) {
    if (accept(kind)) return true;
    unexpected(what);
    return false;
  }
  void unexpected(std::string_view what) {
    // What the lexer could not read has been reported already.
    if (at(TokenKind::invalid)) return;
    report(peek().position, "expected " + std::string(what) + " but found " + describe(peek()));
  }
  void report(Position position, std::string message) {
    if (!aborted_) diagnostics_.report(position, std::move(message));
  }

  // One level of nesting for as long as it lives. False: too deep, the parse is over.
  class Level {
   public:
    explicit Level(TokenCursor& cursor) : cursor_(cursor) {
      if (++cursor_.depth_ > kMaximumNesting) cursor_.tooDeep();
    }
    ~Level() { --cursor_.depth_; }
    Level(const Level&) = delete;
    Level& operator=(const Level&) = delete;
    explicit operator bool() const { return !cursor_.aborted_; }

   private:
    TokenCursor& cursor_;
  };

  void tooDeep() {
    report(peek().position, "this is nested too deeply");
    aborted_ = true;
    index_ = tokens_.size() - 1;
  }

 private:
  static std::string describe(const Token& token) {
    return token.kind == TokenKind::end ? "the end of the source" : quote(token.text);
  }

  std::span<const Token> tokens_;
  Diagnostics& diagnostics_;
  std::size_t index_ = 0;
  std::uint32_t depth_ = 0;
  bool aborted_ = false;
};

}  // namespace kelvo::kernel_language
