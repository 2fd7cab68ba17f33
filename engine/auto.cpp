#include "engine/auto.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "platform/image/render.h"
#include "platform/pixels/premultiply.h"

namespace kelvo {
namespace {

constexpr std::uint32_t kRowsAtATime = 16;
constexpr int kMatchProblem = -4;

// The colours of a strip of 8-bit pixels, three bytes each, and back into it. Colour is
// unpremultiplied on the way out and premultiplied on the way in.
class ColorStrip {
 public:
  explicit ColorStrip(std::size_t components) : components_(components) {}

  std::span<std::uint8_t> unpack(std::span<std::uint8_t> pixels) {
    if (components_ == 3) return pixels;
    vImageUnpremultiplyData_RGBA8888(pixels);
    colors_.resize(pixels.size() / 4 * 3);
    for (std::size_t i = 0; i < pixels.size() / 4; ++i) {
      std::memcpy(&colors_[3 * i], &pixels[4 * i], 3);
    }
    return colors_;
  }
  void pack(std::span<std::uint8_t> pixels) const {
    if (components_ == 3) return;
    for (std::size_t i = 0; i < pixels.size() / 4; ++i) {
      std::memcpy(&pixels[4 * i], &colors_[3 * i], 3);
    }
    vImagePremultiplyData_RGBA8888(pixels);
  }

 private:
  std::size_t components_;
  std::vector<std::uint8_t> colors_;
};

CMBitmap bitmapOf(std::span<std::uint8_t> colors, BitmapSpace space) {
  CMBitmap bitmap;
  bitmap.image = colors.data();
  bitmap.width = colors.size() / 3;
  bitmap.height = 1;
  bitmap.rowBytes = colors.size();
  bitmap.space = space;
  return bitmap;
}

void toLab(std::span<std::uint8_t> colors) {
  const CMBitmap lab = bitmapOf(colors, BitmapSpace::cmLAB24Space);
  matchFromBitmap(bitmapOf(colors, BitmapSpace::cmRGB24Space), &lab, ColorProfile::deviceRGB,
                  ColorProfile::lab);
}

void toRgb(std::span<std::uint8_t> colors) {
  const CMBitmap rgb = bitmapOf(colors, BitmapSpace::cmRGB24Space);
  matchFromBitmap(bitmapOf(colors, BitmapSpace::cmLAB24Space), &rgb, ColorProfile::lab,
                  ColorProfile::deviceRGB);
}

std::optional<LightnessStretch> measure(const CGImage& image) {
  auto rows = image.openRows();
  if (!rows) return std::nullopt;
  std::uint64_t histogram[256] = {};
  const std::size_t rowBytes = image.width * image.layout.pixelBytes();
  std::vector<std::uint8_t> pixels(rowBytes * kRowsAtATime);
  ColorStrip strip(image.layout.components);
  for (std::uint32_t y = 0; y < image.height; y += kRowsAtATime) {
    const std::uint32_t height = std::min(kRowsAtATime, image.height - y);
    const std::span<std::uint8_t> part(pixels.data(), rowBytes * height);
    if (!(*rows)->read(std::as_writable_bytes(part), height)) return std::nullopt;
    const std::span<std::uint8_t> colors = strip.unpack(part);
    countLightness(colors.data(), colors.size() / 3, histogram);
  }
  return measureLightness(histogram, image.width, image.height);
}

using LightnessTable = std::array<std::uint8_t, 256>;

LightnessTable tableOf(const LightnessStretch& lightness) {
  LightnessTable table{};
  for (std::size_t i = 0; i < table.size(); ++i) {
    table[i] = lightness(static_cast<std::uint8_t>(i));
  }
  return table;
}

void stretch(const LightnessTable& lightness, std::span<std::uint8_t> pixels, ColorStrip& strip) {
  const std::span<std::uint8_t> colors = strip.unpack(pixels);
  toLab(colors);
  for (std::size_t i = 0; i < colors.size(); i += 3) colors[i] = lightness[colors[i]];
  toRgb(colors);
  strip.pack(pixels);
}

class StretchedRows final : public RowSource {
 public:
  StretchedRows(std::unique_ptr<RowSource> rows, const LightnessTable& lightness,
                std::size_t components)
      : rows_(std::move(rows)), lightness_(lightness), strip_(components) {}

