#pragma once

#include <memory>

#include "platform/image_io/bmp/bmp_file.h"
#include "platform/pixels/row_source.h"

namespace kelvo {

// Of a file whose status is complete.
PixelLayout bmpLayout(const BmpFile& file);
std::unique_ptr<RowSource> openBmpRows(std::shared_ptr<const BmpFile> file);

// Whether reading and writing stay within the memory that is allowed. Rows are handled one at a
// time; runs of indices are unpacked all at once, since they begin with the bottom row.
Result<void> checkBmpMemory(const BmpFile& file);

}  // namespace kelvo
