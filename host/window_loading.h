#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/result.h"

namespace kelvo::host {

// The window's entry: see host/window/window_module.h.
struct WindowEntry {
  int (*open)(int count, char** arguments) = nullptr;
};

// Loads the window's module, and the toolkit with it, for the rest of the process. Errors: it is in
// none of the directories, or something that it needs is not installed.
Result<WindowEntry> loadWindow(const std::vector<std::string>& directories);

// Why no window could be shown, as far as the environment tells: absent if it may well be. What the
// toolkit is told by QT_QPA_PLATFORM needs no display.
std::optional<std::string> missingDisplay();

}  // namespace kelvo::host
