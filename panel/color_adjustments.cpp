// Hue/Saturation, Colorize, Replace Color.

#include "panel/kelvo_controller.h"

namespace kelvo {
namespace {

constexpr SettingControl kHueOrSaturation[] = {
    {&KelvoController::hueOrSaturationHueSlider, &KelvoController::hueOrSaturationHueValue,
     "hueOrSaturationHueSlider"},
    {&KelvoController::hueOrSaturationSaturationSlider,
     &KelvoController::hueOrSaturationSaturationValue, "hueOrSaturationSaturationSlider"},
    {&KelvoController::hueOrSaturationLightnessSlider,
     &KelvoController::hueOrSaturationLightnessValue, "hueOrSaturationLightnessSlider"}};
constexpr SettingControl kColorize[] = {
    {&KelvoController::colorizeHueSlider, &KelvoController::colorizeHueValue, "colorizeHueSlider"},
    {&KelvoController::colorizeIntensitySlider, &KelvoController::colorizeIntensityValue,
     "colorizeIntensitySlider"}};
constexpr SettingControl kReplaceColor[] = {
    {&KelvoController::replaceColorRadiusSlider, &KelvoController::replaceColorRadiusValue,
     "replaceColorRadiusSlider"},
    {&KelvoController::replaceColorHueSlider, &KelvoController::replaceColorHueValue,
     "replaceColorHueSlider"},
    {&KelvoController::replaceColorSaturationSlider, &KelvoController::replaceColorSaturationValue,
     "replaceColorSaturationSlider"},
    {&KelvoController::replaceColorLightnessSlider, &KelvoController::replaceColorLightnessValue,
     "replaceColorLightnessSlider"}};

}  // namespace

void KelvoController::updateHueOrSaturation() {
  showSettings(kHueOrSaturation);
  applyHueOrSaturation(nullptr);
}

void KelvoController::resetHueOrSaturation(QObject* /*sender*/) {
  storeDefaults(FilterNumber::hueOrSaturation);
  updateHueOrSaturation();
}

void KelvoController::applyHueOrSaturation(QObject* sender) {
  if (!isKindOf<KelvoButton, KelvoTextField, NSSlider>(sender)) return showPreview();
  storeSettings(kHueOrSaturation);
  updateHueOrSaturation();
}

void KelvoController::updateColorize() {
  showColor(*colorizeColorWell, "colorizeColorWell");
  showSettings(kColorize);
  applyColorize(nullptr);
}

void KelvoController::resetColorize(QObject* /*sender*/) {
  storeDefaults(FilterNumber::colorize);
  updateColorize();
}

void KelvoController::applyColorize(QObject* sender) {
  if (!isKindOf<KelvoButton, KelvoTextField, NSSlider, NSColorWell>(sender)) return showPreview();
  storeSettings(kColorize);
  storeColor(*colorizeColorWell, "colorizeColorWell");
  updateColorize();
}

void KelvoController::updateReplaceColor() {
  showColor(*replaceColorWell, "replaceColorWell");
  showSettings(kReplaceColor);
  applyReplaceColor(nullptr);
}

void KelvoController::resetReplaceColor(QObject* /*sender*/) {
  storeDefaults(FilterNumber::replaceColor);
  updateReplaceColor();
}

void KelvoController::applyReplaceColor(QObject* sender) {
  if (!isKindOf<KelvoButton, KelvoTextField, NSSlider, NSColorWell>(sender)) return showPreview();
  storeSettings(kReplaceColor);
  storeColor(*replaceColorWell, "replaceColorWell");
  updateReplaceColor();
}

}  // namespace kelvo
