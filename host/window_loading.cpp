#include "host/window_loading.h"

#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace kelvo::host {
namespace {

constexpr const char* kModule = "kelvo-window.so";
constexpr const char* kEntry = "kelvoEdit";

bool isSet(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr && *value != '\0';
}

}  // namespace

Result<WindowEntry> loadWindow(const std::vector<std::string>& directories) {
  std::string looked;
  for (const std::string& directory : directories) {
    const std::string path = directory + "/" + kModule;
    std::error_code failed;
    if (!std::filesystem::exists(path, failed)) {
      looked += (looked.empty() ? "'" : " or '") + path + "'";
      continue;
    }
    void* const module = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
      return Error{"the window cannot be loaded: " + std::string(::dlerror())};
    }
    if (void* const entry = ::dlsym(module, kEntry)) {
      return WindowEntry{reinterpret_cast<int (*)(int, char**)>(entry)};
    }
    return Error{"the window cannot be loaded: '" + path + "' is not its module"};
  }
  return Error{"the window is not installed: there is no " + looked};
}

std::optional<std::string> missingDisplay() {
  if (isSet("QT_QPA_PLATFORM") || isSet("DISPLAY") || isSet("WAYLAND_DISPLAY")) {
    return std::nullopt;
  }
  return "there is no display (neither DISPLAY nor WAYLAND_DISPLAY is set)";
}

}  // namespace kelvo::host
