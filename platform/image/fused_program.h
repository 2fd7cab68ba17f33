#pragma once

#include <cstdint>
#include <vector>

#include "platform/foundation/result.h"
#include "platform/image/ci_image.h"
#include "platform/kernel_language/executable.h"

namespace kelvo {

// A source of pixels and where its first pixel lies in the output.
struct PlacedSource {
  CGImage image;
  std::int64_t x = 0;
  std::int64_t y = 0;
};

// A whole recipe as one program over its sources. Column and row 0 of the program are the first
// pixel of `extent`.
struct FusedProgram {
  CGRect extent;  // whole numbers
  std::vector<PlacedSource> sources;
  std::vector<kernel_language::SampledImage> images;
  kernel_language::Program program;
  bool opaque = false;      // alpha is 1 everywhere
  bool positional = false;  // the result depends on where a pixel lies

  // The layouts of the sources, in their order.
  [[nodiscard]] std::vector<PixelLayout> layouts() const;
};

// `extent`: the part of the plane to compute.
Result<FusedProgram> fuse(const CIImage& image, const CGRect& extent, std::uint64_t maxMemoryBytes);

}  // namespace kelvo
