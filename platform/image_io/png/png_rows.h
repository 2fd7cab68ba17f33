#pragma once

#include <memory>

#include "platform/image_io/png/png_file.h"

namespace kelvo {

// The layout in which a file's pixels are delivered: 8-bit or 16-bit samples as they are stored;
// an indexed picture looked up in its colour table; alpha from a transparent colour key.
PixelLayout pngLayout(const PngFile& file);

// Starts a pass over the rows of a picture. Interlaced pictures are decoded into memory with the
// first row, an error if the limits do not allow it.
Result<std::unique_ptr<RowSource>> openPngRows(const std::shared_ptr<const PngFile>& file,
                                               std::size_t picture);

// An error if `buffers` pictures in memory, which is what reading or rewriting an interlaced file
// takes, or some rows of one are more than the limits allow.
Result<void> checkPngMemory(const PngFile& file, unsigned buffers);

}  // namespace kelvo
