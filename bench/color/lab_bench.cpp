// Megapixels a second of one core, from RGB to L*a*b* and back, for pixels in the cache.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <vector>

#include "platform/color/color_world.h"

namespace kelvo {
namespace {

constexpr std::size_t kPixels = 16384;

// Neighbours are alike, as in photographs.
std::vector<std::uint8_t> picture() {
  std::mt19937 random(1);
  std::vector<std::uint8_t> pixels(3 * kPixels);
  int level[3] = {128, 128, 128};
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    int& c = level[i % 3];
    c = (c + static_cast<int>(random() % 9) - 4 + 256) % 256;
    pixels[i] = static_cast<std::uint8_t>(c);
  }
  return pixels;
}

CMBitmap bitmapOf(std::vector<std::uint8_t>& pixels, BitmapSpace space) {
  CMBitmap bitmap;
  bitmap.image = pixels.data();
  bitmap.width = kPixels;
  bitmap.height = 1;
  bitmap.rowBytes = pixels.size();
  bitmap.space = space;
  return bitmap;
}

void convert(benchmark::State& state, ColorProfile from, ColorProfile to, bool lab) {
  const ColorWorldRef world = NCWNewColorWorld(from, to);
  std::vector<std::uint8_t> pixels = picture();
  if (lab) {
    const CMBitmap rgb = bitmapOf(pixels, BitmapSpace::cmRGB24Space);
    CWMatchBitmap(*NCWNewColorWorld(to, from), rgb, bitmapOf(pixels, BitmapSpace::cmLAB24Space));
  }
  std::vector<std::uint8_t> result(pixels.size());
  const CMBitmap source = bitmapOf(pixels, world->sourceSpace());
  const CMBitmap destination = bitmapOf(result, world->destinationSpace());
  for (auto _ : state) {
    CWMatchBitmap(*world, source, destination);
    benchmark::DoNotOptimize(result.data());
    benchmark::ClobberMemory();
  }
  state.counters["MP/s"] = benchmark::Counter(static_cast<double>(kPixels) / 1e6,
                                              benchmark::Counter::kIsIterationInvariantRate);
}

void toLab(benchmark::State& state) {
  convert(state, ColorProfile::deviceRGB, ColorProfile::lab, false);
}
void toRgb(benchmark::State& state) {
  convert(state, ColorProfile::lab, ColorProfile::deviceRGB, true);
}
BENCHMARK(toLab);
BENCHMARK(toRgb);

}  // namespace
}  // namespace kelvo

BENCHMARK_MAIN();
