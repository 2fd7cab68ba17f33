#pragma once

#include <functional>
#include <string>

#include "platform/color/ns_color.h"
#include "platform/drawing/ns_geometry.h"

namespace kelvo {

// The user's system font in some size, in view units.
struct NSFont {
  double size = 12;
  bool bold = false;

  static NSFont boldSystemFontOfSize(double size) { return {size, true}; }

  friend bool operator==(const NSFont&, const NSFont&) = default;
};

struct TextAttributes {
  NSFont font;
  NSColor foregroundColor = NSColor::colorWithCalibratedWhite_alpha(0, 1);

  friend bool operator==(const TextAttributes&, const TextAttributes&) = default;
};

// The size of the box around one line of UTF-8 text. Nothing without a toolkit, which knows fonts.
NSSize sizeWithAttributes(const std::string& text, const TextAttributes& attributes);

// For the toolkit: who measures text from now on in this process. Main thread.
using TextMeasurer = std::function<NSSize(const std::string&, const TextAttributes&)>;
void setTextMeasurer(TextMeasurer measurer);

}  // namespace kelvo
