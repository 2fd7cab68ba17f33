#pragma once

#include <cstdint>
#include <optional>
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

// What a tree's result is for: a block register of its own, or a component of the output.
struct Root {
  ValueId value = kNoValue;
  std::optional<std::uint32_t> component;
};

struct Trees {
  std::vector<Place> place;  // by value
  std::vector<Root> roots;   // each after what it needs; inputs and constants have none
};

// True if the accumulator has a step of its own for it; the others are calls.
bool isAccumulatorOp(Op op);

// A value multiplied by itself.
bool isSquare(const Instruction& in);

// Cuts the program into trees that the accumulator can walk, and orders them depth first from the
// outputs, so that few values wait in registers. `renders`: red, green and blue are roots of their
// own; else all outputs are stored.
Trees cutTrees(const Program& program, bool renders);

}  // namespace kelvo::kernel_language
