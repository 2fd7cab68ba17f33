#include <array>
#include <cmath>
#include <cstdint>

#include "tools/sample_photos/noise.h"
#include "tools/sample_photos/scenes.h"

namespace kelvo::samples {
namespace {

struct Patch {
  float r, g, b;  // 8-bit levels
};

// Four rows of six: natural tones, clear hues in two strengths, greys in even steps of level.
constexpr std::array<Patch, 24> kPatches = {{
    {238, 202, 180}, {196, 143, 116}, {112, 72, 54},  {86, 110, 58},   {92, 128, 168},
    {128, 124, 176}, {214, 120, 36},  {64, 84, 168},  {200, 76, 92},   {92, 52, 104},
    {160, 190, 56},  {228, 164, 36},  {48, 56, 152},  {60, 150, 72},   {178, 44, 52},
    {236, 204, 24},  {188, 80, 150},  {16, 138, 168}, {243, 243, 242}, {201, 201, 201},
    {159, 159, 159}, {118, 118, 118}, {79, 79, 79},   {45, 45, 45},
}};

constexpr float kMargin = 0.075F;  // from the card's edge to the patches
constexpr float kGap = 0.016F;     // between patches

}  // namespace

Colour chart(Point p) {
  // The card lies a little turned on a table.
  const float cx = p.x - p.aspect * 0.5F;
  const float cy = p.y - 0.5F;
  constexpr float kTurn = 0.028F;
  const float x = (cx * std::cos(kTurn) + cy * std::sin(kTurn)) / 0.94F;
  const float y = (cy * std::cos(kTurn) - cx * std::sin(kTurn)) / 0.94F;
  // Lit from the upper left, a little unevenly.
  const float light = 1.0F - 0.16F * (p.x / p.aspect) - 0.09F * p.y;

  const float cardX = (x + 0.69F) / 1.38F;  // 0…1 across the card
  const float cardY = (y + 0.47F) / 0.94F;
  if (cardX < 0.0F || cardX > 1.0F || cardY < 0.0F || cardY > 1.0F) {
    const float weave = 0.5F + 0.25F * std::sin(p.x * 900.0F) + 0.25F * std::sin(p.y * 900.0F);
    const float cloth = 0.10F + 0.03F * weave + 0.05F * fractal(p.x * 9.0F, p.y * 9.0F, 4, 503);
    const float dx = std::max(std::abs(x - 0.012F) - 0.69F, 0.0F);
    const float dy = std::max(std::abs(y - 0.014F) - 0.47F, 0.0F);
    const float shadow = 0.35F + 0.65F * smoothStep(0.0F, 0.022F, std::hypot(dx, dy));
    return Colour{cloth * 0.80F, cloth * 0.90F, cloth, 1.0F} * (light * shadow);
  }
  const float grain = 0.985F + 0.03F * noise(p.x * 700.0F, p.y * 700.0F, 509);
  const float across = 1.38F * cardX - kMargin;
  const float down = 0.94F * cardY - kMargin;
  const float stepX = (1.38F - 2.0F * kMargin + kGap) / 6.0F;
  const float stepY = (0.94F - 2.0F * kMargin + kGap) / 4.0F;
  const auto column = static_cast<int>(std::floor(across / stepX));
  const auto row = static_cast<int>(std::floor(down / stepY));
  const bool inPatch = across >= 0.0F && down >= 0.0F && column < 6 && row < 4 &&
                       across - static_cast<float>(column) * stepX < stepX - kGap &&
                       down - static_cast<float>(row) * stepY < stepY - kGap;
  if (!inPatch) return Colour{0.011F, 0.011F, 0.012F, 1.0F} * (light * grain);
  const Patch& patch =
      kPatches[static_cast<std::size_t>(row) * 6 + static_cast<std::size_t>(column)];
  return fromLevels(patch.r, patch.g, patch.b) * (light * grain);
}

}  // namespace kelvo::samples
