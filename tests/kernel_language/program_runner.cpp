#include "program_runner.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <iterator>
#include <span>

#include "platform/kernel_language/executable.h"

namespace kelvo::kernel_language {
namespace {

constexpr PixelLayout kFloatPixels{4, SampleType::f32, AlphaInfo::premultipliedLast};

Color rotated(const Color& pixel, std::size_t places) {
  return {pixel[places % 4], pixel[(places + 1) % 4], pixel[(places + 2) % 4],
          pixel[(places + 3) % 4]};
}

SamplerArgument samplerArgument(std::size_t parameter) {
  const auto here = [parameter](Builder& builder) {
    Pixel pixel{};
    for (std::uint32_t i = 0; i < 4; ++i) {
      pixel[i] = builder.input(0, static_cast<std::uint32_t>((parameter + i) % 4));
    }
    return pixel;
  };
  const auto elsewhere = [parameter, here](Builder& builder, ValueId x, ValueId y) {
    const ValueId same = builder.binary(Op::maskAnd, builder.binary(Op::equal, x, builder.destX()),
                                        builder.binary(Op::equal, y, builder.destY()));
    const Pixel under = here(builder);
    const Pixel away{builder.binary(Op::add, x, builder.constant(1.0F)),
                     builder.binary(Op::mul, builder.constant(2.0F), y),
                     builder.binary(Op::sub, x, y),
                     builder.constant(static_cast<float>(parameter) + 0.5F)};
    Pixel pixel{};
    for (std::size_t i = 0; i < 4; ++i) pixel[i] = builder.select(same, under[i], away[i]);
    return pixel;
  };
  return {here, elsewhere, {static_cast<float>(parameter), 1.0F, 640.0F, 480.0F}};
}

}  // namespace

std::vector<Color> runPlainly(const Kernel& kernel, const Numbers& numbers, const PixelRun& run) {
  std::vector<Color> results;
  PlainPixelContext context;
  context.arguments = numbers;
  for (std::size_t i = 0; i < kernel.parameters().size(); ++i) {
    context.extents.push_back({static_cast<float>(i), 1.0F, 640.0F, 480.0F});
  }
  for (std::size_t i = 0; i < run.pixels.size(); ++i) {
    context.destination = {static_cast<float>(run.column + static_cast<int>(i)),
                           static_cast<float>(run.row)};
    const Color& pixel = run.pixels[i];
    context.sampleAt = [&](std::size_t parameter, float x, float y) -> Color {
      if (x == context.destination[0] && y == context.destination[1]) {
        return rotated(pixel, parameter);
      }
      return {x + 1.0F, 2.0F * y, x - y, static_cast<float>(parameter) + 0.5F};
    };
    results.push_back(evaluatePlainly(kernel, context));
  }
  return results;
}

Result<Program> emitProgram(const Kernel& kernel, const Numbers& numbers) {
  std::vector<KernelArgument> arguments;
  for (std::size_t i = 0; i < kernel.parameters().size(); ++i) {
    if (kernel.parameters()[i].type == ParameterType::sampler) {
      arguments.emplace_back(samplerArgument(i));
    } else {
      arguments.emplace_back(i < numbers.size() ? numbers[i] : std::vector<float>{});
    }
  }
  Builder builder;
  const Result<Pixel> outputs = emitKernel(kernel, builder, arguments);
  if (!outputs) return outputs.error();
  return builder.finish(*outputs);
}

std::vector<Color> runProgram(const Program& program, const PixelRun& run) {
  const Executable executable =
      Executable::compile(program, std::span(&kFloatPixels, 1), kFloatPixels);
  std::vector<Color> results(run.pixels.size());
  const std::byte* const input = reinterpret_cast<const std::byte*>(run.pixels.data());
  executable.run(std::span(&input, 1), reinterpret_cast<std::byte*>(results.data()),
                 run.pixels.size(), run.column, run.row);
  return results;
}

std::shared_ptr<const Kernel> compileOne(std::string_view source) {
  const CompiledSource compiled = compileSource(source);
  if (compiled.kernels.size() == 1) return compiled.kernels.front();
  std::cout << listing(compiled.diagnostics) << source << '\n';
  return nullptr;
}

std::string listing(const std::vector<Diagnostic>& diagnostics) {
  std::string text;
  for (const Diagnostic& diagnostic : diagnostics) {
    text += std::to_string(diagnostic.line) + ":" + std::to_string(diagnostic.column) + ": " +
            diagnostic.message + "\n";
  }
  return text;
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool identical(float a, float b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

bool close(float a, float b, unsigned ulps) {
  if (identical(a, b)) return true;
  if (ulps == 0 || !std::isfinite(a) || !std::isfinite(b)) return false;
  if (std::fabs(a - b) <= 1e-6F) return true;
  // The bits as numbers in the order of the floats.
  const auto ordered = [](float x) {
    const auto bits = std::bit_cast<std::int32_t>(x);
    return bits < 0 ? std::int64_t{INT32_MIN} - bits : std::int64_t{bits};
  };
  return std::abs(ordered(a) - ordered(b)) <= static_cast<std::int64_t>(ulps);
}

}  // namespace kelvo::kernel_language
