// The bytes choose a program that compiles; it gives the same pixels in every way to carry it out.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "compare_kernels.h"
#include "platform/kernel_language/kernel.h"
#include "tests/kernel_language/random_source.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kelvo::kernel_language;
  std::size_t used = 0;
  const std::string source =
      randomSource([&](std::uint32_t count) { return used < size ? data[used++] % count : 0U; });
  const CompiledSource compiled = compileSource(source);
  if (compiled.kernels.size() != 1) std::abort();
  compareEveryWay(*compiled.kernels.front(), true);
  return 0;
}
