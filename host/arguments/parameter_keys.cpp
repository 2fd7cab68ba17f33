#include "host/arguments/parameter_keys.h"

#include <algorithm>
#include <map>

#include "host/arguments/adjustments.h"
#include "host/arguments/setting_values.h"
#include "platform/foundation/parameter_value.h"

namespace kelvo::host {
namespace {

enum class KeyKind {
  number,
  wholeNumber,
  points,      // a curve: "x y,x y,...", both 0…191
  adjustment,  // the number of an adjustment
};

struct KeyRule {
  KeyKind kind = KeyKind::number;
  double low = 0;
  double high = 0;
};

constexpr double kMostCurvePoints = 192;

struct KeyTable {
  std::map<std::string, KeyRule, std::less<>> rules;
  std::vector<std::string_view> names;
};

KeyTable makeTable() {
  KeyTable table;
  table.rules["filterPopUp"] = {KeyKind::adjustment, 0, 0};
  for (const Adjustment& adjustment : adjustments()) {
    for (const Setting& setting : adjustment.settings) {
      if (setting.kind == SettingKind::number) {
        table.rules[std::string(setting.key)] = {KeyKind::number, setting.low, setting.high};
        continue;
      }
      if (setting.kind == SettingKind::curve) {
        table.rules[std::string(setting.key) + "N"] = {KeyKind::wholeNumber, 2, kMostCurvePoints};
        table.rules[std::string(setting.key) + "Points"] = {KeyKind::points, 0, kCurveScale};
        continue;
      }
      for (const std::string_view component : kColorComponents) {
        table.rules[std::string(setting.key).append(component)] = {KeyKind::number, 0, 1};
      }
    }
  }
  // What the panel shows; no adjustment reads them.
  table.rules["curvesChannel"] = {KeyKind::wholeNumber, 0, 3};
  table.rules["colorBalanceChannel"] = {KeyKind::wholeNumber, 0, 2};
  table.rules["cmchannel"] = {KeyKind::wholeNumber, 0, 2};
  for (const auto& [key, rule] : table.rules) {
    table.names.push_back(key);
  }
  return table;
}

const KeyTable& keyTable() {
  static const KeyTable table = makeTable();
  return table;
}

std::string shortNumber(double number) { return ParameterValue(number).stringValue(); }

Error outside(std::string_view value, const KeyRule& rule) {
  return {"must be from " + shortNumber(rule.low) + " to " + shortNumber(rule.high) + ", not " +
          std::string(value)};
}

Result<void> checkNumber(std::string_view value, const KeyRule& rule) {
  const auto number = parseNumber(value);
  if (!number) {
    return number.error();
  }
  if (*number < rule.low || *number > rule.high) {
    return outside(value, rule);
  }
  // Its reader stops at anything but a digit.
  if (rule.kind == KeyKind::wholeNumber &&
      value.find_first_not_of("0123456789") != std::string_view::npos) {
    return Error{"must be a whole number, not " + std::string(value)};
  }
  return {};
}

Result<void> checkPoints(std::string_view value, const KeyRule& rule) {
  std::string_view rest = value;
  while (true) {
    const std::string_view piece = rest.substr(0, rest.find(','));
    const std::size_t blank = piece.find(' ');
    if (blank == std::string_view::npos) {
      return Error{"'" + std::string(piece) + "' is not a point like '96 120'"};
    }
    for (const std::string_view part : {piece.substr(0, blank), piece.substr(blank + 1)}) {
      if (auto checked = checkNumber(part, rule); !checked) {
        return checked.error();
      }
    }
    if (piece.size() == rest.size()) {
      return {};
    }
    rest.remove_prefix(piece.size() + 1);
  }
}

Result<void> checkAdjustment(std::string_view value) {
  const bool known = std::ranges::any_of(adjustments(), [&](const Adjustment& adjustment) {
    return value == std::to_string(adjustment.filterNumber);
  });
  if (!known) {
    return Error{"must be the number of an adjustment (0 to 16 without 5 and 12), not '" +
                 std::string(value) + "'"};
  }
  return {};
}

}  // namespace

std::span<const std::string_view> knownParameterKeys() { return keyTable().names; }

Result<void> checkParameter(std::string_view key, std::string_view value) {
  const auto found = keyTable().rules.find(key);
  if (found == keyTable().rules.end()) {
    return Error{"is not known"};
  }
  const KeyRule& rule = found->second;
  switch (rule.kind) {
    case KeyKind::points:
      return checkPoints(value, rule);
    case KeyKind::adjustment:
      return checkAdjustment(value);
    case KeyKind::number:
    case KeyKind::wholeNumber:
      break;
  }
  return checkNumber(value, rule);
}

}  // namespace kelvo::host
