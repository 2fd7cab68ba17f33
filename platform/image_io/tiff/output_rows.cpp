#include "platform/image_io/tiff/output_rows.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/image_io/tiff/tags.h"
#include "platform/pixels/premultiply.h"

namespace kelvo::tiff {
namespace {

// Rows are asked for in pieces of about this size, so that threads have something to share.
constexpr std::size_t kChunkBytes = std::size_t{1} << 20;
// Enough to be asked for without a buffer in between.
constexpr std::size_t kDirectBytes = std::size_t{128} << 10;

std::span<std::uint16_t> asWords(std::span<std::byte> bytes) {
  return {reinterpret_cast<std::uint16_t*>(bytes.data()), bytes.size() / 2};
}

std::span<std::uint8_t> asBytes(std::span<std::byte> bytes) {
  return {reinterpret_cast<std::uint8_t*>(bytes.data()), bytes.size()};
}

std::uint16_t word(const std::byte* from) {
  std::uint16_t value = 0;
  std::memcpy(&value, from, 2);
  return value;
}

}  // namespace

OutputRows::OutputRows(const CGImage& image, const Picture& stored)
    : layout_(image.layout),
      stored_(stored),
      alpha_(stored.alphaSample()),
      sampleBytes_(stored.bits / 8),
      rowsLeft_(image.height) {}

Result<std::unique_ptr<OutputRows>> OutputRows::open(const CGImage& image,
                                                     std::shared_ptr<const TiffFile> file,
                                                     std::size_t frame, const Picture& stored) {
  std::unique_ptr<OutputRows> self(new OutputRows(image, stored));
  self->oldBits_ = file->picture(frame)->bits;
  auto rows = image.openRows();
  if (!rows) return std::move(rows).error();
  self->rows_ = *std::move(rows);
  if (stored.samples > (self->alpha_ >= 0 ? 4U : 3U)) {
    auto old = SampleRows::open(std::move(file), frame);
    if (!old) return std::move(old).error();
    self->oldRows_ = *std::move(old);
    self->oldRow_.resize(self->oldRows_->rowBytes());
  }
  return self;
}

// Pixels with the alpha that the file wants.
Result<void> OutputRows::take(std::span<std::byte> pixels, std::uint32_t rows) {
  if (rows == 0 || rows > rowsLeft_) return Error{"rows past the end of the picture"};
  if (auto read = rows_->read(pixels, rows); !read) return read;
  rowsLeft_ -= rows;
  if (alpha_ < 0) return {};
  const bool eight = layout_.type == SampleType::u8;
  if (stored_.straightAlpha() && layout_.alpha == AlphaInfo::premultipliedLast) {
    if (eight) {
      vImageUnpremultiplyData_RGBA8888(asBytes(pixels));
    } else {
      unpremultiplyRGBA16(asWords(pixels));
    }
  } else if (!stored_.straightAlpha() && layout_.alpha == AlphaInfo::last) {
    if (eight) {
      vImagePremultiplyData_RGBA8888(asBytes(pixels));
    } else {
      premultiplyRGBA16(asWords(pixels));
    }
  }
  return {};
}

Result<void> OutputRows::fill() {
  const std::size_t rowBytes = stored_.width * layout_.pixelBytes();
  const auto rows = static_cast<std::uint32_t>(
      std::min<std::size_t>(rowsLeft_, std::max<std::size_t>(1, kChunkBytes / rowBytes)));
  chunk_.resize(rows * rowBytes);
  chunkAt_ = 0;
  return take(chunk_, rows);
}

bool OutputRows::isStoredAsIs() const {
  return layout_.components == stored_.samples && (alpha_ == 3 || alpha_ < 0) &&
         (alpha_ == 3) == (layout_.components == 4);
}

Result<void> OutputRows::storeExtras(std::span<std::byte> row) {
  if (auto read = oldRows_->read(oldRow_); !read) return read;
  for (std::uint32_t sample = 3; sample < stored_.samples; ++sample) {
    if (static_cast<int>(sample) == alpha_) continue;
    std::byte* to = row.data() + sample * sampleBytes_;
    const std::byte* from = oldRow_.data() + sample * (oldBits_ / 8);
    for (std::uint32_t x = 0; x < stored_.width; ++x) {
      if (oldBits_ == stored_.bits) {
        std::memcpy(to, from, sampleBytes_);
      } else {
        *to = static_cast<std::byte>((word(from) * 255U + 32767U) / 65535U);
      }
      to += stored_.samples * sampleBytes_;
      from += stored_.samples * (oldBits_ / 8);
    }
  }
  return {};
}

Result<void> OutputRows::storeRow(std::span<const std::byte> pixels, std::span<std::byte> row) {
  if (isStoredAsIs()) {
    std::memcpy(row.data(), pixels.data(), row.size());
    return {};
  }
  const std::size_t step = layout_.pixelBytes();
  const std::size_t storedStep = stored_.samples * sampleBytes_;
  const std::size_t colorBytes = 3 * sampleBytes_;
  constexpr std::byte kFull{0xFF};
  std::byte* to = row.data();
  for (std::size_t at = 0; at < pixels.size(); at += step, to += storedStep) {
    const std::byte* const from = pixels.data() + at;
    std::memcpy(to, from, colorBytes);
    if (alpha_ >= 0) {
      std::byte* const alpha = to + static_cast<std::size_t>(alpha_) * sampleBytes_;
      if (layout_.components == 4) {
        std::memcpy(alpha, from + colorBytes, sampleBytes_);
      } else {
        std::fill_n(alpha, sampleBytes_, kFull);
      }
    } else if (layout_.components == 4 &&
               std::any_of(from + colorBytes, from + step,
                           [](std::byte byte) { return byte != kFull; })) {
      return Error{"the picture has become transparent, which its file cannot hold"};
    }
  }
  return oldRows_ ? storeExtras(row) : Result<void>();
}

Result<void> OutputRows::read(std::span<std::byte> rows) {
  const std::size_t rowBytes = std::size_t{stored_.width} * stored_.samples * sampleBytes_;
  const std::size_t pixelRow = stored_.width * layout_.pixelBytes();
  if (isStoredAsIs() && rows.size() >= kDirectBytes && chunkAt_ == chunk_.size()) {
    return take(rows, static_cast<std::uint32_t>(rows.size() / rowBytes));
  }
  for (; !rows.empty(); rows = rows.subspan(rowBytes)) {
    if (chunkAt_ == chunk_.size()) {
      if (auto filled = fill(); !filled) return filled;
    }
    auto stored = storeRow(std::span(chunk_).subspan(chunkAt_, pixelRow), rows.first(rowBytes));
    if (!stored) return stored;
    chunkAt_ += pixelRow;
  }
  return {};
}

}  // namespace kelvo::tiff
