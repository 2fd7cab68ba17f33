#include "platform/image_io/tiff/sample_rows.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "platform/image_io/tiff/deflated_strile.h"
#include "platform/image_io/tiff/tags.h"

namespace kelvo::tiff {
namespace {

constexpr std::uint64_t kWholeStripBytes = 64ULL << 20;

}  // namespace

std::uint64_t wholeStripBytes(const Limits& limits) {
  return std::min(kWholeStripBytes, limits.maxMemoryBytes / 4);
}

Result<std::uint64_t> bandBytes(const Picture& picture, const Limits& limits) {
  const std::uint64_t width =
      picture.tiled ? std::uint64_t{picture.across()} * picture.strileWidth : picture.width;
  const std::uint64_t row = picture.planeBytes(width);
  const std::uint64_t most = limits.maxMemoryBytes / 4;
  const std::uint64_t rows = std::uint64_t{picture.strileHeight} * picture.planes();
  if (row <= most / rows) return row * rows;
  if (!picture.tiled) return row * picture.strileHeight > row ? most + 1 : row;
  return Error{"a row of tiles of " + std::to_string(row) + " bytes times " + std::to_string(rows) +
               " rows needs more than a quarter of the " + std::to_string(limits.maxMemoryBytes) +
               " bytes of memory allowed (--max-memory)"};
}

void interleave(std::span<const std::byte> plane, std::size_t sampleBytes, std::uint32_t index,
                std::uint32_t samples, std::span<std::byte> pixels) {
  std::byte* to = pixels.data() + index * sampleBytes;
  const std::size_t step = samples * sampleBytes;
  if (sampleBytes == 1) {
    for (const std::byte sample : plane) {
      *to = sample;
      to += step;
    }
    return;
  }
  for (std::size_t i = 0; i < plane.size(); i += 2) {
    std::memcpy(to, plane.data() + i, 2);
    to += step;
  }
}

void pickSample(std::span<const std::byte> pixels, std::size_t sampleBytes, std::uint32_t index,
                std::uint32_t samples, std::span<std::byte> plane) {
  const std::byte* from = pixels.data() + index * sampleBytes;
  const std::size_t step = samples * sampleBytes;
  for (std::size_t i = 0; i < plane.size(); i += sampleBytes) {
    std::memcpy(plane.data() + i, from, sampleBytes);
    from += step;
  }
}

SampleRows::SampleRows(const StoredStriles& stored)
    : file_(stored.file),
      picture_(stored.picture),
      rowBytes_(static_cast<std::size_t>(
          (std::uint64_t{picture_.width} * picture_.samples * picture_.bits + 7) / 8)),
      planeRowBytes_(static_cast<std::size_t>(picture_.planeBytes(
          picture_.tiled ? std::uint64_t{picture_.across()} * picture_.strileWidth
                         : picture_.width))) {}

Result<std::unique_ptr<SampleRows>> SampleRows::open(std::shared_ptr<const TiffFile> file,
                                                     std::size_t frame) {
  auto stored = StoredStriles::of(std::move(file), frame);
  if (!stored) return std::move(stored).error();
  std::unique_ptr<SampleRows> self(new SampleRows(*stored));
  if (auto prepared = self->prepare(*std::move(stored)); !prepared) {
    return std::move(prepared).error();
  }
  return self;
}

Result<void> SampleRows::prepare(StoredStriles stored) {
  const Limits& limits = file_->limits();
  const auto band = bandBytes(picture_, limits);
  if (!band) return band.error();
  const bool asStored = stored.areSamples() && !picture_.tiled;
  if (!asStored && !picture_.tiled && *band > wholeStripBytes(limits)) return openHandles(stored);
  // Single strips are used as they come.
  if (picture_.tiled || (picture_.separate && !asStored)) {
    band_.resize(static_cast<std::size_t>(*band));
  }
  planes_.resize(picture_.planes());
  reader_ = std::make_unique<StrileReader>(std::move(stored));
  return {};
}

Result<void> SampleRows::openHandles(const StoredStriles& stored) {
  // Decoding row by row stops at the last row and so never meets the checksum.
  if (isDeflated(picture_)) {
    std::vector<std::byte> turned;
    for (std::uint32_t i = 0; i < stored.striles.size(); ++i) {
      if (auto checked = checkDeflated(inReadingOrder(stored, i, turned)); !checked) return checked;
    }
  }
  for (std::uint32_t i = 0; i < picture_.planes(); ++i) {
    auto handle = stored.openHandle();
    if (!handle) return std::move(handle).error();
    handles_.push_back(*std::move(handle));
  }
  if (picture_.separate) planeRow_.resize(planeRowBytes_);
  return {};
}

// One row of tiles, joined. Tiles of less than 8 bits a sample are a multiple of 16 pixels wide, so
// their rows are whole bytes and join without shifting.
Result<void> SampleRows::loadTiles(std::span<std::byte> band) {
  for (std::uint32_t i = 0; i < picture_.across(); ++i) {
    const auto tile = reader_->next();
    if (!tile) return tile.error();
    const std::size_t tileRow = tile->size() / picture_.strileHeight;
    for (std::uint32_t y = 0; y < picture_.strileHeight; ++y) {
      std::memcpy(band.data() + y * planeRowBytes_ + i * tileRow, tile->data() + y * tileRow,
                  tileRow);
    }
  }
  return {};
}

Result<void> SampleRows::loadBand() {
  const std::size_t planeBytes = picture_.rowsAt(row_) * planeRowBytes_;
  for (std::uint32_t plane = 0; plane < picture_.planes(); ++plane) {
    const std::span own =
        band_.empty()
            ? std::span<std::byte>()
            : std::span(band_).subspan(std::size_t{plane} * picture_.strileHeight * planeRowBytes_,
                                       planeBytes);
    planes_[plane] = own;
    if (picture_.tiled) {
      if (auto loaded = loadTiles(own); !loaded) return loaded;
      continue;
    }
    const auto strip = reader_->next();
    if (!strip) return strip.error();
    if (own.empty()) {
      planes_[plane] = *strip;
    } else {
      std::memcpy(own.data(), strip->data(), own.size());
    }
  }
  return {};
}

Result<void> SampleRows::readRow(std::span<std::byte> row) {
  const std::uint32_t inBand = row_ % picture_.strileHeight;
  if (reader_ && inBand == 0) {
    if (auto loaded = loadBand(); !loaded) return loaded;
  }
  if (!reader_ && !picture_.separate) return handles_.front()->readRow(row_, 0, row);
  const std::size_t sampleBytes = picture_.bits / 8;
  for (std::uint32_t plane = 0; plane < picture_.planes(); ++plane) {
    std::span<const std::byte> samples = planeRow_;
    if (reader_) {
      samples = planes_[plane].subspan(inBand * planeRowBytes_, planeRowBytes_);
    } else if (auto read = handles_[plane]->readRow(row_, plane, planeRow_); !read) {
      return read;
    }
    if (!picture_.separate) {
      std::memcpy(row.data(), samples.data(), row.size());
      return {};
    }
    interleave(samples.first(picture_.width * sampleBytes), sampleBytes, plane, picture_.samples,
               row);
  }
  return {};
}

Result<void> SampleRows::read(std::span<std::byte> rows) {
  for (; !rows.empty(); rows = rows.subspan(rowBytes_)) {
    if (row_ >= picture_.height) return Error{"rows past the end of the picture"};
    if (auto read = readRow(rows.first(rowBytes_)); !read) return read;
    ++row_;
  }
  return {};
}

}  // namespace kelvo::tiff
