#include "compare_kernels.h"

#include <cstdlib>
#include <iostream>
#include <limits>
#include <string>
#include <vector>

#include "platform/kernel_language/executable.h"
#include "tests/kernel_language/program_runner.h"

namespace kelvo::kernel_language {
namespace {

PixelRun pixels() {
  constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  return {{{0.25F, 0.5F, 0.75F, 1.0F},
           {0.0F, -0.0F, 1e-45F, 0.0F},
           {2.0F, -3.5F, 1e30F, 0.5F},
           {kNaN, kInfinity, -kInfinity, 1.0F},
           {0.1F, 0.9F, 0.3F, kNaN}},
          -2,
          3};
}

Numbers numbersFor(const Kernel& kernel) {
  const std::vector<std::vector<float>> choices{{0.5F, 0.25F, 0.75F, 1.0F}, {3.0F, -2.0F}, {}};
  Numbers numbers;
  for (std::size_t i = 0; i < kernel.parameters().size(); ++i) {
    const bool isSampler = kernel.parameters()[i].type == ParameterType::sampler;
    numbers.push_back(isSampler ? std::vector<float>{} : choices[i % choices.size()]);
  }
  return numbers;
}

}  // namespace

void compareEveryWay(const Kernel& kernel, bool exact) {
  const Numbers numbers = numbersFor(kernel);
  const PixelRun run = pixels();
  const Result<Program> program = emitProgram(kernel, numbers);
  if (!program) return;  // too many instructions
  const std::vector<Color> plain = runPlainly(kernel, numbers, run);
  for (const std::string& target : targets()) {
    if (!forceTarget(target)) std::abort();
    const std::vector<Color> vector = runProgram(*program, run);
    for (std::size_t i = 0; exact && i < plain.size(); ++i) {
      for (std::size_t c = 0; c < 4; ++c) {
        if (identical(vector[i][c], plain[i][c])) continue;
        std::cerr << kernel.name() << " on " << target << ", pixel " << i << ", component " << c
                  << ": " << vector[i][c] << " instead of " << plain[i][c] << '\n';
        std::abort();
      }
    }
  }
}

}  // namespace kelvo::kernel_language
