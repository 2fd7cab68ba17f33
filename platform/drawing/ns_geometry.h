#pragma once

namespace kelvo {

// Lengths in view units: a pixel at a scale of 1. Views draw with the origin at the bottom left,
// y growing upwards.
struct NSPoint {
  double x = 0;
  double y = 0;

  friend bool operator==(const NSPoint&, const NSPoint&) = default;
};

struct NSSize {
  double width = 0;
  double height = 0;

  friend bool operator==(const NSSize&, const NSSize&) = default;
};

struct NSRect {
  NSPoint origin;
  NSSize size;

  friend bool operator==(const NSRect&, const NSRect&) = default;
};

}  // namespace kelvo
