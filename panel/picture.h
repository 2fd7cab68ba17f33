#pragma once

#include <QImage>

#include "platform/drawing/ns_image.h"

namespace kelvo {

// A toolkit picture's own RGB numbers. Empty for a null picture.
CIImageRef imageWithPicture(const QImage& picture);

// What a display picture shows, rendered to 8 bits a channel at one pixel a unit; alpha, where
// there is any, is premultiplied. Null if there is nothing to show or it cannot be rendered.
QImage renderedPicture(const NSImage& image);

// The same, as a source of pixels that no longer depends on what it was made of. Empty if it cannot
// be rendered.
CIImageRef imageWithRepresentation(const NSImage& image);

}  // namespace kelvo
