// Loaded before the C library (LD_PRELOAD): the n-th call that concerns KELVO_FAULT_DIRECTORY
// fails, or something happens right before it.
//   KELVO_FAULT_CALL   which, from 0
//   KELVO_FAULT_CODE   with which error; 0: a write takes only half of what it is given
//   KELVO_FAULT_EVENT  instead: truncate, grow, overwrite, remove, protect or replace
//   KELVO_FAULT_FILE   ... which file
//   KELVO_FAULT_OTHER  ... by which one, for overwrite and replace
//   KELVO_FAULT_TRACE  set: says of each call what it is and what it concerns
// Says on standard error which call it was. Counts for each process by itself.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

std::atomic<int> calls = 0;

template <typename Function>
Function* real(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

std::string nameOf(int descriptor) {
  std::array<char, 4096> target = {};
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  const ssize_t size = ::readlink(link.c_str(), target.data(), target.size() - 1);
  return size > 0 ? std::string(target.data()) : std::string();
}

std::string nameOf(const char* path) { return path; }

std::string nameOf(int directory, const char* path) {
  return path[0] == '/' ? std::string(path) : nameOf(directory) + "/" + path;
}

bool concerns(const char* path) {
  const char* directory = std::getenv("KELVO_FAULT_DIRECTORY");
  return directory != nullptr && path != nullptr &&
         std::strncmp(path, directory, std::strlen(directory)) == 0;
}

bool concerns(int descriptor) { return concerns(nameOf(descriptor).c_str()); }

bool concerns(int directory, const char* path) {
  if (path != nullptr && path[0] == '/') return concerns(path);
  return directory >= 0 && concerns(directory);
}

int number(const char* name) {
  const char* text = std::getenv(name);
  return text == nullptr ? -1 : std::atoi(text);
}

// What another program may do to a file at any time. By bare system calls, which are not counted.
void happen(const std::string& event) {
  const char* const file = std::getenv("KELVO_FAULT_FILE");
  const char* const other = std::getenv("KELVO_FAULT_OTHER");
  if (event == "remove") ::syscall(SYS_unlinkat, AT_FDCWD, file, 0);
  if (event == "replace") ::syscall(SYS_renameat2, AT_FDCWD, other, AT_FDCWD, file, 0);
  if (event == "truncate") ::syscall(SYS_truncate, file, 100);
  if (event == "protect") ::syscall(SYS_fchmodat, AT_FDCWD, file, 0444);
  if (event == "grow" || event == "overwrite") {
    const long to = ::syscall(SYS_openat, AT_FDCWD, file, O_WRONLY | O_CLOEXEC, 0);
    if (event == "grow") {
      ::syscall(SYS_pwrite64, to, "more", 4, ::syscall(SYS_lseek, to, 0, SEEK_END));
    } else {
      const long from = ::syscall(SYS_openat, AT_FDCWD, other, O_RDONLY | O_CLOEXEC, 0);
      ::syscall(SYS_ftruncate, to, 0);
      ::syscall(SYS_sendfile, to, from, nullptr, std::size_t{1} << 30U);
      ::syscall(SYS_close, from);
    }
    ::syscall(SYS_close, to);
  }
}

bool fails(const char* call, const std::string& concerned) {
  if (std::getenv("KELVO_FAULT_TRACE") != nullptr) {
    std::fprintf(stderr, "call: %s %s\n", call, concerned.c_str());
  }
  if (calls++ != number("KELVO_FAULT_CALL")) return false;
  std::fprintf(stderr, "fault: %s\n", call);
  if (const char* const event = std::getenv("KELVO_FAULT_EVENT")) {
    happen(event);
    return false;
  }
  errno = number("KELVO_FAULT_CODE");
  return true;
}

}  // namespace

