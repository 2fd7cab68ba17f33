#pragma once

#include <cstddef>
#include <span>

namespace kelvo::jpeg {

// The first place from `from` on, before `to`, with a byte 0xFF that another byte than 0 or a
// restart marker's follows (another 0xFF may); `to` if there is none. `to` is at most the data's
// size, and the byte at `to` is looked at where there is one.
std::size_t findMarker(std::span<const std::byte> data, std::size_t from, std::size_t to);

}  // namespace kelvo::jpeg
