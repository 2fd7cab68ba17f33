#pragma once

#include <cstddef>
#include <span>

namespace kelvo {

// How a picture is to be turned and mirrored to be looked at, as its EXIF block tells: 1 to 8 (CIPA
// DC-008, tag 0x0112), 1 being as it is stored. `exif` is the block's TIFF structure, with or
// without "Exif" and two zero bytes before it. 1 if it tells nothing, or nothing sensible.
unsigned exifOrientation(std::span<const std::byte> exif);

}  // namespace kelvo
