#include "engine/equalize.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <variant>
#include <vector>

#include "engine/apply_filter.h"
#include "platform/image/render.h"
#include "platform/pixels/kept_pixels.h"
#include "platform/pixels/level_counter.h"
#include "platform/pixels/premultiply.h"

namespace kelvo {
namespace {

using Histogram = LevelCounter::Counts;

constexpr std::uint32_t kRowsAtATime = 16;
constexpr PixelLayout kOpaque8{3, SampleType::u8, AlphaInfo::none};

// 0.3 R + 0.59 G + 0.11 B, truncated to a level. In hundredths, because a sum of these fractions in
// double precision falls just short of the level of many a grey.
std::uint8_t luma(unsigned r, unsigned g, unsigned b) {
  return static_cast<std::uint8_t>((30 * r + 59 * g + 11 * b) / 100);
}

// Premultiplied pixels lose their alpha here.
void count(std::span<std::uint8_t> pixels, std::size_t components, LevelCounter& counter) {
  if (components == 4) vImageUnpremultiplyData_RGBA8888(pixels);
  counter.add(pixels.size() / components, [&](std::size_t i) {
    const std::uint8_t* const pixel = &pixels[i * components];
    return luma(pixel[0], pixel[1], pixel[2]);
  });
}

// Absent if a row cannot be read.
std::optional<Histogram> histogramOf(const CGImage& image) {
  const std::size_t components = image.layout.components;
  auto rows = image.openRows();
  if (!rows) return std::nullopt;
  LevelCounter counter;
  std::vector<std::uint8_t> pixels(std::size_t{image.width} * components * kRowsAtATime);
  for (std::uint32_t y = 0; y < image.height; y += kRowsAtATime) {
    const std::uint32_t height = std::min(kRowsAtATime, image.height - y);
    const std::span<std::uint8_t> strip(pixels.data(), image.width * components * height);
    if (!(*rows)->read(std::as_writable_bytes(strip), height)) return std::nullopt;
    count(strip, components, counter);
  }
  return counter.counts();
}

struct Bounds {
  float lower = 0.0F;
  float upper = 1.0F;
};

Bounds boundsOf(const Histogram& histogram, std::uint32_t width, std::uint32_t height) {
  const double pixels = static_cast<double>(width) * height;
  const auto cut = static_cast<std::uint64_t>(pixels * 0.005);

  std::uint64_t sum = 0;
  std::size_t k = 0;
  while (sum < cut) sum += histogram[k++];

  sum = 0;
  std::size_t fromTop = 0;
  while (sum < cut) sum += histogram[255 - fromTop++];
  return {static_cast<float>(k) / 255.0F, (255.0F - static_cast<float>(fromTop)) / 255.0F};
}

Bounds boundsOf(const CGImage& image) {
  const auto histogram = histogramOf(image);
  return histogram ? boundsOf(*histogram, image.width, image.height) : Bounds{};
}

struct Measured {
  CIImageRef image;  // its pixels in memory if they are kept
  std::optional<Bounds> bounds;
};

// Keeps the picture's own pixels, as deep as they are; not those of a recipe, and none that do not
// fit. If they are what is to be measured, they are measured on the way.
Measured keep(const CIImageRef& image, std::uint64_t mostBytes) {
  const auto* source = image ? std::get_if<CIImage::Source>(&image->recipe()) : nullptr;
  if (source == nullptr) return {image, std::nullopt};
  const CGImage& own = source->image;
  const bool measurable = own.layout == kOpaque8;
  LevelCounter counter;
  const auto countStrip = [&](std::span<std::byte> strip) {
    if (measurable) {
      count({reinterpret_cast<std::uint8_t*>(strip.data()), strip.size()}, 3, counter);
    }
  };
  auto kept = keepPixels(own, mostBytes, countStrip);
  if (!kept) return {image, std::nullopt};
  Measured measured{CIImage::imageWithCGImage(*std::move(kept)), std::nullopt};
  if (measurable) measured.bounds = boundsOf(counter.counts(), own.width, own.height);
  return measured;
}

}  // namespace

void getGrayMin(float& lower, float& upper, const CGImage& image) {
  const Bounds bounds = boundsOf(image);
  lower = bounds.lower;
  upper = bounds.upper;
}

CIImageRef applyEqualizeForCIImage(const CIImageRef& original, std::uint64_t mostKeptBytes) {
  const Measured measured = keep(original, mostKeptBytes);
  const CIImageRef& image = measured.image;
  const auto bitmap = render(image, {});
  if (!bitmap) return nullptr;
  const auto [lower, upper] = measured.bounds ? *measured.bounds : boundsOf(*bitmap);
  const float range = upper - lower;
  const CIFilterRef equalize = CIFilter::filterWithName("TQEqualizeFilter");
  setInput(equalize, "params", CIVector::vectorWithX_Y(1.0 / range, -lower / range));
  return applyFilterForCIImage(image, equalize);
}

}  // namespace kelvo
