#pragma once

#include <cstddef>
#include <memory>
#include <span>

#include "platform/image_io/codec.h"
#include "platform/pixels/row_source.h"

namespace kelvo::jpeg {

// How the pixels are coded.
enum class Coding { gray, rgb, ycc, cmyk, ycck };

// Reads the header with the decoder itself, so that both agree about the colours. Errors: whatever
// the decoder refuses. `picture`: the picture's own bytes, from its start-of-image marker.
Result<Coding> readCoding(std::span<const std::byte> picture);

// Rows in 1 (gray), 3 (rgb) or 4 (cmyk, 255 is full ink) components of 8 bits. `picture` lies in
// `file`, which is kept.
Result<std::unique_ptr<RowSource>> openRows(FileBytes file, std::span<const std::byte> picture,
                                            Coding coding);

}  // namespace kelvo::jpeg
