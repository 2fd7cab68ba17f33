#pragma once

#include "platform/image/ci_image.h"

namespace kelvo {

// Maps the black point to 0 and the white point to 1 and bends the tones so that the midtone point
// moves to the middle grey. The three points on the 0…255 scale, not checked; equal points give
// whatever dividing by zero gives. Values outside the points leave 0…1 and are limited on
// rendering.
CIImageRef applyLevelsForCIImage(const CIImageRef& image, double b255, double m255, double w255);

}  // namespace kelvo
