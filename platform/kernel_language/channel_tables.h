#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/kernel_language/executable.h"
#include "platform/pixels/level_tables.h"

namespace kelvo::kernel_language {

struct ChannelTables {
  std::size_t source = 0;
  LevelTables levels;
};

// The source whose channels decide the output's, if every output channel depends on its own channel
// of one opaque 8-bit source alone, the output has 8 bits and its alpha is 1.
std::optional<std::size_t> separableSource(const Program& program,
                                           std::span<const PixelLayout> inputs, PixelLayout output);

// `grayLevels`: the program's output of 3 components for the 256 grays, black first.
LevelTables tablesOf(std::span<const std::uint8_t, 768> grayLevels);

}  // namespace kelvo::kernel_language
