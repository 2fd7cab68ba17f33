#pragma once

#include <string>
#include <vector>

namespace kelvo::host {

// Where action bundles are looked for, in this order: the directories of KELVO_ACTIONS_PATH
// (separated by colons), lib/kelvo beside the program's own directory, and the one that the program
// was built to be installed with.
std::vector<std::string> actionDirectories();

// The last two of them: where what belongs to this program is found.
std::vector<std::string> libraryDirectories();

}  // namespace kelvo::host
