#pragma once

namespace kelvo {

// A colour as panels and parameters give it: straight components, 0…1, unchecked.
class NSColor {
 public:
  static NSColor colorWithCalibratedRed_green_blue_alpha(double red, double green, double blue,
                                                         double alpha) {
    return NSColor(red, green, blue, alpha);
  }
  static NSColor colorWithCalibratedWhite_alpha(double white, double alpha) {
    return NSColor(white, white, white, alpha);
  }
  static NSColor whiteColor() { return NSColor(1, 1, 1, 1); }
  static NSColor clearColor() { return NSColor(0, 0, 0, 0); }

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
