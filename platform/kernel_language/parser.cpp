#include "platform/kernel_language/parser.h"

#include <utility>

#include "platform/kernel_language/expression_parser.h"
#include "platform/kernel_language/token_cursor.h"

namespace kelvo::kernel_language {
namespace {

using syntax::StatementPtr;

template <typename Node>
StatementPtr makeStatement(Position position, Node node) {
  auto statement = std::make_unique<syntax::Statement>();
  statement->position = position;
  statement->node = std::move(node);
  return statement;
}

class Parser {
 public:
  Parser(std::span<const Token> tokens, Diagnostics& diagnostics)
      : cursor_(tokens, diagnostics), expressions_(cursor_) {}

  syntax::Source run() {
    while (!cursor_.atEnd()) {
      const std::size_t before = cursor_.index();
      if (!parseTopLevel()) skipTopLevel(before);
    }
    return std::move(source_);
  }

 private:
  // constant declaration, function declaration or function definition
  bool parseTopLevel() {
    if (cursor_.accept(TokenKind::semicolon)) return true;
    if (cursor_.at(TokenKind::constKeyword)) {
      StatementPtr constant = parseDeclaration();
      if (!constant) return false;
      source_.constants.push_back(std::move(*constant));
      return true;
    }
    syntax::Function function{};
    function.isKernel = cursor_.accept(TokenKind::kernelKeyword);
    const Token& type = cursor_.peek();
    if (!cursor_.expect(TokenKind::typeName, function.isKernel
                                                 ? "the type of the kernel's result"
                                                 : "a function, a kernel or a constant")) {
      return false;
    }
    function.result = typeOf(type);
    const Token& name = cursor_.peek();
    if (!cursor_.expect(TokenKind::identifier, "the name of a function")) return false;
    function.position = name.position;
    function.name = name.text;
    if (!cursor_.at(TokenKind::leftParenthesis)) {
      if (cursor_.at(TokenKind::assign) || cursor_.at(TokenKind::semicolon) ||
          cursor_.at(TokenKind::comma)) {
        cursor_.report(name.position, "the variable " + quote(name.text) +
                                          " outside of all functions must be const");
      } else {
        cursor_.unexpected("'('");
      }
      return false;
    }
    if (!parseParameters(function)) return false;
    if (!cursor_.accept(TokenKind::semicolon)) {
      if (!cursor_.at(TokenKind::leftBrace)) {
        cursor_.unexpected("the function's body");
        return false;
      }
      function.body = parseBlock();
    }
    source_.functions.push_back(std::move(function));
    return true;
  }

  bool parseParameters(syntax::Function& function) {
    cursor_.next();
    if (cursor_.accept(TokenKind::rightParenthesis)) return true;
    if (cursor_.peek().text == "void" && cursor_.peek(1).kind == TokenKind::rightParenthesis) {
      cursor_.next();
      cursor_.next();
      return true;
    }
    do {
      syntax::Parameter parameter{};
      parameter.isConst = cursor_.accept(TokenKind::constKeyword);
      const Token& type = cursor_.peek();
      if (!cursor_.expect(TokenKind::typeName, "the type of a parameter")) return false;
      parameter.type = typeOf(type);
      parameter.position = cursor_.peek().position;
      if (cursor_.at(TokenKind::identifier)) parameter.name = cursor_.next().text;
      function.parameters.push_back(parameter);
    } while (cursor_.accept(TokenKind::comma));
    return cursor_.expect(TokenKind::rightParenthesis, "',' or ')'");
  }

  // Behind a mistake outside of all bodies: to the next place where something can begin.
  void skipTopLevel(std::size_t before) {
    if (cursor_.index() == before) cursor_.next();
    std::size_t depth = 0;
    while (!cursor_.atEnd()) {
      if (depth == 0 && (cursor_.at(TokenKind::kernelKeyword) || startsFunction())) return;
      const TokenKind kind = cursor_.next().kind;
      if (kind == TokenKind::leftBrace) ++depth;
      if (kind == TokenKind::rightBrace && depth > 0 && --depth == 0) return;
      if (kind == TokenKind::semicolon && depth == 0) return;
    }
  }

  [[nodiscard]] bool startsFunction() const {
    return cursor_.at(TokenKind::typeName) && cursor_.peek(1).kind == TokenKind::identifier &&
           cursor_.peek(2).kind == TokenKind::leftParenthesis;
  }

  // Statements that could not be read are reported and left out.
  syntax::Block parseBlock() {
    syntax::Block block;
    cursor_.next();
    while (!cursor_.atEnd() && !cursor_.at(TokenKind::rightBrace)) {
      const std::size_t before = cursor_.index();
      const std::size_t statements = block.statements.size();
      if (cursor_.accept(TokenKind::semicolon)) continue;
      if (StatementPtr statement = parseStatement()) {
        block.statements.push_back(std::move(statement));
      }
      if (block.statements.size() == statements) skipStatement(before);
    }
    block.end = cursor_.peek().position;
    cursor_.expect(TokenKind::rightBrace, "'}'");
    return block;
  }

