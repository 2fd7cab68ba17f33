#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace kelvo {

// The colour profile in the data of a chunk iCCP. Empty if it does not unpack: a profile that
// cannot be read touches no pixel, and the chunk itself is kept whatever is in it.
std::vector<std::byte> readPngProfile(std::span<const std::byte> chunkData);

// The data of a chunk iCCP that holds a profile.
std::vector<std::byte> packPngProfile(std::span<const std::byte> profile);

}  // namespace kelvo
