#pragma once

#include <limits>
#include <span>
#include <vector>

#include "platform/kernel_language/ir.h"

namespace kelvo::kernel_language {

// The program so far, and what is known of its values.
struct Known {
  std::span<const Instruction> instructions;
  std::span<const Range> ranges;  // by value
};

// What is known of the result of `instruction`, whose operands are among the known.
// `isUnitSource`, by source: its inputs lie in 0…1 and are never -0; false for those beyond it.
Range rangeOf(const Instruction& instruction, const Known& known,
              const std::vector<bool>& isUnitSource);

// Ranges of all values of a program.
std::vector<Range> rangesOf(const Program& program, const std::vector<bool>& isUnitSource);

}  // namespace kelvo::kernel_language
