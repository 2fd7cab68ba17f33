#include "awkward_pixels.h"

#include <array>
#include <bit>
#include <cstdint>
#include <limits>
#include <random>

namespace kelvo::kernel_language {
namespace {

using Limits = std::numeric_limits<float>;

constexpr auto kAwkward = std::to_array<float>({
    0.0F,
    -0.0F,
    1.0F,
    -1.0F,
    0.5F,
    0.25F,
    0.9999999F,
    1.0000001F,
    2.0F,
    -2.5F,
    255.0F,
    1.0F / 3.0F,
    1e-45F,
    -1e-45F,
    1e-39F,
    1.17549435e-38F,
    16777217.0F,
    2147483648.0F,
    -2147483648.0F,
    1e30F,
    3.4028235e38F,
    -3.4028235e38F,
    Limits::infinity(),
    -Limits::infinity(),
    Limits::quiet_NaN(),
});

}  // namespace

PixelRun awkwardPixels() {
  PixelRun run{{}, -5, 3};
  constexpr std::size_t kCount = kAwkward.size();
  for (const std::size_t stride :
       {std::size_t{0}, std::size_t{1}, std::size_t{7}, std::size_t{11}}) {
    for (std::size_t i = 0; i < kCount; ++i) {
      Color pixel{};
      for (std::size_t c = 0; c < 4; ++c) {
        pixel[c] = kAwkward[(i + stride * c * (i % 3 + 1)) % kCount];
      }
      run.pixels.push_back(pixel);
    }
  }
  std::mt19937 random(17);
  for (int i = 0; i < 301; ++i) {
    Color pixel{};
    for (float& value : pixel) {
      switch (random() % 3) {
        case 0:
          value = kAwkward[random() % kCount];
          break;
        case 1:  // any float at all
          value = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
          break;
        default:
          value = static_cast<float>(random() % 1024) / 512.0F - 0.5F;
      }
    }
    run.pixels.push_back(pixel);
  }
  return run;
}

PixelRun ordinaryPixels() {
  PixelRun run{{}, 100, 50};
  std::mt19937 random(23);
  for (int i = 0; i < 517; ++i) {
    Color pixel{};
    for (float& value : pixel) {
      value = random() % 8 == 0 ? static_cast<float>(random() % 6144) / 1024.0F - 2.0F
                                : static_cast<float>(random() % 256) / 255.0F;
    }
    if (random() % 4 != 0) pixel[3] = 1.0F;
    run.pixels.push_back(pixel);
  }
  return run;
}

}  // namespace kelvo::kernel_language
