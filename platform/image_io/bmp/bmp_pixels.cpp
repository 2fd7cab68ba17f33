#include "platform/image_io/bmp/bmp_pixels.h"

#include <cstring>
#include <limits>

#include "platform/image_io/little_endian.h"

namespace kelvo {
namespace {

constexpr std::uint32_t rescale(std::uint64_t sample, std::uint64_t from, std::uint64_t to) {
  return static_cast<std::uint32_t>((sample * to + from / 2) / from);
}

template <typename Sample>
constexpr std::uint32_t kMaximum = std::numeric_limits<Sample>::max();

}  // namespace

BmpPixels::BmpPixels(const BmpHeader& header, PixelLayout layout)
    : layout_(layout), pixelBytes_(header.pixelBits / 8), channels_(header.channels) {
  std::uint32_t taken = 0;
  for (std::size_t k = 0; k < layout.components; ++k) {
    taken |= channels_[k].mask;
    const std::uint32_t maximum = channels_[k].maximum();
    if (layout.type != SampleType::u8 || maximum == 0) continue;
    for (std::uint32_t stored = 0; stored <= maximum; ++stored) {
      toSample_[k].push_back(
          static_cast<std::uint8_t>(rescale(stored, maximum, kMaximum<std::uint8_t>)));
    }
    for (std::uint32_t sample = 0; sample <= kMaximum<std::uint8_t>; ++sample) {
      toStored_[k].push_back(
          static_cast<std::uint16_t>(rescale(sample, kMaximum<std::uint8_t>, maximum)));
    }
  }
  kept_ = ~taken;
}

template <typename Sample>
void BmpPixels::unpackSamples(std::span<const std::byte> stored,
                              std::span<std::byte> samples) const {
  std::byte* out = samples.data();
  const std::byte* const end = out + samples.size();
  for (std::size_t at = 0; out != end; at += pixelBytes_) {
    const std::uint32_t pixel = readLittleEndian(stored.subspan(at, pixelBytes_));
    for (std::size_t k = 0; k < layout_.components; ++k) {
      const std::uint32_t value = (pixel & channels_[k].mask) >> channels_[k].shift();
      Sample sample = 0;
      if constexpr (sizeof(Sample) == 1) {
        sample = toSample_[k][value];
      } else {
        sample = static_cast<Sample>(rescale(value, channels_[k].maximum(), kMaximum<Sample>));
      }
      std::memcpy(out, &sample, sizeof(Sample));
      out += sizeof(Sample);
    }
  }
}

template <typename Sample>
void BmpPixels::packSamples(std::span<const std::byte> samples, std::span<std::byte> stored) const {
  const std::byte* in = samples.data();
  const std::byte* const end = in + samples.size();
  for (std::size_t at = 0; in != end; at += pixelBytes_) {
    const auto place = stored.subspan(at, pixelBytes_);
    std::uint32_t pixel = readLittleEndian(place) & kept_;
    for (std::size_t k = 0; k < layout_.components; ++k) {
      Sample sample = 0;
      std::memcpy(&sample, in, sizeof(Sample));
      in += sizeof(Sample);
      std::uint32_t value = 0;
      if constexpr (sizeof(Sample) == 1) {
        value = toStored_[k][sample];
      } else {
        value = rescale(sample, kMaximum<Sample>, channels_[k].maximum());
      }
      pixel |= value << channels_[k].shift();
    }
    writeLittleEndian(place, pixel);
  }
}

void BmpPixels::unpack(std::span<const std::byte> stored, std::span<std::byte> samples) const {
  if (layout_.type == SampleType::u16) {
    unpackSamples<std::uint16_t>(stored, samples);
  } else {
    unpackSamples<std::uint8_t>(stored, samples);
  }
}

void BmpPixels::pack(std::span<const std::byte> samples, std::span<std::byte> stored) const {
  if (layout_.type == SampleType::u16) {
    packSamples<std::uint16_t>(samples, stored);
  } else {
    packSamples<std::uint8_t>(samples, stored);
  }
}

}  // namespace kelvo
