#pragma once

#include "platform/image/ci_image.h"

namespace kelvo {

// Maps every channel through the ramp: 256 x 1, column i the outputs for the input level i / 255.
CIImageRef applyCurvesForCIImage(const CIImageRef& image, const CIImageRef& ramp);

}  // namespace kelvo
