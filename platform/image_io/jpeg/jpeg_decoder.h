#pragma once

#include <memory>

#include "platform/image_io/codec.h"
#include "platform/pixels/row_source.h"

namespace kelvo::jpeg {

// How the pixels are coded.
enum class Coding { gray, rgb, ycc, cmyk, ycck };

// Reads the header with the decoder itself, so that both agree about the colours. Errors: whatever
// the decoder refuses.
Result<Coding> readCoding(const FileBytes& file);

// Rows in 1 (gray), 3 (rgb) or 4 (cmyk, 255 is full ink) components of 8 bits.
Result<std::unique_ptr<RowSource>> openRows(FileBytes file, Coding coding);

}  // namespace kelvo::jpeg
