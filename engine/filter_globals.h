#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "kernels/curves_filter.h"
#include "kernels/equalize_filter.h"
#include "kernels/levels_filter.h"
#include "kernels/replace_color_filter.h"
#include "kernels/threshold_filter.h"

namespace kelvo {

// Non-zero between set-up and tear-down.
extern std::uint8_t initialized;

// Kept so that the classes are registered before the first look-up by name; used by nobody.
extern std::shared_ptr<TQReplaceColorSelectiveFilter> replaceColorFilter;
extern std::shared_ptr<TQEqualizeFilter> equalizeFilter;
extern std::shared_ptr<TQTresholdFilter> thresholdFilter;
extern std::shared_ptr<TQCurvesFilter> colorBalanceFilter;
extern std::shared_ptr<TQLevelsFilter> levelsFilter;

// The reference curves of Color Balance at 0…255; empty before the set-up.
extern std::vector<float> colorbalance_slope1_100Minus;
extern std::vector<float> colorbalance_slope1_100Plus;

// Set-up and tear-down of the engine's process-wide state. Repeated calls do nothing; one tear-down
// ends any number of set-ups. Filters stay registered. Not thread-safe.
void registerAdjustmentFilters();
void unregisterAdjustmentFilters();

}  // namespace kelvo
