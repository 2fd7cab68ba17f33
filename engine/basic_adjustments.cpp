#include "engine/basic_adjustments.h"

#include <string>

#include "engine/apply_filter.h"
#include "platform/foundation/text_format.h"

namespace kelvo {
namespace {

CIVector rowVector(double red, double green, double blue, double constant) {
  return CIVector::vectorWithString("[" + formatF(red / 100.0) + " " + formatF(green / 100.0) +
                                    " " + formatF(blue / 100.0) + " " + formatF(constant / 100.0) +
                                    "]");
}

}  // namespace

CIImageRef applyPosterizeForCIImage(const CIImageRef& image, double levels) {
  const CIFilterRef posterize = filterWithDefaults("CIColorPosterize");
  setTextInput(posterize, "inputLevels", levels);
  return applyFilterForCIImage(image, posterize);
}

CIImageRef applyThresholdForCIImage(const CIImageRef& image, double threshold) {
  const CIFilterRef filter = filterWithDefaults("TQTresholdFilter");
  setInput(filter, "threshold", threshold / 255.0);
  return applyFilterForCIImage(image, filter);
}

CIImageRef applyInvertForCIImage(const CIImageRef& image) {
  return applyFilterForCIImage(image, filterWithDefaults("CIColorInvert"));
}

CIImageRef applyExposureForCIImage(const CIImageRef& image, double exposure) {
  const CIFilterRef adjust = filterWithDefaults("CIExposureAdjust");
  setInput(adjust, "inputEV", exposure / 50.0);
  return applyFilterForCIImage(image, adjust);
}

CIImageRef applyDesaturateForCIImage(const CIImageRef& image) {
  const CIFilterRef controls = filterWithDefaults("CIColorControls");
  setInput(controls, "inputSaturation", std::string("0"));
  return applyFilterForCIImage(image, controls);
}

CIImageRef applyChannelMixerForCIImage(const CIImageRef& image, double rr, double rg, double rb,
                                       double rc, double gr, double gg, double gb, double gc,
                                       double br, double bg, double bb, double bc) {
  const CIFilterRef matrix = filterWithDefaults("CIColorMatrix");
  setInput(matrix, "inputRVector", rowVector(rr, rg, rb, rc));
  setInput(matrix, "inputGVector", rowVector(gr, gg, gb, gc));
  setInput(matrix, "inputBVector", rowVector(br, bg, bb, bc));
  return applyFilterForCIImage(image, matrix);
}

CIImageRef applyColorizeForCIImage(const CIImageRef& image, const NSColor& color, double hue,
                                   double intensity) {
  const CIFilterRef monochrome = filterWithDefaults("CIColorMonochrome");
  setInput(monochrome, "inputColor", CIColor::initWithColor(color));
  setInput(monochrome, "inputIntensity", intensity / 100.0);
  const CIImageRef tinted = applyFilterForCIImage(image, monochrome);

  const CIFilterRef turn = filterWithDefaults("CIHueAdjust");
  setTextInput(turn, "inputAngle", hue / 1.8 / 100.0 * kAnglePi);
  return applyFilterForCIImage(tinted, turn);
}

CIImageRef applyHueOrSaturationForCIImage(const CIImageRef& image, double hue, double saturation,
                                          double lightness) {
  const CIFilterRef controls = filterWithDefaults("CIColorControls");
  setTextInput(controls, "inputSaturation", (100.0 + saturation) / 100.0);
  setTextInput(controls, "inputBrightness", lightness / 100.0);
  const CIImageRef saturated = applyFilterForCIImage(image, controls);

  const CIFilterRef turn = filterWithDefaults("CIHueAdjust");
  setTextInput(turn, "inputAngle", hue / 180.0 * kAnglePi);
  return applyFilterForCIImage(saturated, turn);
}

CIImageRef applyBrightnessAndContrastForCIImage(const CIImageRef& image, double brightness,
                                                double contrast) {
  const CIFilterRef controls = filterWithDefaults("CIColorControls");
  setTextInput(controls, "inputBrightness", brightness / 100.0);
  const float slider = 100.0F + static_cast<float>(contrast);
  setTextInput(controls, "inputContrast", brightcon_contrastFilterValueFromSliderValue(slider));
  return applyFilterForCIImage(image, controls);
}

float brightcon_contrastFilterValueFromSliderValue(float s) {
  const double value = s;
  const double factor = value <= 100 ? value * 0.0075 + 0.25 : (value - 100) * 0.03 + 1.0;
  return static_cast<float>(factor);
}

}  // namespace kelvo
