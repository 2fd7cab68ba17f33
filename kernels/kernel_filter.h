#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/image/ci_filter.h"

// What the five filters of our own share. Each is a class with one member per input, named like its
// key; its kernel is compiled by the first instance and kept for the process in a global that all
// instances share. A source that does not compile leaves the global empty, and every output of the
// filter is then empty.
namespace kelvo {

// Compiles the first kernel of `source` into `kernel` if that is still empty. Not guarded: the
// first instances of a class are made on one thread.
void compileKernelOnce(CIKernelRef& kernel, std::string_view source);

// What is told to the registry: a display name and the categories in order.
FilterAttributes kernelFilterAttributes(std::string displayName,
                                        std::vector<std::string> categories);

// The categories of every kernel filter but the curves filter.
std::vector<std::string> commonKernelFilterCategories();

}  // namespace kelvo
