#include "tools/sample_photos/noise.h"

#include <algorithm>
#include <cmath>

namespace kelvo::samples {
namespace {

std::uint32_t mix(std::uint32_t h) {
  h ^= h >> 16;
  h *= 0x7feb352dU;
  h ^= h >> 15;
  h *= 0x846ca68bU;
  h ^= h >> 16;
  return h;
}

float fade(float t) { return t * t * t * (t * (t * 6.0F - 15.0F) + 10.0F); }

}  // namespace

float hash(std::int64_t x, std::int64_t y, std::uint32_t seed) {
  std::uint32_t h = mix(seed * 0x9e3779b9U + 0x85ebca6bU);
  h = mix(h ^ static_cast<std::uint32_t>(x));
  h = mix(h ^ static_cast<std::uint32_t>(y));
  return static_cast<float>(h >> 8) * (1.0F / 16777216.0F);
}

float noise(float x, float y, std::uint32_t seed) {
  const float left = std::floor(x);
  const float top = std::floor(y);
  const auto column = static_cast<std::int64_t>(left);
  const auto row = static_cast<std::int64_t>(top);
  const float s = fade(x - left);
  const float t = fade(y - top);
  const float upper = std::lerp(hash(column, row, seed), hash(column + 1, row, seed), s);
  const float lower = std::lerp(hash(column, row + 1, seed), hash(column + 1, row + 1, seed), s);
  return std::lerp(upper, lower, t);
}

float fractal(float x, float y, int octaves, std::uint32_t seed) {
  float sum = 0.0F;
  float weight = 0.5F;
  float total = 0.0F;
  for (int octave = 0; octave < octaves; ++octave) {
    sum += weight * noise(x, y, seed + static_cast<std::uint32_t>(octave));
    total += weight;
    weight *= 0.5F;
    // Turned a little each time, so that the lattice does not show.
    const float turned = 1.6F * x - 1.2F * y;
    y = 1.2F * x + 1.6F * y;
    x = turned;
  }
  return sum / total;
}

float ridged(float x, float y, int octaves, std::uint32_t seed) {
  float sum = 0.0F;
  float weight = 0.5F;
  float total = 0.0F;
  for (int octave = 0; octave < octaves; ++octave) {
    const float crest =
        1.0F - std::abs(2.0F * noise(x, y, seed + static_cast<std::uint32_t>(octave)) - 1.0F);
    sum += weight * crest * crest;
    total += weight;
    weight *= 0.48F;
    x = 2.07F * x + 5.3F;
    y = 2.07F * y + 1.7F;
  }
  return sum / total;
}

float gaussian(std::int64_t x, std::int64_t y, std::uint32_t seed) {
  const float first = std::max(hash(x, y, seed), 1e-7F);
  const float second = hash(x, y, seed + 77U);
  return std::sqrt(-2.0F * std::log(first)) * std::cos(6.2831853F * second);
}

}  // namespace kelvo::samples
