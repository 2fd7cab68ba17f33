#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/image_io/jpeg/jpeg_structure.h"

// Files of several pictures, as cameras write them: JPEG streams one after the other, and in the
// first one an index of them all (CIPA DC-007, Multi-Picture Format).
namespace kelvo::jpeg {

// One picture of the file; positions count from the start of the file.
struct PicturePlace {
  std::size_t begin = 0;
  std::size_t size = 0;   // as the index has it
  std::size_t limit = 0;  // where the next picture begins, or the file ends
  bool gainMap = false;   // not one to look at: how much brighter the first one's places may be
};

struct MultiPictureIndex {
  std::span<const std::byte> payload;  // of the segment, in the old file
  std::vector<PicturePlace> pictures;  // the first is the whole file's own
  std::vector<std::size_t> frames;     // which of them are to be adjusted: all but gain maps
  std::size_t entries = 0;             // where in the payload the table of entries begins
  bool bigEndian = false;

  [[nodiscard]] bool hasGainMaps() const { return frames.size() < pictures.size(); }
  // The payload as it lists the frames alone, at their old places.
  [[nodiscard]] std::vector<std::byte> payloadOfFrames() const;
  // The size and the position of a picture as its entry in the table stores them, 8 bytes from the
  // entry's fifth on. `base`: where the payload stands in its file.
  [[nodiscard]] std::array<std::byte, 8> encodePlace(std::size_t size, std::size_t begin,
                                                     std::size_t base) const;
  // Where they stand in the payload.
  [[nodiscard]] std::size_t placeField(std::size_t entry) const { return entries + 16 * entry + 4; }
};

struct MultiPicture {
  // Present if there is an index of more than one picture and all of them can be rewritten.
  std::optional<MultiPictureIndex> index;
  // Why not, if there is one and they cannot.
  std::string obstacle;
};

// `segments`: those of the first picture.
MultiPicture readMultiPicture(std::span<const std::byte> file,
                              const std::vector<Segment>& segments);

// Whether a segment is an index, or what a further picture says of its own part in one.
bool isMultiPictureSegment(const Segment& segment);

// The segment of a further picture that says which number it has among them (from 1 on), with
// another number. Empty if it does not have this one.
std::vector<std::byte> renumbered(std::span<const std::byte> payload, std::size_t from,
                                  std::size_t to);

}  // namespace kelvo::jpeg
