#include "platform/image_io/file_attributes.h"

#include <sys/xattr.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string_view>

#include "platform/image_io/errno_error.h"
#include "platform/image_io/file_system.h"

namespace kelvo {
namespace {

constexpr mode_t kPermissionBits = 07777;

// Access control lists travel as this attribute; a file in a directory with a default list is born
// with one.
constexpr std::string_view kAccessList = "system.posix_acl_access";

std::vector<std::string> attributeNames(int descriptor) {
  const ssize_t size = ::flistxattr(descriptor, nullptr, 0);
  if (size <= 0) return {};
  std::string list(static_cast<std::size_t>(size), '\0');
  const ssize_t got = ::flistxattr(descriptor, list.data(), list.size());
  if (got <= 0) return {};
  list.resize(static_cast<std::size_t>(got));
  std::vector<std::string> names;
  for (std::size_t at = 0; at < list.size();) {
    names.emplace_back(list.c_str() + at);
    at += names.back().size() + 1;
  }
  return names;
}

std::optional<std::string> attributeValue(int descriptor, const std::string& name) {
  const ssize_t size = ::fgetxattr(descriptor, name.c_str(), nullptr, 0);
  if (size < 0) return std::nullopt;
  std::string value(static_cast<std::size_t>(size), '\0');
  const ssize_t got = ::fgetxattr(descriptor, name.c_str(), value.data(), value.size());
  if (got < 0) return std::nullopt;
  value.resize(static_cast<std::size_t>(got));
  return value;
}

void copyExtendedAttributes(FileSystem& fileSystem, int from, int to, bool groupKept,
                            std::vector<std::string>& warnings) {
  const std::vector<std::string> names = attributeNames(from);
  if (std::find(names.begin(), names.end(), kAccessList) == names.end()) {
    ::fremovexattr(to, kAccessList.data());  // the one it was born with, if any
  }
  for (const std::string& name : names) {
    if (name == kAccessList && !groupKept) {
      warnings.emplace_back("the access control list could not be kept for another group");
      continue;
    }
    const auto value = attributeValue(from, name);
    if (!value) {
      warnings.push_back(errnoError("the attribute " + name + " could not be read", errno).message);
      continue;
    }
    // Security modules label new files themselves; setting the same label again may be forbidden.
    if (attributeValue(to, name) == value) continue;
    if (fileSystem.fsetxattr(to, name.c_str(), value->data(), value->size()) != 0) {
      warnings.push_back(errnoError("the attribute " + name + " could not be kept", errno).message);
    }
  }
}

}  // namespace

std::vector<std::string> copyAttributes(FileSystem& fileSystem, int from, int to,
                                        const struct stat& original) {
  std::vector<std::string> warnings;
  mode_t mode = original.st_mode & kPermissionBits;
  bool groupKept = true;
  // Owner and group one by one: an ordinary user may give a file to a group but not to a user.
  // Before the mode, because a change of owner clears the set-user-id bit.
  struct stat born = {};
  ::fstat(to, &born);
  if (born.st_gid != original.st_gid &&
      fileSystem.fchown(to, static_cast<uid_t>(-1), original.st_gid) != 0) {
    warnings.push_back(errnoError("the group could not be kept", errno).message);
    groupKept = false;
    const mode_t ofGroupAndOthers = mode & S_IRWXG & (mode & S_IRWXO) << 3;
    mode = (mode & ~static_cast<mode_t>(S_IRWXG | S_ISGID)) | ofGroupAndOthers;
  }
  if (born.st_uid != original.st_uid &&
      fileSystem.fchown(to, original.st_uid, static_cast<gid_t>(-1)) != 0) {
    warnings.push_back(errnoError("the owner could not be kept", errno).message);
    mode &= ~static_cast<mode_t>(S_ISUID);
  }
  if (fileSystem.fchmod(to, mode) != 0) {
    warnings.push_back(errnoError("the permissions could not be kept", errno).message);
  }
  copyExtendedAttributes(fileSystem, from, to, groupKept, warnings);
  return warnings;
}

}  // namespace kelvo
