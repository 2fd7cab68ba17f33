// What emitKernel asks of samplers and arguments, and what it spares the program.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "program_runner.h"

namespace kelvo::kernel_language {
namespace {

// Counts how the kernel reads its sampler.
struct Reads {
  int here = 0;
  int elsewhere = 0;
};

KernelArgument countingSampler(Reads& reads) {
  SamplerArgument sampler;
  sampler.sampleHere = [&reads](Builder& builder) {
    ++reads.here;
    return Pixel{builder.input(0, 0), builder.input(0, 1), builder.input(0, 2),
                 builder.input(0, 3)};
  };
  sampler.sampleAt = [&reads](Builder& builder, ValueId x, ValueId y) {
    ++reads.elsewhere;
    return Pixel{x, y, x, builder.constant(1)};
  };
  return sampler;
}

Reads readsOf(const std::string& body) {
  const auto kernel = compileOne("kernel vec4 k(sampler s) { " + body + " }");
  Reads reads;
  if (!kernel) {
    ADD_FAILURE();
    return reads;
  }
  Builder builder;
  const std::vector<KernelArgument> arguments{countingSampler(reads)};
  EXPECT_TRUE(emitKernel(*kernel, builder, arguments).ok());
  return reads;
}

std::size_t count(const Program& program, Op op) {
  return static_cast<std::size_t>(
      std::count_if(program.instructions.begin(), program.instructions.end(),
                    [op](const Instruction& instruction) { return instruction.op == op; }));
}

Program programOf(const std::string& source) {
  const auto kernel = compileOne(source);
  if (!kernel) {
    ADD_FAILURE();
    return {};
  }
  Result<Program> program = emitProgram(*kernel, {});
  EXPECT_TRUE(program.ok());
  return std::move(program).value();
}

std::string failure(const std::string& parameters, std::vector<KernelArgument> arguments) {
  const auto kernel = compileOne("kernel vec4 k(" + parameters + ") { return vec4(1); }");
  if (!kernel) return "does not compile";
  Builder builder;
  const Result<Pixel> result = emitKernel(*kernel, builder, arguments);
  return result.ok() ? "" : result.error().message;
}

TEST(EmitKernel, ReadsTheSamplerHereAtItsOwnCoordinate) {
  for (const std::string coordinate :
       {"samplerCoord(s)", "destCoord()", "samplerTransform(s, destCoord())",
        "vec2(destCoord().x, samplerCoord(s).y)", "samplerCoord(s).yx.yx"}) {
    const Reads reads = readsOf("return sample(s, " + coordinate + ");");
    EXPECT_EQ(reads.here, 1) << coordinate;
    EXPECT_EQ(reads.elsewhere, 0) << coordinate;
  }
}

TEST(EmitKernel, ReadsTheSamplerElsewhereAtAnyOtherCoordinate) {
  for (const std::string coordinate :
       {"vec2(1, 2)", "destCoord().yx", "destCoord() + vec2(1, 0)", "samplerExtent(s).xy"}) {
    const Reads reads = readsOf("return sample(s, " + coordinate + ");");
    EXPECT_EQ(reads.here, 0) << coordinate;
    EXPECT_EQ(reads.elsewhere, 1) << coordinate;
  }
}

TEST(EmitKernel, ReadsTheSamplerHereOnlyOnce) {
  EXPECT_EQ(readsOf("return sample(s, destCoord()) + sample(s, samplerCoord(s));").here, 1);
}

TEST(EmitKernel, DropsWhatAKnownConditionRulesOut) {
  const Program program = programOf(
      "kernel vec4 k(sampler s) { vec4 p = sample(s, destCoord());"
      "if (1 > 2) p = sin(p); return true ? p : cos(p); }");
  EXPECT_EQ(count(program, Op::sin), 0U);
  EXPECT_EQ(count(program, Op::cos), 0U);
  EXPECT_EQ(count(program, Op::select), 0U);
}

TEST(EmitKernel, SelectsOnlyComponentsThatABranchChanged) {
  const Program program = programOf(
      "kernel vec4 k(sampler s) { vec4 p = sample(s, destCoord());"
      "if (p.r > 0.5) { p.g = 2.0; float hidden = p.b; hidden += 1.0; } return p; }");
  EXPECT_EQ(count(program, Op::select), 1U);
}

TEST(EmitKernel, SelectsNothingForVariablesAfterAReturn) {
  // One component of the result is chosen, behind both returns; the others agree.
  const Program program = programOf(
      "kernel vec4 k(sampler s) { vec4 p = sample(s, destCoord());"
      "if (p.r > 0.5) { p.g = 3.0; return p; } p.g = 2.0; return p; }");
  EXPECT_EQ(count(program, Op::select), 1U);
}

TEST(EmitKernel, RefusesTheWrongNumberOfArguments) {
  EXPECT_EQ(failure("float a, vec2 b", {std::vector<float>{1}}),
            "the kernel 'k' takes 2 arguments, not 1");
  EXPECT_EQ(failure("", {std::vector<float>{1}}), "the kernel 'k' takes 0 arguments, not 1");
}

TEST(EmitKernel, RefusesNumbersForSamplersAndSamplersForNumbers) {
  Reads reads;
  EXPECT_EQ(failure("sampler s", {std::vector<float>{1}}),
            "argument 1 ('s') of the kernel 'k' must be a sampler");
  EXPECT_EQ(failure("sampler s, float x", {countingSampler(reads), countingSampler(reads)}),
            "argument 2 ('x') of the kernel 'k' must be a number");
}

TEST(EmitKernel, FillsMissingComponentsWithZeroAndIgnoresSurplusOnes) {
  const auto kernel =
      compileOne("kernel vec4 k(vec4 v, float f, int i, bool b) { return v + vec4(f, i, b, 0); }");
  ASSERT_TRUE(kernel);
  const Numbers numbers{{1, 2}, {10, 20}, {-3.7F}, {0.5F}};
  const Color expected{11, -1, 1, 0};
  EXPECT_EQ(runPlainly(*kernel, numbers, {{{}}}).front(), expected);
  const Result<Program> program = emitProgram(*kernel, numbers);
  ASSERT_TRUE(program.ok());
  EXPECT_EQ(runProgram(*program, {{{}}}).front(), expected);
  EXPECT_EQ(runPlainly(*kernel, {{}, {}, {}, {}}, {{{}}}).front(), (Color{0, 0, 0, 0}));
}

TEST(EmitKernel, ChainsKernelsIntoOneProgram) {
  const auto twice =
      compileOne("kernel vec4 twice(sampler s) { return sample(s, destCoord()) * 2.0; }");
  const auto plus =
      compileOne("kernel vec4 plus(sampler s, float x) { return sample(s, destCoord()) + x; }");
  ASSERT_TRUE(twice && plus);
  Builder builder;
  Reads reads;
  const std::vector<KernelArgument> first{countingSampler(reads)};
  const Result<Pixel> inner = emitKernel(*twice, builder, first);
  ASSERT_TRUE(inner.ok());
  SamplerArgument chained;
  chained.sampleHere = [&](Builder&) { return *inner; };
  const std::vector<KernelArgument> second{chained, std::vector<float>{1}};
  const Result<Pixel> outer = emitKernel(*plus, builder, second);
  ASSERT_TRUE(outer.ok());
  const Color result = runProgram(builder.finish(*outer), {{{0.25F, 0.5F, 0, 1}}}).front();
  EXPECT_EQ(result, (Color{1.5F, 2, 1, 3}));
}

TEST(EmitKernel, KeepsTheTreeAliveBehindTheKernel) {
  std::shared_ptr<const Kernel> kernel;
  {
    const std::string source = "kernel vec4 k(float some_name) { return vec4(some_name); }";
    kernel = compileOne(source);
  }
  ASSERT_TRUE(kernel);
  EXPECT_EQ(kernel->parameters()[0].name, "some_name");
  EXPECT_EQ(runPlainly(*kernel, {{4}}, {{{}}}).front()[0], 4);
}

}  // namespace
}  // namespace kelvo::kernel_language
