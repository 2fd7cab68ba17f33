#include "platform/image_io/png/png_packer.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

#include "platform/pixels/premultiply.h"

namespace kelvo {
namespace {

void unpremultiply(std::span<std::uint8_t> rgba) { vImageUnpremultiplyData_RGBA8888(rgba); }
void unpremultiply(std::span<std::uint16_t> rgba) { unpremultiplyRGBA16(rgba); }

void toFileOrder(std::span<std::byte> stored) {
  if constexpr (std::endian::native == std::endian::big) return;
  for (std::size_t i = 0; i + 1 < stored.size(); i += 2) std::swap(stored[i], stored[i + 1]);
}

}  // namespace

template <typename Sample>
Result<void> PngPacker::packSamples(std::span<std::byte> pixels,
                                    std::span<std::byte> stored) const {
  constexpr std::size_t kStoredBytes = 3 * sizeof(Sample);
  constexpr Sample kOpaque = std::numeric_limits<Sample>::max();
  std::array<Sample, 4> pixel;
  std::array<Sample, 3> key{};
  if (key_) {
    std::transform(key_->begin(), key_->end(), key.begin(),
                   [](std::uint16_t sample) { return static_cast<Sample>(sample); });
  }
  std::byte* out = stored.data();
  for (std::size_t i = 0; i + sizeof(pixel) <= pixels.size(); i += sizeof(pixel)) {
    std::memcpy(pixel.data(), pixels.data() + i, sizeof(pixel));
    if (pixel[3] == kOpaque) {
      std::memcpy(out, pixel.data(), kStoredBytes);
    } else if (key_ && pixel[3] == 0) {
      std::memcpy(out, key.data(), kStoredBytes);
    } else {
      return Error{"a pixel is not opaque, and the file has no room for its alpha"};
    }
    out += kStoredBytes;
  }
  return {};
}

Result<void> PngPacker::pack(std::span<std::byte> pixels, std::span<std::byte> stored) const {
  const bool deep = layout_.type == SampleType::u16;
  if (layout_.components == 4 && !alpha_) {
    auto packed = deep ? packSamples<std::uint16_t>(pixels, stored)
                       : packSamples<std::uint8_t>(pixels, stored);
    if (!packed) return packed;
  } else {
    if (layout_.alpha == AlphaInfo::premultipliedLast) {
      // Row buffers come from the heap, whose alignment is enough for samples of either size.
      if (deep) {
        unpremultiply(
            std::span(reinterpret_cast<std::uint16_t*>(pixels.data()), pixels.size() / 2));
      } else {
        unpremultiply(std::span(reinterpret_cast<std::uint8_t*>(pixels.data()), pixels.size()));
      }
    }
    std::copy(pixels.begin(), pixels.end(), stored.begin());
  }
  if (deep) toFileOrder(stored);
  return {};
}

}  // namespace kelvo
