#pragma once

#include "platform/foundation/parameter_value.h"
#include "platform/image/ci_image.h"
#include "platform/drawing/ns_image.h"

namespace kelvo {

// The adjustment that the parameters select ("filterPopUp") applied to one image, with the settings
// read as doubles and passed on as they stand. Empty, with "Error: unknown index" logged, if the
// number selects nothing. The first Curves run of a process without a curves object makes one.
CIImageRef applyImage(const ActionParameters& parameters, const CIImageRef& image);

// Wraps a result for display. Renders nothing.
NSImageRef NSImageFromCIImage(const CIImageRef& image);

}  // namespace kelvo
