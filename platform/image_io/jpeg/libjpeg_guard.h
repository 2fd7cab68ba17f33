#pragma once

#include <cstddef>
#include <cstdio>
// The library's header needs the two above.
#include <jpeglib.h>

#include <csetjmp>
#include <string>

#include "platform/foundation/result.h"

namespace kelvo::jpeg {

// The library reports errors by a jump. Everything between guarded() and the jump's origin must do
// without C++ objects that have destructors; the function given to guarded() may only use what it
// refers to.
struct ErrorManager {
  jpeg_error_mgr base = {};  // first, so that the library's pointer to it points to this
  std::jmp_buf target = {};
  char message[JMSG_LENGTH_MAX] = {};

  ErrorManager();
  ErrorManager(const ErrorManager&) = delete;
  ErrorManager& operator=(const ErrorManager&) = delete;
};

// Runs `function`; false if the library gave up, and errors.message says why. Not inlined, so that
// the jump cannot spoil variables of the caller.
template <typename Function>
[[gnu::noinline]] bool guarded(ErrorManager& errors, const Function& function) {
  if (setjmp(errors.target) != 0) return false;
  function();
  return true;
}

// The library's last message as our own error: "STEP: MESSAGE".
Error libraryError(const ErrorManager& errors, const std::string& step);

}  // namespace kelvo::jpeg
