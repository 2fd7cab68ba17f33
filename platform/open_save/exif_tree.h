#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/foundation/result.h"

// What EXIF says of a picture, taken out of the directories that it stands in, so that it can be
// put into others. The structure is that of TIFF files.
namespace kelvo {

struct ExifField {
  std::uint16_t tag = 0;
  std::uint16_t type = 0;
  std::uint64_t count = 0;
  std::vector<std::byte> value;  // in the tree's byte order
};

struct ExifTree {
  bool bigEndian = false;
  std::vector<ExifField> image;  // orientation, camera, author, resolution; nothing of the pixels
  std::vector<ExifField> exif;
  std::vector<ExifField> gps;
  std::vector<ExifField> interoperability;

  [[nodiscard]] bool empty() const { return image.empty() && exif.empty() && gps.empty(); }
};

// Of an EXIF block or of the first directory of a TIFF file. Left out are thumbnails and the
// maker's note, whose parts refer to places in the file that it was written into. Errors: it makes
// no sense.
Result<ExifTree> readExifTree(std::span<const std::byte> tiff);

// The tree as an EXIF block of its own; empty for an empty tree.
std::vector<std::byte> buildExifBlock(const ExifTree& tree);

// The orientation (1 to 8) that a block tells; 1 if it tells none.
unsigned orientationOf(const ExifTree& tree);

// A field of whole numbers.
ExifField exifField(const ExifTree& tree, std::uint16_t tag, std::uint16_t type,
                    std::span<const std::uint64_t> values);

struct LaidOutTree {
  std::vector<std::byte> bytes;
  std::uint64_t imageDirectory = 0;  // where the first directory stands
};
// The tree's directories as they stand in a file from `position` on, an even one. `bytes` is empty
// if they would end beyond 4 GiB.
LaidOutTree layOut(const ExifTree& tree, std::uint64_t position);

}  // namespace kelvo
