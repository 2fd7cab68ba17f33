#pragma once

#include <span>

#include "platform/kernel_language/syntax.h"
#include "platform/kernel_language/token.h"

namespace kelvo::kernel_language {

// Reads the tokens (the last is `end`). After a mistake it goes on behind the statement or function
// concerned, so that one run reports several; what it returns is complete only if nothing was
// reported.
syntax::Source parse(std::span<const Token> tokens, Diagnostics& diagnostics);

}  // namespace kelvo::kernel_language
