#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "platform/kernel_language/estimates.h"
#include "platform/kernel_language/ir.h"
#include "platform/kernel_language/trees.h"

// Where whole blocks may take a short way. A program has no branches, only selections; but where
// all that it renders is chosen by one mask, the work on one side of it is done in vain wherever no
// pixel of a block has the mask, as in most of a picture of which one colour is replaced.
namespace kelvo::kernel_language {

struct Branch {
  std::size_t root = 0;                // the one of Trees::roots after which it is taken: the mask
  std::array<ValueId, 3> otherwise{};  // red, green and blue where no pixel has the mask
};

// Of a program that renders. None where the short way would save little, or if what is to be
// rendered there is not there yet.
std::optional<Branch> findBranch(const Program& program, const Trees& trees);

// True if all that depends on the sine and the cosine lies within the tree of the comparison, so
// that it can be passed over where the estimate settles that, and what the estimate needs is
// stored.
bool canBeSettledEarly(const Program& program, const Trees& trees, const Estimate& estimate);

}  // namespace kelvo::kernel_language
