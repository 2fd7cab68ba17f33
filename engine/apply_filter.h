#pragma once

#include "platform/image/ci_filter.h"

namespace kelvo {

// Sets `image` under the filter's key "inputImage" and returns its "outputImage". No filter, no
// image. Everything else about the filter is the caller's business.
CIImageRef applyFilterForCIImage(const CIImageRef& image, const CIFilterRef& filter);

}  // namespace kelvo
