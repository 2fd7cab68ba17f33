#pragma once

#include <string>
#include <vector>

#include "host/arguments/command.h"
#include "platform/foundation/result.h"

namespace kelvo::host {

// The names in a list: those between line breaks or NUL bytes. Empty ones are passed over.
std::vector<std::string> splitNames(const std::string& text, char separator);

// The files given as arguments and then those of --files-from. Errors name the list.
Result<std::vector<std::string>> collectFiles(std::vector<std::string> arguments,
                                              const RunSettings& settings);

}  // namespace kelvo::host
