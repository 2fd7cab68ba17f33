#pragma once

#include <cstddef>

namespace kelvo::kernel_language {

// At least `count` floats for the calling thread, aligned for any vector, their values unspecified.
// Valid until the thread's next call; null
// where there is no such memory.
float* scratchFloats(std::size_t count);

}  // namespace kelvo::kernel_language
