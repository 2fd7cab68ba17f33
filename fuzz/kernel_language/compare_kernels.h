#pragma once

#include "platform/kernel_language/kernel.h"

namespace kelvo::kernel_language {

// Carries the kernel out plainly and as a program on every instruction set, on a few awkward
// pixels, and ends the process if any bit differs. Kernels that call sines and the like (`exact`
// false) are only run, since a rounding may decide a branch.
void compareEveryWay(const Kernel& kernel, bool exact);

}  // namespace kelvo::kernel_language
