#include "platform/image_io/file_system.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdio>

namespace kelvo {

int FileSystem::openat(int directory, const char* name, int flags, mode_t mode) {
  return ::openat(directory, name, flags, mode);
}

ssize_t FileSystem::pwrite(int descriptor, const void* bytes, std::size_t count, off_t offset) {
  return ::pwrite(descriptor, bytes, count, offset);
}

ssize_t FileSystem::pread(int descriptor, void* bytes, std::size_t count, off_t offset) {
  return ::pread(descriptor, bytes, count, offset);
}

int FileSystem::ftruncate(int descriptor, off_t size) { return ::ftruncate(descriptor, size); }

int FileSystem::fsync(int descriptor) { return ::fsync(descriptor); }

int FileSystem::syncfs(int descriptor) { return ::syncfs(descriptor); }

int FileSystem::fchmod(int descriptor, mode_t mode) { return ::fchmod(descriptor, mode); }

int FileSystem::fchown(int descriptor, uid_t owner, gid_t group) {
  return ::fchown(descriptor, owner, group);
}

int FileSystem::fsetxattr(int descriptor, const char* name, const void* value, std::size_t size) {
  return ::fsetxattr(descriptor, name, value, size, 0);
}

int FileSystem::futimens(int descriptor, const timespec times[2]) {
  return ::futimens(descriptor, times);
}

int FileSystem::flock(int descriptor, int operation) { return ::flock(descriptor, operation); }

int FileSystem::linkat(int fromDirectory, const char* from, int toDirectory, const char* to,
                       int flags) {
  return ::linkat(fromDirectory, from, toDirectory, to, flags);
}

int FileSystem::renameat(int directory, const char* from, const char* to) {
  return ::renameat(directory, from, directory, to);
}

int FileSystem::unlinkat(int directory, const char* name) { return ::unlinkat(directory, name, 0); }

FileSystem& realFileSystem() {
  static FileSystem real;
  return real;
}

}  // namespace kelvo
