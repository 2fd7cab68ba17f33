#pragma once

#include <cstdint>
#include <vector>

#include "platform/kernel_language/ir.h"

namespace kelvo::kernel_language {

// How a value of a program comes into being.
enum class Place : std::uint8_t {
  unused,    // folded into another
  constant,  // an operand of the step itself
  stored,    // in a block register: inputs, calls, and what several steps need
  inner,     // in the accumulator, within the tree of its only user
};

struct Trees {
  std::vector<Place> place;          // by value
  std::vector<ValueId> storedOrder;  // stored values, but for inputs, each after what it needs
};

// True if the accumulator has a step of its own for it; the others are calls.
bool isAccumulatorOp(Op op);

// Cuts the program into trees that the accumulator can walk, and orders them depth first from the
// outputs, so that few values wait in registers.
Trees cutTrees(const Program& program);

}  // namespace kelvo::kernel_language
