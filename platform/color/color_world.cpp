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
    const RgbProfileNumbers numbers = deviceRGBNumbers();
    for (std::size_t c = 0; c < 3; ++c) {
      for (std::size_t level = 0; level < 256; ++level) {
        for (std::size_t row = 0; row < 3; ++row) {
          encoding_.shares[c][level][row] =
              static_cast<float>(numbers.toXYZ[row][c] * numbers.linear[c][level] / kWhiteXYZ[row]);
        }
      }
    }
  }

  void convert(const std::uint8_t* source, std::uint8_t* destination,
               std::size_t count) const override {
    for (std::size_t done = 0; done < count; done += kLabBlock) {
      encodeLab(encoding_, source + 3 * done, destination + 3 * done,
                std::min(kLabBlock, count - done));
    }
  }
  [[nodiscard]] BitmapSpace sourceSpace() const override { return BitmapSpace::cmRGB24Space; }
  [[nodiscard]] BitmapSpace destinationSpace() const override { return BitmapSpace::cmLAB24Space; }

  void countLightness(const std::uint8_t* rgb, std::size_t count, LevelCounter& counter) const {
    const auto& shares = encoding_.shares;
    alignas(64) float y[kLabBlock];
    alignas(64) std::uint8_t levels[kLabBlock];
    for (std::size_t done = 0; done < count; done += kLabBlock) {
      const std::size_t n = std::min(kLabBlock, count - done);
      const std::uint8_t* pixel = rgb + 3 * done;
      for (std::size_t i = 0; i < n; ++i, pixel += 3) {
        y[i] = shares[0][pixel[0]][1] + shares[1][pixel[1]][1] + shares[2][pixel[2]][1];
      }
      std::fill(y + n, y + kLabBlock, 1.0F);
      encodeLightness(y, levels, n);
      counter.add(n, [&](std::size_t i) { return levels[i]; });
    }
  }

 private:
  LabEncoding encoding_;
};

class LabToRgb final : public ColorWorld {
 public:
  LabToRgb() : LabToRgb(deviceRGBNumbers()) {}

  void convert(const std::uint8_t* source, std::uint8_t* destination,
               std::size_t count) const override {
    for (std::size_t done = 0; done < count; done += kLabBlock) {
      decodeLab(source + 3 * done, decoding_, destination + 3 * done,
                std::min(kLabBlock, count - done));
    }
  }
  [[nodiscard]] BitmapSpace sourceSpace() const override { return BitmapSpace::cmLAB24Space; }
  [[nodiscard]] BitmapSpace destinationSpace() const override { return BitmapSpace::cmRGB24Space; }

 private:
  explicit LabToRgb(const RgbProfileNumbers& numbers)
      : steps_{LevelSteps(numbers.thresholds[0]), LevelSteps(numbers.thresholds[1]),
               LevelSteps(numbers.thresholds[2])} {
    for (std::size_t row = 0; row < 3; ++row) {
      for (std::size_t c = 0; c < 3; ++c) {
        decoding_.matrix[3 * row + c] = static_cast<float>(numbers.fromXYZ[row][c] * kWhiteXYZ[c]);
      }
      // Mostly all channels share one curve, whose table then fits the first-level cache.
      const bool shared = numbers.thresholds[row] == numbers.thresholds[0];
      decoding_.steps[row] = &steps_[shared ? 0 : row];
    }
  }

  std::array<LevelSteps, 3> steps_;
  LabDecoding decoding_;
};

}  // namespace

namespace {

const std::shared_ptr<const RgbToLab>& rgbToLab() {
  static const auto world = std::make_shared<const RgbToLab>();
  return world;
}

}  // namespace

void countLightness(const std::uint8_t* rgb, std::size_t count, LevelCounter& counter) {
  rgbToLab()->countLightness(rgb, count, counter);
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
