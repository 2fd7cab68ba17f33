#include "platform/image_io/jpeg2000/tile_joiner.h"

#include <algorithm>

#include "platform/image_io/jpeg2000/markers.h"

namespace kelvo::jpeg2000 {
namespace {

void append(std::vector<std::byte>& to, Bytes bytes) {
  to.insert(to.end(), bytes.begin(), bytes.end());
}

void put(std::vector<std::byte>& to, std::size_t at, std::uint64_t value, std::size_t count) {
  heif::Builder number;
  number.number(value, count);
  std::copy(number.bytes().begin(), number.bytes().end(),
            to.begin() + static_cast<std::ptrdiff_t>(at));
}

// How long each tile is, in as many segments as are needed: tiles with two bytes for their number
// and four for their length.
std::vector<std::byte> lengthsSegments(const std::vector<std::uint32_t>& lengths) {
  constexpr unsigned kTwoAndFour = 0x60;
  constexpr std::size_t kEntryBytes = 6;
  constexpr std::size_t kMostEntries = (65535 - 4) / kEntryBytes;
  heif::Builder result;
  for (std::size_t begin = 0; begin < lengths.size(); begin += kMostEntries) {
    const std::size_t end = std::min(lengths.size(), begin + kMostEntries);
    result.number(kTileLengths, 2);
    result.number(4 + (end - begin) * kEntryBytes, 2);
    result.number(begin / kMostEntries, 1);
    result.number(kTwoAndFour, 1);
    for (std::size_t tile = begin; tile < end; ++tile) {
      result.number(tile, 2);
      result.number(lengths[tile], 4);
    }
  }
  return result.take();
}

}  // namespace

// Of a codestream of one tile.
void TileJoiner::takeHeader(Bytes header) {
  append(header_, header.first(2));
  for (std::size_t position = 2; position < header.size();) {
    heif::Reader reader(header.subspan(position));
    const unsigned marker = reader.u16();
    const std::size_t bytes = std::size_t{reader.u16()} + 2;
    if (marker != kComment && marker != kRegistration)
      append(header_, header.subspan(position, bytes));
    if (marker == kSize) {
      const std::size_t segment = header_.size() - bytes;
      constexpr std::size_t kProfileOffset = 4;
      put(header_, segment + kProfileOffset, old_.profile, 2);
      const Grid& grid = old_.grid;
      std::size_t at = segment + kProfileOffset + 2;
      for (const std::uint32_t field :
           {grid.right, grid.bottom, grid.left, grid.top, grid.tileWidth, grid.tileHeight,
            grid.tileLeft, grid.tileTop}) {
        put(header_, at, field, 4);
        at += 4;
      }
    }
    position += bytes;
  }
  for (const Bytes segment : old_.kept) append(header_, segment);
}

Result<void> TileJoiner::add(Bytes tile) {
  const auto parsed = readCodestream(tile);
  if (!parsed || !parsed->status.cause.empty() || parsed->tileBytes.size() != 1) {
    return Error{"the picture cannot be encoded"};
  }
  const std::size_t header = parsed->headerBytes;
  if (header_.empty()) takeHeader(tile.first(header));
  const std::size_t begin = tiles_.size();
  append(tiles_, tile.subspan(header, tile.size() - header - 2));
  // Its parts tell which tile they belong to.
  constexpr std::size_t kNumberOffset = 4;
  constexpr std::size_t kLengthOffset = 6;
  for (std::size_t at = begin; at < tiles_.size();) {
    put(tiles_, at + kNumberOffset, lengths_.size(), 2);
    const std::uint64_t length = heif::Reader(Bytes(tiles_).subspan(at + kLengthOffset)).u32();
    if (length == 0) return Error{"the picture cannot be encoded"};
    at += length;
  }
  lengths_.push_back(static_cast<std::uint32_t>(tiles_.size() - begin));
  return {};
}

std::vector<std::byte> TileJoiner::finish() const {
  std::vector<std::byte> result = header_;
  if (old_.tileLengths) append(result, lengthsSegments(lengths_));
  append(result, tiles_);
  heif::Builder end;
  end.number(kEnd, 2);
  append(result, end.bytes());
  return result;
}

}  // namespace kelvo::jpeg2000
