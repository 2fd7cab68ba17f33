#pragma once

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/kernel_language/kernel.h"

// Carries out kernels on given pixels, plainly and as programs, with the same samplers for both.
//
// Sampler parameter p shows, under the pixel being computed, the given pixel with its components
// rotated to the left by p places; at any other place (x, y) it shows (x + 1, 2 y, x - y, p + 0.5).
// Its extent is (p, 1, 640, 480).
namespace kelvo::kernel_language {

using Color = std::array<float, 4>;
using Numbers = std::vector<std::vector<float>>;  // by parameter, empty for samplers

// The pixel at index i stands at (column + i, row).
struct PixelRun {
  std::vector<Color> pixels;
  int column = 0;
  int row = 0;
};

std::vector<Color> runPlainly(const Kernel& kernel, const Numbers& numbers, const PixelRun& run);

// The kernel as a program, before it is made ready to run.
Result<Program> emitProgram(const Kernel& kernel, const Numbers& numbers);
std::vector<Color> runProgram(const Program& program, const PixelRun& run);

// The only kernel of a source; empty, with what is wrong on standard output, if it does not
// compile.
std::shared_ptr<const Kernel> compileOne(std::string_view source);

// "3:5: message" for each, a line each.
std::string listing(const std::vector<Diagnostic>& diagnostics);

std::string readFile(const std::string& path);

// Equal bits, but all values that are not a number count as equal.
bool identical(float a, float b);
// identical; or, unless `ulps` is 0, at most `ulps` representable floats or 1e-6 apart.
bool close(float a, float b, unsigned ulps);

}  // namespace kelvo::kernel_language
