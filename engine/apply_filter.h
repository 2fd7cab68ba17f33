#pragma once

#include <string_view>

#include "platform/image/ci_filter.h"

namespace kelvo {

// The panel's degrees are converted to radians with this value, not with pi; saved workflows rely
// on it.
constexpr double kAnglePi = 3.14;

// A fresh filter with its defaults; empty for an unknown name.
CIFilterRef filterWithDefaults(std::string_view name);

// Sets an input; without a filter nothing happens.
void setInput(const CIFilterRef& filter, std::string_view key, const FilterValue& value);

// Sets an input to a text of six decimals, to which the value is thereby rounded.
void setTextInput(const CIFilterRef& filter, std::string_view key, double value);

// Sets `image` under the filter's key "inputImage" and returns its "outputImage". No filter, no
// image. Everything else about the filter is the caller's business.
CIImageRef applyFilterForCIImage(const CIImageRef& image, const CIFilterRef& filter);

}  // namespace kelvo
