#include "engine/replace_color.h"

#include "engine/apply_filter.h"

namespace kelvo {

CIImageRef applyReplaceColorForCIImage(const CIImageRef& image, const NSColor& color, double radius,
                                       double hue, double saturation, double lightness) {
  const double angle = hue / 180.0 * kAnglePi;

  const CIFilterRef mask = filterWithDefaults("TQReplaceColorSelectiveFilter");
  setInput(mask, "sourceColor", CIColor::initWithColor(color));
  setInput(mask, "diameter", radius / 200.0);
  setInput(mask, "_hue", angle);
  setInput(mask, "_saturation", saturation / 100.0 + 1.0);
  setInput(mask, "_lightness", lightness / 100.0);
  const CIImageRef selected = applyFilterForCIImage(image, mask);

  const CIFilterRef controls = filterWithDefaults("CIColorControls");
  setTextInput(controls, "inputSaturation", saturation / 100.0 + 1.0);
  setTextInput(controls, "inputBrightness", lightness / 100.0);
  const CIImageRef adjusted = applyFilterForCIImage(selected, controls);

  const CIFilterRef turn = filterWithDefaults("CIHueAdjust");
  setTextInput(turn, "inputAngle", angle);
  const CIImageRef turned = applyFilterForCIImage(adjusted, turn);

  const CIFilterRef over = filterWithDefaults("CISourceOverCompositing");
  setInput(over, "inputBackgroundImage", image);
  setInput(over, "inputImage", turned);
  return applyFilterForCIImage(turned, over);
}

}  // namespace kelvo
