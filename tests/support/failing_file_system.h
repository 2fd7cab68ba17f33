#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "platform/image_io/file_system.h"

namespace kelvo::testing {

// The real file system but for one call, counted from 0, that fails. Without `nameless` it cannot
// make files that have no name.
class FailingFileSystem final : public FileSystem {
 public:
  FailingFileSystem(int failingCall, bool nameless)
      : remaining_(failingCall), nameless_(nameless) {}

  [[nodiscard]] bool failed() const { return failed_; }

  int openat(int at, const char* name, int flags, mode_t mode) override {
    if (fails(EACCES)) return -1;
    if (!nameless_ && (flags & O_TMPFILE) == O_TMPFILE) {
      errno = EOPNOTSUPP;
      return -1;
    }
    return FileSystem::openat(at, name, flags, mode);
  }
  ssize_t pwrite(int descriptor, const void* bytes, std::size_t count, off_t offset) override {
    if (fails(ENOSPC)) {
      // A full device takes what still fits first.
      const ssize_t taken = FileSystem::pwrite(descriptor, bytes, count / 2, offset);
      EXPECT_GE(taken, 0);
      errno = ENOSPC;
      return -1;
    }
    return FileSystem::pwrite(descriptor, bytes, count, offset);
  }
  int fsync(int descriptor) override { return fails(EIO) ? -1 : FileSystem::fsync(descriptor); }
  int fchmod(int descriptor, mode_t mode) override {
    return fails(EPERM) ? -1 : FileSystem::fchmod(descriptor, mode);
  }
  int fchown(int descriptor, uid_t owner, gid_t group) override {
    return fails(EPERM) ? -1 : FileSystem::fchown(descriptor, owner, group);
  }
  int fsetxattr(int descriptor, const char* name, const void* value, std::size_t size) override {
    return fails(ENOTSUP) ? -1 : FileSystem::fsetxattr(descriptor, name, value, size);
  }
  int futimens(int descriptor, const timespec times[2]) override {
    return fails(EPERM) ? -1 : FileSystem::futimens(descriptor, times);
  }
  int flock(int descriptor, int operation) override {
    return fails(ENOLCK) ? -1 : FileSystem::flock(descriptor, operation);
  }
  int linkat(int fromAt, const char* from, int toAt, const char* to, int flags) override {
    return fails(EPERM) ? -1 : FileSystem::linkat(fromAt, from, toAt, to, flags);
  }
  int renameat(int at, const char* from, const char* to) override {
    return fails(EIO) ? -1 : FileSystem::renameat(at, from, to);
  }
  int unlinkat(int at, const char* name) override {
    return fails(EIO) ? -1 : FileSystem::unlinkat(at, name);
  }

 private:
  bool fails(int code) {
    if (remaining_-- != 0) return false;
    failed_ = true;
    errno = code;
    return true;
  }

  int remaining_;
  bool nameless_;
  bool failed_ = false;
};

}  // namespace kelvo::testing
