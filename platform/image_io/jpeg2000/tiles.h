#pragma once

#include <cstdint>
#include <vector>

#include "platform/image_io/jpeg2000/jpeg2000_file.h"
#include "platform/image_io/jpeg2000/library.h"
#include "platform/image_io/jpeg2000/tile_joiner.h"

namespace kelvo::jpeg2000 {

// A part of the picture, in its pixels.
struct Area {
  std::uint32_t left = 0;
  std::uint32_t top = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};
Area tileArea(const Grid& grid, std::uint32_t column, std::uint32_t row);

// Decodes the tiles of a file, each when it is asked for.
class TileDecoder {
 public:
  explicit TileDecoder(Jpeg2000FileRef file) : file_(std::move(file)) {}

  // The samples of the tile, an array for each component, valid until the next call.
  Result<const opj_image_t*> decode(std::uint32_t column, std::uint32_t row);

 private:
  Result<void> open();
  [[nodiscard]] Error damaged() const;

  Jpeg2000FileRef file_;
  Reading reading_;
  Complaint complaint_;
  Stream stream_;
  Codec codec_;
  Image image_;
};

// Makes a codestream like that of a file, tile by tile in their order. Each is encoded by itself,
// because the library has the same number of bytes for every tile.
class TileEncoder {
 public:
  // `bits`: of a sample.
  TileEncoder(Jpeg2000FileRef file, unsigned bits, unsigned threads)
      : file_(std::move(file)), bits_(bits), threads_(threads), joiner_(file_->codestream) {}

  // The samples of the next tile, one component after the other, of one or two bytes each.
  Result<void> add(std::vector<std::byte> samples);

  // After the last tile. Checked to be stored in the way that the old one is.
  Result<std::vector<std::byte>> finish();

 private:
  Result<std::vector<std::byte>> encode(std::vector<std::byte>& samples, const Area& area,
                                        double bytes) const;
  [[nodiscard]] opj_cparameters_t parameters(const Area& area, double bytes) const;
  [[nodiscard]] Result<double> qualityOf(const std::vector<std::byte>& encoded,
                                         const std::vector<std::byte>& samples,
                                         const Area& area) const;
  [[nodiscard]] unsigned threadsFor(const Area& area) const;

  Jpeg2000FileRef file_;
  unsigned bits_;
  unsigned threads_;
  TileJoiner joiner_;
  std::uint32_t next_ = 0;
};

}  // namespace kelvo::jpeg2000
