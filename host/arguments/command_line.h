#pragma once

#include <string>
#include <vector>

#include "host/arguments/command.h"
#include "platform/foundation/result.h"

namespace kelvo::host {

// Reads the arguments after the program's name; looks at no file. An error is wrong usage, in one
// clause.
Result<Command> parseCommandLine(const std::vector<std::string>& arguments);

}  // namespace kelvo::host
