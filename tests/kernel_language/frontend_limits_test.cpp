// Texts that no one writes by hand: the compiler refuses them with a message, quickly and without
// running out of stack.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "platform/kernel_language/source_limits.h"
#include "program_runner.h"

namespace kelvo::kernel_language {
namespace {

std::string repeated(const std::string& text, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) result += text;
  return result;
}

std::string kernelReturning(const std::string& expression) {
  return "kernel vec4 k(vec4 p) { return " + expression + "; }";
}

std::string firstMessage(const std::string& source) {
  const CompiledSource compiled = compileSource(source);
  EXPECT_EQ(compiled.kernels.empty(), !compiled.diagnostics.empty());
  return compiled.diagnostics.empty() ? "" : compiled.diagnostics.front().message;
}

TEST(FrontEndLimits, DeepNestingOfEveryKindIsRefused) {
  constexpr std::size_t kDeep = 20'000;
  const std::string refused = "this is nested too deeply";
  EXPECT_EQ(firstMessage(kernelReturning(repeated("(", kDeep) + "p" + repeated(")", kDeep))),
            refused);
  EXPECT_EQ(firstMessage(kernelReturning(repeated("- ", kDeep) + "p")), refused);
  EXPECT_EQ(firstMessage(kernelReturning("p" + repeated(" + p", kDeep / 2))), refused);
  EXPECT_EQ(firstMessage(kernelReturning("p" + repeated(".x", kDeep))), refused);
  EXPECT_EQ(firstMessage(kernelReturning("p" + repeated("[0", kDeep))), refused);
  EXPECT_EQ(firstMessage(kernelReturning("p" + repeated("++", kDeep))), refused);
  EXPECT_EQ(firstMessage(kernelReturning(repeated("f(", kDeep))), refused);
  EXPECT_EQ(firstMessage(kernelReturning(repeated("vec4(", kDeep / 2))), refused);
  EXPECT_EQ(firstMessage(kernelReturning(repeated("p = ", kDeep / 2) + "p")), refused);
  EXPECT_EQ(firstMessage(kernelReturning(repeated("true ? p : ", 5000) + "p")), refused);
  EXPECT_EQ(firstMessage(kernelReturning(repeated("true ? ", 5000) + "p")), refused);
  EXPECT_EQ(firstMessage("kernel vec4 k(vec4 p) {" + repeated("{", kDeep)), refused);
  EXPECT_EQ(firstMessage("kernel vec4 k(vec4 p) {" + repeated("if (true) ", 5000)), refused);
  EXPECT_EQ(firstMessage("kernel vec4 k(vec4 p) {" + repeated("if (true) ; else ", 3000)), refused);
}

TEST(FrontEndLimits, NestingUpToTheLimitCompilesAndRuns) {
  const std::size_t deep = kMaximumNesting - 20;
  const std::string source = "kernel vec4 k(vec4 p) { float x = 0.0; " +
                             repeated("{ if (x >= 0.0) ", deep / 2) + "x = " + repeated("(", 10) +
                             "1.0" + repeated(")", 10) + ";" + repeated("}", deep / 2) +
                             "return vec4(x" + repeated(" + 1.0", deep) + "); }";
  const auto kernel = compileOne(source);
  ASSERT_TRUE(kernel);
  const float expected = 1.0F + static_cast<float>(deep);
  EXPECT_EQ(runPlainly(*kernel, {{}}, {{{}}}).front()[0], expected);
  const Result<Program> program = emitProgram(*kernel, {{}});
  ASSERT_TRUE(program.ok());
  EXPECT_EQ(runProgram(*program, {{{}}}).front()[0], expected);
}

TEST(FrontEndLimits, LongSourcesAreRefused) {
  const std::string source = kernelReturning("p");
  EXPECT_EQ(firstMessage(source + std::string(kMaximumSourceBytes - source.size(), ' ')), "");
  EXPECT_EQ(firstMessage(source + std::string(kMaximumSourceBytes - source.size() + 1, ' ')),
            "the source is longer than 65536 bytes");
}

// f0 … fn, each calling the one before it twice.
std::string doubling(int levels) {
  std::string source = "float f0(float x) { return x + 1.0; }";
  for (int i = 1; i <= levels; ++i) {
    const std::string below = "f" + std::to_string(i - 1);
    source +=
        "float f" + std::to_string(i) + "(float x) { return " + below + "(" + below + "(x)); }";
  }
  return source + "kernel vec4 k(vec4 p) { return vec4(f" + std::to_string(levels) + "(0.0)); }";
}

TEST(FrontEndLimits, KernelsThatGrowBeyondMeasureAreRefused) {
  EXPECT_EQ(firstMessage(doubling(12)), "");
  EXPECT_EQ(firstMessage(doubling(40)), "the kernel 'k' is too large with all that it calls");
  EXPECT_EQ(firstMessage(doubling(300)), "the kernel 'k' is too large with all that it calls");
}

TEST(FrontEndLimits, LargeKernelsRun) {
  const auto kernel = compileOne(doubling(12));
  ASSERT_TRUE(kernel);
  EXPECT_EQ(runPlainly(*kernel, {{}}, {{{}}}).front()[0], 4096);
  const Result<Program> program = emitProgram(*kernel, {{}});
  ASSERT_TRUE(program.ok());
  EXPECT_EQ(runProgram(*program, {{{}}}).front()[0], 4096);
}

// f0 … fn, each calling the one before it.
std::string chain(int levels) {
  std::string source = "float f0(float x) { return x + 1.0; }";
  for (int i = 1; i <= levels; ++i) {
    source +=
        "float f" + std::to_string(i) + "(float x){return f" + std::to_string(i - 1) + "(x);}";
  }
  return source + "kernel vec4 k(vec4 p) { return vec4(f" + std::to_string(levels) + "(0.0)); }";
}

TEST(FrontEndLimits, LongChainsOfCallsAreRefused) {
  EXPECT_EQ(firstMessage(chain(1000)),
            "the functions under the kernel 'k' call each other too deeply");
}

TEST(FrontEndLimits, ChainsOfCallsUpToTheLimitRun) {
  // A level of each is a statement, a call and its argument.
  const int levels = static_cast<int>(kMaximumCallNesting) / 3 - 3;
  const auto kernel = compileOne(chain(levels));
  ASSERT_TRUE(kernel);
  EXPECT_EQ(runPlainly(*kernel, {{}}, {{{}}}).front()[0], 1);
  const Result<Program> program = emitProgram(*kernel, {{}});
  ASSERT_TRUE(program.ok());
  EXPECT_EQ(runProgram(*program, {{{}}}).front()[0], 1);
}

TEST(FrontEndLimits, ProgramsWithTooManyInstructionsAreRefused) {
  // Every branch carries all variables on.
  std::string source = "kernel vec4 k(vec4 p, sampler s) { vec4 q = sample(s, destCoord());";
  for (int i = 0; i < 1000; ++i) source += "float v" + std::to_string(i) + "=q.r;";
  source += repeated("if(q.r>q.g)q.b++;", 1500) + "return q; }";
  const auto kernel = compileOne(source);
  ASSERT_TRUE(kernel);
  const Result<Program> program = emitProgram(*kernel, {});
  ASSERT_FALSE(program.ok());
  EXPECT_EQ(program.error().message, "the kernel 'k' needs too many instructions");
}

TEST(FrontEndLimits, ReportsAreCutShort) {
  const CompiledSource compiled =
      compileSource("kernel vec4 k(vec4 p) {" + repeated("a = b;", 1000) + "return p; }");
  ASSERT_EQ(compiled.diagnostics.size(), 21U);
  EXPECT_EQ(compiled.diagnostics.back().message, "more is wrong from here on");
}

TEST(FrontEndLimits, LongNamesAreCutInMessages) {
  EXPECT_EQ(firstMessage(kernelReturning(std::string(1000, 'a'))),
            "'" + std::string(40, 'a') + "...' is not declared");
}

TEST(FrontEndLimits, EveryBeginningOfASourceIsHandled) {
  const std::string source = readFile(std::string(KELVO_SOURCE_DIR) +
                                      "/tests/kernel_language/sources/replace_color.kernel");
  ASSERT_GT(source.size(), 1000U);
  for (std::size_t length = 0; length < source.size(); ++length) {
    const CompiledSource compiled = compileSource(source.substr(0, length));
    EXPECT_FALSE(compiled.diagnostics.empty()) << length;
    EXPECT_TRUE(compiled.kernels.empty()) << length;
  }
}

TEST(FrontEndLimits, ChangedBytesAreHandled) {
  const std::string original = readFile(std::string(KELVO_SOURCE_DIR) +
                                        "/tests/kernel_language/sources/replace_color.kernel");
  std::mt19937 random(1);
  const std::string alphabet = "(){}[];,.?:+-*/%!<>=&|^ \n\t019aexrgbv_#\"\\\x80\xff";
  for (int round = 0; round < 3000; ++round) {
    std::string source = original;
    for (int change = 0; change < 3; ++change) {
      source[random() % source.size()] = alphabet[random() % alphabet.size()];
    }
    const CompiledSource compiled = compileSource(source);
    EXPECT_EQ(compiled.kernels.empty(), !compiled.diagnostics.empty());
    for (const Diagnostic& diagnostic : compiled.diagnostics) {
      EXPECT_GE(diagnostic.line, 1U);
      EXPECT_GE(diagnostic.column, 1U);
      EXPECT_TRUE(std::all_of(diagnostic.message.begin(), diagnostic.message.end(), [](char c) {
        return c >= ' ' && c <= '~';
      })) << diagnostic.message;
    }
  }
}

}  // namespace
}  // namespace kelvo::kernel_language
