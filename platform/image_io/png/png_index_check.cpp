#include "platform/image_io/png/png_index_check.h"

#include <fmt/format.h>
#include <libdeflate.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "platform/image_io/png/adam7.h"
#include "platform/image_io/png/png_decoder.h"
#include "platform/image_io/png/png_rows.h"

namespace kelvo {
namespace {

// A picture that takes no more than this, compressed and not, is looked at as a whole.
constexpr std::uint64_t kMostBytes = 64ULL << 20;
// Of a process's memory it may be this part.
constexpr std::uint64_t kMemoryShare = 4;

// A zlib stream's first byte, if it may reach back as far as the format allows. Where it says that
// it reaches less far, decoders hold it to that.
constexpr std::byte kFullWindow{0x78};

class Bytes {
 public:
  explicit Bytes(std::size_t size)
      : memory_(std::make_unique_for_overwrite<std::byte[]>(size)), size_(size) {}
  [[nodiscard]] std::span<std::byte> all() { return {memory_.get(), size_}; }

 private:
  std::unique_ptr<std::byte[]> memory_;  // not filled first: that costs as much as the check
  std::size_t size_;
};

// Whether the whole stream, to its checksum, makes exactly these bytes.
bool inflatesTo(std::span<const std::byte> packed, std::span<std::byte> bytes) {
  const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> inflater(
      libdeflate_alloc_decompressor(), &libdeflate_free_decompressor);
  std::size_t read = 0;
  std::size_t made = 0;
  return inflater != nullptr && packed.front() == kFullWindow &&
         libdeflate_zlib_decompress_ex(inflater.get(), packed.data(), packed.size(), bytes.data(),
                                       bytes.size(), &read, &made) == LIBDEFLATE_SUCCESS &&
         read == packed.size() && made == bytes.size();
}

// True only of a picture that is good beyond doubt. Three times as fast as reading it row by row.
bool looksGood(const PngFile& file, const PngPicture& picture, std::size_t entries) {
  const PngHeader& header = picture.header;
  const std::size_t rowBytes = (std::size_t{header.width} * header.bitDepth + 7) / 8 + 1;
  std::uint64_t packedBytes = 0;
  for (const auto part : picture.data) packedBytes += part.size();
  const std::uint64_t most = std::min(kMostBytes, file.limits().maxMemoryBytes / kMemoryShare);
  if (header.interlaced || packedBytes == 0 || packedBytes > most ||
      rowBytes > (most - packedBytes) / header.height) {
    return false;
  }
  Bytes packed(packedBytes);
  std::size_t at = 0;
  for (const auto part : picture.data) {
    std::ranges::copy(part, packed.all().begin() + static_cast<std::ptrdiff_t>(at));
    at += part.size();
  }
  Bytes rows(rowBytes * header.height);
  if (!inflatesTo(packed.all(), rows.all())) return false;
  constexpr std::byte kLastFilter{4};
  const bool everyIndexFits = entries >= std::size_t{1} << header.bitDepth;
  for (std::size_t y = 0; y < header.height; ++y) {
    const auto row = rows.all().subspan(y * rowBytes, rowBytes);
    if (row.front() > kLastFilter) return false;
    if (everyIndexFits) continue;
    // Indices stand there as they are if the row is not filtered.
    if (header.bitDepth != 8 || row.front() != std::byte{0}) return false;
    if (std::to_integer<std::size_t>(*std::ranges::max_element(row)) >= entries) return false;
  }
  return true;
}

// Row by row; says what is wrong.
Result<void> checkRowByRow(const std::shared_ptr<const PngFile>& file, std::size_t picture,
                           std::size_t entries) {
  const PngHeader& header = file->pictures()[picture].header;
  auto decoder = PngDecoder::open(file, picture);
  if (!decoder) return std::move(decoder).error();
  std::vector<std::byte> row((*decoder)->rowBytes());
  const auto checkRows = [&](std::uint32_t rows, std::uint32_t width) -> Result<void> {
    for (std::uint32_t y = 0; y < rows; ++y) {
      if (auto read = (*decoder)->read(row); !read) return read;
      const auto index = std::to_integer<std::size_t>(
          *std::max_element(row.begin(), row.begin() + static_cast<std::ptrdiff_t>(width)));
      if (index >= entries) {
        return Error{fmt::format("a pixel has colour {} of a table of {}", index, entries)};
      }
    }
    return {};
  };
  if (!header.interlaced) return checkRows(header.height, header.width);
  for (const Adam7Pass& pass : kAdam7) {
    const std::uint32_t width = pass.width(header.width);
    if (width == 0) continue;
    if (auto good = checkRows(pass.height(header.height), width); !good) return good;
  }
  return {};
}

}  // namespace

Result<void> checkPngIndices(const std::shared_ptr<const PngFile>& file, std::size_t picture,
                             std::size_t entries) {
  if (auto fits = checkPngMemory(*file, 0); !fits) return fits;
  if (looksGood(*file, file->pictures()[picture], entries)) return {};
  return checkRowByRow(file, picture, entries);
}

}  // namespace kelvo
