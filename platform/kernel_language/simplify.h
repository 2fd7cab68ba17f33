#pragma once

#include <span>

#include "platform/kernel_language/executable.h"

namespace kelvo::kernel_language {

// The program for sources of these layouts: a component that a layout lacks is 1, integer samples
// lie in 0…1, images without pixels read as 0. Everything that follows from that is folded.
Program simplifyForLayouts(const Program& program, std::span<const PixelLayout> inputs,
                           std::span<const SampledImage> images);

}  // namespace kelvo::kernel_language
