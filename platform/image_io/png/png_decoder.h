#pragma once

#include <cstddef>
#include <memory>
#include <span>

#include "platform/image_io/png/png_file.h"

namespace kelvo {

// Decodes the data of a picture of a file whose status is complete, one stored row after the other:
// all rows of the picture, or of the seven passes of an interlaced one, one pass after the other.
//
// Samples of 16 bits come in the machine's byte order, samples and indices below 8 bits one to a
// byte, not scaled. Nothing else is done to them.
class PngDecoder {
 public:
  static Result<std::unique_ptr<PngDecoder>> open(std::shared_ptr<const PngFile> file,
                                                  std::size_t picture);
  virtual ~PngDecoder() = default;

  // Bytes of a row of the picture.
  [[nodiscard]] virtual std::size_t rowBytes() const = 0;
  // `row` has rowBytes() bytes; those beyond the width of an interlaced pass are arbitrary. With
  // the last row the rest of the data is checked too: its checksum, and that there is no more.
  virtual Result<void> read(std::span<std::byte> row) = 0;
};

}  // namespace kelvo
