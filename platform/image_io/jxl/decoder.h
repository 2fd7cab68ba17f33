#pragma once

#include <jxl/types.h>

#include <vector>

#include "platform/image_io/jxl/jxl_file.h"
#include "platform/pixels/pixel_layout.h"

namespace kelvo::jxl {

// How the library is to read or write pixels of a layout.
JxlPixelFormat pixelFormat(const PixelLayout& layout);

// All pixels of a frame, as it is stored, in the layout of the file's frames.
Result<std::vector<std::byte>> decodeFrame(const JxlFile& file, std::size_t frame);

}  // namespace kelvo::jxl
