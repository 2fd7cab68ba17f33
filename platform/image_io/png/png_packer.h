#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/foundation/result.h"
#include "platform/pixels/pixel_layout.h"

namespace kelvo {

// Makes the samples that a file stores of the pixels that the renderer delivers.
class PngPacker {
 public:
  using Color = std::array<std::uint16_t, 3>;

  // `layout` is what arrives, 3 or 4 components of 8 or 16 bits; the file stores alpha if `alpha`
  // is set; `key`, if there is one, is stored for transparent pixels instead.
  PngPacker(PixelLayout layout, bool alpha, std::optional<Color> key)
      : layout_(layout), alpha_(alpha), key_(key) {}

  [[nodiscard]] std::size_t storedPixelBytes() const {
    return (alpha_ ? 4U : 3U) * layout_.sampleBytes();
  }

  // `pixels` is used up. `stored` has storedPixelBytes() for every pixel; samples of 16 bits have
  // their high byte first. An error if a pixel's alpha cannot be stored.
  Result<void> pack(std::span<std::byte> pixels, std::span<std::byte> stored) const;

 private:
  template <typename Sample>
  Result<void> packSamples(std::span<std::byte> pixels, std::span<std::byte> stored) const;

  PixelLayout layout_;
  bool alpha_;
  std::optional<Color> key_;
};

}  // namespace kelvo
