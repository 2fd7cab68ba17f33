#pragma once

#include <cstdint>
#include <span>

#include "platform/image_io/bmp/bmp_header.h"
#include "platform/image_io/codec.h"

namespace kelvo {

struct BmpRuns {
  SourceStatus status;       // whether the runs are whole
  std::uint8_t highest = 0;  // index in the picture
};

// Decodes run-length-encoded indices. `data` are the bytes of the pixels. `indices` gets width *
// height indices, the bottom row first; those that the runs leave out stay as they are. Without
// `indices` the runs are only looked at. A run that leaves the picture is damage; but rows may go
// on to the next multiple of four bytes, as they do without compression.
BmpRuns decodeBmpRuns(std::span<const std::byte> data, const BmpHeader& header,
                      std::span<std::uint8_t> indices);

}  // namespace kelvo
