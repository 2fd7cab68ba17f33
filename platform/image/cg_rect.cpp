#include "platform/image/cg_rect.h"

#include <algorithm>

namespace kelvo {

bool CGRect::contains(const CGRect& other) const {
  return other.x >= x && other.y >= y && other.x + other.width <= x + width &&
         other.y + other.height <= y + height;
}

CGRect CGRectUnion(const CGRect& a, const CGRect& b) {
  if (a.empty()) return b;
  if (b.empty()) return a;
  const double left = std::min(a.x, b.x);
  const double top = std::min(a.y, b.y);
  return {left, top, std::max(a.x + a.width, b.x + b.width) - left,
          std::max(a.y + a.height, b.y + b.height) - top};
}

CGRect CGRectIntersection(const CGRect& a, const CGRect& b) {
  const double left = std::max(a.x, b.x);
  const double top = std::max(a.y, b.y);
  const CGRect overlap{left, top, std::min(a.x + a.width, b.x + b.width) - left,
                       std::min(a.y + a.height, b.y + b.height) - top};
  return overlap.empty() ? CGRect{} : overlap;
}

}  // namespace kelvo
