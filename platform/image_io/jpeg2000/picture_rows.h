#pragma once

#include <memory>

#include "platform/image_io/jpeg2000/jpeg2000_file.h"
#include "platform/pixels/row_source.h"

namespace kelvo::jpeg2000 {

// Rows of the picture in its layout, decoded a row of tiles at a time.
Result<std::unique_ptr<RowSource>> openPictureRows(Jpeg2000FileRef file);

}  // namespace kelvo::jpeg2000
