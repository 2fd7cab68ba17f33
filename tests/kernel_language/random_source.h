#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace kelvo::kernel_language {

// Gives a number below the one it is asked for; 0 ends the program soon.
using Choose = std::function<std::uint32_t(std::uint32_t count)>;

// A source that compiles: a few functions and a kernel "vec4 k(sampler s, sampler t, vec4 v, float
// f, int n, bool b)", using the whole language but sines and the like, so that every way to carry
// it out must give the same bits.
std::string randomSource(const Choose& choose);

}  // namespace kelvo::kernel_language
