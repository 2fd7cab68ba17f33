#pragma once

#include <cstddef>
#include <cstdint>

namespace kelvo {

// How one sample is stored. Integers are in the machine's byte order and stand for
// sample / maximum, the maximum being 255 or 65535.
enum class SampleType : std::uint8_t { u8, u16, f32 };

// How colour and alpha are stored together.
enum class AlphaInfo : std::uint8_t {
  none,               // no alpha sample: opaque
  last,               // straight colour, alpha after it
  premultipliedLast,  // colour multiplied by alpha, alpha after it
};

// Interleaved samples of one pixel, in the order gray | r g b | c m y k, then alpha if there is
// one.
struct PixelLayout {
  std::uint8_t components = 3;  // with alpha: 1 gray, 2 gray+a, 3 rgb, 4 rgb+a or cmyk, 5 cmyk+a
  SampleType type = SampleType::u8;
  AlphaInfo alpha = AlphaInfo::none;

  friend bool operator==(const PixelLayout&, const PixelLayout&) = default;

  [[nodiscard]] constexpr std::size_t sampleBytes() const {
    return type == SampleType::u8 ? 1 : type == SampleType::u16 ? 2 : 4;
  }
  [[nodiscard]] constexpr std::size_t pixelBytes() const { return components * sampleBytes(); }
};

}  // namespace kelvo
