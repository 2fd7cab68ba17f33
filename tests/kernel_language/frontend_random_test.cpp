// Programs that no one would write: whatever compiles gives the same bits when it is carried out
// plainly and as a program on every instruction set.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "awkward_pixels.h"
#include "platform/kernel_language/executable.h"
#include "program_runner.h"
#include "random_source.h"

namespace kelvo::kernel_language {
namespace {

PixelRun fewPixels() {
  PixelRun run = awkwardPixels();
  PixelRun few{{}, run.column, run.row};
  for (std::size_t i = 0; i < run.pixels.size(); i += 5) few.pixels.push_back(run.pixels[i]);
  return few;
}

TEST(FrontEndRandom, ProgramsAgreeOnEveryInstructionSet) {
  const PixelRun run = fewPixels();
  const Numbers numbers{{}, {}, {0.5F, -1, 0.25F, 3}, {0.75F}, {2}, {1}};
  for (unsigned seed = 0; seed < 1500; ++seed) {
    std::mt19937 random(seed);
    const std::string source = randomSource(
        [&random](std::uint32_t count) { return static_cast<std::uint32_t>(random() % count); });
    SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + source);
    const auto kernel = compileOne(source);
    ASSERT_TRUE(kernel);
    const std::vector<Color> plain = runPlainly(*kernel, numbers, run);
    const Result<Program> program = emitProgram(*kernel, numbers);
    ASSERT_TRUE(program.ok());
    for (const std::string& target : targets()) {
      ASSERT_TRUE(forceTarget(target));
      const std::vector<Color> vector = runProgram(*program, run);
      for (std::size_t i = 0; i < run.pixels.size(); ++i) {
        for (std::size_t c = 0; c < 4; ++c) {
          ASSERT_TRUE(identical(vector[i][c], plain[i][c]))
              << target << ", pixel " << i << " (" << run.pixels[i][0] << ", " << run.pixels[i][1]
              << ", " << run.pixels[i][2] << ", " << run.pixels[i][3] << "), component " << c
              << ": " << vector[i][c] << " instead of " << plain[i][c];
        }
      }
    }
    forceTarget("");
  }
}

TEST(FrontEndRandom, ProgramsUseTheWholeLanguage) {
  std::string all;
  for (unsigned seed = 0; seed < 300; ++seed) {
    std::mt19937 random(seed);
    all += randomSource(
        [&random](std::uint32_t count) { return static_cast<std::uint32_t>(random() % count); });
  }
  for (const std::string word :
       {"if (",       " else ", " ? ",         "&&",          "||",
        "^^",         "!",      "%",           "++",          "--",
        "+=",         "/=",     "[",           ".rgb =",      "return",
        "f0(",        "f1(",    "compare(",    "smoothstep(", "unpremultiply(",
        "sample(t, ", "mod(",   "destCoord()", "normalize(",  "float(",
        "int("}) {
    EXPECT_NE(all.find(word), std::string::npos) << word;
  }
}

}  // namespace
}  // namespace kelvo::kernel_language
