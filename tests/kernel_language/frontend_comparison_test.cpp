// The two ways to carry a kernel out, plainly over the tree and as a program on every instruction
// set, give the same pixels: exactly, or within a few roundings where sines and the like occur.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "awkward_pixels.h"
#include "platform/kernel_language/executable.h"
#include "program_runner.h"

namespace kelvo::kernel_language {
namespace {

// The library's sines and the like are within a few units in the last place of the true value;
// sums of them stay within 1e-6 where they cancel.
constexpr unsigned kRoundings = 4;

std::vector<std::string> kernelFiles(const std::string& folder) {
  std::vector<std::string> files;
  const std::string root = std::string(KELVO_SOURCE_DIR) + "/tests/kernel_language/" + folder;
  for (const auto& entry : std::filesystem::directory_iterator(root)) {
    files.push_back(entry.path().string());
  }
  std::sort(files.begin(), files.end());
  EXPECT_GE(files.size(), 5U);
  return files;
}

// Arguments of every kind for whatever the kernel asks.
Numbers numbersFor(const Kernel& kernel, std::size_t variant) {
  const std::vector<std::vector<float>> choices{
      {0.5F, 0.25F, 0.75F, 1.0F}, {3.0F, -2.0F, 0.0F, 0.5F}, {0.0F, 1.0F, -1.0F, 2.5F}};
  Numbers numbers;
  for (std::size_t i = 0; i < kernel.parameters().size(); ++i) {
    const bool isSampler = kernel.parameters()[i].type == ParameterType::sampler;
    numbers.push_back(isSampler ? std::vector<float>{} : choices[(variant + i) % choices.size()]);
  }
  return numbers;
}

void compare(const Kernel& kernel, const PixelRun& run, unsigned ulps) {
  for (std::size_t variant = 0; variant < 3; ++variant) {
    const Numbers numbers = numbersFor(kernel, variant);
    const std::vector<Color> plain = runPlainly(kernel, numbers, run);
    const Result<Program> program = emitProgram(kernel, numbers);
    ASSERT_TRUE(program.ok());
    for (const std::string& target : targets()) {
      ASSERT_TRUE(forceTarget(target));
      const std::vector<Color> vector = runProgram(*program, run);
      for (std::size_t i = 0; i < run.pixels.size(); ++i) {
        for (std::size_t c = 0; c < 4; ++c) {
          ASSERT_TRUE(close(vector[i][c], plain[i][c], ulps))
              << kernel.name() << " on " << target << ", variant " << variant << ", pixel " << i
              << " (" << run.pixels[i][0] << ", " << run.pixels[i][1] << ", " << run.pixels[i][2]
              << ", " << run.pixels[i][3] << "), component " << c << ": " << vector[i][c]
              << " instead of " << plain[i][c];
        }
      }
    }
    forceTarget("");
  }
}

TEST(FrontEndComparison, ExactProgramsAgreeOnAwkwardPixels) {
  for (const std::string& file : kernelFiles("programs/exact")) {
    SCOPED_TRACE(file);
    const auto kernel = compileOne(readFile(file));
    ASSERT_TRUE(kernel);
    compare(*kernel, awkwardPixels(), 0);
    compare(*kernel, ordinaryPixels(), 0);
  }
}

TEST(FrontEndComparison, RoundedProgramsAgreeOnOrdinaryPixels) {
  for (const std::string& file : kernelFiles("programs/rounded")) {
    SCOPED_TRACE(file);
    const auto kernel = compileOne(readFile(file));
    ASSERT_TRUE(kernel);
    compare(*kernel, ordinaryPixels(), kRoundings);
  }
}

TEST(FrontEndComparison, TheFiveSourcesAgreeOnOrdinaryPixels) {
  for (const std::string& file : kernelFiles("sources")) {
    SCOPED_TRACE(file);
    const auto kernel = compileOne(readFile(file));
    ASSERT_TRUE(kernel);
    const bool exact = file.find("replace_color") == std::string::npos;
    compare(*kernel, ordinaryPixels(), exact ? 0 : kRoundings);
    if (exact) compare(*kernel, awkwardPixels(), 0);
  }
}

TEST(FrontEndComparison, RoundedFunctionsAgreeOnAwkwardNumbers) {
  // Angles beyond a million radians are reduced with less and less accuracy.
  const std::string angle = "clamp(p, -1000000.0, 1000000.0)";
  for (const std::string& call : std::vector<std::string>{
           "exp(p)", "exp2(p)", "log(p)", "log2(p)", "sin(" + angle + ")", "cos(" + angle + ")",
           "tan(" + angle + ")", "asin(p)", "acos(p)", "atan(p)", "atan(p, p.gbar)",
           "pow(p, p.gbar)", "pow(abs(p), vec4(2.2))"}) {
    const auto kernel = compileOne(
        "kernel vec4 k(sampler s) { vec4 p = sample(s, destCoord()); return " + call + "; }");
    ASSERT_TRUE(kernel);
    SCOPED_TRACE(call);
    compare(*kernel, awkwardPixels(), kRoundings);
  }
}

TEST(FrontEndComparison, SinesOfEndlessAnglesAreNoNumbers) {
  const auto kernel = compileOne(
      "kernel vec4 k(sampler s) { vec4 p = sample(s, destCoord());"
      "return vec4(sin(p.r), cos(p.g), tan(p.b), 1); }");
  ASSERT_TRUE(kernel);
  constexpr float kEndless = std::numeric_limits<float>::infinity();
  compare(*kernel, {{{kEndless, -kEndless, kEndless, 1}}}, 0);
}

}  // namespace
}  // namespace kelvo::kernel_language
