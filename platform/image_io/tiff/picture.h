#pragma once

#include <cstdint>
#include <vector>

#include "platform/foundation/result.h"
#include "platform/image_io/tiff/directory.h"

namespace kelvo::tiff {

// Bytes [offset, offset + length) of the file.
struct Extent {
  std::uint64_t offset = 0;
  std::uint64_t length = 0;

  [[nodiscard]] std::uint64_t end() const { return offset + length; }
};

// How a directory's pixels are stored. A strile is a strip or a tile; striles are counted from the
// top left, plane after plane.
struct Picture {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t bits = 1;     // of every sample
  std::uint32_t samples = 1;  // of a pixel, extra samples included
  std::uint32_t sampleFormat = 1;
  std::uint32_t photometric = 0;
  std::uint32_t compression = 1;
  std::uint32_t predictor = 1;
  std::uint32_t fillOrder = 1;
  bool separate = false;  // each sample in a plane of its own
  bool tiled = false;
  std::uint32_t strileWidth = 0;   // of a tile; the picture's for strips
  std::uint32_t strileHeight = 0;  // rows of a strip or tile; at most the picture's for strips
  std::vector<std::uint16_t> extraSamples;
  std::uint32_t subsamplingX = 2;  // of YCbCr
  std::uint32_t subsamplingY = 2;

  [[nodiscard]] std::uint32_t planes() const { return separate ? samples : 1; }
  [[nodiscard]] std::uint32_t planeSamples() const { return separate ? 1 : samples; }
  [[nodiscard]] std::uint32_t across() const { return (width - 1) / strileWidth + 1; }
  [[nodiscard]] std::uint32_t down() const { return (height - 1) / strileHeight + 1; }
  [[nodiscard]] std::uint64_t striles() const {
    return std::uint64_t{across()} * down() * planes();
  }
  // Rows of the striles that begin with row `top`; a tile always has all of its rows.
  [[nodiscard]] std::uint32_t rowsAt(std::uint32_t top) const {
    return tiled || height - top > strileHeight ? strileHeight : height - top;
  }
  // Bytes of `pixels` pixels in one plane, decoded, when they lie in one row or their bits
  // fill whole bytes.
  [[nodiscard]] std::uint64_t planeBytes(std::uint64_t pixels) const;
  // Index among the samples of the one that is alpha; -1 if the picture is opaque. Extra samples
  // that say nothing of themselves are channels to be kept, not alpha.
  [[nodiscard]] int alphaSample() const;
  [[nodiscard]] bool straightAlpha() const;
  // Samples of a pixel that are colour, after the photometric interpretation.
  [[nodiscard]] std::uint32_t colorSamples() const;
};

// Errors: a size or arrangement that makes no sense.
Result<Picture> readPicture(const View& view, const Directory& directory);

// Where the striles lie. Errors: not as many as the picture needs.
Result<std::vector<Extent>> readStriles(const View& view, const Directory& directory,
                                        const Picture& picture);

// Ok if the pixels can be decoded and mean 8 or 16 bit samples, or a palette of at most 256
// colours; else what they are.
Result<void> checkDecodable(const Picture& picture);

}  // namespace kelvo::tiff
