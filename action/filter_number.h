#pragma once

namespace kelvo {

// The values of "filterPopUp": the index of an adjustment in the panel's pop-up. 5 and 12 are
// separators and select nothing.
enum class FilterNumber : int {
  levels = 0,
  automatic = 1,
  curves = 2,
  colorBalance = 3,
  brightnessAndContrast = 4,
  hueOrSaturation = 6,
  desaturate = 7,
  colorize = 8,
  replaceColor = 9,
  channelMixer = 10,
  exposure = 11,
  invert = 13,
  equalize = 14,
  threshold = 15,
  posterize = 16,
};

}  // namespace kelvo
