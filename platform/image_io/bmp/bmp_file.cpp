#include "platform/image_io/bmp/bmp_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "platform/image_io/bmp/bmp_rle.h"
#include "platform/image_io/little_endian.h"
#include "platform/image_io/mapped_file.h"

namespace kelvo {

Error outsideTable(unsigned index, std::size_t entries) {
  return Error{fmt::format("a pixel has colour {} of a table of {}", index, entries)};
}

void unpackBmpIndices(std::span<const std::byte> row, unsigned bits,
                      std::span<std::uint8_t> indices) {
  const unsigned perByte = 8 / bits;
  const unsigned mask = (1U << bits) - 1;
  for (std::size_t x = 0; x < indices.size(); ++x) {
    const auto shift = static_cast<unsigned>(8 - bits * (x % perByte + 1));
    indices[x] =
        static_cast<std::uint8_t>(std::to_integer<unsigned>(row[x / perByte]) >> shift & mask);
  }
}

Result<std::shared_ptr<const BmpFile>> BmpFile::open(FileBytes file, const Limits& limits) {
  auto header = readBmpHeader(file->bytes(), limits);
  if (!header) return std::move(header).error();
  std::shared_ptr<BmpFile> bmp(new BmpFile);
  bmp->file_ = std::move(file);
  bmp->limits_ = limits;
  bmp->header_ = *header;
  return std::shared_ptr<const BmpFile>(std::move(bmp));
}

std::span<const std::byte> BmpFile::bytes() const { return file_->bytes(); }

std::span<const std::byte> BmpFile::part(const BmpRange& range) const {
  return bytes().subspan(range.begin, range.size);
}

std::span<const std::byte> BmpFile::row(std::uint32_t row) const {
  const std::uint64_t stored = header_.topDown ? row : header_.height - 1 - row;
  return part({header_.pixels.begin + stored * header_.rowBytes(), header_.rowBytes()});
}

SourceStatus BmpFile::status() const {
  std::call_once(checked_, [&] { status_ = check(); });
  return status_;
}

SourceStatus BmpFile::check() const {
  const std::uint64_t size = bytes().size();
  const std::uint64_t needed =
      std::max({header_.fileBytes, header_.pixels.end(), header_.profile.end()});
  if (needed > size) {
    return {CGImageSourceStatus::incomplete,
            fmt::format("the file has {} of its {} bytes", size, needed)};
  }
  if (header_.compression == BmpCompression::none) return {};
  return decodeBmpRuns(part(header_.pixels), header_, {}).status;
}

Palette BmpFile::palette() const {
  Palette palette;
  const auto table = part(header_.table);
  for (std::size_t at = 0; at < table.size(); at += header_.entryBytes) {
    const auto sample = [&](std::size_t i) { return std::to_integer<std::uint8_t>(table[at + i]); };
    palette.push_back({sample(2), sample(1), sample(0), 255});
  }
  return palette;
}

Result<void> BmpFile::checkIndices() const {
  const std::size_t entries = header_.entries();
  if (entries == std::size_t{1} << header_.pixelBits) return {};
  unsigned highest = 0;
  if (header_.compression == BmpCompression::none) {
    std::vector<std::uint8_t> indices(header_.width);
    for (std::uint32_t y = 0; y < header_.height; ++y) {
      unpackBmpIndices(row(y), header_.pixelBits, indices);
      highest = std::max<unsigned>(highest, *std::ranges::max_element(indices));
    }
  } else {
    highest = decodeBmpRuns(part(header_.pixels), header_, {}).highest;
  }
  if (highest >= entries) return outsideTable(highest, entries);
  return {};
}

bool BmpFile::hasAlpha() const {
  std::call_once(alphaFound_, [&] { hasAlpha_ = findAlpha(); });
  return hasAlpha_;
}

bool BmpFile::findAlpha() const {
  const std::uint32_t mask = header_.channels[3].mask;
  if (header_.indexed() || mask == 0) return false;
  const std::size_t pixelBytes = header_.pixelBits / 8;
  for (std::uint32_t y = 0; y < header_.height; ++y) {
    const auto stored = row(y).first(std::size_t{header_.width} * pixelBytes);
    for (std::size_t at = 0; at < stored.size(); at += pixelBytes) {
      if ((readLittleEndian(stored.subspan(at, pixelBytes)) & mask) != 0) return true;
    }
  }
  return false;
}

}  // namespace kelvo
