#include "platform/image_io/bmp/bmp_rows.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/image_io/bmp/bmp_pixels.h"
#include "platform/image_io/bmp/bmp_rle.h"

namespace kelvo {
namespace {

class DirectRows final : public RowSource {
 public:
  explicit DirectRows(std::shared_ptr<const BmpFile> file)
      : file_(std::move(file)), unpacker_(file_->header(), bmpLayout(*file_)) {}

  Result<void> read(std::span<std::byte> pixels, std::uint32_t rows) override {
    for (std::uint32_t i = 0; i < rows; ++i) {
      const std::size_t rowBytes = pixels.size() / rows;
      unpacker_.unpack(file_->row(next_++), pixels.subspan(i * rowBytes, rowBytes));
    }
    return {};
  }

 private:
  std::shared_ptr<const BmpFile> file_;
  BmpPixels unpacker_;
  std::uint32_t next_ = 0;
};

class IndexedRows final : public RowSource {
 public:
  explicit IndexedRows(std::shared_ptr<const BmpFile> file)
      : file_(std::move(file)), palette_(file_->palette()), row_(file_->header().width) {}

  Result<void> read(std::span<std::byte> pixels, std::uint32_t rows) override {
    std::byte* out = pixels.data();
    for (std::uint32_t i = 0; i < rows; ++i) {
      for (const std::uint8_t index : nextRow()) {
        if (index >= palette_.size()) return outsideTable(index, palette_.size());
        for (std::size_t k = 0; k < 3; ++k) *out++ = std::byte{palette_[index][k]};
      }
    }
    return {};
  }

 private:
  std::span<const std::uint8_t> nextRow() {
    const BmpHeader& header = file_->header();
    const std::uint32_t row = next_++;
    if (header.compression == BmpCompression::none) {
      unpackBmpIndices(file_->row(row), header.pixelBits, row_);
      return row_;
    }
    if (unpacked_.empty()) {
      // What no run covers has the first colour.
      unpacked_.resize(std::size_t{header.width} * header.height);
      decodeBmpRuns(file_->part(header.pixels), header, unpacked_);
    }
    const std::size_t stored = header.height - 1 - row;
    return std::span(unpacked_).subspan(stored * header.width, header.width);
  }

  std::shared_ptr<const BmpFile> file_;
  Palette palette_;
  std::vector<std::uint8_t> row_;
  std::vector<std::uint8_t> unpacked_;
  std::uint32_t next_ = 0;
};

}  // namespace

PixelLayout bmpLayout(const BmpFile& file) {
  PixelLayout layout;
  if (file.header().deep()) layout.type = SampleType::u16;
  if (file.hasAlpha()) {
    layout.components = 4;
    layout.alpha = AlphaInfo::last;
  }
  return layout;
}

std::unique_ptr<RowSource> openBmpRows(std::shared_ptr<const BmpFile> file) {
  if (file->header().indexed()) return std::make_unique<IndexedRows>(std::move(file));
  return std::make_unique<DirectRows>(std::move(file));
}

Result<void> checkBmpMemory(const BmpFile& file) {
  const BmpHeader& header = file.header();
  constexpr std::uint64_t kRowsInFlight = 4;
  constexpr std::uint64_t kMostPixelBytes = 8;
  std::uint64_t needed = header.width * kMostPixelBytes * kRowsInFlight;
  if (header.compression != BmpCompression::none) {
    needed += std::uint64_t{header.width} * header.height;
  }
  if (needed <= file.limits().maxMemoryBytes) return {};
  return Error{
      fmt::format("a picture of {} x {} pixels takes {} bytes of memory, over the limit of {} "
                  "(--max-memory)",
                  header.width, header.height, needed, file.limits().maxMemoryBytes)};
}

}  // namespace kelvo
