#pragma once

#include "platform/image_io/heif/structure.h"

namespace kelvo::heif {

// How the item's picture is to be turned and mirrored to be looked at, as an EXIF value from 1 to
// 8: what its rotation and mirroring properties (ISO/IEC 23008-12, 6.5.10 and 6.5.12) come to, in
// the order in which the item lists them. The EXIF block's own value counts for nothing here.
unsigned orientationOf(const Structure& structure, ItemId item);

}  // namespace kelvo::heif
