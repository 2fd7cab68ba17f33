#pragma once

#include <string_view>

#include "platform/foundation/result.h"

namespace kelvo {

// "STEP: TEXT", the text being the system's own for this errno in plain words ("the new file could
// not be written: no space left on the device").
Error errnoError(std::string_view step, int code);

}  // namespace kelvo
