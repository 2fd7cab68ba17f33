#pragma once

#include <limits>
#include <span>

#include "platform/kernel_language/ir.h"

namespace kelvo::kernel_language {

// The program so far, and what is known of its values.
struct Known {
  std::span<const Instruction> instructions;
  std::span<const Range> ranges;  // by value
};

// What is known of the result of `instruction`, whose operands are among the known.
// `isUnitInput`: it is an input that lies in 0…1 and is never -0.
Range rangeOf(const Instruction& instruction, const Known& known, bool isUnitInput);

// Ranges of all values of a program; `isUnitSource` by source.
std::vector<Range> rangesOf(const Program& program, const std::vector<bool>& isUnitSource);

}  // namespace kelvo::kernel_language
