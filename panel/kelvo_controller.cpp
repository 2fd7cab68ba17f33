#include "panel/kelvo_controller.h"

#include <array>
#include <utility>

#include "action/apply_image.h"
#include "action/control.h"
#include "action/load_curves.h"
#include "engine/filter_globals.h"
#include "panel/panel_layout.h"
#include "panel/picture.h"
#include "platform/foundation/ns_log.h"

namespace kelvo {
namespace {

// Sample pictures outlive their panels: recipes that were made of one may still be in use.
void keepForGood(const CIImageRef& sample) {
  static std::vector<CIImageRef> kept;
  kept.push_back(sample);
}

}  // namespace

int spaceBetweenImageAndBox = 10;

KelvoController::KelvoController(QWidget& panel) : view(&panel) {
  setupUi(&panel);
  connectLayout(panel, *this);
}

KelvoController::~KelvoController() {
  beforeImage = nullptr;
  unregisterAdjustmentFilters();
  // Nothing may point to what goes with the panel.
  editor().setController(nullptr);
  if (curves.get() == &editor()) curves = nullptr;
  if (control == this) control = nullptr;
}

void KelvoController::awakeFromNib() {
  if (awaken) return;
  awaken = true;
  control = this;
  params = parameters().content();
  curves = std::shared_ptr<KelvoTQCurvesView>(std::shared_ptr<void>(), &editor());
  beforeImage = afterView->image() ? imageWithRepresentation(*afterView->image()) : nullptr;
  keepForGood(beforeImage);
  registerAdjustmentFilters();

  editor().setFrame(editor().frame());
  editor().reconfigureTrackingRect();
  editor().setController(this);
  editor().resetCurves();
  editor().setParams(params);
  editor().setActiveChannel(0);
  editor().loadParameters();

  layTabViewOut(*this, spaceBetweenImageAndBox);
  tabView->setTabViewType(NSTabViewType::noTabsLineBorder);
  updateIt();
  seen_ = *params;
}

void KelvoController::updateIt() {
  const int number = params->intValue("filterPopUp");
  filterPopUp->setCurrentIndex(number);
  selectIndex(number);
  if (const Methods* methods = methodsOf(number)) (this->*methods->update)();
}

void KelvoController::reload() {
  {
    const QSignalBlocker blocker(this);
    editor().loadParameters();
    updateIt();
  }
  seen_ = *params;
}

void KelvoController::selectIndex(int index) { tabView->selectTabViewItemAtIndex(index); }

const KelvoController::Methods* KelvoController::methodsOf(int number) {
  using C = KelvoController;
  static constexpr std::array<Methods, 17> kMethods = {{
      {&C::updateLevels, &C::applyLevels},
      {&C::updateAuto, &C::applyAuto},
      {&C::updateCurves, &C::applyCurves},
      {&C::updateColorBalance, &C::applyColorBalance},
      {&C::updateBrightnessAndContrast, &C::applyBrightnessAndContrast},
      {},
      {&C::updateHueOrSaturation, &C::applyHueOrSaturation},
      {&C::updateDesaturate, &C::applyDesaturate},
      {&C::updateColorize, &C::applyColorize},
      {&C::updateReplaceColor, &C::applyReplaceColor},
      {&C::updateChannelMixer, &C::applyChannelMixer},
      {&C::updateExposure, &C::applyExposure},
      {},
      {&C::updateInvert, &C::applyInvert},
      {&C::updateEqualize, &C::applyEqualize},
      {&C::updateThreshold, &C::applyThreshold},
      {&C::updatePosterize, &C::applyPosterize},
  }};
  const auto index = static_cast<unsigned>(number);
  if (index >= kMethods.size() || kMethods[index].update == nullptr) return nullptr;
  return &kMethods[index];
}

void KelvoController::applyFilterByNumber(int number) {
  const Methods* methods = methodsOf(number);
  if (methods == nullptr) {
    NSLog("Error: undefined number");
    return;
  }
  (this->*methods->apply)(levelsShadowsSlider);
}

void KelvoController::filterPopUpChanged(QObject* /*sender*/) {
  store("filterPopUp", std::to_string(filterPopUp->currentIndex()));
  updateIt();
}

void KelvoController::controlTextDidEndEditing(KelvoTextField* field) {
  NSSlider* slider = field->getSlider();
  if (slider == nullptr) return;
  int value = field->intValue();
  if (slider->minValue() > value) value = static_cast<int>(slider->minValue());
  if (value > slider->maxValue()) value = static_cast<int>(slider->maxValue());
  slider->setIntValue(value);
  slider->targetAction().perform(field);
}

void KelvoController::showPreview() {
  afterView->setImage(NSImageFromCIImage(applyImage(params, beforeImage)));
  if (*params == seen_) return;
  seen_ = *params;
  emit parametersChanged();
}

}  // namespace kelvo
