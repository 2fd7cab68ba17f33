#include "host/run/file_list.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "host/descriptor.h"

namespace kelvo::host {
namespace {

Result<std::string> readAll(int descriptor) {
  std::string text;
  std::array<char, 65536> buffer;
  while (true) {
    const ssize_t got = ::read(descriptor, buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0) {
      return Error{std::generic_category().message(errno)};
    }
    if (got == 0) {
      return text;
    }
    text.append(buffer.data(), static_cast<std::size_t>(got));
  }
}

Result<std::string> readList(const std::string& name) {
  if (name == "-") {
    return readAll(STDIN_FILENO);
  }
  const Descriptor list(::open(name.c_str(), O_RDONLY | O_CLOEXEC));
  if (!list) {
    return Error{std::generic_category().message(errno)};
  }
  return readAll(list.number());
}

}  // namespace

std::vector<std::string> splitNames(const std::string& text, char separator) {
  std::vector<std::string> names;
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = std::min(text.find(separator, start), text.size());
    if (end > start) {
      names.push_back(text.substr(start, end - start));
    }
    start = end + 1;
  }
  return names;
}

Result<std::vector<std::string>> collectFiles(std::vector<std::string> arguments,
                                              const RunSettings& settings) {
  if (!settings.filesFrom) {
    return arguments;
  }
  const auto list = readList(*settings.filesFrom);
  if (!list) {
    return Error{"the list '" + *settings.filesFrom + "' cannot be read: " + list.error().message};
  }
  if (!settings.filesFromNul && list->find('\0') != std::string::npos) {
    return Error{"the list '" + *settings.filesFrom + "' holds NUL bytes; give -0 with it"};
  }
  for (std::string& name : splitNames(*list, settings.filesFromNul ? '\0' : '\n')) {
    arguments.push_back(std::move(name));
  }
  return arguments;
}

}  // namespace kelvo::host
