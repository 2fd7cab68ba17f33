#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <ctime>

namespace kelvo {

// The system calls that replacing a file makes and that can fail, so that a test can make each of
// them fail. Every function behaves like the call of its name: -1 and errno.
class FileSystem {
 public:
  virtual ~FileSystem() = default;

  virtual int openat(int directory, const char* name, int flags, mode_t mode);
  virtual ssize_t pwrite(int descriptor, const void* bytes, std::size_t count, off_t offset);
  virtual ssize_t pread(int descriptor, void* bytes, std::size_t count, off_t offset);
  virtual int ftruncate(int descriptor, off_t size);
  virtual int fsync(int descriptor);
  virtual int syncfs(int descriptor);
  virtual int fchmod(int descriptor, mode_t mode);
  virtual int fchown(int descriptor, uid_t owner, gid_t group);
  virtual int fsetxattr(int descriptor, const char* name, const void* value, std::size_t size);
  virtual int futimens(int descriptor, const timespec times[2]);
  virtual int flock(int descriptor, int operation);
  virtual int linkat(int fromDirectory, const char* from, int toDirectory, const char* to,
                     int flags);
  virtual int renameat(int directory, const char* from, const char* to);
  virtual int unlinkat(int directory, const char* name);
};

// The real one; it has no state.
FileSystem& realFileSystem();

}  // namespace kelvo
