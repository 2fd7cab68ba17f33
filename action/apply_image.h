#pragma once

#include "platform/drawing/ns_image.h"
#include "platform/foundation/parameter_value.h"
#include "platform/image/ci_image.h"
#include "platform/pixels/kept_pixels.h"

namespace kelvo {

// The adjustment that the parameters select ("filterPopUp") applied to one image, with the settings
// read as doubles and passed on as they stand. Empty, with "Error: unknown index" logged, if the
// number selects nothing. The first Curves run of a process without a curves object makes one.
// An adjustment that measures the image first keeps its pixels if they take at most
// `mostKeptBytes`.
CIImageRef applyImage(const ActionParameters& parameters, const CIImageRef& image,
                      std::uint64_t mostKeptBytes = kMostKeptBytes);

// Wraps a result for display. Renders nothing.
NSImageRef NSImageFromCIImage(const CIImageRef& image);

}  // namespace kelvo
