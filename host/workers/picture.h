#pragma once

#include <cstdint>
#include <functional>

#include "host/workers/protocol.h"

namespace kelvo::host {

// Decodes the file's first frame in strips and averages it down, in proportion, so that its longer
// side has at most as many pixels as asked for; a smaller frame stays as it is. Every pixel counts
// in one pixel of the picture. CMYK and Lab frames have no picture.
// The picture is upright: turned and mirrored as the file says.
// Tells through `onProgress` that it goes on, and of how many pixels the frame is.
PictureMessage makePicture(const PictureRequestMessage& request,
                           const std::function<void(std::uint64_t pixels)>& onProgress = {});

}  // namespace kelvo::host
