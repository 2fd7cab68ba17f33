#pragma once

#include <cstdint>
#include <memory>

#include "kernels/threshold_filter.h"

namespace kelvo {

// Non-zero between set-up and tear-down.
extern std::uint8_t initialized;

// Kept so that the class is registered before the first look-up by name; used by nobody.
extern std::shared_ptr<TQTresholdFilter> thresholdFilter;

// Set-up and tear-down of the engine's process-wide state. Repeated calls do nothing; one tear-down
// ends any number of set-ups. Filters stay registered. Not thread-safe.
void registerAdjustmentFilters();
void unregisterAdjustmentFilters();

}  // namespace kelvo
