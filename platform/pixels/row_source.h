#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/foundation/result.h"

namespace kelvo {

// Delivers an image's rows from top to bottom, each row once. A source is opened anew for each pass
// over the image. Used by one thread at a time.
class RowSource {
 public:
  virtual ~RowSource() = default;

  // Fills `rows` rows of tightly packed pixels in the image's layout. `pixels.size()` is
  // rows * width * pixelBytes. The caller never asks for more rows than the image has left.
  // An error means that pixels are damaged or missing: nothing of the frame may be used.
  virtual Result<void> read(std::span<std::byte> pixels, std::uint32_t rows) = 0;
};

}  // namespace kelvo
