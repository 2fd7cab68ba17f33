#include <cmath>

#include "tools/sample_photos/noise.h"
#include "tools/sample_photos/scenes.h"

namespace kelvo::samples {
namespace {

struct Blade {
  float inside;  // above 0 inside the leaf, about the distance to its edge
  float along;   // 0 at the stalk, 1 at the tip
  float across;  // signed, 1 at the edge
};

// The outline of the leaf, its middle rib bent like a bow.
Blade blade(float x, float y) {
  constexpr float kTurn = -0.62F;
  const float u = x * std::cos(kTurn) - y * std::sin(kTurn);
  const float v = x * std::sin(kTurn) + y * std::cos(kTurn);
  const float along = (u + 0.56F) / 1.12F;
  const float bend = 0.075F * std::sin(3.0F * along);
  const float side = v - bend;
  if (along <= 0.0F || along >= 1.0F) return {-std::abs(along - 0.5F) + 0.49F, along, 9.0F};
  const float teeth = 0.010F * std::abs(std::sin(along * 62.0F)) * std::sin(3.14F * along);
  const float half = 0.34F * std::pow(along, 0.62F) * std::pow(1.0F - along, 0.85F) * 1.35F + teeth;
  return {half - std::abs(side), along, side / std::max(half, 1e-4F)};
}

float stalk(float x, float y) {
  constexpr float kTurn = -0.62F;
  const float u = x * std::cos(kTurn) - y * std::sin(kTurn);
  const float v = x * std::sin(kTurn) + y * std::cos(kTurn);
  if (u > -0.50F || u < -0.72F) return -1.0F;
  return 0.011F - std::abs(v - 0.09F * (u + 0.56F) - 0.25F * (u + 0.56F) * (u + 0.56F));
}

}  // namespace

Colour leaf(Point p) {
  const float x = p.x - p.aspect * 0.5F;
  const float y = p.y - 0.5F;
  const Blade here = blade(x, y);
  if (here.inside > 0.0F) {
    const float bow = here.along - 0.30F * std::abs(here.across) * (1.0F - 0.4F * here.along);
    const float vein = std::abs(bow * 11.0F - std::round(bow * 11.0F));
    const float side =
        smoothStep(0.10F, 0.02F, vein) * smoothStep(0.98F, 0.55F, std::abs(here.across));
    const float rib = smoothStep(0.055F, 0.02F, std::abs(here.across) * (0.35F + here.along));
    const float mottle = fractal(x * 9.0F, y * 9.0F, 5, 601);
    const float cells = noise(x * 120.0F, y * 120.0F, 607);
    Colour colour = blend({0.055F, 0.155F, 0.018F, 1}, {0.21F, 0.33F, 0.035F, 1}, mottle);
    // Autumn comes in from the edge.
    const float turning = smoothStep(0.35F, 1.05F, std::abs(here.across) + 1.1F * (mottle - 0.55F));
    colour = blend(colour, {0.62F, 0.20F, 0.018F, 1}, 0.75F * turning);
    colour = colour * (0.80F + 0.25F * cells);
    colour = blend(colour, {0.50F, 0.52F, 0.16F, 1}, std::max(0.55F * side, 0.85F * rib));
    const float lit = 1.05F - 0.45F * here.across * (here.across > 0.0F ? 1.0F : 0.25F);
    return colour * lit;
  }
  const float stem = stalk(x, y);
  if (stem > 0.0F) return Colour{0.33F, 0.28F, 0.07F, 1.0F} * (0.6F + 60.0F * stem);
  // The shadow, softer the farther it falls.
  const Blade above = blade(x - 0.035F, y - 0.045F);
  const float depth = smoothStep(-0.045F, 0.050F, above.across > 8.0F ? -1.0F : above.inside);
  const float thin = smoothStep(-0.012F, 0.012F, stalk(x - 0.022F, y - 0.028F));
  return {0.010F, 0.012F, 0.025F, 0.55F * std::max(depth, 0.6F * thin)};
}

}  // namespace kelvo::samples
