#pragma once

#include <string>

#include "platform/foundation/result.h"

namespace kelvo {

// The whole of a small regular file (a document, a property list). Errors: it cannot be read, it is
// no regular file, it is larger than 16 MiB.
Result<std::string> readTextFile(const std::string& path);

}  // namespace kelvo
