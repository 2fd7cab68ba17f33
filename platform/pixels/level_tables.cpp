#include "platform/pixels/level_tables.h"

#include <numeric>

namespace kelvo {
namespace {

LevelTables::Table stepsOf(const LevelTables::Table& levels) {
  LevelTables::Table steps{};
  for (std::size_t level = 0; level < levels.size(); ++level) {
    const int previous = level % 128 < 16 ? 0 : levels[level - 16];
    steps[level] = static_cast<std::uint8_t>(levels[level] ^ previous);
  }
  return steps;
}

}  // namespace

LevelTables::Table LevelTables::unchanged() {
  Table levels{};
  std::iota(levels.begin(), levels.end(), std::uint8_t{0});
  return levels;
}

LevelTables::LevelTables(const Table& red, const Table& green, const Table& blue) {
  const std::array tables{red, green, blue};
  for (std::size_t c = 0; c < 3; ++c) {
    std::size_t like = 0;
    while (tables[like] != tables[c]) ++like;
    channels_[c] = {tables[c], stepsOf(tables[c]), tables[c] != unchanged(), like};
  }
}

void LevelTables::applyPlainly(const std::uint8_t* from, std::uint8_t* to, std::size_t pixels,
                               std::size_t components) const {
  for (std::size_t i = 0; i < pixels; ++i) {
    const std::uint8_t r = channels_[0].levels[from[3 * i]];
    const std::uint8_t g = channels_[1].levels[from[3 * i + 1]];
    const std::uint8_t b = channels_[2].levels[from[3 * i + 2]];
    std::uint8_t* pixel = to + components * i;
    pixel[0] = r;
    pixel[1] = g;
    pixel[2] = b;
    if (components == 4) pixel[3] = 255;
  }
}

}  // namespace kelvo
