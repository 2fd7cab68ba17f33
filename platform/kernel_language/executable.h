#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/kernel_language/ir.h"
#include "platform/pixels/pixel_layout.h"

namespace kelvo::kernel_language {

// A finished picture that a program looks up at coordinates it computes: interleaved r g b a
// floats, premultiplied. Coordinate x addresses column x exactly (0 … width - 1), y row y; between
// them linear interpolation, beyond them the edge. A coordinate that is not a number acts as 0.
// Images without pixels, or of more than 2^28, read as 0.
struct SampledImage {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::shared_ptr<const std::vector<float>> pixels;  // 4 * width * height
};

// A program made ready to run over rows of pixels. Immutable and thread-safe.
//
// Rendering to u8 and u16: a value that is not a number gives 0; alpha is limited to 0…1 and colour
// to 0…alpha; level = floor(maximum * v + 0.5). To f32: the value as it is.
//
// The result is the same, bit for bit, on every target that `targets()` lists.
class Executable {
 public:
  // `inputs`: the layout of each source (3 or 4 components; alpha `last` and `premultipliedLast`
  // are read alike, the program itself premultiplies). `output`: 4 components premultipliedLast, or
  // 3 components without alpha, for which the program's alpha only limits the colour.
  static Executable compile(const Program& program, std::span<const PixelLayout> inputs,
                            PixelLayout output, std::vector<SampledImage> images = {});

  // One run of pixels within one row. inputs[i] points at the pixel of source i that belongs to
  // (x, y); the pixels after it belong to x + 1, x + 2, …
  void run(std::span<const std::byte* const> inputs, std::byte* output, std::size_t pixels,
           std::int32_t x, std::int32_t y) const;

  // True if the whole program became one table per channel (u8 input and output, every output
  // channel a function of its own input channel).
  [[nodiscard]] bool usesTables() const;

  // The instructions as they will run, one a line, for tools and tests.
  [[nodiscard]] std::string listing() const;

  struct Plan;

 private:
  std::shared_ptr<const Plan> plan_;
};

// Names of the vector instruction sets this machine can run, best first ("AVX2", "SSE4", …), and
// last "SCALAR", the plain implementation.
std::vector<std::string> targets();

// The target in use: the best, or the one that forceTarget chose. forceTarget("") goes back to the
// best; an unknown name is refused with false. For tests and benchmarks.
std::string_view currentTarget();
bool forceTarget(std::string_view name);

}  // namespace kelvo::kernel_language
