#pragma once

#include <cstddef>
#include <span>

#include "platform/image_io/tiff/picture.h"

// What stands between samples and the bytes that are compressed: differences and byte order.
namespace kelvo::tiff {

// Whether predictor 1 or 2 of samples of 8 or 16 bits.
bool isPredictable(const Picture& picture);

// From stored bytes to samples in the machine's byte order, and back, in place. `samples` holds
// whole rows of the picture's strips or tiles.
void toSamples(std::span<std::byte> samples, const Format& format, const Picture& picture);
void toStored(std::span<std::byte> samples, const Format& format, const Picture& picture);

}  // namespace kelvo::tiff
