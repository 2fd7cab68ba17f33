#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/image_io/tiff/strile_reader.h"

namespace kelvo::tiff {

// Decodes a frame's rows from top to bottom: every sample of every pixel, interleaved, in the
// machine's byte order; samples of less than 8 bits stay packed, each row from a new byte.
class SampleRows {
 public:
  // The frame must be decodable (checkDecodable). Errors: strips or tiles that make no sense, or a
  // row of tiles beyond the memory limit.
  static Result<std::unique_ptr<SampleRows>> open(std::shared_ptr<const TiffFile> file,
                                                  std::size_t frame);

  [[nodiscard]] std::size_t rowBytes() const { return rowBytes_; }
  // Fills whole rows.
  Result<void> read(std::span<std::byte> rows);

 private:
  explicit SampleRows(const StoredStriles& stored);
  Result<void> prepare(StoredStriles stored);
  Result<void> openHandles(const StoredStriles& stored);
  Result<void> loadBand();
  Result<void> loadTiles(std::span<std::byte> band);
  Result<void> readRow(std::span<std::byte> row);

  std::shared_ptr<const TiffFile> file_;
  Picture picture_;
  std::size_t rowBytes_;
  std::size_t planeRowBytes_;
  std::uint32_t row_ = 0;
  // Strips too large to be held are decoded row by row, with a handle for each plane.
  std::vector<std::unique_ptr<DecodingHandle>> handles_;
  std::vector<std::byte> planeRow_;
  // All others a band at a time.
  std::unique_ptr<StrileReader> reader_;
  std::vector<std::span<const std::byte>> planes_;  // of the band, each with all its rows
  std::vector<std::byte> band_;                     // where the planes are put together, if need be
};

// Strips up to this many bytes are decoded and encoded in one piece, which lets checksums be
// checked and is faster. Larger ones go row by row.
std::uint64_t wholeStripBytes(const Limits& limits);

// Bytes of the strips or tiles of one band, all planes; an error if tiles exceed the memory limit.
Result<std::uint64_t> bandBytes(const Picture& picture, const Limits& limits);

// Copies the samples of one plane into interleaved pixels, and back.
void interleave(std::span<const std::byte> plane, std::size_t sampleBytes, std::uint32_t index,
                std::uint32_t samples, std::span<std::byte> pixels);
void pickSample(std::span<const std::byte> pixels, std::size_t sampleBytes, std::uint32_t index,
                std::uint32_t samples, std::span<std::byte> plane);

}  // namespace kelvo::tiff
