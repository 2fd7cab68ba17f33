#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/kernel_language/channel_tables.h"
#include "platform/kernel_language/executable.h"
#include "platform/kernel_language/tape.h"

namespace kelvo::kernel_language {

// What an Executable holds. Immutable once compiled.
struct Executable::Plan {
  Program program;  // simplified for the layouts
  std::vector<PixelLayout> inputs;
  PixelLayout output;
  std::vector<SampledImage> images;
  Tape tape;             // the program as the vector executor runs it
  bool hasTape = true;   // else only the plain implementation can run it
  bool opaque = false;   // alpha is 1 for every pixel
  bool renders = false;  // the steps render the output themselves: it is opaque and has 8 bits
  std::optional<ChannelTables> tables;  // then nothing else is run
};

// One run of pixels within one row, as Executable::run gets it.
struct RowRun {
  std::span<const std::byte* const> inputs;
  std::byte* output = nullptr;
  std::size_t pixels = 0;
  std::int32_t x = 0;
  std::int32_t y = 0;
};

// The plain implementation: pixel by pixel, operation by operation, without vectors.
void runPlainly(const Executable::Plan& plan, const RowRun& row);

}  // namespace kelvo::kernel_language
