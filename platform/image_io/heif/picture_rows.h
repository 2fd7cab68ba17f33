#pragma once

#include <memory>
#include <vector>

#include "platform/image_io/heif/color_conversion.h"
#include "platform/image_io/heif/heif_file.h"
#include "platform/pixels/cg_image.h"

namespace kelvo::heif {

// Decodes a picture a row of grid tiles at a time.
class PictureDecoder {
 public:
  PictureDecoder(HeifFileRef file, const Picture& picture)
      : file_(std::move(file)), picture_(picture) {}

  // Makes the tiles with row y ready.
  Result<void> prepare(std::uint32_t y);

  // The colours of row y, which is prepared, in every `step`-th samples of `out`.
  template <typename Sample>
  Result<void> colors(std::uint32_t y, Sample* out, std::size_t step) const;

  // The luma of row y, which is prepared, as stored: what an alpha channel consists of.
  void levels(std::uint32_t y, std::span<std::uint16_t> out) const;

  // Of the tiles that are prepared.
  [[nodiscard]] const std::vector<Decoded>& tiles() const { return tiles_; }

 private:
  template <typename Use>
  void forTiles(Use use) const;

  HeifFileRef file_;
  const Picture& picture_;
  std::vector<Decoded> tiles_;
  std::uint32_t tileRow_ = 0;
};

// How the pixels of a frame are handed out: 8 bits a sample where the file has no more, else 16.
Result<PixelLayout> layoutOf(const HeifFile& file, const Frame& frame);

// What the coded numbers of a picture mean: the file says so, else its coded data.
ColorCoding effectiveColor(const Picture& picture, const Coding& coding);

Result<std::unique_ptr<RowSource>> openFrameRows(HeifFileRef file, std::size_t frame);

// Whether there is memory for decoding and encoding the tiles of one row.
Result<void> checkMemory(const HeifFile& file, const Picture& picture);

}  // namespace kelvo::heif
