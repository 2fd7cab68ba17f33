// Any text is compiled or refused with messages; nothing else happens.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/kernel_language/kernel.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kelvo::kernel_language;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const CompiledSource compiled = compileSource(text);
  if (compiled.kernels.empty() == compiled.diagnostics.empty()) std::abort();
  for (const Diagnostic& diagnostic : compiled.diagnostics) {
    if (diagnostic.line == 0 || diagnostic.column == 0 || diagnostic.message.empty()) std::abort();
  }
  return 0;
}
