// The five kernels that the filters of the system are made of.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>

#include "program_runner.h"

namespace kelvo::kernel_language {
namespace {

std::shared_ptr<const Kernel> load(const std::string& name) {
  const std::string source = readFile(std::string(KELVO_SOURCE_DIR) +
                                      "/tests/kernel_language/sources/" + name + ".kernel");
  EXPECT_FALSE(source.empty());
  return compileOne(source);
}

std::vector<ParameterType> parameterTypes(const Kernel& kernel) {
  std::vector<ParameterType> types;
  for (const Parameter& parameter : kernel.parameters()) types.push_back(parameter.type);
  return types;
}

// The kernel on one pixel, carried out plainly; the program must agree within a rounding or so.
Color at(const Kernel& kernel, const Numbers& numbers, const Color& pixel) {
  const PixelRun run{{pixel}, 3, 4};
  const Color plain = runPlainly(kernel, numbers, run).front();
  const Result<Program> program = emitProgram(kernel, numbers);
  if (!program) {
    ADD_FAILURE() << program.error().message;
    return plain;
  }
  const Color vector = runProgram(*program, run).front();
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_TRUE(close(plain[i], vector[i], 4)) << i << ": " << plain[i] << " " << vector[i];
  }
  return plain;
}

void expectColor(const Color& actual, const Color& expected) {
  for (std::size_t i = 0; i < 4; ++i) EXPECT_NEAR(actual[i], expected[i], 1e-6) << i;
}

TEST(FrontEndSources, ThresholdTurnsPixelsBlackOrWhiteByLuma) {
  const auto kernel = load("threshold");
  ASSERT_TRUE(kernel);
  EXPECT_EQ(kernel->name(), "NI_threshold");
  EXPECT_EQ(parameterTypes(*kernel),
            (std::vector{ParameterType::sampler, ParameterType::floating}));
  EXPECT_EQ(kernel->parameters()[1].name, "threshold");
  expectColor(at(*kernel, {{}, {0.3F}}, {1, 0, 0, 1}), {0, 0, 0, 1});
  expectColor(at(*kernel, {{}, {0.29F}}, {1, 0, 0, 1}), {1, 1, 1, 1});
  expectColor(at(*kernel, {{}, {0.299F}}, {1, 0, 0, 1}), {1, 1, 1, 1});
  expectColor(at(*kernel, {{}, {0.5F}}, {0.4F, 0.4F, 0.4F, 0.5F}), {0.5F, 0.5F, 0.5F, 0.5F});
  expectColor(at(*kernel, {{}, {0.5F}}, {0, 0, 0, 0}), {0, 0, 0, 0});
}

double bump(double p, double center, double low, double high) {
  double u = p - center;
  u *= u < 0 ? low : high;
  return u + 1 < 0 ? 0 : 1 - (3 + 2 * u) * u * u;
}

TEST(FrontEndSources, LevelsAddsThreeBumpsToALine) {
  const auto kernel = load("levels");
  ASSERT_TRUE(kernel);
  EXPECT_EQ(kernel->name(), "levels");
  EXPECT_EQ(parameterTypes(*kernel),
            (std::vector{ParameterType::sampler, ParameterType::vec2, ParameterType::vec4,
                         ParameterType::vec4, ParameterType::vec4}));
  const Numbers numbers{
      {}, {0.1F, 0.8F}, {0.5F, 2, -2, 0.1F}, {0.25F, 4, -4, -0.2F}, {0.75F, 4, -4, 0.3F}};
  const std::array<double, 3> colors{0.2, 0.5, 0.9};
  Color expected{0, 0, 0, 1};
  for (std::size_t i = 0; i < 3; ++i) {
    const double p = colors[i];
    expected[i] = static_cast<float>(0.1 + 0.8 * p + 0.1 * bump(p, 0.5, 2, -2) -
                                     0.2 * bump(p, 0.25, 4, -4) + 0.3 * bump(p, 0.75, 4, -4));
  }
  expectColor(at(*kernel, numbers, {0.2F, 0.5F, 0.9F, 1}), expected);
  const Numbers neutral{{}, {0, 1}, {0.5F, 2, -2, 0}, {0.25F, 4, -4, 0}, {0.75F, 4, -4, 0}};
  expectColor(at(*kernel, neutral, {0.2F, 0.5F, 0.9F, 1}), {0.2F, 0.5F, 0.9F, 1});
  expectColor(at(*kernel, numbers, {0, 0, 0, 0}), {0, 0, 0, 0});
}

TEST(FrontEndSources, EqualizeScalesColourByTheRatioOfLuminances) {
  const auto kernel = load("equalize");
  ASSERT_TRUE(kernel);
  EXPECT_EQ(kernel->name(), "equalize");
  EXPECT_EQ(parameterTypes(*kernel), (std::vector{ParameterType::sampler, ParameterType::vec4}));
  expectColor(at(*kernel, {{}, {1, 0}}, {0.2F, 0.5F, 0.9F, 1}), {0.2F, 0.5F, 0.9F, 1});
  // Y = 0.2125 * 0.2 + 0.7154 * 0.5 + 0.0721 * 0.4 = 0.42904; ratio = (2 Y - 0.1) / Y = 1.766921…
  const double y = 0.2125 * 0.2 + 0.7154 * 0.5 + 0.0721 * 0.4;
  const double ratio = (2 * y - 0.1) / y;
  expectColor(at(*kernel, {{}, {2, -0.1F}}, {0.2F, 0.5F, 0.4F, 1}),
              {static_cast<float>(0.2 * ratio), static_cast<float>(0.5 * ratio),
               static_cast<float>(0.4 * ratio), 1});
  expectColor(at(*kernel, {{}, {3, 0}}, {0.2F, 0.5F, 0.1F, 1}), {0.6F, 1, 0.3F, 1});
}

TEST(FrontEndSources, ReplaceColorKeepsPixelsNearTheSourceColour) {
  const auto kernel = load("replace_color");
  ASSERT_TRUE(kernel);
  EXPECT_EQ(kernel->name(), "replaceColor");
  EXPECT_EQ(parameterTypes(*kernel),
            (std::vector{ParameterType::sampler, ParameterType::vec4, ParameterType::floating}));
  const Color red{0.9F, 0.1F, 0.1F, 1};
  const std::vector<float> source(red.begin(), red.end());
  expectColor(at(*kernel, {{}, source, {0.1F}}, red), red);
  expectColor(at(*kernel, {{}, source, {0.0F}}, red), {0, 0, 0, 0});
  // Two greys differ by their value only: similarity 1 - 0.5 / sqrt(5) = 0.77639.
  const std::vector<float> gray{0.25F, 0.25F, 0.25F, 1};
  const Color other{0.75F, 0.75F, 0.75F, 1};
  expectColor(at(*kernel, {{}, gray, {0.23F}}, other), other);
  expectColor(at(*kernel, {{}, gray, {0.22F}}, other), {0, 0, 0, 0});
}

TEST(FrontEndSources, CurvesReadsTheRampAtTheClampedColour) {
  const auto kernel = load("curves");
  ASSERT_TRUE(kernel);
  EXPECT_EQ(kernel->name(), "CurvesKernel");
  EXPECT_EQ(parameterTypes(*kernel), (std::vector{ParameterType::sampler, ParameterType::sampler}));
  // The sampler shows (x + 1, 2 y, x - y, …) at x = 255 c, y = 0.5.
  expectColor(at(*kernel, {}, {0.2F, 0.7F, 1.5F, 1}), {52, 1, 254.5F, 1});
  expectColor(at(*kernel, {}, {-3, 0, 0, 2}), {1, 1, -0.5F, 1});
}

}  // namespace
}  // namespace kelvo::kernel_language
