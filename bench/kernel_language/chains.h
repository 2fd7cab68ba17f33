#pragma once

#include <string>
#include <vector>

#include "platform/kernel_language/executable.h"

namespace kelvo::kernel_language::bench {

// A program with what it needs to run, as an adjustment of photographs would have it.
struct Chain {
  std::string name;
  Program program;
  PixelLayout input;
  PixelLayout output;
  std::vector<SampledImage> images;
};

std::vector<Chain> chains();

}  // namespace kelvo::kernel_language::bench
