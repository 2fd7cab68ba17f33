#include "host/run/same_files.h"

#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <utility>

#include "platform/image_io/mapped_file.h"

namespace kelvo::host {
namespace {

struct Identity {
  dev_t device;
  ino_t number;
  std::size_t name;

  [[nodiscard]] bool sameAs(const Identity& other) const {
    return device == other.device && number == other.number;
  }
};

}  // namespace

std::string reachableName(const std::string& name) {
  if (name.size() < PATH_MAX) return name;
  auto resolved = resolvePath(name);
  return resolved ? std::move(resolved).value() : name;
}

SameFiles findSameFiles(const std::vector<std::string>& names) {
  SameFiles same;
  same.group.resize(names.size());
  same.bytes.resize(names.size());
  std::vector<Identity> identities;
  identities.reserve(names.size());
  for (std::size_t i = 0; i < names.size(); ++i) {
    struct stat status {};
    if (::stat(reachableName(names[i]).c_str(), &status) == 0) {
      identities.push_back({status.st_dev, status.st_ino, i});
      same.bytes[i] = S_ISREG(status.st_mode) ? static_cast<std::uint64_t>(status.st_size) : 0;
      same.totalBytes += same.bytes[i];
    }
  }
  std::ranges::sort(identities, [](const Identity& a, const Identity& b) {
    return a.device != b.device ? a.device < b.device : a.number < b.number;
  });
  std::uint32_t groups = 0;
  for (std::size_t i = 1; i < identities.size(); ++i) {
    if (!identities[i].sameAs(identities[i - 1])) {
      continue;
    }
    std::uint32_t& first = same.group[identities[i - 1].name];
    if (first == 0) {
      first = ++groups;
    }
    same.group[identities[i].name] = first;
  }
  return same;
}

}  // namespace kelvo::host
