#include "engine/auto.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "platform/image/render.h"
#include "platform/pixels/kept_pixels.h"
#include "platform/pixels/level_counter.h"
#include "platform/pixels/level_tables.h"
#include "platform/pixels/premultiply.h"

namespace kelvo {
namespace {

constexpr std::uint32_t kRowsAtATime = 16;
// What is done to a pixel one thing after the other is done to so many, which first-level cache
// holds.
constexpr std::size_t kPixelsAtATime = 4096;
constexpr int kMatchProblem = -4;

// The colours of a strip of 8-bit pixels, packed in three bytes each, and back into it.
class ColorStrip {
 public:
  explicit ColorStrip(std::size_t components) : components_(components) {}

  std::span<std::uint8_t> unpack(std::span<std::uint8_t> pixels) {
    if (components_ == 3) return pixels;
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
  }
  [[nodiscard]] std::size_t components() const { return components_; }

 private:
  std::size_t components_;
  std::vector<std::uint8_t> colors_;
};

std::span<std::uint8_t> levelsOf(std::span<std::byte> pixels) {
  return {reinterpret_cast<std::uint8_t*>(pixels.data()), pixels.size()};
}

// Calls change(part) for one part of the pixels after another.
template <class Change>
void inParts(std::span<std::uint8_t> pixels, std::size_t components, const Change& change) {
  while (!pixels.empty()) {
    const auto part = pixels.first(std::min(pixels.size(), kPixelsAtATime * components));
    change(part);
    pixels = pixels.subspan(part.size());
  }
}

CMBitmap bitmapOf(std::span<std::uint8_t> colors, BitmapSpace space) {
  CMBitmap bitmap;
  bitmap.image = colors.data();
  bitmap.width = colors.size() / 3;
  bitmap.height = 1;
  bitmap.rowBytes = colors.size();
  bitmap.space = space;
  return bitmap;
}

// Premultiplied RGB to L*a*b*, in place; alpha stays.
void toLab(std::span<std::uint8_t> pixels, ColorStrip& strip) {
  if (strip.components() == 4) vImageUnpremultiplyData_RGBA8888(pixels);
  const std::span<std::uint8_t> colors = strip.unpack(pixels);
  const CMBitmap lab = bitmapOf(colors, BitmapSpace::cmLAB24Space);
  matchFromBitmap(bitmapOf(colors, BitmapSpace::cmRGB24Space), &lab, ColorProfile::deviceRGB,
                  ColorProfile::lab);
  strip.pack(pixels);
}

// The way back, with another lightness.
void toRgb(std::span<std::uint8_t> pixels, const LevelTables& lightness, ColorStrip& strip) {
  const std::span<std::uint8_t> colors = strip.unpack(pixels);
  lightness.apply(colors.data(), colors.data(), colors.size() / 3, 3);
  const CMBitmap rgb = bitmapOf(colors, BitmapSpace::cmRGB24Space);
  matchFromBitmap(bitmapOf(colors, BitmapSpace::cmLAB24Space), &rgb, ColorProfile::lab,
                  ColorProfile::deviceRGB);
  strip.pack(pixels);
  if (strip.components() == 4) vImagePremultiplyData_RGBA8888(pixels);
}

struct Measured {
  LevelTables lightness;       // of L* alone
  std::optional<CGImage> lab;  // the picture in L*a*b*, if it was kept
};

// Of a picture too large to be kept. Absent if a row cannot be read.
std::optional<LevelCounter::Counts> lightnessCountsOf(const CGImage& image) {
  auto rows = image.openRows();
  if (!rows) return std::nullopt;
  LevelCounter counter;
  const std::size_t rowBytes = image.width * image.layout.pixelBytes();
  std::vector<std::uint8_t> pixels(rowBytes * kRowsAtATime);
  ColorStrip strip(image.layout.components);
  for (std::uint32_t y = 0; y < image.height; y += kRowsAtATime) {
    const std::uint32_t height = std::min(kRowsAtATime, image.height - y);
    const std::span<std::uint8_t> part(pixels.data(), rowBytes * height);
    if (!(*rows)->read(std::as_writable_bytes(part), height)) return std::nullopt;
    if (strip.components() == 4) vImageUnpremultiplyData_RGBA8888(part);
    const std::span<std::uint8_t> colors = strip.unpack(part);
    countLightness(colors.data(), colors.size() / 3, counter);
  }
  return counter.counts();
}

// A picture that cannot be read fails again, with its cause, when the result is rendered.
Measured measure(const CGImage& image, std::uint64_t mostKeptBytes) {
  Measured measured;
  LevelCounter counter;
  ColorStrip strip(image.layout.components);
  const std::size_t components = strip.components();
  measured.lab = keepPixels(image, mostKeptBytes, [&](std::span<std::byte> bytes) {
    inParts(levelsOf(bytes), components, [&](std::span<std::uint8_t> part) {
      toLab(part, strip);
      counter.add(part.size() / components, [&](std::size_t i) { return part[i * components]; });
    });
  });
  const auto counts = measured.lab ? counter.counts() : lightnessCountsOf(image);
  LightnessStretch lightness;
  if (counts) lightness = measureLightness(*counts, image.width, image.height);
  const LevelTables::Table unchanged = LevelTables::unchanged();
  LevelTables::Table stretched{};
  std::ranges::transform(unchanged, stretched.begin(), lightness);
  measured.lightness = LevelTables(stretched, unchanged, unchanged);
  return measured;
}

enum class Coded : std::uint8_t { asRgb, asLab };

// Rows of RGB or of kept L*a*b*, as RGB with another lightness.
class StretchedRows final : public RowSource {
 public:
  StretchedRows(std::unique_ptr<RowSource> rows, Coded coded, const LevelTables& lightness,
                std::size_t components)
      : rows_(std::move(rows)), coded_(coded), lightness_(lightness), strip_(components) {}

