#include "host/arguments/adjustments.h"

#include <algorithm>
#include <array>

namespace kelvo::host {
namespace {

constexpr SettingKind kNumber = SettingKind::number;
constexpr SettingKind kColor = SettingKind::color;
constexpr SettingKind kCurve = SettingKind::curve;

// The well's components to the nearest level, for people to read.
constexpr std::string_view kInitialColor = "#0f0eff";
constexpr std::array<std::string_view, 4> kInitialColorTexts = {"0.0581305", "0.0555419", "1", "1"};

constexpr std::string_view kIdentityCurve = "0,0 255,255";

// option, key, kind, lowest, highest, initial, unit, help
constexpr Setting kLevels[] = {
    {"shadows", "levelsShadowsSlider", kNumber, 0, 255, "0.0", "levels",
     "input level that becomes black"},
    {"midtones", "levelsMidtonesSlider", kNumber, 0, 255, "128.0", "levels",
     "input level that becomes middle gray"},
    {"highlights", "levelsHighlightsSlider", kNumber, 0, 255, "255.0", "levels",
     "input level that becomes white"},
};
constexpr Setting kCurves[] = {
    {"rgb", "rgb", kCurve, 0, 255, kIdentityCurve, "levels", "curve of all three channels"},
    {"red", "r", kCurve, 0, 255, kIdentityCurve, "levels", "curve of red, applied before it"},
    {"green", "g", kCurve, 0, 255, kIdentityCurve, "levels", "curve of green, applied before it"},
    {"blue", "b", kCurve, 0, 255, kIdentityCurve, "levels", "curve of blue, applied before it"},
};
constexpr Setting kColorBalance[] = {
    {"shadows-red", "colorBalanceSR", kNumber, -100, 100, "0", "", "cyan to red in the shadows"},
    {"shadows-green", "colorBalanceSG", kNumber, -100, 100, "0", "",
     "magenta to green in the shadows"},
    {"shadows-blue", "colorBalanceSB", kNumber, -100, 100, "0", "",
     "yellow to blue in the shadows"},
    {"midtones-red", "colorBalanceMR", kNumber, -100, 100, "0", "", "cyan to red in the midtones"},
    {"midtones-green", "colorBalanceMG", kNumber, -100, 100, "0", "",
     "magenta to green in the midtones"},
    {"midtones-blue", "colorBalanceMB", kNumber, -100, 100, "0", "",
     "yellow to blue in the midtones"},
    {"highlights-red", "colorBalanceHR", kNumber, -100, 100, "0", "",
     "cyan to red in the highlights"},
    {"highlights-green", "colorBalanceHG", kNumber, -100, 100, "0", "",
     "magenta to green in the highlights"},
    {"highlights-blue", "colorBalanceHB", kNumber, -100, 100, "0", "",
     "yellow to blue in the highlights"},
};
constexpr Setting kBrightnessContrast[] = {
    {"brightness", "brightnessAndContrastBrightnessSlider", kNumber, -100, 100, "0", "percent",
     "darker to brighter"},
    {"contrast", "brightnessAndContrastContrastSlider", kNumber, -100, 100, "0", "percent",
     "flatter to steeper"},
};
constexpr Setting kHueSaturation[] = {
    {"hue", "hueOrSaturationHueSlider", kNumber, -180, 180, "0", "degrees",
     "turn of the hues, red towards green"},
    {"saturation", "hueOrSaturationSaturationSlider", kNumber, -100, 100, "0", "percent",
     "gray to twice as colourful"},
    {"lightness", "hueOrSaturationLightnessSlider", kNumber, -100, 100, "0", "percent",
     "darker to lighter"},
};
constexpr Setting kColorize[] = {
    {"color", "colorizeColorWell", kColor, 0, 1, kInitialColor, "",
     "colour of the tint, #rrggbb or #rrggbbaa"},
    {"hue", "colorizeHueSlider", kNumber, -180, 180, "0", "degrees", "turn of the tinted hues"},
    {"intensity", "colorizeIntensitySlider", kNumber, 0, 100, "0", "percent",
     "strength of the tint"},
};
constexpr Setting kReplaceColor[] = {
    {"color", "replaceColorWell", kColor, 0, 1, kInitialColor, "",
     "colour to select, #rrggbb or #rrggbbaa"},
    {"radius", "replaceColorRadiusSlider", kNumber, 0, 200, "1", "",
     "how far a colour may be from it"},
    {"hue", "replaceColorHueSlider", kNumber, -180, 180, "0", "degrees",
     "turn of the selected hues"},
    {"saturation", "replaceColorSaturationSlider", kNumber, -100, 100, "0", "percent",
     "gray to twice as colourful"},
    {"lightness", "replaceColorLightnessSlider", kNumber, -100, 100, "0", "percent",
     "darker to lighter"},
};
constexpr Setting kChannelMixer[] = {
    {"rr", "cmrr", kNumber, -200, 200, "100", "percent", "share of red in the red output"},
    {"rg", "cmrg", kNumber, -200, 200, "0", "percent", "share of green in the red output"},
    {"rb", "cmrb", kNumber, -200, 200, "0", "percent", "share of blue in the red output"},
    {"rc", "cmrc", kNumber, -200, 200, "0", "percent", "constant added to the red output"},
    {"gr", "cmgr", kNumber, -200, 200, "0", "percent", "share of red in the green output"},
    {"gg", "cmgg", kNumber, -200, 200, "100", "percent", "share of green in the green output"},
    {"gb", "cmgb", kNumber, -200, 200, "0", "percent", "share of blue in the green output"},
    {"gc", "cmgc", kNumber, -200, 200, "0", "percent", "constant added to the green output"},
    {"br", "cmbr", kNumber, -200, 200, "0", "percent", "share of red in the blue output"},
    {"bg", "cmbg", kNumber, -200, 200, "0", "percent", "share of green in the blue output"},
    {"bb", "cmbb", kNumber, -200, 200, "100", "percent", "share of blue in the blue output"},
    {"bc", "cmbc", kNumber, -200, 200, "0", "percent", "constant added to the blue output"},
};
constexpr Setting kExposure[] = {
    {"exposure", "exposureSlider", kNumber, -100, 100, "0.0", "",
     "darker to lighter; 50 is one stop, twice the light"},
};
constexpr Setting kThreshold[] = {
    {"level", "thresholdSlider", kNumber, 0, 255, "128.0", "levels",
     "what is brighter becomes white, the rest black"},
};
constexpr Setting kPosterize[] = {
    {"levels", "posterizeSlider", kNumber, 2, 64, "2.0", "levels",
     "levels that each channel keeps"},
};

// name, title, number, summary, settings, example
constexpr Adjustment kAdjustments[] = {
    {"levels", "Levels", 0, "sets the black, middle and white points", kLevels,
     "--shadows 10 --highlights 240"},
    {"auto", "Auto", 1, "stretches the tones to the full range", {}, ""},
    {"curves", "Curves", 2, "bends the tones along curves", kCurves, "--rgb '0,0 96,120 255,255'"},
    {"color-balance", "Color Balance", 3, "shifts the colour of shadows, midtones and highlights",
     kColorBalance, "--midtones-red 20"},
    {"brightness-contrast", "Brightness and Contrast", 4,
     "makes pictures brighter or darker, steeper or flatter", kBrightnessContrast,
     "--brightness 5 --contrast 10"},
    {"hue-saturation", "Hue/Saturation", 6, "turns the hues, changes saturation and lightness",
     kHueSaturation, "--saturation 20"},
    {"desaturate", "Desaturate", 7, "takes the colour out", {}, ""},
    {"colorize", "Colorize", 8, "tints the picture with one colour", kColorize,
     "--color '#704214' --intensity 80"},
    {"replace-color", "Replace Color", 9, "changes hue, saturation and lightness of one colour",
     kReplaceColor, "--color '#ff0000' --radius 60 --hue 120"},
    {"channel-mixer", "Channel Mixer", 10, "mixes each channel from all three", kChannelMixer,
     "--rr 50 --rg 50"},
    {"exposure", "Exposure", 11, "changes the exposure", kExposure, "--exposure 50"},
    {"invert", "Invert", 13, "turns the picture into its negative", {}, ""},
    {"equalize", "Equalize", 14, "spreads the tones evenly", {}, ""},
    {"threshold", "Threshold", 15, "leaves black and white alone", kThreshold, "--level 100"},
    {"posterize", "Posterize", 16, "leaves a few levels of each channel", kPosterize, "--levels 4"},
};

}  // namespace

std::span<const Adjustment> adjustments() { return kAdjustments; }

const Adjustment* findAdjustment(std::string_view name) {
  const auto* const found = std::ranges::find(kAdjustments, name, &Adjustment::name);
  return found == std::end(kAdjustments) ? nullptr : found;
}

const Adjustment* findAdjustment(int filterNumber) {
  const auto* const found =
      std::ranges::find(kAdjustments, filterNumber, &Adjustment::filterNumber);
  return found == std::end(kAdjustments) ? nullptr : found;
}

std::span<const std::string_view, 4> initialColorTexts() { return kInitialColorTexts; }

}  // namespace kelvo::host
