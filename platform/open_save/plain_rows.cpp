#include "platform/open_save/plain_rows.h"

#include <cstring>
#include <limits>
#include <string>
#include <utility>

namespace kelvo {
namespace {

constexpr std::size_t kStripBytes = std::size_t{128} << 10;

template <typename Sample>
Sample load(std::span<const std::byte> samples, std::size_t index) {
  Sample sample = 0;
  std::memcpy(&sample, &samples[index * sizeof(Sample)], sizeof(Sample));
  return sample;
}

template <typename Sample>
std::uint32_t straight(std::uint32_t color, std::uint32_t alpha) {
  constexpr std::uint32_t kMost = std::numeric_limits<Sample>::max();
  if (alpha == 0) return 0;
  return std::min(kMost, (kMost * color + alpha / 2) / alpha);
}

template <typename From, typename To>
To scaled(std::uint32_t sample) {
  if constexpr (sizeof(To) < sizeof(From)) {
    return static_cast<To>((sample * 255U + 32767U) / 65535U);
  } else {
    return static_cast<To>(sample);
  }
}

}  // namespace

PlainRows::PlainRows(std::unique_ptr<RowSource> rows, const CGImage& image,
                     const PixelLayout& stored, std::string_view format)
    : rows_(std::move(rows)),
      width_(image.width),
      from_(image.layout),
      stored_(stored),
      format_(format) {}

Result<PlainRows> PlainRows::open(const CGImage& image, const PixelLayout& stored,
                                  std::string_view format) {
  auto rows = image.openRows();
  if (!rows) return std::move(rows).error();
  return PlainRows(*std::move(rows), image, stored, format);
}

template <typename From, typename To>
bool PlainRows::convert(std::size_t pixels) {
  constexpr std::uint32_t kOpaque = std::numeric_limits<From>::max();
  const bool hasAlpha = from_.alpha != AlphaInfo::none;
  const bool keepsAlpha = stored_.alpha != AlphaInfo::none;
  const bool divides =
      from_.alpha == AlphaInfo::premultipliedLast && stored_.alpha == AlphaInfo::last;
  const std::size_t colors = from_.components - (hasAlpha ? 1U : 0U);
  std::byte* to = converted_.data();
  const auto store = [&](std::uint32_t sample) {
    const To stored = scaled<From, To>(sample);
    std::memcpy(to, &stored, sizeof stored);
    to += sizeof stored;
  };
  for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
    const std::size_t first = pixel * from_.components;
    const std::uint32_t alpha = hasAlpha ? load<From>(source_, first + colors) : kOpaque;
    if (!keepsAlpha && alpha != kOpaque) return false;
    for (std::size_t c = 0; c < colors; ++c) {
      const std::uint32_t color = load<From>(source_, first + c);
      store(divides ? straight<From>(color, alpha) : color);
    }
    if (keepsAlpha) store(alpha);
  }
  return true;
}

Result<std::span<std::byte>> PlainRows::read(std::uint32_t rows) {
  const std::size_t pixels = std::size_t{width_} * rows;
  source_.resize(pixels * from_.pixelBytes());
  if (auto read = rows_->read(source_, rows); !read) return std::move(read).error();
  if (from_ == stored_) return std::span(source_);
  converted_.resize(pixels * stored_.pixelBytes());
  const bool deep = from_.type == SampleType::u16;
  const bool done = !deep ? convert<std::uint8_t, std::uint8_t>(pixels)
                    : stored_.type == SampleType::u16
                        ? convert<std::uint16_t, std::uint16_t>(pixels)
                        : convert<std::uint16_t, std::uint8_t>(pixels);
  if (!done) {
    return Error{"the picture is transparent in places, and " + std::string(format_) +
                 " files are opaque"};
  }
  return std::span(converted_);
}

std::uint32_t stripRows(std::size_t rowBytes, std::uint32_t height) {
  return static_cast<std::uint32_t>(
      std::clamp<std::size_t>(kStripBytes / std::max<std::size_t>(rowBytes, 1), 1, height));
}

}  // namespace kelvo
