#pragma once

#include <memory>

#include "platform/kernel_language/checked_source.h"
#include "platform/kernel_language/syntax.h"

namespace kelvo::kernel_language {

// Names, types, calls and sizes. The result is empty if anything was reported.
std::shared_ptr<const CheckedSource> check(const syntax::Source& source, Diagnostics& diagnostics);

}  // namespace kelvo::kernel_language
