#pragma once

#include <string>
#include <vector>

namespace kelvo::host {

// Where replacing these files writes to: the directories of what their names lead to, without
// symbolic links at the end, each once. Beyond a few thousand, directories above them stand in.
std::vector<std::string> writtenDirectories(const std::vector<std::string>& paths);

}  // namespace kelvo::host
