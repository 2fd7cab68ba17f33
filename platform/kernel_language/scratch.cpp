#include "platform/kernel_language/scratch.h"

#include <hwy/aligned_allocator.h>

#include <algorithm>

namespace kelvo::kernel_language {

float* scratchFloats(std::size_t count) {
  thread_local hwy::AlignedFreeUniquePtr<float[]> floats;
  thread_local std::size_t size = 0;
  if (size < count) {
    floats = hwy::AllocateAligned<float>(count);
    size = floats == nullptr ? 0 : count;
  }
  return floats.get();
}

}  // namespace kelvo::kernel_language
