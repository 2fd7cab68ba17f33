#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/foundation/result.h"

namespace kelvo {

class FileSystem;

// The new file while it is being written: a buffered stream with random access (formats with
// directories go back and fill in offsets). Errors stick: after the first, every call fails alike.
// Does not own the descriptor. What is still buffered when it is destroyed is not written: flush
// first.
class OutputFile {
 public:
  explicit OutputFile(int descriptor);
  OutputFile(int descriptor, FileSystem& fileSystem);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  Result<void> write(std::span<const std::byte> bytes);
  // Positions past the end are allowed; the gap reads as zeros once something follows it.
  Result<void> seek(std::uint64_t position);
  [[nodiscard]] std::uint64_t position() const { return position_; }
  // Reads back what was written before (flushes first). Short only at the end of the file.
  Result<std::size_t> read(std::span<std::byte> bytes);
  Result<void> flush();
  [[nodiscard]] std::uint64_t size() const { return size_; }

 private:
  Result<void> writeThrough(std::span<const std::byte> bytes, std::uint64_t position);

  int descriptor_;
  FileSystem* fileSystem_;
  std::uint64_t position_ = 0;  // where the next byte goes
  std::uint64_t size_ = 0;
  std::vector<std::byte> buffer_;  // bytes before position_ not yet written
  Result<void> failure_;
};

}  // namespace kelvo
