#pragma once

#include <cstddef>
#include <memory>

#include "platform/foundation/result.h"
#include "platform/image_io/png/png_file.h"

namespace kelvo {

// Decodes an indexed picture without a use for its pixels: an error if they are damaged, or if one
// has an index of `entries` or more.
Result<void> checkPngIndices(const std::shared_ptr<const PngFile>& file, std::size_t picture,
                             std::size_t entries);

}  // namespace kelvo
