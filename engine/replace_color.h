#pragma once

#include "platform/color/ns_color.h"
#include "platform/image/ci_image.h"

namespace kelvo {

// Changes hue (degrees), saturation and lightness (percent of change) of the pixels whose colour is
// close to `color`; radius, 0…200, says how close. All others stay as they are.
CIImageRef applyReplaceColorForCIImage(const CIImageRef& image, const NSColor& color, double radius,
                                       double hue, double saturation, double lightness);

}  // namespace kelvo
