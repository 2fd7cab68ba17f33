#pragma once

namespace kelvo {

// A colour as panels and parameters give it: straight components, 0…1, unchecked.
class NSColor {
 public:
  static NSColor colorWithCalibratedRed_green_blue_alpha(double red, double green, double blue,
                                                         double alpha) {
    return NSColor(red, green, blue, alpha);
  }

  [[nodiscard]] double redComponent() const { return red_; }
  [[nodiscard]] double greenComponent() const { return green_; }
  [[nodiscard]] double blueComponent() const { return blue_; }
  [[nodiscard]] double alphaComponent() const { return alpha_; }

  friend bool operator==(const NSColor&, const NSColor&) = default;

 private:
  NSColor(double red, double green, double blue, double alpha)
      : red_(red), green_(green), blue_(blue), alpha_(alpha) {}

  double red_;
  double green_;
  double blue_;
  double alpha_;
};

}  // namespace kelvo