#define KELVO_FAULT(result, name, parameters, arguments, concerned)                             \
  extern "C" result name parameters {                                                           \
    static auto* const original = real<result parameters>(#name);                               \
    if (concerns concerned && number("KELVO_FAULT_CODE") > 0 && fails(#name, nameOf concerned)) \
      return static_cast<result>(-1);                                                           \
    return original arguments;                                                                  \
  }

// What takes a mode only sometimes.
#define KELVO_FAULT_OPEN(name)                                                             \
  extern "C" int name(const char* path, int flags, ...) {                                  \
    static auto* const original = real<int(const char*, int, ...)>(#name);                 \
    if (concerns(path) && number("KELVO_FAULT_CODE") > 0 && fails(#name, path)) return -1; \
    va_list rest;                                                                          \
    va_start(rest, flags);                                                                 \
    const mode_t mode = va_arg(rest, mode_t);                                              \
    va_end(rest);                                                                          \
    return original(path, flags, mode);                                                    \
  }

#define KELVO_FAULT_OPENAT(name)                                                \
  extern "C" int name(int directory, const char* path, int flags, ...) {        \
    static auto* const original = real<int(int, const char*, int, ...)>(#name); \
    if (concerns(directory, path) && number("KELVO_FAULT_CODE") > 0 &&          \
        fails(#name, nameOf(directory, path)))                                  \
      return -1;                                                                \
    va_list rest;                                                               \
    va_start(rest, flags);                                                      \
    const mode_t mode = va_arg(rest, mode_t);                                   \
    va_end(rest);                                                               \
    return original(directory, path, flags, mode);                              \
  }

#define KELVO_FAULT_PWRITE(name)                                                                \
  extern "C" ssize_t name(int descriptor, const void* bytes, std::size_t count, off_t offset) { \
    static auto* const original = real<ssize_t(int, const void*, std::size_t, off_t)>(#name);   \
    if (concerns(descriptor) && fails(#name, nameOf(descriptor))) {                             \
      if (errno != 0) return -1;                                                                \
      count = (count + 1) / 2;                                                                  \
    }                                                                                           \
    return original(descriptor, bytes, count, offset);                                          \
  }

KELVO_FAULT_OPEN(open)
KELVO_FAULT_OPEN(open64)
KELVO_FAULT_OPENAT(openat)
KELVO_FAULT_OPENAT(openat64)
KELVO_FAULT_PWRITE(pwrite)
KELVO_FAULT_PWRITE(pwrite64)
KELVO_FAULT(ssize_t, write, (int to, const void* bytes, std::size_t count), (to, bytes, count),
            (to))
KELVO_FAULT(ssize_t, pread, (int from, void* bytes, std::size_t count, off_t at),
            (from, bytes, count, at), (from))
KELVO_FAULT(ssize_t, pread64, (int from, void* bytes, std::size_t count, off_t at),
            (from, bytes, count, at), (from))
KELVO_FAULT(int, fsync, (int file), (file), (file))
KELVO_FAULT(int, syncfs, (int file), (file), (file))
KELVO_FAULT(int, fdatasync, (int file), (file), (file))
KELVO_FAULT(int, ftruncate, (int file, off_t size), (file, size), (file))
KELVO_FAULT(int, ftruncate64, (int file, off_t size), (file, size), (file))
KELVO_FAULT(int, flock, (int file, int operation), (file, operation), (file))
KELVO_FAULT(int, fchmod, (int file, mode_t mode), (file, mode), (file))
KELVO_FAULT(int, fchown, (int file, uid_t user, gid_t group), (file, user, group), (file))
KELVO_FAULT(int, fsetxattr,
            (int file, const char* name, const void* value, std::size_t size, int flags),
            (file, name, value, size, flags), (file))
KELVO_FAULT(ssize_t, flistxattr, (int file, char* list, std::size_t size), (file, list, size),
            (file))
KELVO_FAULT(ssize_t, fgetxattr, (int file, const char* name, void* value, std::size_t size),
            (file, name, value, size), (file))
KELVO_FAULT(int, futimens, (int file, const timespec times[2]), (file, times), (file))
KELVO_FAULT(int, linkat, (int from, const char* a, int to, const char* b, int flags),
            (from, a, to, b, flags), (to, b))
KELVO_FAULT(int, renameat, (int from, const char* a, int to, const char* b), (from, a, to, b),
            (to, b))
KELVO_FAULT(int, rename, (const char* a, const char* b), (a, b), (b))
KELVO_FAULT(int, unlinkat, (int at, const char* name, int flags), (at, name, flags), (at, name))
KELVO_FAULT(int, unlink, (const char* name), (name), (name))
KELVO_FAULT(int, fstat, (int file, struct stat* status), (file, status), (file))
KELVO_FAULT(int, fstatat, (int at, const char* name, struct stat* status, int flags),
            (at, name, status, flags), (at, name))
