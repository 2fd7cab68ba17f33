#include "host/run/written_directories.h"

#include <filesystem>
#include <set>
#include <system_error>

#include "host/run/same_files.h"

namespace kelvo::host {
namespace {

namespace fs = std::filesystem;

// Each costs every worker a few microseconds.
constexpr std::size_t kMostDirectories = 4096;

std::string directoryOf(const std::string& path) {
  const auto slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

std::vector<std::string> writtenDirectories(const std::vector<std::string>& paths) {
  std::set<std::string> directories;
  for (const std::string& given : paths) {
    const std::string path = reachableName(given);
    std::error_code failed;
    if (fs::is_symlink(fs::symlink_status(path, failed))) {
      const fs::path real = fs::canonical(path, failed);
      if (!failed) directories.insert(directoryOf(real.string()));
    } else {
      directories.insert(directoryOf(path));
    }
  }
  while (directories.size() > kMostDirectories) {
    std::set<std::string> above;
    for (const std::string& directory : directories) {
      std::error_code failed;
      const fs::path real = fs::canonical(directory, failed);
      if (!failed) above.insert(directoryOf(real.string()));
    }
    if (above.size() >= directories.size()) break;  // nothing but roots are left
    directories = std::move(above);
  }
  return {directories.begin(), directories.end()};
}

}  // namespace kelvo::host
