#pragma once

#include <cstddef>
#include <cstdint>

// What a source may ask for. Kernels are a page of text; these bounds are far above any real one
// and keep every step of the compiler linear in time and shallow on the stack.
namespace kelvo::kernel_language {

constexpr std::size_t kMaximumSourceBytes = 64 * 1024;

// Levels of brackets, blocks and operators inside one function.
constexpr std::uint32_t kMaximumNesting = 200;

// The same along a chain of calls, from the kernel to the innermost function.
constexpr std::uint32_t kMaximumCallNesting = 800;

// Nodes of a kernel's tree with every call replaced by the function's body.
constexpr std::uint32_t kMaximumKernelNodes = 100'000;

// Steps of writing one kernel into a program: instructions asked for and variables carried over a
// branch.
constexpr std::uint32_t kMaximumEmissionSteps = 200'000;

}  // namespace kelvo::kernel_language
