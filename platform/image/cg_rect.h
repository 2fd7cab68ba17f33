#pragma once

namespace kelvo {

// A rectangle in pixels. Row 0 is the first row of the file; y grows downwards.
struct CGRect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;

  friend bool operator==(const CGRect&, const CGRect&) = default;

  [[nodiscard]] bool empty() const { return !(width > 0 && height > 0); }
  [[nodiscard]] bool contains(const CGRect& other) const;
};

CGRect CGRectUnion(const CGRect& a, const CGRect& b);         // an empty one adds nothing
CGRect CGRectIntersection(const CGRect& a, const CGRect& b);  // no overlap: all zero

}  // namespace kelvo
