#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "platform/image_io/tiff/tiff_file.h"

namespace kelvo::tiff {

// Compresses strips and tiles, one at a time.
class StrileEncoder {
 public:
  virtual ~StrileEncoder() = default;
  // `rows` rows of samples, in the machine's byte order, which may be changed. What is returned is
  // valid until the next call, and as long as the samples.
  virtual Result<std::span<const std::byte>> encode(std::uint32_t index, std::uint32_t rows,
                                                    std::span<std::byte> samples) = 0;
};

// Every compression but JPEG.
Result<std::unique_ptr<StrileEncoder>> makeStrileEncoder(const Format& format,
                                                         const Picture& picture);

// The compressions that need no libtiff; null for others.
std::unique_ptr<StrileEncoder> makePackedStrileEncoder(const Format& format,
                                                       const Picture& picture);

// JPEG with the quantisation tables, sampling and restart interval of each old strip or tile.
Result<std::unique_ptr<StrileEncoder>> makeJpegStrileEncoder(std::shared_ptr<const TiffFile> file,
                                                             std::size_t frame);

}  // namespace kelvo::tiff
