#pragma once

#include "platform/foundation/result.h"
#include "platform/image/ci_image.h"
#include "platform/pixels/cg_image.h"

namespace kelvo {

struct RenderOptions {
  // u8 or u16: limited and rounded; f32: as computed.
  SampleType type = SampleType::u8;
  // Leave alpha out even where it is not provably 1: for frames that had none to begin with.
  bool dropAlpha = false;
  // Tagged onto the result; the numbers are not touched.
  CGColorSpaceRef colorSpace = nullptr;
  // Bounds what pictures prepared for lookups at computed coordinates may take.
  std::uint64_t maxMemoryBytes = 4ULL << 30;
};

// The picture over its extent, as a lazy picture: nothing is computed until its rows are read, and
// then strip by strip as the sources deliver theirs. The whole recipe becomes one fused program.
//
// The result has 3 components if its alpha is known to be 1 (or was dropped), else 4,
// premultiplied. A picture made from one indexed frame without looking at positions stays indexed:
// its colour table is mapped instead.
//
// An error of a source's rows comes out of the result's rows unchanged. Errors of the recipe (an
// empty or endless extent, a program beyond its limits) are told at once.
Result<CGImage> render(const CIImageRef& image, const RenderOptions& options);

}  // namespace kelvo