  // Behind a mistake inside a body: past the next ';' or block, but not out of this block.
  void skipStatement(std::size_t before) {
    if (cursor_.index() == before && !cursor_.at(TokenKind::leftBrace)) cursor_.next();
    std::size_t braces = 0;
    std::size_t parentheses = 0;
    while (!cursor_.atEnd()) {
      if (braces == 0 && cursor_.at(TokenKind::rightBrace)) return;
      const TokenKind kind = cursor_.next().kind;
      if (kind == TokenKind::leftParenthesis) ++parentheses;
      if (kind == TokenKind::rightParenthesis && parentheses > 0) --parentheses;
      if (kind == TokenKind::leftBrace) ++braces;
      if (kind == TokenKind::rightBrace && --braces == 0) return;
      if (kind == TokenKind::semicolon && braces == 0 && parentheses == 0) return;
    }
  }

  StatementPtr parseStatement() {
    const TokenCursor::Level level(cursor_);
    if (!level) return nullptr;
    const Position position = cursor_.peek().position;
    switch (cursor_.peek().kind) {
      case TokenKind::leftBrace:
        return makeStatement(position, parseBlock());
      case TokenKind::ifKeyword:
        return parseIf();
      case TokenKind::returnKeyword:
        return parseReturn();
      case TokenKind::constKeyword:
        return parseDeclaration();
      case TokenKind::typeName:
        // A constructor may stand as an expression, but then a '(' follows.
        if (cursor_.peek(1).kind != TokenKind::leftParenthesis) return parseDeclaration();
        break;
      case TokenKind::elseKeyword:
        cursor_.report(position, "'else' without an 'if' before it");
        return nullptr;
      default:
        break;
    }
    syntax::ExpressionPtr expression = expressions_.parse();
    if (!expression || !expectSemicolon()) return nullptr;
    return makeStatement(position, syntax::Evaluate{std::move(expression)});
  }

  bool expectSemicolon() { return cursor_.expect(TokenKind::semicolon, "';'"); }

  StatementPtr parseIf() {
    const Position position = cursor_.next().position;
    if (!cursor_.expect(TokenKind::leftParenthesis, "'(' after 'if'")) return nullptr;
    syntax::If node;
    node.condition = expressions_.parse();
    if (!node.condition || !cursor_.expect(TokenKind::rightParenthesis, "')'")) return nullptr;
    node.whenTrue = parseBranch();
    if (!node.whenTrue) return nullptr;
    if (cursor_.accept(TokenKind::elseKeyword)) {
      node.whenFalse = parseBranch();
      if (!node.whenFalse) return nullptr;
    }
    return makeStatement(position, std::move(node));
  }

  StatementPtr parseBranch() {
    const Position position = cursor_.peek().position;
    if (cursor_.accept(TokenKind::semicolon))
      return makeStatement(position, syntax::Block{{}, position});
    return parseStatement();
  }

  StatementPtr parseReturn() {
    const Position position = cursor_.next().position;
    syntax::Return node;
    if (!cursor_.at(TokenKind::semicolon)) {
      node.value = expressions_.parse();
      if (!node.value) return nullptr;
    }
    if (!expectSemicolon()) return nullptr;
    return makeStatement(position, std::move(node));
  }

  // [const] type name [= value] {, name [= value]} ;
  StatementPtr parseDeclaration() {
    const Position position = cursor_.peek().position;
    syntax::Declare node{};
    node.isConst = cursor_.accept(TokenKind::constKeyword);
    const Token& type = cursor_.peek();
    if (!cursor_.expect(TokenKind::typeName, "a type")) return nullptr;
    node.type = typeOf(type);
    do {
      const Token& name = cursor_.peek();
      if (!cursor_.expect(TokenKind::identifier, "the name of a variable")) return nullptr;
      syntax::Declarator declarator{name.position, name.text, nullptr};
      if (cursor_.accept(TokenKind::assign)) {
        declarator.initializer = expressions_.parse();
        if (!declarator.initializer) return nullptr;
      }
      node.declarators.push_back(std::move(declarator));
    } while (cursor_.accept(TokenKind::comma));
    if (!cursor_.expect(TokenKind::semicolon, "',' or ';'")) return nullptr;
    return makeStatement(position, std::move(node));
  }

  TokenCursor cursor_;
  ExpressionParser expressions_;
  syntax::Source source_;
};

}  // namespace

syntax::Source parse(std::span<const Token> tokens, Diagnostics& diagnostics) {
  return Parser(tokens, diagnostics).run();
}

}  // namespace kelvo::kernel_language
