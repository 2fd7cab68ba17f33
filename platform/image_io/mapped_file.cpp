#include "platform/image_io/mapped_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <utility>

#include "platform/image_io/errno_error.h"
#include "platform/image_io/file_descriptor.h"

namespace kelvo {
namespace {

// O_NONBLOCK: opening a FIFO must not wait for a writer. O_NOATIME, which only the owner may ask
// for: reading a photograph to adjust it is no access that its owner wants recorded.
FileDescriptor openForReading(const std::string& path) {
  const int flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  const int descriptor = ::open(path.c_str(), flags | O_NOATIME);
  if (descriptor >= 0 || errno != EPERM) return FileDescriptor(descriptor);
  return FileDescriptor(::open(path.c_str(), flags));
}

Result<void> checkKind(const struct stat& status) {
  if (S_ISDIR(status.st_mode)) return Error{"it is a directory"};
  if (!S_ISREG(status.st_mode)) return Error{"it is not a regular file"};
  if (status.st_size == 0) return Error{"the file is empty"};
  return {};
}

}  // namespace

FileIdentity identityOf(const struct stat& status) {
  return {.device = status.st_dev,
          .inode = status.st_ino,
          .size = status.st_size,
          .modified = status.st_mtim,
          .changed = status.st_ctim};
}

Result<std::string> resolvePath(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr),
                                                         &std::free);
  if (!real) return errnoError("the file could not be found", errno);
  return std::string(real.get());
}

Result<std::shared_ptr<const MappedFile>> MappedFile::open(const std::string& path) {
  auto resolved = resolvePath(path);
  if (!resolved) return std::move(resolved).error();
  // Looked at before it is opened: opening a device can have effects.
  struct stat status = {};
  if (::stat(resolved->c_str(), &status) != 0) {
    return errnoError("the file could not be examined", errno);
  }
  if (auto kind = checkKind(status); !kind) return std::move(kind).error();
  const FileDescriptor file = openForReading(*resolved);
  if (!file.open()) return errnoError("the file could not be opened", errno);
  auto mapped = fromDescriptor(file.get());
  if (!mapped) return mapped;
  // Nobody else holds it yet.
  const_cast<MappedFile&>(**mapped).resolvedPath_ = *std::move(resolved);
  return mapped;
}

Result<std::shared_ptr<const MappedFile>> MappedFile::fromDescriptor(int descriptor) {
  struct stat status = {};
  if (::fstat(descriptor, &status) != 0) {
    return errnoError("the file could not be examined", errno);
  }
  if (auto kind = checkKind(status); !kind) return std::move(kind).error();
  const auto size = static_cast<std::size_t>(status.st_size);
  void* const address = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
  if (address == MAP_FAILED) return errnoError("the file could not be mapped", errno);
  // Formats are read front to back, so reading ahead of the decoder pays.
  ::madvise(address, size, MADV_SEQUENTIAL);
  struct Shared : MappedFile {};  // the constructor is private
  std::shared_ptr<MappedFile> file = std::make_shared<Shared>();
  file->bytes_ = {static_cast<const std::byte*>(address), size};
  file->mapped_ = true;
  file->identity_ = identityOf(status);
  return std::shared_ptr<const MappedFile>(std::move(file));
}

std::shared_ptr<const MappedFile> MappedFile::fromBytes(std::vector<std::byte> bytes) {
  struct Shared : MappedFile {};
  std::shared_ptr<MappedFile> file = std::make_shared<Shared>();
  file->owned_ = std::move(bytes);
  file->bytes_ = file->owned_;
  return file;
}

MappedFile::~MappedFile() {
  if (mapped_) ::munmap(const_cast<std::byte*>(bytes_.data()), bytes_.size());
}

}  // namespace kelvo
