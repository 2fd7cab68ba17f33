#include "platform/image_io/output_file.h"

#include <algorithm>
#include <cerrno>

#include "platform/image_io/errno_error.h"
#include "platform/image_io/file_system.h"

namespace kelvo {
namespace {

// Large enough that the cost of a system call vanishes beside that of compressing its bytes.
constexpr std::size_t kBufferBytes = std::size_t{256} << 10;
// Pieces as large as this are not worth a copy.
constexpr std::size_t kDirectBytes = std::size_t{64} << 10;

}  // namespace

OutputFile::OutputFile(int descriptor) : OutputFile(descriptor, realFileSystem()) {}

OutputFile::OutputFile(int descriptor, FileSystem& fileSystem)
    : descriptor_(descriptor), fileSystem_(&fileSystem) {
  buffer_.reserve(kBufferBytes);
}

OutputFile::~OutputFile() = default;

Result<void> OutputFile::writeThrough(std::span<const std::byte> bytes, std::uint64_t position) {
  while (!bytes.empty()) {
    const ssize_t written =
        fileSystem_->pwrite(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(position));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      failure_ = errnoError("the new file could not be written", written < 0 ? errno : EIO);
      return failure_;
    }
    bytes = bytes.subspan(static_cast<std::size_t>(written));
    position += static_cast<std::uint64_t>(written);
  }
  return {};
}

Result<void> OutputFile::write(std::span<const std::byte> bytes) {
  if (!failure_) return failure_;
  const bool direct = bytes.size() >= kDirectBytes;
  if (direct || buffer_.size() + bytes.size() > kBufferBytes) {
    if (auto flushed = flush(); !flushed) return flushed;
  }
  if (direct) {
    if (auto written = writeThrough(bytes, position_); !written) return written;
  } else {
    buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
  }
  position_ += bytes.size();
  size_ = std::max(size_, position_);
  return {};
}

Result<void> OutputFile::seek(std::uint64_t position) {
  if (position == position_) return failure_;
  if (auto flushed = flush(); !flushed) return flushed;
  position_ = position;
  return {};
}

Result<std::size_t> OutputFile::read(std::span<std::byte> bytes) {
  if (auto flushed = flush(); !flushed) return std::move(flushed).error();
  std::size_t total = 0;
  while (total < bytes.size()) {
    const ssize_t got = fileSystem_->pread(descriptor_, bytes.data() + total, bytes.size() - total,
                                           static_cast<off_t>(position_));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      failure_ = errnoError("the new file could not be read back", errno);
      return failure_.error();
    }
    if (got == 0) break;
    total += static_cast<std::size_t>(got);
    position_ += static_cast<std::uint64_t>(got);
  }
  return total;
}

Result<void> OutputFile::flush() {
  if (!failure_) return failure_;
  if (auto written = writeThrough(buffer_, position_ - buffer_.size()); !written) return written;
  buffer_.clear();
  return {};
}

}  // namespace kelvo
