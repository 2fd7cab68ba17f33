#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/foundation/result.h"
#include "platform/image/fused_program.h"
#include "platform/pixels/row_source.h"

namespace kelvo {

// Runs a fused program over its sources' rows, top to bottom, holding a strip of each at a time.
// `executable` is the program compiled for the sources' layouts and `output`.
Result<std::unique_ptr<RowSource>> openStrips(std::shared_ptr<const FusedProgram> fused,
                                              kernel_language::Executable executable,
                                              PixelLayout output);

// The part of a picture inside `region` (whole numbers), four premultiplied floats a pixel.
Result<std::vector<float>> renderFloats(const CIImage& image, const CGRect& region,
                                        std::uint64_t maxMemoryBytes);

}  // namespace kelvo
