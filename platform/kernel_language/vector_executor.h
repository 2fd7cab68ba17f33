#pragma once

#include <cstdint>
#include <vector>

#include "platform/kernel_language/plan.h"

namespace kelvo::kernel_language {

// Runs the plan's tape with the best vector instructions of this machine, or those chosen with the
// vector library's own means.
void runVectors(const Executable::Plan& plan, const RowRun& row);

// The target that runVectors uses now, and all that this machine can run, best first, as bits of
// the vector library.
std::int64_t vectorTarget();
const std::vector<std::int64_t>& vectorTargets();

// False while the plain implementation is forced.
bool usesVectors();

}  // namespace kelvo::kernel_language
