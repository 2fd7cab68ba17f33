// Whatever text compiles gives the same pixels in every way to carry it out.
#include <array>
#include <cstdint>
#include <string_view>

#include "compare_kernels.h"
#include "platform/kernel_language/kernel.h"

namespace {

constexpr std::array<std::string_view, 7> kRoundedFunctions{"sin", "cos", "tan", "exp",
                                                            "log", "pow", "atan"};

bool usesRoundedFunctions(std::string_view text) {
  for (const std::string_view name : kRoundedFunctions) {
    if (text.find(name) != std::string_view::npos) return true;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kelvo::kernel_language;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const CompiledSource compiled = compileSource(text);
  // Of many kernels in one source the first ones show what there is to see.
  for (std::size_t i = 0; i < compiled.kernels.size() && i < 3; ++i) {
    compareEveryWay(*compiled.kernels[i], !usesRoundedFunctions(text));
  }
  return 0;
}
