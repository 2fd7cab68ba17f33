#pragma once

#include <span>

#include "platform/kernel_language/kernel.h"
#include "platform/kernel_language/library.h"
#include "platform/kernel_language/plain_value.h"

namespace kelvo::kernel_language {

// A call of a library function on one pixel, straight from its definition (library.h).
PlainValue plainLibraryCall(LibraryFunction function, std::span<const PlainValue> arguments,
                            const PlainPixelContext& context);

}  // namespace kelvo::kernel_language
