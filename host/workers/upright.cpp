#include "host/workers/upright.h"

#include <cstddef>
#include <string>
#include <utility>

namespace kelvo::host {
namespace {

constexpr std::size_t kPixelBytes = 4;

// Where the upright picture's pixels are found: the stored pixel of (0, 0), and how many stored
// pixels further those of (1, 0) and (0, 1) are.
struct Walk {
  std::ptrdiff_t start;
  std::ptrdiff_t right;
  std::ptrdiff_t down;
};

Walk walkOf(unsigned orientation, std::ptrdiff_t width, std::ptrdiff_t height) {
  const std::ptrdiff_t topRight = width - 1;
  const std::ptrdiff_t bottomLeft = (height - 1) * width;
  const std::ptrdiff_t bottomRight = bottomLeft + topRight;
  switch (orientation) {
    case 2:
      return {topRight, -1, width};
    case 3:
      return {bottomRight, -1, -width};
    case 4:
      return {bottomLeft, 1, -width};
    case 5:
      return {0, width, 1};
    case 6:
      return {bottomLeft, -width, 1};
    case 7:
      return {bottomRight, -width, -1};
    case 8:
      return {topRight, width, -1};
    default:
      return {0, 1, width};
  }
}

}  // namespace

void makeUpright(PictureMessage& picture, unsigned orientation) {
  if (orientation < 2 || orientation > 8) {
    return;
  }
  const Walk walk = walkOf(orientation, picture.width, picture.height);
  if (orientation >= 5) {
    std::swap(picture.width, picture.height);
    std::swap(picture.fullWidth, picture.fullHeight);
  }
  std::string pixels;
  pixels.reserve(picture.pixels.size());
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    std::ptrdiff_t from = walk.start + static_cast<std::ptrdiff_t>(y) * walk.down;
    for (std::uint32_t x = 0; x < picture.width; ++x, from += walk.right) {
      pixels.append(picture.pixels, static_cast<std::size_t>(from) * kPixelBytes, kPixelBytes);
    }
  }
  picture.pixels = std::move(pixels);
}

}  // namespace kelvo::host
