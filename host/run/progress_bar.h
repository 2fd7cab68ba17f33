#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace kelvo::host {

// How far a run is.
struct ProgressState {
  std::size_t doneFiles = 0;
  std::size_t totalFiles = 0;
  std::uint64_t doneBytes = 0;
  std::uint64_t totalBytes = 0;
  double seconds = 0;    // since the start
  std::size_t step = 1;  // the action that is running, and of how many
  std::size_t steps = 1;
};

// One line of at most `columns` columns: bar, files, share, rate, time left. The time left is told
// from the bytes done, as files differ in size.
std::string renderProgress(const ProgressState& state, std::size_t columns);

// "42s", "3m05s", "2h07m".
std::string durationText(double seconds);

}  // namespace kelvo::host
