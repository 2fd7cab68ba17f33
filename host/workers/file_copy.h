#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kelvo::host {

// What went wrong with a copy, and on which side.
struct CopyFailure {
  bool source = false;  // the file to be copied cannot be read
  std::string message;
};

// Makes `to`, which must not exist, a copy of the regular file `from`, with its mode, owner (where
// allowed), attributes and times; its owner may always write it. Absent if all went well; else
// there is no `to`. What people have written into attributes and the copy cannot take is told in
// `warnings`.
std::optional<CopyFailure> copyFile(const std::string& from, const std::string& to,
                                    std::vector<std::string>& warnings);

}  // namespace kelvo::host
