#include "platform/pixels/premultiply.h"

#include <algorithm>

namespace kelvo {
namespace {

// Both quotients are exact. A float division of whole numbers is correctly rounded, so that its
// floor is the whole quotient as long as the dividend has no more bits than the mantissa: 255 c +
// a/2 < 2^24 for float, 65535 c + a/2 < 2^53 for double. Divisions of whole vectors have no whole
// number counterpart on the processors of today.
inline std::uint8_t unpremultiplied(std::uint8_t c, std::uint8_t a) {
  const float quotient =
      static_cast<float>(255 * c + a / 2) / static_cast<float>(std::max<int>(a, 1));
  const int level = std::min(static_cast<int>(quotient), 255);
  return static_cast<std::uint8_t>(a == 0 ? 0 : level);
}

inline std::uint16_t unpremultiplied(std::uint16_t c, std::uint16_t a) {
  const double quotient =
      (65535.0 * c + static_cast<double>(a / 2)) / static_cast<double>(std::max<int>(a, 1));
  const double level = std::min(quotient, 65535.0);
  return static_cast<std::uint16_t>(a == 0 ? 0 : static_cast<std::int32_t>(level));
}

inline std::uint8_t premultiplied(std::uint8_t c, std::uint8_t a) {
  return static_cast<std::uint8_t>((static_cast<unsigned>(c) * a + 127U) / 255U);
}

inline std::uint16_t premultiplied(std::uint16_t c, std::uint16_t a) {
  return static_cast<std::uint16_t>((static_cast<std::uint32_t>(c) * a + 32767U) / 65535U);
}

template <typename Sample, Sample (*convert)(Sample, Sample)>
void convertPixels(std::span<Sample> rgba) {
  const std::size_t pixels = rgba.size() / 4;
  Sample* const p = rgba.data();
  for (std::size_t i = 0; i < pixels; ++i) {
    const Sample a = p[4 * i + 3];
    for (std::size_t k = 0; k < 3; ++k) p[4 * i + k] = convert(p[4 * i + k], a);
  }
}

}  // namespace

void vImageUnpremultiplyData_RGBA8888(std::span<std::uint8_t> rgba) {
  convertPixels<std::uint8_t, unpremultiplied>(rgba);
}

void vImagePremultiplyData_RGBA8888(std::span<std::uint8_t> rgba) {
  convertPixels<std::uint8_t, premultiplied>(rgba);
}

void unpremultiplyRGBA16(std::span<std::uint16_t> rgba) {
  convertPixels<std::uint16_t, unpremultiplied>(rgba);
}

void premultiplyRGBA16(std::span<std::uint16_t> rgba) {
  convertPixels<std::uint16_t, premultiplied>(rgba);
}

}  // namespace kelvo
