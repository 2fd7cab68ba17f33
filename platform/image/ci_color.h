#pragma once

#include "platform/color/ns_color.h"

namespace kelvo {

// A colour as filters take it: straight components. A kernel that receives one as an argument sees
// it as it sees pixels, premultiplied.
class CIColor {
 public:
  CIColor() = default;
  CIColor(double red, double green, double blue, double alpha = 1)
      : red_(red), green_(green), blue_(blue), alpha_(alpha) {}
  static CIColor initWithColor(const NSColor& color) {
    return {color.redComponent(), color.greenComponent(), color.blueComponent(),
            color.alphaComponent()};
  }

  [[nodiscard]] double red() const { return red_; }
  [[nodiscard]] double green() const { return green_; }
  [[nodiscard]] double blue() const { return blue_; }
  [[nodiscard]] double alpha() const { return alpha_; }

  friend bool operator==(const CIColor&, const CIColor&) = default;

 private:
  double red_ = 0;
  double green_ = 0;
  double blue_ = 0;
  double alpha_ = 0;
};

}  // namespace kelvo
