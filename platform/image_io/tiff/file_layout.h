#pragma once

#include <cstdint>
#include <vector>

#include "platform/image_io/tiff/tiff_file.h"

namespace kelvo::tiff {

// What lies where in a file: the bytes that must be carried over, and the room that the pixels of
// its frames take. A new file has the same bytes around other pixels.
struct FileLayout {
  // Every byte that is not a frame's pixels or idle padding, in ascending order, not touching.
  std::vector<Extent> kept;
  // The room of the pixels, padding included, in ascending order, not touching.
  std::vector<Extent> room;
  // Whether the kept bytes may move. If not, something in them may hold offsets into the file that
  // this codec cannot tell and so cannot adjust: a maker note, private tags, bytes that nothing
  // known points at.
  bool movable = true;
};

// Errors: directories or values that lie on top of each other or of pixels.
Result<FileLayout> analyseLayout(const TiffFile& file);

}  // namespace kelvo::tiff
