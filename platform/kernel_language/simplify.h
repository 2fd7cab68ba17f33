#pragma once

#include <array>
#include <span>
#include <vector>

#include "platform/kernel_language/executable.h"

namespace kelvo::kernel_language {

struct SimplifiedProgram {
  Program program;
  std::vector<Range> ranges;  // of its values
  // By output: known to stay far within what an i32 holds when multiplied by 255.
  std::array<bool, 4> isSmall{};
};

// The program for sources of these layouts: a component that a layout lacks is 1, integer samples
// lie in 0…1, images without pixels read as 0. Everything that follows from that is folded.
SimplifiedProgram simplifyForLayouts(const Program& program, std::span<const PixelLayout> inputs,
                                     const PixelLayout& output,
                                     std::span<const SampledImage> images);

}  // namespace kelvo::kernel_language
