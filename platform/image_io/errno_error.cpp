#include "platform/image_io/errno_error.h"

#include <cerrno>
#include <string>
#include <system_error>

namespace kelvo {
namespace {

std::string plainText(int code) {
  if (code == ENOSPC) return "no space left on the device";
  if (code == ENOENT) return "there is no such file";
  if (code == EACCES) return "permission denied";
  if (code == EROFS) return "the file system is read-only";
  if (code == ELOOP) return "too many symbolic links";
  std::string text = std::generic_category().message(code);
  // "Input/output error" in the middle of a clause.
  if (text.size() > 1 && text[0] >= 'A' && text[0] <= 'Z' && text[1] >= 'a' && text[1] <= 'z') {
    text[0] = static_cast<char>(text[0] - 'A' + 'a');
  }
  return text;
}

}  // namespace

Error errnoError(std::string_view step, int code) {
  return Error{std::string(step) + ": " + plainText(code)};
}

}  // namespace kelvo
