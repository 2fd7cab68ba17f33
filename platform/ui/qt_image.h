#pragma once

#include <QImage>

#include "platform/drawing/ns_image.h"
#include "platform/pixels/cg_image.h"

namespace kelvo {

// All pixels, 8 bits a component. Null if they cannot be read or are neither gray nor RGB.
QImage toQt(const CGImage& image);

// A picture for display with `scale` pixels to a view unit (the result's device pixel ratio; that
// of a file may differ). Null if there is nothing to draw or it cannot be read. A file is read once
// and then kept. Main thread.
QImage toQt(const NSImage& image, double scale);

}  // namespace kelvo
