#pragma once

#include <cstddef>
#include <span>

#include "platform/image_io/tiff/directory.h"
#include "platform/image_io/tiff/picture.h"

// Deflated strips and tiles end with a checksum, which libtiff does not always look at: it stops
// as soon as it has all the bytes it wants, whatever they are.
namespace kelvo::tiff {

bool isDeflated(const Picture& picture);

// Inflates a strip or tile to its end without keeping anything. Errors: damage, of the checksum
// too. Extra bytes that some writers leave behind the pixels are none.
Result<void> checkDeflated(std::span<const std::byte> strile);

// Decodes a strip or tile, checksum and all, into `samples`, which has its exact size, in the
// machine's byte order. False, if it does not hold exactly that many bytes or is damaged.
bool inflateStrile(std::span<const std::byte> strile, const Format& format, const Picture& picture,
                   std::span<std::byte> samples);

}  // namespace kelvo::tiff
