#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <span>
#include <utility>
#include <vector>

#include "platform/image/ci_image.h"
#include "platform/image/render.h"

// Small pictures in memory for tests, and colours in double precision.
namespace kelvo::testing {

using Rgba8 = std::array<std::uint8_t, 4>;
using Rgba = std::array<double, 4>;  // straight, 0…1

constexpr PixelLayout kOpaque8{3, SampleType::u8, AlphaInfo::none};
constexpr PixelLayout kStraight8{4, SampleType::u8, AlphaInfo::last};
constexpr PixelLayout kPremultiplied8{4, SampleType::u8, AlphaInfo::premultipliedLast};

// A picture of one or more full rows. With three components the alphas are dropped.
inline CGImage picture(const std::vector<Rgba8>& pixels, PixelLayout layout,
                       std::uint32_t width = 0) {
  if (width == 0) width = static_cast<std::uint32_t>(pixels.size());
  std::vector<std::byte> bytes;
  for (const Rgba8& pixel : pixels) {
    for (std::size_t c = 0; c < layout.components; ++c) bytes.push_back(std::byte{pixel[c]});
  }
  return CGImageCreateWithPixels(width, static_cast<std::uint32_t>(pixels.size() / width), layout,
                                 std::move(bytes), CGColorSpaceCreateDeviceRGB());
}

inline CIImageRef image(const std::vector<Rgba8>& pixels, PixelLayout layout,
                        std::uint32_t width = 0) {
  return CIImage::imageWithCGImage(picture(pixels, layout, width));
}

// Rendered to 8 bits: premultiplied, alpha 255 where the result has none. Empty if there is no
// result.
inline std::vector<Rgba8> rendered(const CIImageRef& result) {
  const auto cgImage = render(result, {});
  if (!cgImage) return {};
  const auto bytes = readAllPixels(*cgImage);
  if (!bytes) return {};
  const std::size_t components = cgImage->layout.components;
  std::vector<Rgba8> pixels;
  for (std::size_t at = 0; at + components <= bytes->size(); at += components) {
    Rgba8 pixel{0, 0, 0, 255};
    std::memcpy(pixel.data(), bytes->data() + at, components);
    pixels.push_back(pixel);
  }
  return pixels;
}

// Rendered to floats: premultiplied, nothing limited.
inline std::vector<std::array<float, 4>> renderedFloats(const CIImageRef& result) {
  const auto cgImage = render(result, {.type = SampleType::f32});
  if (!cgImage) return {};
  const auto bytes = readAllPixels(*cgImage);
  if (!bytes) return {};
  std::vector<std::array<float, 4>> pixels(bytes->size() / 16);
  std::memcpy(pixels.data(), bytes->data(), pixels.size() * 16);
  return pixels;
}

inline Rgba straight(const Rgba8& pixel) {
  return {pixel[0] / 255.0, pixel[1] / 255.0, pixel[2] / 255.0, pixel[3] / 255.0};
}

// The colour that a premultiplied pixel stands for; alpha 0 has none.
inline Rgba fromPremultiplied(const Rgba8& pixel) {
  const double a = pixel[3];
  if (a == 0) return {0, 0, 0, 0};
  return {pixel[0] / a, pixel[1] / a, pixel[2] / a, a / 255.0};
}

// What rendering makes of a straight colour, before rounding: premultiplied levels 0…255.
inline std::array<double, 4> levels(const Rgba& straightColor) {
  const double a = std::clamp(straightColor[3], 0.0, 1.0);
  std::array<double, 4> result{};
  for (std::size_t c = 0; c < 3; ++c) {
    result[c] = 255 * std::clamp(straightColor[c] * straightColor[3], 0.0, a);
  }
  result[3] = 255 * a;
  return result;
}

// The largest distance of a rendered pixel from the expected levels.
inline double distance(const Rgba8& actual, const std::array<double, 4>& expected) {
  double largest = 0;
  for (std::size_t c = 0; c < 4; ++c) {
    largest = std::max(largest, std::abs(actual[c] - expected[c]));
  }
  return largest;
}

inline std::vector<Rgba8> allGreys() {
  std::vector<Rgba8> pixels;
  for (int v = 0; v < 256; ++v) {
    const auto level = static_cast<std::uint8_t>(v);
    pixels.push_back({level, level, level, 255});
  }
  return pixels;
}

// 18 steps a side: 0, 15, 30, … 255.
inline std::vector<Rgba8> colorCube() {
  std::vector<Rgba8> pixels;
  for (int r = 0; r <= 255; r += 15) {
    for (int g = 0; g <= 255; g += 15) {
      for (int b = 0; b <= 255; b += 15) {
        pixels.push_back({static_cast<std::uint8_t>(r), static_cast<std::uint8_t>(g),
                          static_cast<std::uint8_t>(b), 255});
      }
    }
  }
  return pixels;
}

// Straight pixels of any colour and alpha, the same ones every time.
inline std::vector<Rgba8> translucentPixels(std::size_t count = 4096) {
  std::mt19937 random(20240229);
  std::vector<Rgba8> pixels(count);
  for (Rgba8& pixel : pixels) {
    const std::uint32_t bits = static_cast<std::uint32_t>(random());
    std::memcpy(pixel.data(), &bits, 4);
  }
  pixels[0] = {255, 128, 0, 0};
  pixels[1] = {255, 128, 0, 255};
  pixels[2] = {255, 128, 0, 1};
  return pixels;
}

}  // namespace kelvo::testing
