#pragma once

#include <span>
#include <string_view>

// The one table of the adjustments: what they are called, what can be set and how far.
namespace kelvo::host {

enum class SettingKind {
  number,  // one key
  color,   // four keys: `key` and R, G, B, A, components 0…1
  curve,   // two keys: `key` and N, the number of points; `key` and Points, the points
};

// One setting of one adjustment, in the panel's units.
struct Setting {
  std::string_view option;  // "levels" for --levels
  std::string_view key;     // the action parameter it is stored under
  SettingKind kind = SettingKind::number;
  double low = 0;  // the panel's range; of a number or a curve's points
  double high = 0;
  std::string_view
      initial;  // the stored text when it is not given; of a colour or curve, as it is typed
  std::string_view unit;  // "percent"; may be empty
  std::string_view help;
};

struct Adjustment {
  std::string_view name;  // "posterize"
  std::string_view title;
  int filterNumber = 0;  // the value of "filterPopUp"
  std::string_view summary;
  std::span<const Setting> settings;
  std::string_view example;  // the settings of an example command line
};

// All fifteen, by filter number.
std::span<const Adjustment> adjustments();

// Null if there is none of that name or number.
const Adjustment* findAdjustment(std::string_view name);
const Adjustment* findAdjustment(int filterNumber);

// The colour that both colour wells start with, component by component (R, G, B, A).
std::span<const std::string_view, 4> initialColorTexts();

// Curves are kept on the scale of the curves view, where full intensity is 191.
constexpr double kCurveScale = 191;

// The endings of a colour's four keys.
constexpr std::string_view kColorComponents[4] = {"R", "G", "B", "A"};

}  // namespace kelvo::host
