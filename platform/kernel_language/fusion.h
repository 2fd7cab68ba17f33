#pragma once

#include <optional>

#include "platform/kernel_language/registers.h"

namespace kelvo::kernel_language {

// One step that does what `first` and then `second` do, with the same roundings, if there is one.
std::optional<VirtualStep> fusedSteps(const VirtualStep& first, const VirtualStep& second);

}  // namespace kelvo::kernel_language
