// What the adjustments' methods have in common: between controls and stored texts.

#include "panel/kelvo_controller.h"
#include "platform/foundation/text_format.h"

namespace kelvo {
namespace {

std::string joined(std::string_view prefix, std::string_view key) {
  return std::string(prefix).append(key);
}

}  // namespace

void KelvoController::store(std::string_view key, std::string text) {
  params->setObject_forKey(std::move(text), std::string(key));
}

void KelvoController::showSettings(std::span<const SettingControl> controls,
                                   std::string_view keyPrefix, const char* unit) {
  for (const SettingControl& control : controls) {
    const double value = stored(joined(keyPrefix, control.key));
    (this->*control.slider)->setDoubleValue(value);
    (this->*control.value)->setText(QString::number(roundedInt(value)) + QLatin1String(unit));
  }
}

void KelvoController::storeSettings(std::span<const SettingControl> controls,
                                    std::string_view keyPrefix) {
  for (const SettingControl& control : controls) {
    store(joined(keyPrefix, control.key), formatF((this->*control.slider)->doubleValue()));
  }
}

void KelvoController::showColor(NSColorWell& well, std::string_view keyPrefix) {
  const auto component = [&](const char* name) { return stored(joined(keyPrefix, name)); };
  well.setColor(NSColor::colorWithCalibratedRed_green_blue_alpha(component("R"), component("G"),
                                                                 component("B"), component("A")));
}

void KelvoController::storeColor(const NSColorWell& well, std::string_view keyPrefix) {
  const NSColor& color = well.color();
  store(joined(keyPrefix, "R"), formatF(color.redComponent()));
  store(joined(keyPrefix, "G"), formatF(color.greenComponent()));
  store(joined(keyPrefix, "B"), formatF(color.blueComponent()));
  store(joined(keyPrefix, "A"), formatF(color.alphaComponent()));
}

void KelvoController::storeDefaults(FilterNumber number) {
  store("filterPopUp", std::to_string(static_cast<int>(number)));
  selectIndex(filterPopUp->currentIndex());
  for (const StoredText& setting : defaultTexts(number)) store(setting.key, setting.text);
}

int KelvoController::chooseInGroup(std::span<NSMatrix* const> group, QObject* sender) {
  for (NSMatrix* matrix : group) matrix->selectedCell()->setState(0);
  if (auto* chosen = qobject_cast<NSMatrix*>(sender)) chosen->cellAtRow_column(0, 0)->setState(1);
  for (std::size_t i = group.size() - 1; i > 0; --i) {
    if (group[i]->selectedCell()->state() == 1) return static_cast<int>(i);
  }
  return 0;
}

}  // namespace kelvo
