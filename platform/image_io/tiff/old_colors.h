#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "platform/foundation/result.h"
#include "platform/image_io/tiff/tiff_file.h"

// Pictures inside a file's metadata, which would show the old colours after its frames have been
// adjusted.
namespace kelvo::tiff {

// Errors: a file with pictures that are neither adjusted nor may be dropped (layers, pictures in
// sub-directories, raw camera data).
Result<void> checkNoOtherPictures(const TiffFile& file);

// Image resources without the thumbnail among them; nothing if there is none.
std::optional<std::vector<std::byte>> withoutThumbnail(std::span<const std::byte> resources);

// An XMP packet of the same length with its thumbnails blanked out; nothing if there are none.
std::optional<std::vector<std::byte>> withoutXmpThumbnails(std::span<const std::byte> packet);

}  // namespace kelvo::tiff
