#include "engine/equalize.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <utility>
#include <variant>
#include <vector>

#include "engine/apply_filter.h"
#include "platform/image/render.h"
#include "platform/pixels/kept_pixels.h"
#include "platform/pixels/premultiply.h"

namespace kelvo {
namespace {

using Histogram = std::array<std::uint64_t, 256>;

constexpr std::uint32_t kRowsAtATime = 16;

// 0.3 R + 0.59 G + 0.11 B, truncated to a level. In hundredths, because a sum of these fractions in
// double precision falls just short of the level of many a grey.
std::size_t luma(std::size_t r, std::size_t g, std::size_t b) {
  return (30 * r + 59 * g + 11 * b) / 100;
}

// False if a row cannot be read.
bool count(const CGImage& image, Histogram& histogram) {
  const std::size_t components = image.layout.components;
  auto rows = image.openRows();
  if (!rows) return false;
  std::vector<std::uint8_t> pixels(std::size_t{image.width} * components * kRowsAtATime);
  for (std::uint32_t y = 0; y < image.height; y += kRowsAtATime) {
    const std::uint32_t height = std::min(kRowsAtATime, image.height - y);
    const std::span<std::uint8_t> strip(pixels.data(), image.width * components * height);
    if (!(*rows)->read(std::as_writable_bytes(strip), height)) return false;
    if (components == 4) vImageUnpremultiplyData_RGBA8888(strip);
    for (std::size_t i = 0; i < strip.size(); i += components) {
      ++histogram[luma(strip[i], strip[i + 1], strip[i + 2])];
    }
  }
  return true;
}

// The picture with its own pixels in memory, as deep as they are; itself if they do not fit or it
// is not a picture that can be read, but a recipe.
CIImageRef keptImage(const CIImageRef& image, std::uint64_t mostBytes) {
  const auto* source = image ? std::get_if<CIImage::Source>(&image->recipe()) : nullptr;
  if (source == nullptr) return image;
  auto kept = keepPixels(source->image, mostBytes);
  return kept ? CIImage::imageWithCGImage(*std::move(kept)) : image;
}

}  // namespace

void getGrayMin(float& lower, float& upper, const CGImage& image) {
  lower = 0.0F;
  upper = 1.0F;
  Histogram histogram{};
  if (!count(image, histogram)) return;
  const double pixels = static_cast<double>(image.width) * image.height;
  const auto cut = static_cast<std::uint64_t>(pixels * 0.005);

  std::uint64_t sum = 0;
  std::size_t k = 0;
  while (sum < cut) sum += histogram[k++];
  lower = static_cast<float>(k) / 255.0F;

  sum = 0;
  std::size_t fromTop = 0;
  while (sum < cut) sum += histogram[255 - fromTop++];
  upper = (255.0F - static_cast<float>(fromTop)) / 255.0F;
}

CIImageRef applyEqualizeForCIImage(const CIImageRef& original, std::uint64_t mostKeptBytes) {
  const CIImageRef image = keptImage(original, mostKeptBytes);
  const auto bitmap = render(image, {});
  if (!bitmap) return nullptr;
  float lower = 0;
  float upper = 1;
  getGrayMin(lower, upper, *bitmap);
  const float range = upper - lower;
  const CIFilterRef equalize = CIFilter::filterWithName("TQEqualizeFilter");
  setInput(equalize, "params", CIVector::vectorWithX_Y(1.0 / range, -lower / range));
  return applyFilterForCIImage(image, equalize);
}

}  // namespace kelvo
