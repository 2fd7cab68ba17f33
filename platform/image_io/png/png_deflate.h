#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "platform/image_io/output_file.h"

namespace kelvo {

// Compresses filtered rows and writes them in bounded memory: as chunks IDAT, or as chunks fdAT of
// an animation, numbered from `*sequence` on, which is moved on.
class PngDataWriter {
 public:
  static std::unique_ptr<PngDataWriter> create(OutputFile& file, std::uint32_t* sequence);
  virtual ~PngDataWriter() = default;

  virtual Result<void> write(std::span<const std::uint8_t> bytes) = 0;
  // Ends the data. Nothing may be written after it.
  virtual Result<void> finish() = 0;
};

// Writes one chunk with its length and checksum.
Result<void> writePngChunk(OutputFile& file, std::span<const char, 4> type,
                           std::span<const std::byte> data);

}  // namespace kelvo
