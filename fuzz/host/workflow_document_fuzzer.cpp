#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/workflow/workflow_document.h"

// A document is refused with one printable line, or read; and what was read is read back the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto document = kelvo::parseWorkflow({reinterpret_cast<const char*>(data), size});
  if (!document) {
    if (document.error().message.empty()) std::abort();
    return 0;
  }
  const auto back = kelvo::parseWorkflow(kelvo::formatWorkflow(*document));
  if (!back || *back != *document) std::abort();
  return 0;
}
