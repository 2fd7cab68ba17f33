#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/image_io/bmp/bmp_header.h"
#include "platform/pixels/pixel_layout.h"

namespace kelvo {

// Samples out of the stored pixels of a picture without colour table, and back. A sample of n bits
// stands for sample / (2^n - 1) and is rounded to the nearest, so that 8 bits hold any of up to 8.
class BmpPixels {
 public:
  // `layout` is what the samples are: 3 or 4 components (the fourth is the alpha channel), 8 or 16
  // bits.
  BmpPixels(const BmpHeader& header, PixelLayout layout);

  // `stored` has a row's pixels or more.
  void unpack(std::span<const std::byte> stored, std::span<std::byte> samples) const;

  // Changes the bits of `stored` that belong to a channel among the samples and leaves all others
  // alone.
  void pack(std::span<const std::byte> samples, std::span<std::byte> stored) const;

 private:
  template <typename Sample>
  void unpackSamples(std::span<const std::byte> stored, std::span<std::byte> samples) const;
  template <typename Sample>
  void packSamples(std::span<const std::byte> samples, std::span<std::byte> stored) const;

  PixelLayout layout_;
  std::size_t pixelBytes_;
  std::array<BmpChannel, 4> channels_;
  std::uint32_t kept_ = 0;  // bits of a pixel that are no channel's
  // What each stored sample becomes, and each of 8 bits; empty where that is computed.
  std::array<std::vector<std::uint8_t>, 4> toSample_;
  std::array<std::vector<std::uint16_t>, 4> toStored_;
};

}  // namespace kelvo
