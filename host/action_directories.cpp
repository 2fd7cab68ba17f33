#include "host/action_directories.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "host/run/file_list.h"
#include "host/version.h"

namespace kelvo::host {

std::vector<std::string> libraryDirectories() {
  std::vector<std::string> directories;
  std::error_code failed;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", failed);
  if (!failed) {
    for (const char* relative : {"../lib/kelvo", kInstalledActions}) {
      directories.push_back((program.parent_path() / relative).lexically_normal().string());
    }
  }
  return directories;
}

std::vector<std::string> actionDirectories() {
  std::vector<std::string> directories;
  if (const char* path = std::getenv("KELVO_ACTIONS_PATH")) {
    directories = splitNames(path, ':');
  }
  const std::vector<std::string> own = libraryDirectories();
  directories.insert(directories.end(), own.begin(), own.end());
  return directories;
}

}  // namespace kelvo::host
