#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/image_io/tiff/sample_rows.h"
#include "platform/image_io/tiff/tiff_file.h"
#include "platform/pixels/cg_image.h"

namespace kelvo::tiff {

// The rows of an adjusted frame as they are stored: every sample of every pixel, interleaved, in
// the machine's byte order. Colour is multiplied by alpha or not, as in the old file; samples that
// are neither colour nor alpha come from the old file.
class OutputRows {
 public:
  // `stored` describes the new frame; its depth is that of `image`.
  static Result<std::unique_ptr<OutputRows>> open(const CGImage& image,
                                                  std::shared_ptr<const TiffFile> file,
                                                  std::size_t frame, const Picture& stored);

  // Fills whole rows. An error of the image's own rows is passed on unchanged.
  Result<void> read(std::span<std::byte> rows);

 private:
  OutputRows(const CGImage& image, const Picture& stored);
  Result<void> fill();
  Result<void> take(std::span<std::byte> pixels, std::uint32_t rows);
  [[nodiscard]] bool isStoredAsIs() const;
  Result<void> storeRow(std::span<const std::byte> pixels, std::span<std::byte> row);
  Result<void> storeExtras(std::span<std::byte> row);

  PixelLayout layout_;
  Picture stored_;
  std::uint32_t oldBits_ = 8;
  int alpha_;
  std::size_t sampleBytes_;
  std::unique_ptr<RowSource> rows_;
  std::unique_ptr<SampleRows> oldRows_;  // when there are extra samples to keep
  std::uint32_t rowsLeft_;
  std::vector<std::byte> chunk_;  // a few rows of the image
  std::size_t chunkAt_ = 0;
  std::vector<std::byte> oldRow_;
};

}  // namespace kelvo::tiff
