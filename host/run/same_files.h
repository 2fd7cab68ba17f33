#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kelvo::host {

// Which names of a run lead to the same file, and how large the files are.
struct SameFiles {
  // For each name: 0 if no other leads to its file (or there is none), else the number, from 1, of
  // its group.
  std::vector<std::uint32_t> group;
  std::vector<std::uint64_t> bytes;  // for each name; 0 if there is no such file
  std::uint64_t totalBytes = 0;
};

// The name in a form that system calls take: one that is too long for them may lead to a file whose
// full name is not. Itself if there is none.
std::string reachableName(const std::string& name);

// Follows symbolic links and knows hard links.
SameFiles findSameFiles(const std::vector<std::string>& names);

}  // namespace kelvo::host
