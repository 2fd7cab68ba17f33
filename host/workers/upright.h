#pragma once

#include "host/workers/protocol.h"

namespace kelvo::host {

// Turns and mirrors a picture as its file says it is to be looked at. `orientation` is the EXIF
// value: 1 to 8 (CIPA DC-008, tag 0x0112); any other leaves the picture as it is.
void makeUpright(PictureMessage& picture, unsigned orientation);

}  // namespace kelvo::host
