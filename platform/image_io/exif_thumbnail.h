#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace kelvo {

// An EXIF block without its thumbnail: the link to the second directory, that directory with its
// values, and the picture it points to are zeros; everything else stays where it is, byte for byte,
// so that no offset changes (maker notes are full of them). `exif` is the block's TIFF structure,
// with or without "Exif" and two zero bytes before it.
// Nothing if there is no thumbnail, or no structure in which one could be found.
std::optional<std::vector<std::byte>> withoutExifThumbnail(std::span<const std::byte> exif);

}  // namespace kelvo
