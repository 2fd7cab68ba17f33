#include "platform/image_io/jpeg/thumbnail_painter.h"

#include <algorithm>
#include <cmath>

#include "platform/image_io/jpeg/libjpeg_guard.h"

#include <jerror.h>

namespace kelvo::jpeg {
namespace {

// Of the rows that a small row stands for, about this many are looked at: enough for a mean, and
// little beside the cost of coding them all.
constexpr std::uint32_t kRowsPerRow = 8;

// A stream of limited size in memory.
struct LimitedDestination {
  jpeg_destination_mgr base = {};
  std::vector<std::byte>* bytes = nullptr;
};

void startLimited(j_compress_ptr info) {
  auto* const destination = reinterpret_cast<LimitedDestination*>(info->dest);
  destination->base.next_output_byte = reinterpret_cast<JOCTET*>(destination->bytes->data());
  destination->base.free_in_buffer = destination->bytes->size();
}

boolean limitReached(j_compress_ptr info) {
  ERREXIT(info, JERR_BUFFER_SIZE);
  return FALSE;
}

void endLimited(j_compress_ptr) {}

std::optional<std::vector<std::byte>> encodeWithQuality(const std::vector<std::uint8_t>& pixels,
                                                        std::uint32_t width, std::uint32_t height,
                                                        std::size_t capacity, int quality) {
  std::vector<std::byte> bytes(capacity);
  LimitedDestination destination;
  destination.bytes = &bytes;
  destination.base.init_destination = &startLimited;
  destination.base.empty_output_buffer = &limitReached;
  destination.base.term_destination = &endLimited;
  ErrorManager errors;
  jpeg_compress_struct info = {};
  info.err = &errors.base;
  const bool done = guarded(errors, [&] {
    jpeg_create_compress(&info);
    info.dest = &destination.base;
    info.image_width = width;
    info.image_height = height;
    info.input_components = 3;
    info.in_color_space = JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, quality, TRUE);
    info.optimize_coding = TRUE;
    info.write_JFIF_header = FALSE;  // inside EXIF it has no place
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < height) {
      JSAMPROW row =
          const_cast<JSAMPLE*>(pixels.data() + std::size_t{3} * width * info.next_scanline);
      jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
  });
  const std::size_t size = capacity - destination.base.free_in_buffer;
  jpeg_destroy_compress(&info);
  if (!done) return std::nullopt;
  bytes.resize(size);
  return bytes;
}

}  // namespace

ThumbnailPainter::ThumbnailPainter(std::uint32_t sourceWidth, std::uint32_t sourceHeight,
                                   std::uint32_t width, std::uint32_t height)
    : sourceWidth_(sourceWidth),
      sourceHeight_(sourceHeight),
      width_(width),
      height_(height),
      sums_(std::size_t{3} * sourceWidth),
      pixels_(std::size_t{3} * width * height) {
  const double scale = std::min(static_cast<double>(width) / sourceWidth,
                                static_cast<double>(height) / sourceHeight);
  const auto fit = [&](std::uint32_t source, std::uint32_t frame) {
    const auto size = static_cast<std::uint32_t>(std::lround(source * scale));
    // A sliver of black from rounding the proportions is nobody's wish.
    return size + 1 >= frame ? frame : std::max(size, std::uint32_t{1});
  };
  pictureWidth_ = fit(sourceWidth, width);
  pictureHeight_ = fit(sourceHeight, height);
  left_ = (width - pictureWidth_) / 2;
  top_ = (height - pictureHeight_) / 2;
  rowStep_ = std::max(std::uint32_t{1}, sourceHeight / pictureHeight_ / kRowsPerRow);
}

std::uint32_t ThumbnailPainter::firstRow(std::uint32_t row) const {
  return static_cast<std::uint32_t>(std::uint64_t{row} * sourceHeight_ / pictureHeight_);
}

std::uint32_t ThumbnailPainter::endRow(std::uint32_t row) const {
  return std::max(firstRow(row + 1), firstRow(row) + 1);
}

void ThumbnailPainter::addRow(std::span<const std::byte> row) {
  const std::uint32_t y = sourceRow_++;
  // Where the small picture is the larger one, a row goes into several of its rows.
  while (row_ < pictureHeight_ && y >= firstRow(row_)) {
    if ((y - firstRow(row_)) % rowStep_ == 0) {
      const auto* const samples = reinterpret_cast<const std::uint8_t*>(row.data());
      for (std::size_t i = 0; i < sums_.size(); ++i) sums_[i] += samples[i];
      ++summedRows_;
    }
    if (y + 1 < endRow(row_)) return;
    finishRow();
  }
}

void ThumbnailPainter::finishRow() {
  std::uint8_t* out = pixels_.data() + std::size_t{3} * (std::size_t{top_ + row_} * width_ + left_);
  for (std::uint32_t x = 0; x < pictureWidth_; ++x) {
    const std::size_t first = std::size_t{x} * sourceWidth_ / pictureWidth_;
    const std::size_t end = std::max(std::size_t{x + 1} * sourceWidth_ / pictureWidth_, first + 1);
    const std::uint64_t count = (end - first) * summedRows_;
    for (std::size_t channel = 0; channel < 3; ++channel) {
      std::uint64_t sum = 0;
      for (std::size_t i = first; i < end; ++i) sum += sums_[3 * i + channel];
      *out++ = static_cast<std::uint8_t>((sum + count / 2) / count);
    }
  }
  std::fill(sums_.begin(), sums_.end(), 0U);
  summedRows_ = 0;
  ++row_;
}

std::optional<std::vector<std::byte>> ThumbnailPainter::encode(std::size_t capacity) const {
  for (const int quality : {92, 85, 75, 65, 50, 35, 20}) {
    auto bytes = encodeWithQuality(pixels_, width_, height_, capacity, quality);
    if (bytes) return bytes;
  }
  return std::nullopt;
}

}  // namespace kelvo::jpeg