  Result<void> read(std::span<std::byte> pixels, std::uint32_t rows) override {
    if (coded_ == Coded::asLab) return readKept(pixels, rows);
    auto read = rows_->read(pixels, rows);
    if (!read) return read;
    inParts(levelsOf(pixels), strip_.components(), [this](std::span<std::uint8_t> part) {
      toLab(part, strip_);
      toRgb(part, lightness_, strip_);
    });
    return {};
  }

 private:
  // Row by row: each is worked on while it is in the cache.
  Result<void> readKept(std::span<std::byte> pixels, std::uint32_t rows) {
    const std::size_t rowBytes = pixels.size() / rows;
    for (std::uint32_t y = 0; y < rows; ++y) {
      const std::span<std::byte> row = pixels.subspan(y * rowBytes, rowBytes);
      auto read = rows_->read(row, 1);
      if (!read) return read;
      toRgb(levelsOf(row), lightness_, strip_);
    }
    return {};
  }

  std::unique_ptr<RowSource> rows_;
  Coded coded_;
  LevelTables lightness_;
  ColorStrip strip_;
};

std::shared_ptr<const Palette> stretchedPalette(const Palette& palette,
                                                const LevelTables& lightness) {
  auto mapped = std::make_shared<Palette>(palette);
  ColorStrip strip(4);
  for (auto& entry : *mapped) {
    vImagePremultiplyData_RGBA8888(entry);
    toLab(entry, strip);
    toRgb(entry, lightness, strip);
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

LightnessStretch measureLightness(std::span<const std::uint64_t, 256> histogram,
                                  std::uint32_t width, std::uint32_t height) {
  const auto cut = static_cast<float>(width * 0.005 * height);
  LightnessStretch lightness;
  if (!(cut > 0)) return lightness;
  const auto reached = [](float bound, std::uint64_t sum) {
    return !(bound > static_cast<float>(sum));
  };
  const auto bin = [&](int level) { return histogram[static_cast<std::size_t>(level)]; };
  std::uint64_t sum = bin(0);
  while (!reached(2 * cut, sum)) sum += bin(++lightness.low);
  sum = bin(255);
  while (!reached(cut, sum)) sum += bin(--lightness.high);
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

CIImageRef applyAutoForCIImage(const CIImageRef& image, std::uint64_t mostKeptBytes) {
  const auto bitmap = render(image, {});
  if (!bitmap) return nullptr;
  const Measured measured = measure(*bitmap, mostKeptBytes);
  CGImage result = *bitmap;
  result.openRows = [source = measured.lab ? *measured.lab : *bitmap,
                     coded = measured.lab ? Coded::asLab : Coded::asRgb,
                     lightness = measured.lightness]() -> Result<std::unique_ptr<RowSource>> {
    auto rows = source.openRows();
    if (!rows) return rows;
    return std::unique_ptr<RowSource>(std::make_unique<StretchedRows>(
        std::move(rows).value(), coded, lightness, source.layout.components));
  };
  if (result.palette) result.palette = stretchedPalette(*result.palette, measured.lightness);
  return CIImage::imageWithCGImage(std::move(result));
}

}  // namespace kelvo
