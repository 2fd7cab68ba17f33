#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <ctime>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/foundation/result.h"

namespace kelvo {

// Tells whether two looks at a file saw the same file with the same contents and attributes.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  timespec modified = {};
  timespec changed = {};  // of contents, attributes or links; nobody can set it back

  friend bool operator==(const FileIdentity& a, const FileIdentity& b) {
    const auto same = [](const timespec& x, const timespec& y) {
      return x.tv_sec == y.tv_sec && x.tv_nsec == y.tv_nsec;
    };
    return a.device == b.device && a.inode == b.inode && a.size == b.size &&
           same(a.modified, b.modified) && same(a.changed, b.changed);
  }
};

FileIdentity identityOf(const struct stat& status);

// A regular file mapped read-only. A file that another program cuts short while it is mapped ends
// the process with SIGBUS; the host's workers are there for that.
class MappedFile {
 public:
  // Follows symbolic links. Directories, FIFOs, devices and empty files are errors.
  static Result<std::shared_ptr<const MappedFile>> open(const std::string& path);
  // The file behind an open descriptor, which may have no name. Does not keep the descriptor.
  static Result<std::shared_ptr<const MappedFile>> fromDescriptor(int descriptor);
  // Bytes that are already in memory, for tests and fuzzers.
  static std::shared_ptr<const MappedFile> fromBytes(std::vector<std::byte> bytes);

  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;
  ~MappedFile();

  [[nodiscard]] std::span<const std::byte> bytes() const { return bytes_; }
  // None for bytes from memory.
  [[nodiscard]] const std::optional<FileIdentity>& identity() const { return identity_; }
  // Where it was opened, symbolic links resolved; empty if it was not opened by path.
  [[nodiscard]] const std::string& resolvedPath() const { return resolvedPath_; }

 private:
  MappedFile() = default;

  std::span<const std::byte> bytes_;
  std::vector<std::byte> owned_;
  std::optional<FileIdentity> identity_;
  std::string resolvedPath_;
  bool mapped_ = false;
};

// A path with every symbolic link in it followed. Errors name the step and the cause.
Result<std::string> resolvePath(const std::string& path);

}  // namespace kelvo
