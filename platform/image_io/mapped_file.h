#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/foundation/result.h"

namespace kelvo {

// A regular file mapped read-only.
class MappedFile {
 public:
  // Follows symbolic links. Directories, FIFOs, devices and empty files are errors.
  static Result<std::shared_ptr<const MappedFile>> open(const std::string& path);
  // Bytes that are already in memory, for tests and fuzzers.
  static std::shared_ptr<const MappedFile> fromBytes(std::vector<std::byte> bytes);

  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;
  ~MappedFile();

  [[nodiscard]] std::span<const std::byte> bytes() const { return bytes_; }

 private:
  MappedFile() = default;

  std::span<const std::byte> bytes_;
  std::vector<std::byte> owned_;
  bool mapped_ = false;
};

}  // namespace kelvo
