#pragma once

#include <optional>
#include <string>

namespace kelvo::host {

// What went wrong with a copy, and on which side.
struct CopyFailure {
  bool source = false;  // the file to be copied cannot be read
  std::string message;
};

// Makes `to`, which must not exist, a copy of the regular file `from`, with its mode, owner (where
// allowed), attributes and times; its owner may always write it. Absent if all went well; else
// there is no `to`.
std::optional<CopyFailure> copyFile(const std::string& from, const std::string& to);

}  // namespace kelvo::host
