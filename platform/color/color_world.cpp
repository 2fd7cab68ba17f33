#include "platform/color/color_world.h"

#include <algorithm>
#include <array>

#include "platform/color/lab_vectors.h"
#include "platform/color/rgb_profile_numbers.h"

namespace kelvo {
namespace {

class RgbToLab final : public ColorWorld {
 public:
  RgbToLab() {
    const RgbProfileNumbers numbers = readDeviceRGBNumbers();
    for (std::size_t c = 0; c < 3; ++c) {
      for (std::size_t level = 0; level < 256; ++level) {
        for (std::size_t row = 0; row < 3; ++row) {
          share_[c][level][row] =
              static_cast<float>(numbers.toXYZ[row][c] * numbers.linear[c][level] / kWhiteXYZ[row]);
        }
      }
    }
  }

  void convert(const std::uint8_t* source, std::uint8_t* destination,
               std::size_t count) const override {
    alignas(64) float x[kLabBlock];
    alignas(64) float y[kLabBlock];
    alignas(64) float z[kLabBlock];
    for (std::size_t done = 0; done < count; done += kLabBlock) {
      const std::size_t n = std::min(kLabBlock, count - done);
      const std::uint8_t* pixel = source + 3 * done;
      for (std::size_t i = 0; i < n; ++i, pixel += 3) {
        const auto& r = share_[0][pixel[0]];
        const auto& g = share_[1][pixel[1]];
        const auto& b = share_[2][pixel[2]];
        x[i] = r[0] + g[0] + b[0];
        y[i] = r[1] + g[1] + b[1];
        z[i] = r[2] + g[2] + b[2];
      }
      // Whole vectors are computed at the end: their surplus must be numbers.
      std::fill(x + n, x + kLabBlock, 1.0F);
      std::fill(y + n, y + kLabBlock, 1.0F);
      std::fill(z + n, z + kLabBlock, 1.0F);
      labRoots(x, y, z, n);
      encodeLab(x, y, z, destination + 3 * done, n);
    }
  }
  [[nodiscard]] BitmapSpace sourceSpace() const override { return BitmapSpace::cmRGB24Space; }
  [[nodiscard]] BitmapSpace destinationSpace() const override { return BitmapSpace::cmLAB24Space; }

  void countLightness(const std::uint8_t* rgb, std::size_t count,
                      std::uint64_t (&histogram)[256]) const {
    alignas(64) float y[kLabBlock];
    alignas(64) std::uint8_t levels[kLabBlock];
    for (std::size_t done = 0; done < count; done += kLabBlock) {
      const std::size_t n = std::min(kLabBlock, count - done);
      const std::uint8_t* pixel = rgb + 3 * done;
      for (std::size_t i = 0; i < n; ++i, pixel += 3) {
        y[i] = share_[0][pixel[0]][1] + share_[1][pixel[1]][1] + share_[2][pixel[2]][1];
      }
      std::fill(y + n, y + kLabBlock, 1.0F);
      labRoots(y, n);
      encodeLightness(y, levels, n);
      for (std::size_t i = 0; i < n; ++i) ++histogram[levels[i]];
    }
  }

 private:
  // What each level of each channel contributes to X/Xn, Y/Yn and Z/Zn.
  std::array<std::array<std::array<float, 4>, 256>, 3> share_{};
};

class LabToRgb final : public ColorWorld {
 public:
  LabToRgb() {
    const RgbProfileNumbers numbers = readDeviceRGBNumbers();
    for (std::size_t row = 0; row < 3; ++row) {
      for (std::size_t c = 0; c < 3; ++c) {
        matrix_[3 * row + c] = static_cast<float>(numbers.fromXYZ[row][c] * kWhiteXYZ[c]);
      }
    }
    for (std::size_t c = 0; c < 3; ++c) {
      // Mostly all channels share one curve, and its table then fits the first-level cache.
      table_[c] = numbers.thresholds[c] == numbers.thresholds[0] ? 0 : c;
      std::size_t level = 0;
      for (std::size_t bucket = 0; bucket < kBuckets; ++bucket) {
        const double from = static_cast<double>(bucket) / (kBuckets - 1);
        while (level < 255 && numbers.thresholds[c][level + 1] <= from) ++level;
        // The curve is nowhere so steep that two levels begin within one bucket.
        encode_[c][bucket] = {
            level < 255 ? static_cast<float>(numbers.thresholds[c][level + 1]) : 2.0F,
            static_cast<std::int32_t>(level)};
      }
    }
  }

  void convert(const std::uint8_t* source, std::uint8_t* destination,
               std::size_t count) const override {
    alignas(64) float r[kLabBlock] = {};
    alignas(64) float g[kLabBlock] = {};
    alignas(64) float b[kLabBlock] = {};
    for (std::size_t done = 0; done < count; done += kLabBlock) {
      const std::size_t n = std::min(kLabBlock, count - done);
      decodeLab(source + 3 * done, matrix_, r, g, b, n);
      std::uint8_t* pixel = destination + 3 * done;
      const Encoding& red = encode_[table_[0]];
      const Encoding& green = encode_[table_[1]];
      const Encoding& blue = encode_[table_[2]];
      for (std::size_t i = 0; i < n; ++i, pixel += 3) {
        pixel[0] = level(red, r[i]);
        pixel[1] = level(green, g[i]);
        pixel[2] = level(blue, b[i]);
      }
    }
  }
  [[nodiscard]] BitmapSpace sourceSpace() const override { return BitmapSpace::cmLAB24Space; }
  [[nodiscard]] BitmapSpace destinationSpace() const override { return BitmapSpace::cmRGB24Space; }

 private:
  static constexpr std::size_t kBuckets = 4097;
  struct Bucket {
    float next = 2;          // linear light from which the level is one higher
    std::int32_t level = 0;  // at the bucket's beginning
  };
  using Encoding = std::array<Bucket, kBuckets>;

  static std::uint8_t level(const Encoding& encode, float linear) {
    const float limited = std::clamp(linear, 0.0F, 1.0F);
    const Bucket& bucket = encode[static_cast<std::size_t>(limited * (kBuckets - 1))];
    return static_cast<std::uint8_t>(bucket.level + (limited >= bucket.next ? 1 : 0));
  }

  float matrix_[9] = {};
  std::array<Encoding, 3> encode_{};
  std::array<std::size_t, 3> table_{};  // which of them a channel uses
};

}  // namespace

namespace {

const std::shared_ptr<const RgbToLab>& rgbToLab() {
  static const auto world = std::make_shared<const RgbToLab>();
  return world;
}

}  // namespace

void countLightness(const std::uint8_t* rgb, std::size_t count, std::uint64_t (&histogram)[256]) {
  rgbToLab()->countLightness(rgb, count, histogram);
}

ColorWorldRef NCWNewColorWorld(ColorProfile source, ColorProfile destination) {
  if (source == destination) return nullptr;
  if (source == ColorProfile::deviceRGB) return rgbToLab();
  static const ColorWorldRef toRgb = std::make_shared<const LabToRgb>();
  return toRgb;
}

int CWMatchBitmap(const ColorWorld& world, const CMBitmap& source, const CMBitmap& destination) {
  if (source.space != world.sourceSpace() || destination.space != world.destinationSpace() ||
      source.width != destination.width || source.height != destination.height) {
    return -1;
  }
  for (std::size_t y = 0; y < source.height; ++y) {
    world.convert(source.image + y * source.rowBytes, destination.image + y * destination.rowBytes,
                  source.width);
  }
  return 0;
}

}  // namespace kelvo
