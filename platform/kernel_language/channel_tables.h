#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/kernel_language/executable.h"

namespace kelvo::kernel_language {

// Levels in, levels out, by channel r, g, b.
struct ChannelTables {
  std::size_t source = 0;
  std::array<std::array<std::uint8_t, 256>, 3> levels{};
  // The tables as byte permutations of 16 entries use them: entry 16 k + i is level 16 k + i
  // xor level 16 (k - 1) + i within each half of 128, so that the lookups of all k at and below the
  // level's own add up by xor.
  std::array<std::array<std::uint8_t, 256>, 3> steps{};
};

// The source whose channels decide the output's, if every output channel depends on its own channel
// of one opaque 8-bit source alone, the output has 8 bits and its alpha is 1.
std::optional<std::size_t> separableSource(const Program& program,
                                           std::span<const PixelLayout> inputs, PixelLayout output);

// `grayLevels`: the program's output of 3 components for the 256 grays, black first.
ChannelTables makeTables(std::size_t source, std::span<const std::uint8_t, 768> grayLevels);

// Looks up pixels of 3 components; `components` (3 or 4) are written, the fourth as 255. Output may
// be the input's own memory if it has 3.
void lookUpVectors(const ChannelTables& tables, const std::uint8_t* from, std::uint8_t* to,
                   std::size_t pixels, std::size_t components);
void lookUpPlainly(const ChannelTables& tables, const std::uint8_t* from, std::uint8_t* to,
                   std::size_t pixels, std::size_t components);

}  // namespace kelvo::kernel_language
