#include "action/apply_image.h"

#include "action/filter_number.h"
#include "action/load_curves.h"
#include "engine/auto.h"
#include "engine/basic_adjustments.h"
#include "engine/color_balance.h"
#include "engine/curves_adjustment.h"
#include "engine/equalize.h"
#include "engine/levels.h"
#include "engine/replace_color.h"
#include "platform/foundation/ns_log.h"

namespace kelvo {
namespace {

NSColor wellColor(const ParameterDictionary& parameters, const char* red, const char* green,
                  const char* blue, const char* alpha) {
  return NSColor::colorWithCalibratedRed_green_blue_alpha(
      parameters.doubleValue(red), parameters.doubleValue(green), parameters.doubleValue(blue),
      parameters.doubleValue(alpha));
}

}  // namespace

CIImageRef applyImage(const ActionParameters& parameters, const CIImageRef& image,
                      std::uint64_t mostKeptBytes) {
  const auto setting = [&](const char* key) { return parameters->doubleValue(key); };
  switch (static_cast<FilterNumber>(parameters->intValue("filterPopUp"))) {
    case FilterNumber::levels:
      return applyLevelsForCIImage(image, setting("levelsShadowsSlider"),
                                   setting("levelsMidtonesSlider"),
                                   setting("levelsHighlightsSlider"));
    case FilterNumber::automatic:
      return applyAutoForCIImage(image, mostKeptBytes);
    case FilterNumber::curves:
      if (!curves) loadCurves(parameters);
      return applyCurvesForCIImage(
          image, curves->curvesValuesImageForColorSpace_forOKAction(nullptr, false));
    case FilterNumber::colorBalance:
      return applyColorBalanceForCIImage(
          image, setting("colorBalanceSR"), setting("colorBalanceSG"), setting("colorBalanceSB"),
          setting("colorBalanceMR"), setting("colorBalanceMG"), setting("colorBalanceMB"),
          setting("colorBalanceHR"), setting("colorBalanceHG"), setting("colorBalanceHB"));
    case FilterNumber::brightnessAndContrast:
      return applyBrightnessAndContrastForCIImage(image,
                                                  setting("brightnessAndContrastBrightnessSlider"),
                                                  setting("brightnessAndContrastContrastSlider"));
    case FilterNumber::hueOrSaturation:
      return applyHueOrSaturationForCIImage(image, setting("hueOrSaturationHueSlider"),
                                            setting("hueOrSaturationSaturationSlider"),
                                            setting("hueOrSaturationLightnessSlider"));
    case FilterNumber::desaturate:
      return applyDesaturateForCIImage(image);
    case FilterNumber::colorize:
      return applyColorizeForCIImage(
          image,
          wellColor(*parameters, "colorizeColorWellR", "colorizeColorWellG", "colorizeColorWellB",
                    "colorizeColorWellA"),
          setting("colorizeHueSlider"), setting("colorizeIntensitySlider"));
    case FilterNumber::replaceColor:
      return applyReplaceColorForCIImage(
          image,
          wellColor(*parameters, "replaceColorWellR", "replaceColorWellG", "replaceColorWellB",
                    "replaceColorWellA"),
          setting("replaceColorRadiusSlider"), setting("replaceColorHueSlider"),
          setting("replaceColorSaturationSlider"), setting("replaceColorLightnessSlider"));
    case FilterNumber::channelMixer:
      return applyChannelMixerForCIImage(image, setting("cmrr"), setting("cmrg"), setting("cmrb"),
                                         setting("cmrc"), setting("cmgr"), setting("cmgg"),
                                         setting("cmgb"), setting("cmgc"), setting("cmbr"),
                                         setting("cmbg"), setting("cmbb"), setting("cmbc"));
    case FilterNumber::exposure:
      return applyExposureForCIImage(image, setting("exposureSlider"));
    case FilterNumber::invert:
      return applyInvertForCIImage(image);
    case FilterNumber::equalize:
      return applyEqualizeForCIImage(image, mostKeptBytes);
    case FilterNumber::threshold:
      return applyThresholdForCIImage(image, setting("thresholdSlider"));
    case FilterNumber::posterize:
      return applyPosterizeForCIImage(image, setting("posterizeSlider"));
    default:
      NSLog("Error: unknown index");
      return nullptr;
  }
}

NSImageRef NSImageFromCIImage(const CIImageRef& image) {
  const CGRect extent = image ? image->extent() : CGRect{};
  NSImageRef display = NSImage::initWithSize({extent.width, extent.height});
  display->addRepresentation(NSCIImageRep::imageRepWithCIImage(image));
  return display;
}

}  // namespace kelvo
