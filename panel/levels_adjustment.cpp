// Levels: three levels that keep their order. The shadows and the highlights are at least
// kLeastRange apart, the midtones at least kLeastGap from either.

#include "panel/kelvo_controller.h"

namespace kelvo {
namespace {

constexpr double kLeastRange = 11;
constexpr double kLeastGap = 7;

constexpr SettingControl kLevels[] = {
    {&KelvoController::levelsShadowsSlider, &KelvoController::levelsShadowsValue,
     "levelsShadowsSlider"},
    {&KelvoController::levelsMidtonesSlider, &KelvoController::levelsMidtonesValue,
     "levelsMidtonesSlider"},
    {&KelvoController::levelsHighlightsSlider, &KelvoController::levelsHighlightsValue,
     "levelsHighlightsSlider"}};

void show(double level, NSSlider& slider, KelvoTextField& value) {
  slider.setDoubleValue(level);
  value.setIntValue(roundedInt(level));
}

// The midtones' place between the ends: 0 is at the shadows, 1 at the highlights. In a range
// without length they have none and get the middle, where they stay when it is widened.
double proportion(double fromShadows, double length) {
  return length == 0 ? 0.5 : fromShadows / length;
}

}  // namespace

void KelvoController::updateLevels() {
  showSettings(kLevels);
  const double shadows = levelsShadowsSlider->doubleValue();
  levelsLength = levelsHighlightsSlider->doubleValue() - shadows;
  levelsProportion = proportion(levelsMidtonesSlider->doubleValue() - shadows, levelsLength);
  applyLevels(nullptr);
}

void KelvoController::resetLevels(QObject* /*sender*/) {
  storeDefaults(FilterNumber::levels);
  updateLevels();
}

// Dragging a slider stores nothing: the sliders propose levels, fields and buttons set them.
void KelvoController::applyLevels(QObject* sender) {
  if (!isKindOf<KelvoButton, KelvoTextField>(sender)) return showPreview();
  storeSettings(kLevels);
  updateLevels();
}

void KelvoController::levelsShadowsChanged(QObject* sender) {
  const double highlights = levelsHighlightsSlider->doubleValue();
  double shadows = levelsShadowsSlider->doubleValue();
  if (shadows + kLeastRange >= highlights) shadows = highlights - kLeastRange;
  const double midtones = (highlights - shadows) * levelsProportion + shadows;
  show(midtones, *levelsMidtonesSlider, *levelsMidtonesValue);
  show(shadows, *levelsShadowsSlider, *levelsShadowsValue);
  applyLevels(sender);
}

void KelvoController::levelsHighlightsChanged(QObject* sender) {
  const double shadows = levelsShadowsSlider->doubleValue();
  double highlights = levelsHighlightsSlider->doubleValue();
  if (shadows >= highlights - kLeastRange) highlights = shadows + kLeastRange;
  const double midtones = shadows + (highlights - shadows) * levelsProportion;
  show(midtones, *levelsMidtonesSlider, *levelsMidtonesValue);
  show(highlights, *levelsHighlightsSlider, *levelsHighlightsValue);
  applyLevels(sender);
}

void KelvoController::levelsMidtonesChanged(QObject* sender) {
  const double shadows = levelsShadowsSlider->doubleValue();
  const double highlights = levelsHighlightsSlider->doubleValue();
  double midtones = levelsMidtonesSlider->doubleValue();
  if (midtones + kLeastGap >= highlights) {
    midtones = highlights - kLeastGap;
  } else if (shadows > midtones - kLeastGap) {
    midtones = shadows + kLeastGap;
  }
  levelsLength = (highlights - midtones) + (midtones - shadows);
  levelsProportion = proportion(midtones - shadows, levelsLength);
  show(midtones, *levelsMidtonesSlider, *levelsMidtonesValue);
  applyLevels(sender);
}

}  // namespace kelvo
