#pragma once

#include "platform/color/ns_color.h"
#include "platform/image/ci_image.h"

// Adjustments that are short chains of filters. Settings arrive in the panel's units and are not
// checked; results are recipes, nothing is computed here. Degrees become radians with 3.14 for pi.
namespace kelvo {

// levels: how many output levels each channel keeps.
CIImageRef applyPosterizeForCIImage(const CIImageRef& image, double levels);

// threshold: 0…255; luma at or above it becomes white, below it black.
CIImageRef applyThresholdForCIImage(const CIImageRef& image, double threshold);

CIImageRef applyInvertForCIImage(const CIImageRef& image);

// exposure: 50 for one stop.
CIImageRef applyExposureForCIImage(const CIImageRef& image, double exposure);

CIImageRef applyDesaturateForCIImage(const CIImageRef& image);

// Percent of the source's red, green, blue and (on opaque images: a constant) alpha in each output
// channel.
CIImageRef applyChannelMixerForCIImage(const CIImageRef& image, double rr, double rg, double rb,
                                       double rc, double gr, double gg, double gb, double gc,
                                       double br, double bg, double bb, double bc);

// hue in degrees, intensity in percent.
CIImageRef applyColorizeForCIImage(const CIImageRef& image, const NSColor& color, double hue,
                                   double intensity);

// hue in degrees, saturation and lightness in percent of change.
CIImageRef applyHueOrSaturationForCIImage(const CIImageRef& image, double hue, double saturation,
                                          double lightness);

// Both in percent of change.
CIImageRef applyBrightnessAndContrastForCIImage(const CIImageRef& image, double brightness,
                                                double contrast);

// The contrast factor for a slider value 0…200, 100 being neutral: 0.25 … 1 … 4, four times as
// steep above neutral as below. Not a number counts as above.
float brightcon_contrastFilterValueFromSliderValue(float s);

}  // namespace kelvo
