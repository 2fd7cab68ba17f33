#pragma once

#include <QObject>
#include <span>

#include "action/filter_number.h"

namespace kelvo {

class KelvoTextField;
class NSSlider;
class Ui_KelvoPanel;

// One number of an adjustment: its controls and the key it is stored under.
struct SettingControl {
  NSSlider* Ui_KelvoPanel::*slider;
  KelvoTextField* Ui_KelvoPanel::*value;
  const char* key;
};

struct StoredText {
  const char* key;
  const char* text;
};

// What a reset stores, in the order in which it does.
std::span<const StoredText> defaultTexts(FilterNumber number);

// Rounded half away from zero and limited to the range of int; what is not a number is 0.
int roundedInt(double value);

// Whether the sender is of one of the classes. Null is of none.
template <typename... Classes>
bool isKindOf(const QObject* sender) {
  return (... || (qobject_cast<const Classes*>(sender) != nullptr));
}

}  // namespace kelvo
