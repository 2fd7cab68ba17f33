#pragma once

#include <cstdint>

#include "platform/kernel_language/ir.h"

namespace kelvo::kernel_language {

// One operation on one lane, in plain C++: folds constants and is the plain implementation that
// every vector target is held to. Operands and result are the bits of an f32 or i32, or 0 and 1 of
// a mask; operands the operation does not have are ignored. Not for constants, input, destX, destY
// and sampleImage.
std::uint32_t evaluateOneLane(Op op, std::uint32_t a, std::uint32_t b = 0, std::uint32_t c = 0);

}  // namespace kelvo::kernel_language