  Result<void> read(std::span<std::byte> pixels, std::uint32_t rows) override {
    auto read = rows_->read(pixels, rows);
    if (read) {
      stretch(lightness_, {reinterpret_cast<std::uint8_t*>(pixels.data()), pixels.size()}, strip_);
    }
    return read;
  }

 private:
  std::unique_ptr<RowSource> rows_;
  LightnessTable lightness_;
  ColorStrip strip_;
};

std::shared_ptr<const Palette> stretchedPalette(const Palette& palette,
                                                const LightnessTable& lightness) {
  auto mapped = std::make_shared<Palette>(palette);
  ColorStrip strip(4);
  for (auto& entry : *mapped) {
    vImagePremultiplyData_RGBA8888(entry);
    stretch(lightness, entry, strip);
    vImageUnpremultiplyData_RGBA8888(entry);
  }
  return mapped;
}

}  // namespace

int matchFromBitmap(const CMBitmap& source, const CMBitmap* destination, ColorProfile sourceProfile,
                    ColorProfile destinationProfile) {
  const CMBitmap& target = destination != nullptr ? *destination : source;
  if (const ColorWorldRef world = NCWNewColorWorld(sourceProfile, destinationProfile)) {
    return CWMatchBitmap(*world, source, target);
  }
  if (source.image == target.image || source.width != target.width ||
      source.height != target.height || source.rowBytes != target.rowBytes ||
      source.pixelSize != target.pixelSize || source.space != target.space) {
    return kMatchProblem;
  }
  std::memcpy(target.image, source.image, source.height * source.rowBytes);
  return -1;
}

LightnessStretch measureLightness(const std::uint64_t (&histogram)[256], std::uint32_t width,
                                  std::uint32_t height) {
  const auto cut = static_cast<float>(width * 0.005 * height);
  LightnessStretch lightness;
  if (!(cut > 0)) return lightness;
  const auto reached = [](float bound, std::uint64_t sum) {
    return !(bound > static_cast<float>(sum));
  };
  std::uint64_t sum = histogram[0];
  while (!reached(2 * cut, sum)) sum += histogram[++lightness.low];
  sum = histogram[255];
  while (!reached(cut, sum)) sum += histogram[--lightness.high];
  return lightness;
}

std::uint8_t LightnessStretch::operator()(std::uint8_t lightness) const {
  if (lightness > high) return 255;
  if (lightness < low) return 0;
  // One level left: what lies on it has no place between black and white; it stays as it is.
  if (high <= low) return lightness;
  const float scale = 255.0F / static_cast<float>(high - low);
  return static_cast<std::uint8_t>(static_cast<float>(lightness - low) * scale);
}

CIImageRef applyAutoForCIImage(const CIImageRef& image) {
  auto bitmap = render(image, {});
  if (!bitmap) return nullptr;
  // A picture that cannot be read fails again, with its cause, when the result is rendered.
  const LightnessTable lightness = tableOf(measure(*bitmap).value_or(LightnessStretch{}));
  CGImage result = *bitmap;
  result.openRows = [open = std::move(bitmap->openRows), lightness,
                     components =
                         result.layout.components]() -> Result<std::unique_ptr<RowSource>> {
    auto rows = open();
    if (!rows) return rows;
    return std::unique_ptr<RowSource>(
        std::make_unique<StretchedRows>(std::move(rows).value(), lightness, components));
  };
  if (result.palette) result.palette = stretchedPalette(*result.palette, lightness);
  return CIImage::imageWithCGImage(std::move(result));
}

}  // namespace kelvo
