#pragma once

#include "program_runner.h"

namespace kelvo::kernel_language {

// Pixels made of awkward numbers: both zeros, one and its neighbours, negatives, numbers far over
// one, denormals, both infinities and what is not a number, in many combinations. Their count is no
// multiple of a vector's length.
PixelRun awkwardPixels();

// Pixels such as photographs have, alpha included, and somewhat beyond: within -2 … 4.
PixelRun ordinaryPixels();

}  // namespace kelvo::kernel_language
