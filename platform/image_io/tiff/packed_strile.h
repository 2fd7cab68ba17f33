#pragma once

#include <cstddef>
#include <span>

#include "platform/image_io/tiff/deflated_strile.h"
#include "platform/image_io/tiff/picture.h"

// The compressions that are quicker without libtiff: none, LZW and deflate of 8- and 16-bit
// samples.
namespace kelvo::tiff {

bool isPackedHere(const Picture& picture);

class StrileUnpacker {
 public:
  // Decodes a strip or tile of such a picture into `samples`, which has its exact size, in the
  // machine's byte order. False if it is damaged, or odd in a way that libtiff may know.
  [[nodiscard]] bool unpack(std::span<const std::byte> strile, const Format& format,
                            const Picture& picture, std::span<std::byte> samples) const;

 private:
  Inflater inflater_;
};

}  // namespace kelvo::tiff
