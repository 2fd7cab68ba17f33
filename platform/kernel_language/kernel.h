#pragma once

#include <array>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/foundation/result.h"
#include "platform/kernel_language/ir.h"

// The kernel language: a small C-like language for programs that compute one pixel.
//
// Types float, vec2, vec3, vec4, int, bool, and sampler for parameters of kernels. A source holds
// functions, which may be overloaded and may shadow library functions of other signatures, and
// kernels ("kernel vec4 name(...)").
namespace kelvo::kernel_language {

struct Diagnostic {
  std::uint32_t line = 0;    // from 1
  std::uint32_t column = 0;  // from 1, in bytes
  std::string message;

  friend bool operator==(const Diagnostic&, const Diagnostic&) = default;
};

enum class ParameterType : std::uint8_t { sampler, floating, vec2, vec3, vec4, integer, boolean };

struct Parameter {
  ParameterType type;
  std::string name;
};

struct CheckedSource;  // the type-checked syntax tree; see checked_source.h

// One kernel of a source that compiled. Keeps its source's tree alive.
class Kernel {
 public:
  Kernel(std::shared_ptr<const CheckedSource> source, std::size_t function);

  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] std::span<const Parameter> parameters() const { return parameters_; }
  [[nodiscard]] const CheckedSource& source() const { return *source_; }
  [[nodiscard]] std::size_t function() const { return function_; }

 private:
  std::shared_ptr<const CheckedSource> source_;
  std::size_t function_;
  std::string name_;
  std::vector<Parameter> parameters_;
};

struct CompiledSource {
  std::vector<std::shared_ptr<const Kernel>>
      kernels;                          // in source order; empty if anything is wrong
  std::vector<Diagnostic> diagnostics;  // empty exactly if the source compiled
};

// Lexer, parser, type checker. Never throws, whatever the text; nesting and size are limited.
CompiledSource compileSource(std::string_view text);

// What a sampler parameter stands for. Coordinates are in pixels of the common coordinate system:
// (x, y) addresses column x, row y exactly, and the pixel being computed is at (destX, destY).
struct SamplerArgument {
  std::function<Pixel(Builder&)> sampleHere;                      // under the pixel computed
  std::function<Pixel(Builder&, ValueId x, ValueId y)> sampleAt;  // anywhere
  std::array<float, 4> extent{};                                  // x, y, width, height
};

// A sampler, or numbers: one to four. Missing components are 0, surplus ones are ignored.
using KernelArgument = std::variant<SamplerArgument, std::vector<float>>;

// Writes the kernel's work on one pixel into the builder and returns its result. `sample(s, c)`
// with c equal to samplerCoord(s) or destCoord() becomes sampleHere. Errors: the wrong number or
// kind of arguments, a program beyond the size limit.
Result<Pixel> emitKernel(const Kernel& kernel, Builder& builder,
                         std::span<const KernelArgument> arguments);

// The plain implementation: walks the tree, one pixel at a time, no optimisation. Slow and simple;
// the vector path is held to it. sampleAt(index of the sampler parameter, x, y) gives the
// premultiplied pixel there.
struct PlainPixelContext {
  std::span<const std::vector<float>> arguments;  // by parameter; empty for samplers
  std::function<std::array<float, 4>(std::size_t parameter, float x, float y)> sampleAt;
  std::array<float, 2> destination{};
  std::vector<std::array<float, 4>> extents;  // by parameter
};
std::array<float, 4> evaluatePlainly(const Kernel& kernel, const PlainPixelContext& context);

}  // namespace kelvo::kernel_language
