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

SampleRows::SampleRows(std::shared_ptr<const TiffFile> file, const Picture& picture)
    : file_(std::move(file)),
      picture_(picture),
      rowBytes_(static_cast<std::size_t>(
          (std::uint64_t{picture.width} * picture.samples * picture.bits + 7) / 8)),
      planeRowBytes_(static_cast<std::size_t>(picture.planeBytes(
          picture.tiled ? std::uint64_t{picture.across()} * picture.strileWidth : picture.width))) {
}

Result<std::unique_ptr<SampleRows>> SampleRows::open(std::shared_ptr<const TiffFile> file,
                                                     std::size_t frame) {
  const auto& picture = file->picture(frame);
  if (!picture) return picture.error();
  auto striles = file->striles(frame);
  if (!striles) return std::move(striles).error();
  for (const Extent& strile : *striles) {
    if (strile.length == 0 || !file->view().holds(strile.offset, strile.length)) {
      return Error{"a strip or tile lies outside the file"};
    }
  }
  std::unique_ptr<SampleRows> self(new SampleRows(std::move(file), *picture));
  self->striles_ = *std::move(striles);
  if (auto opened = self->openHandles(frame); !opened) return std::move(opened).error();
  return self;
}

Result<void> SampleRows::openHandles(std::size_t frame) {
  const Limits& limits = file_->limits();
  const auto band = bandBytes(picture_, limits);
  if (!band) return band.error();
  byRows_ = !picture_.tiled && *band > wholeStripBytes(limits);
  // Decoding row by row stops at the last row and so never meets the checksum.
  if (byRows_ && isDeflated(picture_)) {
    for (std::uint32_t i = 0; i < striles_.size(); ++i) {
      if (auto checked = checkDeflated(storedStrile(i)); !checked) return checked;
    }
  }
  if (!byRows_) band_.resize(static_cast<std::size_t>(*band));
  if (picture_.tiled) {
    tile_.resize(static_cast<std::size_t>(picture_.planeBytes(picture_.strileWidth) *
                                          picture_.strileHeight));
  }
  std::span<const std::byte> tables;
  if (const Entry* const entry = file_->frames()[frame].find(kJpegTables)) {
    tables = valueBytes(file_->view(), *entry);
  }
  const std::uint32_t handles = byRows_ ? picture_.planes() : 1;
  for (std::uint32_t i = 0; i < handles; ++i) {
    auto handle =
        DecodingHandle::open(file_->view(), picture_, striles_, tables, limits.maxMemoryBytes);
    if (!handle) return std::move(handle).error();
    handles_.push_back(*std::move(handle));
  }
  return {};
}

// The bytes of a strip or tile, most significant bits first. Valid until the next call.
std::span<const std::byte> SampleRows::storedStrile(std::uint32_t index) {
  const auto stored = file_->view().bytes.subspan(static_cast<std::size_t>(striles_[index].offset),
                                                  static_cast<std::size_t>(striles_[index].length));
  if (picture_.fillOrder == 1) return stored;
  turned_.assign(stored.begin(), stored.end());
  TIFFReverseBits(reinterpret_cast<std::uint8_t*>(turned_.data()),
                  static_cast<tmsize_t>(turned_.size()));
  return turned_;
}

Result<void> SampleRows::readStrile(std::uint32_t index, std::span<std::byte> samples) {
  if (isDeflated(picture_)) {
    const auto stored = storedStrile(index);
    if (inflateStrile(stored, file_->view().format, picture_, samples)) return {};
    if (auto checked = checkDeflated(stored); !checked) return checked;
  }
  return handles_.front()->readStrile(index, samples);
}

std::span<std::byte> SampleRows::planeRow(std::uint32_t plane) {
  const std::uint32_t inBand = row_ % picture_.strileHeight;
  const std::size_t at = (std::size_t{plane} * picture_.strileHeight + inBand) * planeRowBytes_;
  return std::span(band_).subspan(at, planeRowBytes_);
}

Result<void> SampleRows::loadTiles(std::uint32_t plane, std::span<std::byte> band) {
  const std::uint32_t across = picture_.across();
  const std::size_t tileRow = tile_.size() / picture_.strileHeight;
  // Tiles of less than 8 bits a sample are a multiple of 16 pixels wide, so their rows are whole
  // bytes and join without shifting.
  const std::uint32_t first = (plane * picture_.down() + row_ / picture_.strileHeight) * across;
  for (std::uint32_t i = 0; i < across; ++i) {
    if (auto read = readStrile(first + i, tile_); !read) return read;
    for (std::uint32_t y = 0; y < picture_.strileHeight; ++y) {
      std::memcpy(band.data() + y * planeRowBytes_ + i * tileRow, tile_.data() + y * tileRow,
                  tileRow);
    }
  }
  return {};
}

Result<void> SampleRows::loadBand() {
  for (std::uint32_t plane = 0; plane < picture_.planes(); ++plane) {
    const std::uint32_t rows = picture_.rowsAt(row_);
    const std::span band = std::span(band_).subspan(
        std::size_t{plane} * picture_.strileHeight * planeRowBytes_, rows * planeRowBytes_);
    const std::uint32_t strip = plane * picture_.down() + row_ / picture_.strileHeight;
    auto loaded = picture_.tiled ? loadTiles(plane, band) : readStrile(strip, band);
    if (!loaded) return loaded;
  }
  return {};
}

Result<void> SampleRows::readRow(std::span<std::byte> row) {
  if (!byRows_ && row_ % picture_.strileHeight == 0) {
    if (auto loaded = loadBand(); !loaded) return loaded;
  }
  if (!picture_.separate) {
    if (byRows_) return handles_.front()->readRow(row_, 0, row);
    std::memcpy(row.data(), planeRow(0).data(), row.size());
    return {};
  }
  std::vector<std::byte>& single = tile_;  // unused with strips, which alone go row by row
  if (byRows_) single.resize(planeRowBytes_);
  for (std::uint32_t plane = 0; plane < picture_.planes(); ++plane) {
    std::span<const std::byte> samples;
    if (byRows_) {
      if (auto read = handles_[plane]->readRow(row_, plane, single); !read) return read;
      samples = single;
    } else {
      samples = planeRow(plane);
    }
    const std::size_t sampleBytes = picture_.bits / 8;
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
