#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/foundation/result.h"

namespace kelvo {

// The new file while it is being written: a buffered stream with random access (formats with
// directories go back and fill in offsets). Errors stick: after the first, every call fails alike.
// Does not own the descriptor.
class OutputFile {
 public:
  explicit OutputFile(int descriptor);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  Result<void> write(std::span<const std::byte> bytes);
  Result<void> seek(std::uint64_t position);
  [[nodiscard]] std::uint64_t position() const { return position_; }
  // Reads back what was written before (flushes first). Short only at the end of the file.
  Result<std::size_t> read(std::span<std::byte> bytes);
  Result<void> flush();
  [[nodiscard]] std::uint64_t size() const { return size_; }

 private:
  int descriptor_;
  std::uint64_t position_ = 0;  // where the next byte goes
  std::uint64_t size_ = 0;
  std::vector<std::byte> buffer_;  // bytes before position_ not yet written
  Result<void> failure_;
};

}  // namespace kelvo
