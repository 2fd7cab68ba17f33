#include <cmath>
#include <cstdint>

#include "tools/sample_photos/noise.h"
#include "tools/sample_photos/scenes.h"

namespace kelvo::samples {
namespace {

constexpr float kQuay = 0.56F;  // where the town meets the water

Colour nightSky(float x, float y) {
  const float t = std::clamp(y / kQuay, 0.0F, 1.0F);
  Colour colour = blend({0.006F, 0.010F, 0.030F, 1}, {0.040F, 0.045F, 0.095F, 1}, t * t);
  const float dusk =
      std::exp(-9.0F * (kQuay - y)) * (0.5F + 0.5F * std::exp(-1.5F * std::abs(x - 0.35F)));
  colour = colour + Colour{0.32F, 0.10F, 0.045F, 1} * dusk;
  const float veil = fractal(x * 2.0F + 3.0F, y * 7.0F, 5, 401);
  return colour + Colour{0.050F, 0.028F, 0.035F, 1} * (smoothStep(0.42F, 0.75F, veil) * t);
}

constexpr Colour kLamps[] = {{1.0F, 0.58F, 0.22F, 1},  {1.0F, 0.80F, 0.50F, 1},
                             {0.85F, 0.92F, 1.0F, 1},  {1.0F, 0.12F, 0.05F, 1},
                             {0.10F, 0.85F, 0.45F, 1}, {0.20F, 0.35F, 1.0F, 1}};

// One row of houses; true if the point lies in one of them.
bool houses(float x, float y, float width, float tallest, std::uint32_t seed, float dim,
            Colour& colour) {
  const auto k = static_cast<std::int64_t>(std::floor(x / width));
  const float inside = x / width - static_cast<float>(k);
  const float tower = hash(k, 3, seed) > 0.86F ? 1.9F : 1.0F;
  const float height = tallest * tower * (0.35F + 0.65F * hash(k, 1, seed));
  const float roof =
      hash(k, 2, seed) > 0.5F ? 0.012F * (1.0F - std::abs(2.0F * inside - 1.0F)) : 0.0F;
  if (y < kQuay - height - roof) return false;
  const float wall = 0.6F + 0.8F * hash(k, 4, seed);
  const float lampLight = std::exp(-28.0F * (kQuay - y));
  colour = Colour{0.012F, 0.012F, 0.020F, 1} * wall +
           Colour{0.10F, 0.052F, 0.020F, 1} * (lampLight * wall);
  const float paneWidth = width / (4.0F + std::floor(3.0F * hash(k, 5, seed)));
  const float paneHeight = 0.0155F;
  const float px = x / paneWidth;
  const float py = (kQuay - y) / paneHeight;
  const auto column = static_cast<std::int64_t>(std::floor(px));
  const auto storey = static_cast<std::int64_t>(std::floor(py));
  const float ix = std::abs(px - static_cast<float>(column) - 0.5F);
  const float iy = std::abs(py - static_cast<float>(storey) - 0.5F);
  const bool pane = ix < 0.28F && iy < 0.30F && storey > 0 && (kQuay - y) < height - 0.006F;
  if (pane && hash(column, storey, seed + 7) < 0.42F) {
    const float warm = hash(column, storey, seed + 8);
    const Colour light = warm < 0.72F ? Colour{0.95F, 0.56F, 0.20F, 1}
                                      : (warm < 0.92F ? Colour{0.95F, 0.82F, 0.60F, 1}
                                                      : Colour{0.35F, 0.50F, 0.85F, 1});
    colour = light * (dim * (0.25F + 0.75F * hash(column, storey, seed + 9)));
  }
  return true;
}

// Lamps along the quay, with their glow.
Colour lamps(float x, float y, float stretch) {
  constexpr float kSpacing = 0.068F;
  const auto cell = static_cast<std::int64_t>(std::floor(x / kSpacing));
  Colour sum = {0.0F, 0.0F, 0.0F, 1.0F};
  for (std::int64_t k = cell - 2; k <= cell + 2; ++k) {
    const float cx = (static_cast<float>(k) + 0.2F + 0.6F * hash(k, 1, 451)) * kSpacing;
    const float cy = kQuay - 0.012F - 0.03F * hash(k, 2, 451);
    const auto kind = static_cast<std::size_t>(hash(k, 3, 451) * hash(k, 4, 451) * 5.999F);
    const float dx = (x - cx);
    const float dy = (y - cy) / stretch;
    const float square = dx * dx + dy * dy;
    const float strength = 0.000016F / (square + 0.0000045F) + 0.05F * std::exp(-square * 1500.0F);
    sum = sum + kLamps[kind] * strength;
  }
  return sum;
}

Colour town(float x, float y) {
  Colour colour;
  if (houses(x + 0.017F, y, 0.071F, 0.10F, 411, 0.95F, colour) ||
      houses(x, y, 0.049F, 0.19F, 431, 0.45F, colour)) {
    return colour + lamps(x, y, 1.0F);
  }
  return nightSky(x, y) + lamps(x, y, 1.0F);
}

Colour water(float x, float y) {
  const float near = (y - kQuay) / (1.0F - kQuay);
  const float depth = 0.05F / (near + 0.03F);
  const float wave =
      fractal(x * 9.0F * (0.4F + depth), 26.0F * depth + 30.0F * near, 4, 471) - 0.5F;
  const float fine = fractal(x * 50.0F, y * 210.0F, 3, 473) - 0.5F;
  // Light is drawn out towards the viewer: the mean of a few heights.
  Colour sum = {0.0F, 0.0F, 0.0F, 1.0F};
  constexpr int kSteps = 5;
  for (int i = 0; i < kSteps; ++i) {
    const float spread = (static_cast<float>(i) - 2.0F) * 0.018F * (0.3F + near);
    const float mirrored =
        kQuay - (y - kQuay) * 0.72F + spread + (wave * 0.16F + fine * 0.10F) * (near + 0.05F);
    sum = sum + town(x + (wave * 0.022F + fine * 0.03F) * near,
                     std::clamp(mirrored, 0.0F, kQuay - 0.001F));
  }
  return sum * (0.62F / kSteps) + Colour{0.003F, 0.006F, 0.011F, 1} +
         Colour{0.02F, 0.012F, 0.012F, 1} * std::max(wave + 0.2F * fine, 0.0F);
}

// Out-of-focus lights near the camera.
Colour bokeh(float x, float y) {
  Colour sum = {0.0F, 0.0F, 0.0F, 1.0F};
  for (std::int64_t k = 0; k < 16; ++k) {
    const float cx = 1.55F * hash(k, 1, 491);
    const float cy = 0.72F + 0.30F * hash(k, 2, 491);
    const float radius = 0.022F + 0.040F * hash(k, 3, 491);
    const float distance = std::hypot(x - cx, y - cy) / radius;
    if (distance > 1.03F) continue;
    const auto kind = static_cast<std::size_t>(hash(k, 4, 491) * 5.999F);
    const float rim = 0.75F + 0.35F * smoothStep(0.70F, 0.97F, distance);
    sum = sum + kLamps[kind] *
                    (rim * smoothStep(1.03F, 0.97F, distance) * (0.07F + 0.16F * hash(k, 5, 491)));
  }
  return sum;
}

}  // namespace

Colour harbour(Point p) {
  const float x = p.x - p.aspect * 0.5F + 0.75F;
  return (p.y < kQuay ? town(x, p.y) : water(x, p.y)) + bokeh(x, p.y);
}

}  // namespace kelvo::samples
