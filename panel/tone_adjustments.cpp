// Brightness and Contrast, Exposure, Threshold, Posterize.

#include "panel/kelvo_controller.h"

namespace kelvo {
namespace {

constexpr SettingControl kBrightnessAndContrast[] = {
    {&KelvoController::brightnessAndContrastBrightnessSlider,
     &KelvoController::brightnessAndContrastBrightnessValue,
     "brightnessAndContrastBrightnessSlider"},
    {&KelvoController::brightnessAndContrastContrastSlider,
     &KelvoController::brightnessAndContrastContrastValue, "brightnessAndContrastContrastSlider"}};
constexpr SettingControl kExposure[] = {
    {&KelvoController::exposureSlider, &KelvoController::exposureValue, "exposureSlider"}};
constexpr SettingControl kThreshold[] = {
    {&KelvoController::thresholdSlider, &KelvoController::thresholdValue, "thresholdSlider"}};
constexpr SettingControl kPosterize[] = {
    {&KelvoController::posterizeSlider, &KelvoController::posterizeValue, "posterizeSlider"}};

}  // namespace

void KelvoController::updateBrightnessAndContrast() {
  showSettings(kBrightnessAndContrast);
  applyBrightnessAndContrast(nullptr);
}

void KelvoController::resetBrightnessAndContrast(QObject* /*sender*/) {
  storeDefaults(FilterNumber::brightnessAndContrast);
  updateBrightnessAndContrast();
}

void KelvoController::applyBrightnessAndContrast(QObject* sender) {
  if (!isKindOf<KelvoButton, KelvoTextField, NSSlider>(sender)) return showPreview();
  storeSettings(kBrightnessAndContrast);
  updateBrightnessAndContrast();
}

void KelvoController::updateExposure() {
  showSettings(kExposure);
  applyExposure(nullptr);
}

void KelvoController::resetExposure(QObject* /*sender*/) {
  storeDefaults(FilterNumber::exposure);
  updateExposure();
}

void KelvoController::applyExposure(QObject* sender) {
  if (!isKindOf<KelvoButton, KelvoTextField, NSSlider>(sender)) return showPreview();
  storeSettings(kExposure);
  updateExposure();
}

void KelvoController::updateThreshold() {
  showSettings(kThreshold);
  applyThreshold(nullptr);
}

void KelvoController::resetThreshold(QObject* /*sender*/) {
  storeDefaults(FilterNumber::threshold);
  updateThreshold();
}

void KelvoController::applyThreshold(QObject* sender) {
  if (!isKindOf<KelvoButton, KelvoTextField, NSSlider>(sender)) return showPreview();
  storeSettings(kThreshold);
  updateThreshold();
}

void KelvoController::updatePosterize() {
  showSettings(kPosterize);
  applyPosterize(nullptr);
}

void KelvoController::resetPosterize(QObject* /*sender*/) {
  storeDefaults(FilterNumber::posterize);
  updatePosterize();
}

void KelvoController::applyPosterize(QObject* sender) {
  if (!isKindOf<KelvoButton, KelvoTextField, NSSlider>(sender)) return showPreview();
  storeSettings(kPosterize);
  updatePosterize();
}

}  // namespace kelvo
