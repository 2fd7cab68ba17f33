#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/kernel_language/function_table.h"

namespace kelvo::kernel_language {

struct CallSite {
  std::uint32_t function = 0;
  Position position;
};

// What a function's body amounts to, without the functions that it calls.
struct FunctionMeasure {
  std::uint32_t nodes = 0;
  std::uint32_t depth = 0;
  std::vector<CallSite> calls;
};

// Reports functions that call themselves, and kernels that are too large or too deep once every
// call is replaced by the function's body. `sharedNodes`: what every kernel carries besides.
void checkCalls(const FunctionTable& table, std::span<const FunctionMeasure> measures,
                std::uint32_t sharedNodes, Diagnostics& diagnostics);

}  // namespace kelvo::kernel_language
