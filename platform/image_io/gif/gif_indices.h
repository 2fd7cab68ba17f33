#pragma once

#include <cstdint>
#include <span>

#include "platform/image_io/gif/gif_file.h"

// The compressed indices of a frame (LZW with codes of growing size).
namespace kelvo {

// Walks the codes without making indices of them. Errors: a code that does not exist yet, an index
// that its table does not have (unless it is the transparent one), too few or too many indices.
// What follows the end code is not looked at.
Result<void> checkGifIndices(const GifFile& file, const GifFrame& frame);

// The same, and writes the indices, frame.pixels() of them, in stored order.
Result<void> decodeGifIndices(const GifFile& file, const GifFrame& frame,
                              std::span<std::uint8_t> indices);

}  // namespace kelvo
