#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "platform/foundation/result.h"
#include "platform/image_io/tiff/picture.h"

struct libdeflate_compressor;
struct libdeflate_decompressor;

// Deflated strips and tiles end with a checksum, which libtiff does not always look at: it stops
// as soon as it has all the bytes it wants, whatever they are.
namespace kelvo::tiff {

bool isDeflated(const Picture& picture);

// Inflates a strip or tile to its end without keeping anything. Errors: damage, of the checksum
// too. Extra bytes that some writers leave behind the pixels are none.
Result<void> checkDeflated(std::span<const std::byte> strile);

class Inflater {
 public:
  Inflater();
  // Inflates a strip or tile, checksum and all, into `bytes`. False, if it does not hold exactly
  // that many or is damaged.
  [[nodiscard]] bool inflate(std::span<const std::byte> strile, std::span<std::byte> bytes) const;

 private:
  struct Closer {
    void operator()(libdeflate_decompressor* decompressor) const;
  };
  std::unique_ptr<libdeflate_decompressor, Closer> decompressor_;
};

// Deflates strips and tiles as small as zlib at its usual level makes them, or within a hundredth.
class Deflater {
 public:
  explicit Deflater(std::size_t rowBytes) : rowBytes_(rowBytes) {}

  // Replaces `strile`. Errors: no memory.
  Result<void> deflate(std::span<const std::byte> bytes, std::vector<std::byte>& strile);

 private:
  struct Closer {
    void operator()(libdeflate_compressor* compressor) const;
  };
  using Compressor = std::unique_ptr<libdeflate_compressor, Closer>;

  void takeSample(std::span<const std::byte> bytes);
  [[nodiscard]] bool deflateAt(Compressor& compressor, int level, std::span<const std::byte> bytes,
                               std::vector<std::byte>& strile) const;

  std::size_t rowBytes_;
  Compressor quick_;
  Compressor thorough_;
  std::vector<std::byte> sample_;
  std::vector<std::byte> packedSample_;
};

}  // namespace kelvo::tiff
