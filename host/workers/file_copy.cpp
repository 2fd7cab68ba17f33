#include "host/workers/file_copy.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <system_error>

#include "host/descriptor.h"
#include "platform/image_io/file_attributes.h"
#include "platform/image_io/file_system.h"

namespace kelvo::host {
namespace {

CopyFailure because(bool source, int code) {
  return {source, std::generic_category().message(code)};
}

bool writeAll(int to, const char* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t written = ::write(to, bytes, count);
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written < 0) {
      return false;
    }
    bytes += written;
    count -= static_cast<std::size_t>(written);
  }
  return true;
}

std::optional<CopyFailure> copyBytes(int from, int to) {
  // Shares the blocks where the file system can.
  if (::ioctl(to, FICLONE, from) == 0) {
    return std::nullopt;
  }
  std::array<char, 1U << 17U> buffer;
  while (true) {
    const ssize_t got = ::read(from, buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0) {
      return because(true, errno);
    }
    if (got == 0) {
      return std::nullopt;
    }
    if (!writeAll(to, buffer.data(), static_cast<std::size_t>(got))) {
      return because(false, errno);
    }
  }
}

}  // namespace

std::optional<CopyFailure> copyFile(const std::string& from, const std::string& to,
                                    std::vector<std::string>& warnings) {
  // Without O_NONBLOCK the opening of a pipe would wait for a writer.
  const Descriptor source(::open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!source || ::fstat(source.number(), &status) != 0) {
    return because(true, errno);
  }
  if (!S_ISREG(status.st_mode)) {
    return CopyFailure{true,
                       S_ISDIR(status.st_mode) ? "it is a directory" : "it is not a regular file"};
  }
  const Descriptor copy(
      ::open(to.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!copy) {
    return because(false, errno);
  }
  if (auto failed = copyBytes(source.number(), copy.number())) {
    ::unlink(to.c_str());
    return failed;
  }
  // What the file system will not take is no reason to go without the copy.
  // Owners and labels of the system belong to the place where a file is.
  std::ranges::copy_if(copyAttributes(realFileSystem(), source.number(), copy.number(), status),
                       std::back_inserter(warnings), [](const std::string& text) {
                         return text.starts_with("the attribute user.");
                       });
  if ((status.st_mode & S_IWUSR) == 0) {
    ::fchmod(copy.number(), (status.st_mode & 07777U) | S_IWUSR);
  }
  const std::array<timespec, 2> times = {status.st_atim, status.st_mtim};
  ::futimens(copy.number(), times.data());
  return std::nullopt;
}

}  // namespace kelvo::host
