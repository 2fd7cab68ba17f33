#include <cmath>
#include <cstdint>

#include "tools/sample_photos/noise.h"
#include "tools/sample_photos/scenes.h"

namespace kelvo::samples {
namespace {

constexpr float kShore = 0.585F;  // where the far bank meets the water
constexpr Colour kHaze = {0.56F, 0.68F, 0.82F, 1.0F};

Colour sky(float x, float y) {
  const float t = std::pow(std::clamp(y / kShore, 0.0F, 1.0F), 1.2F);
  Colour colour = blend({0.09F, 0.23F, 0.56F, 1.0F}, {0.60F, 0.74F, 0.88F, 1.0F}, t);
  const float dx = x - 1.25F;
  const float dy = (y - 0.20F) * 1.3F;
  const float glow = std::exp(-4.0F * std::sqrt(dx * dx + dy * dy));
  colour = colour + Colour{0.55F, 0.42F, 0.25F, 1.0F} * glow;

  // Clouds lie on a plane overhead and draw together towards the horizon.
  const float height = std::max(kShore + 0.05F - y, 0.02F);
  const float far = 1.0F / (height + 0.10F);
  const float px = (x - 0.75F) * far * 0.9F + 4.1F;
  const float py = far * 1.5F;
  const float density = fractal(px, py, 6, 11);
  const float cover = smoothStep(0.46F, 0.70F, density) * smoothStep(0.02F, 0.16F, height);
  const float towardsSun = fractal(px + 0.22F, py - 0.16F, 4, 11);
  const float lit = std::clamp(0.62F + (density - towardsSun) * 2.4F, 0.0F, 1.0F);
  const Colour cloud = blend({0.42F, 0.46F, 0.56F, 1.0F}, {1.02F, 0.99F, 0.94F, 1.0F}, lit);
  return blend(colour, cloud, 0.92F * cover);
}

struct Ridge {
  float base, rise, width, haze;
  std::uint32_t seed;
  Colour rock, forest;
  float snow;  // how far below the crest snow lies
};

constexpr Ridge kRidges[] = {
    {0.50F, 0.30F, 2.3F, 0.50F, 23, {0.19F, 0.20F, 0.24F, 1}, {0.12F, 0.15F, 0.16F, 1}, 0.085F},
    {0.555F, 0.22F, 2.9F, 0.30F, 47, {0.14F, 0.14F, 0.14F, 1}, {0.06F, 0.095F, 0.06F, 1}, -0.035F},
    {0.585F, 0.12F, 3.4F, 0.13F, 61, {0.09F, 0.11F, 0.05F, 1}, {0.03F, 0.065F, 0.022F, 1}, -1.0F},
};

// The mountain's colour at a point, or false above its crest.
bool mountain(const Ridge& ridge, float x, float y, Colour& colour) {
  const float crest = ridge.base - ridge.rise * ridged(x * ridge.width, 0.5F, 7, ridge.seed);
  if (y < crest) return false;
  const float below = y - crest;
  // Gullies run down the slope; they are lit from the right.
  const float gx = x * 19.0F + below * 9.0F;
  const float gy = below * 11.0F;
  const float relief = ridged(gx, gy, 6, ridge.seed + 5);
  const float lit =
      std::clamp(0.55F + 2.2F * (relief - ridged(gx + 0.12F, gy, 6, ridge.seed + 5)), 0.08F, 1.4F);
  const float wood = smoothStep(
      0.40F, 0.60F, fractal(x * 30.0F, y * 44.0F, 4, ridge.seed + 9) + 3.0F * (below - 0.05F));
  colour = blend(ridge.rock, ridge.forest, wood);
  const float snowLine = ridge.snow + 0.10F * (relief - 0.5F);
  colour = blend(colour, {0.86F, 0.90F, 0.97F, 1.0F}, smoothStep(0.02F, -0.02F, below - snowLine));
  colour = colour * (0.45F + 1.1F * lit);
  colour = blend(colour, kHaze, ridge.haze + 0.5F * ridge.haze * smoothStep(0.0F, 0.2F, below));
  return true;
}

// Conifers along the far bank.
bool tree(float x, float y, Colour& colour) {
  constexpr float kSpacing = 0.0125F;
  const auto cell = static_cast<std::int64_t>(std::floor(x / kSpacing));
  for (std::int64_t k = cell - 2; k <= cell + 2; ++k) {
    const float centre = (static_cast<float>(k) + 0.2F + 0.6F * hash(k, 1, 71)) * kSpacing;
    const float stand = fractal(centre * 7.0F, 2.0F, 3, 73);
    const float height =
        (0.02F + 0.055F * hash(k, 2, 71)) * smoothStep(0.30F, 0.60F, stand) + 0.006F;
    const float down = (y - (kShore - height)) / height;
    if (down < 0.0F) continue;
    const float tier = down * 7.0F + hash(k, 3, 71);
    const float reach =
        0.21F * height * down * (0.62F + 0.38F * (tier - std::floor(tier))) + 0.0004F;
    const float side = (x - centre) / reach;
    const float ragged = 0.75F + 0.5F * noise(x * 900.0F, y * 900.0F, 79);
    if (std::abs(side) > ragged) continue;
    const float lit = 0.55F + 0.45F * side + 0.5F * noise(x * 500.0F, y * 500.0F, 83);
    colour =
        Colour{0.030F, 0.062F, 0.026F, 1.0F} * (0.35F + lit) + Colour{0.012F, 0.014F, 0.02F, 1};
    return true;
  }
  return false;
}

// Everything beyond the lake.
Colour distance(float x, float y) {
  Colour colour;
  if (tree(x, y, colour)) return colour;
  for (int i = 2; i >= 0; --i) {
    if (mountain(kRidges[i], x, y, colour)) return colour;
  }
  return sky(x, y);
}

Colour lake(float x, float y) {
  const float near = (y - kShore) / (1.0F - kShore);
  const float depth = 0.03F / (near + 0.012F);
  const float ripple =
      fractal(x * (14.0F + 30.0F * depth), 30.0F * depth + near * 40.0F, 4, 91) - 0.5F;
  const float mirrored = kShore - (y - kShore) * 1.35F - ripple * 0.10F * (near + 0.03F);
  Colour colour = distance(x + ripple * 0.015F * near, std::max(mirrored, 0.0F));
  const float looksIn = smoothStep(0.0F, 0.9F, near);
  colour = blend(colour * 0.82F, {0.015F, 0.065F, 0.075F, 1.0F}, 0.25F + 0.55F * looksIn);
  const float glint = smoothStep(0.72F, 0.86F, noise(x * 260.0F, y * 900.0F, 97)) *
                      smoothStep(0.55F, 0.70F, fractal(x * 3.0F, y * 30.0F, 3, 98));
  return colour + Colour{0.35F, 0.38F, 0.40F, 1.0F} * (glint * 0.5F);
}

struct Flower {
  Colour colour;
};
constexpr Flower kFlowers[] = {{{0.80F, 0.04F, 0.03F, 1}},
                               {{0.95F, 0.62F, 0.03F, 1}},
                               {{0.32F, 0.10F, 0.55F, 1}},
                               {{0.90F, 0.88F, 0.84F, 1}},
                               {{0.85F, 0.20F, 0.38F, 1}}};

Colour meadow(float x, float y, float bank) {
  const float near = (y - 0.5F);
  const float scale = 0.5F / near;  // how much smaller things are than at the lower edge
  const float gx = (x - 0.75F) * 26.0F * scale;
  const float gz = 30.0F * scale;
  const float patch = fractal(gx * 0.5F, gz * 0.5F, 4, 101);
  const float bladeX = x * 330.0F * scale + 6.0F * (noise(x * 40.0F, y * 30.0F, 103) - 0.5F);
  const float blade =
      0.65F * noise(bladeX, y * 62.0F, 107) + 0.35F * noise(bladeX * 2.3F, y * 120.0F, 109);
  Colour colour = blend({0.030F, 0.075F, 0.012F, 1.0F}, {0.20F, 0.27F, 0.045F, 1.0F},
                        std::clamp(0.15F + 1.1F * (patch - 0.3F) + 0.2F * blade, 0.0F, 1.0F));
  colour = colour * (0.30F + 1.45F * blade * blade + 0.35F * smoothStep(0.0F, 0.05F, y - bank));

  // Nearer rows of flowers hide farther ones.
  for (int row = 26; row >= 0; --row) {
    const float rowY = 0.66F + 0.36F * std::pow(static_cast<float>(row + 1) / 27.0F, 1.5F);
    const float size = 0.0085F * (rowY - 0.5F) / 0.5F;
    if (std::abs(y - rowY) > 3.0F * size + 0.012F) continue;
    const float step = size * 3.6F;
    const auto cell = static_cast<std::int64_t>(std::floor(x / step));
    for (std::int64_t k = cell - 1; k <= cell + 1; ++k) {
      if (hash(k, row, 113) >
          0.75F * smoothStep(0.42F, 0.58F, fractal(x * 5.0F, rowY * 9.0F, 2, 127)))
        continue;
      const float cx = (static_cast<float>(k) + 0.15F + 0.7F * hash(k, row, 131)) * step;
      const float cy = rowY + 0.02F * (hash(k, row, 137) - 0.5F);
      const float dx = (x - cx) / size;
      const float dy = (y - cy) / (size * 0.72F);
      const float r = std::sqrt(dx * dx + dy * dy);
      const float petals =
          0.80F + 0.20F * std::cos(5.0F * std::atan2(dy, dx) + 6.0F * hash(k, row, 139));
      if (r > petals) continue;
      const auto kind = static_cast<std::size_t>(hash(k, row, 149) * 4.999F);
      const Colour heart = {0.55F, 0.35F, 0.02F, 1.0F};
      const float shade = 0.55F + 0.45F * (0.5F - 0.5F * dy) + 0.15F * dx;
      return (r < 0.26F ? heart : kFlowers[kind].colour) * shade;
    }
  }
  return colour;
}

}  // namespace

Colour landscape(Point p) {
  // The same view whatever the shape of the picture: the middle is kept.
  const float x = p.x - p.aspect * 0.5F + 0.75F;
  const float y = p.y;
  const float fringe =
      0.020F * noise(x * 170.0F, 0.0F, 151) + 0.008F * noise(x * 520.0F, 1.0F, 153);
  const float bank =
      0.80F - 0.09F * smoothStep(0.55F, 1.5F, x) - 0.05F * fractal(x * 3.0F, 7.0F, 3, 157) - fringe;
  if (y > bank) return meadow(x, y, bank);
  return y > kShore ? lake(x, y) : distance(x, y);
}

}  // namespace kelvo::samples
