#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/result.h"

// The keys of the action parameters: those of the adjustments' settings and those beside them.
namespace kelvo::host {

// Every known key: "filterPopUp", the settings', the curves' and the panel's own.
std::span<const std::string_view> knownParameterKeys();

// Whether `value` may stand under a known key: a number in the panel's range, a list of points, the
// number of an adjustment. Errors name neither the key nor the option.
Result<void> checkParameter(std::string_view key, std::string_view value);

}  // namespace kelvo::host
