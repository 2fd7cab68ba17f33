#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/image_io/codec.h"

namespace kelvo::fuzz {

// Opens the bytes as a file of this format, walks and decodes all of it, and writes it again with
// its pixels as they are. Aborts if a file that could be written does not read back whole.
int fuzzCodec(const Codec& codec, const std::uint8_t* data, std::size_t size);

}  // namespace kelvo::fuzz
