#include "platform/kernel_language/scratch.h"

#include <cstdlib>
#include <memory>

namespace kelvo::kernel_language {

namespace {

constexpr std::size_t kAlignment = 128;  // two cache lines; no vector is larger

struct Free {
  void operator()(float* floats) const { std::free(floats); }
};

}  // namespace

float* scratchFloats(std::size_t count) {
  thread_local std::unique_ptr<float, Free> floats;
  thread_local std::size_t size = 0;
  if (size < count) {
    const std::size_t bytes = (count * sizeof(float) + kAlignment - 1) / kAlignment * kAlignment;
    floats.reset(static_cast<float*>(std::aligned_alloc(kAlignment, bytes)));
    size = floats == nullptr ? 0 : count;
  }
  return floats.get();
}

}  // namespace kelvo::kernel_language
