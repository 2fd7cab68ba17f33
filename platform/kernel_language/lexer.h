#pragma once

#include <string_view>
#include <vector>

#include "platform/kernel_language/token.h"

namespace kelvo::kernel_language {

// Splits a source into tokens, the last of which is `end`. What is no token is reported and left
// out. The tokens point into `text`.
std::vector<Token> tokenize(std::string_view text, Diagnostics& diagnostics);

}  // namespace kelvo::kernel_language
