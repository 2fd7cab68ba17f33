#pragma once

#include <cstddef>
#include <memory>

#include "platform/image_io/gif/gif_file.h"

namespace kelvo {

// The colours of a frame by index, with alpha 0 for the transparent one. As long as its table, or
// longer if the transparent index lies beyond that.
Palette gifPalette(const GifFile& file, const GifFrame& frame);

// 3 components, or 4 if the frame has a transparent index.
PixelLayout gifLayout(const GifFrame& frame);

// Starts a pass over the rows of a frame. All indices are decoded into memory with the first row,
// an error if the limits do not allow it.
Result<std::unique_ptr<RowSource>> openGifRows(std::shared_ptr<const GifFile> file,
                                               std::size_t frame);

}  // namespace kelvo
