#include "panel/setting_controls.h"

#include <cmath>
#include <limits>

namespace kelvo {
namespace {

constexpr StoredText kLevels[] = {{"levelsShadowsSlider", "0.0"},
                                  {"levelsMidtonesSlider", "128.0"},
                                  {"levelsHighlightsSlider", "255.0"}};
constexpr StoredText kCurves[] = {{"curvesChannel", "0"}};
constexpr StoredText kColorBalance[] = {{"colorBalanceSR", "0"}, {"colorBalanceSG", "0"},
                                        {"colorBalanceSB", "0"}, {"colorBalanceMR", "0"},
                                        {"colorBalanceMG", "0"}, {"colorBalanceMB", "0"},
                                        {"colorBalanceHR", "0"}, {"colorBalanceHG", "0"},
                                        {"colorBalanceHB", "0"}, {"colorBalanceChannel", "0"}};
constexpr StoredText kBrightnessAndContrast[] = {{"brightnessAndContrastBrightnessSlider", "0"},
                                                 {"brightnessAndContrastContrastSlider", "0"}};
constexpr StoredText kHueOrSaturation[] = {{"hueOrSaturationHueSlider", "0"},
                                           {"hueOrSaturationSaturationSlider", "0"},
                                           {"hueOrSaturationLightnessSlider", "0"}};
constexpr StoredText kColorize[] = {
    {"colorizeHueSlider", "0"},          {"colorizeIntensitySlider", "0"},
    {"colorizeColorWellR", "0.0581305"}, {"colorizeColorWellG", "0.0555419"},
    {"colorizeColorWellB", "1"},         {"colorizeColorWellA", "1"}};
constexpr StoredText kReplaceColor[] = {{"replaceColorRadiusSlider", "1"},
                                        {"replaceColorHueSlider", "0"},
                                        {"replaceColorSaturationSlider", "0"},
                                        {"replaceColorLightnessSlider", "0"},
                                        {"replaceColorWellR", "0.0581305"},
                                        {"replaceColorWellG", "0.0555419"},
                                        {"replaceColorWellB", "1"},
                                        {"replaceColorWellA", "1"}};
constexpr StoredText kChannelMixer[] = {
    {"cmrr", "100"}, {"cmrg", "0"}, {"cmrb", "0"},     {"cmrc", "0"}, {"cmgr", "0"},
    {"cmgg", "100"}, {"cmgb", "0"}, {"cmgc", "0"},     {"cmbr", "0"}, {"cmbg", "0"},
    {"cmbb", "100"}, {"cmbc", "0"}, {"cmchannel", "0"}};
constexpr StoredText kExposure[] = {{"exposureSlider", "0.0"}};
constexpr StoredText kThreshold[] = {{"thresholdSlider", "128.0"}};
constexpr StoredText kPosterize[] = {{"posterizeSlider", "2.0"}};

}  // namespace

std::span<const StoredText> defaultTexts(FilterNumber number) {
  switch (number) {
    case FilterNumber::levels:
      return kLevels;
    case FilterNumber::curves:
      return kCurves;
    case FilterNumber::colorBalance:
      return kColorBalance;
    case FilterNumber::brightnessAndContrast:
      return kBrightnessAndContrast;
    case FilterNumber::hueOrSaturation:
      return kHueOrSaturation;
    case FilterNumber::colorize:
      return kColorize;
    case FilterNumber::replaceColor:
      return kReplaceColor;
    case FilterNumber::channelMixer:
      return kChannelMixer;
    case FilterNumber::exposure:
      return kExposure;
    case FilterNumber::threshold:
      return kThreshold;
    case FilterNumber::posterize:
      return kPosterize;
    case FilterNumber::automatic:
    case FilterNumber::desaturate:
    case FilterNumber::invert:
    case FilterNumber::equalize:
      return {};
  }
  return {};
}

int roundedInt(double value) {
  const double rounded = std::round(value);
  if (std::isnan(rounded)) return 0;
  if (rounded <= std::numeric_limits<int>::min()) return std::numeric_limits<int>::min();
  if (rounded >= std::numeric_limits<int>::max()) return std::numeric_limits<int>::max();
  return static_cast<int>(rounded);
}

}  // namespace kelvo
