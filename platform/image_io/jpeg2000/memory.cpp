#include <fmt/format.h>

#include <algorithm>

#include "platform/image_io/jpeg2000/jpeg2000_file.h"

namespace kelvo::jpeg2000 {
namespace {

// What one component of a tile is divided into, at the most.
struct Parts {
  double blocks = 0;
  double precincts = 0;  // of all bands
  double most = 0;       // precincts of one resolution
};

// How many cells of a grid so many samples touch, wherever they begin.
double cells(std::uint64_t samples, unsigned exponent) {
  const std::uint64_t side = std::uint64_t{1} << exponent;
  const std::uint64_t count = (samples + side - 2) / side + 1;
  return static_cast<double>(count);
}

// ISO/IEC 15444-1, B.5 to B.7.
Parts partsOf(const CodingStyle& style, std::uint64_t width, std::uint64_t height) {
  constexpr unsigned kWholePrecinct = 15;
  Parts parts;
  for (unsigned resolution = 0; resolution <= style.levels; ++resolution) {
    const unsigned shift = style.levels - resolution;
    const auto reduced = [shift](std::uint64_t side) { return ((side - 1) >> shift) + 1; };
    unsigned across = kWholePrecinct;
    unsigned down = kWholePrecinct;
    if (!style.precincts.empty()) {
      across = style.precincts[resolution] & 0xFU;
      down = style.precincts[resolution] >> 4U;
    }
    const double precincts = cells(reduced(width), across) * cells(reduced(height), down);
    // All but the lowest have three bands of half the size.
    const bool lowest = resolution == 0;
    const unsigned half = lowest ? 0 : 1;
    const double bands = lowest ? 1 : 3;
    const auto blocksAlong = [half](std::uint64_t side, unsigned precinct, unsigned block) {
      const unsigned inBand = precinct - std::min(half, precinct);
      return cells((side + half) >> half, std::min(inBand, block + 2));
    };
    parts.blocks += bands * blocksAlong(reduced(width), across, style.blockWidth) *
                    blocksAlong(reduced(height), down, style.blockHeight);
    parts.precincts += bands * precincts;
    parts.most = std::max(parts.most, precincts);
  }
  return parts;
}

}  // namespace

Result<void> checkMemory(const Jpeg2000File& file, Use use) {
  // What the library holds, by measurement: of each tile from its first to its last, of a tile's
  // samples, blocks and precincts while it is worked on.
  constexpr double kTileBytes = 8800;
  constexpr double kTileComponentBytes = 1100;
  constexpr double kTileBytesPerSample = 16;
  constexpr double kDecodedBlockBytes = 430;
  constexpr double kEncodedBlockBytes = 5300;
  constexpr double kPrecinctBytes = 160;
  constexpr double kPacketBytes = 2;
  // What we hold of a row of tiles: samples of 4 bytes while they are decoded, the adjusted pixels
  // while they are encoded.
  constexpr double kRowBytesPerSample = 4;
  const Grid& grid = file.codestream.grid;
  const CodingStyle& style = file.codestream.style;
  const auto components = static_cast<double>(file.codestream.components.size());
  const std::uint64_t width = std::min(grid.tileWidth, grid.width());
  const std::uint64_t height = std::min(grid.tileHeight, grid.height());
  const double tile = static_cast<double>(width) * static_cast<double>(height);
  const double row = static_cast<double>(grid.width()) * static_cast<double>(height);
  const double tiles = static_cast<double>(grid.columns()) * grid.rows();
  const Parts parts = partsOf(style, width, height);
  // The library marks each packet that it has seen, in a table for the resolution that has the
  // most.
  const double packets = (style.layers + 1.0) * (style.levels + 1.0) * parts.most;
  const double structure = parts.precincts * kPrecinctBytes + packets * kPacketBytes;
  const double always = tiles * (kTileBytes + components * kTileComponentBytes) +
                        components * (structure + row * kRowBytesPerSample);
  double needed =
      always + components * (tile * kTileBytesPerSample + parts.blocks * kDecodedBlockBytes);
  // Tiles are encoded one by one, and a lossy one is decoded again.
  if (use == Use::rewrite) {
    needed += components * (structure + row * kRowBytesPerSample + tile * kTileBytesPerSample +
                            parts.blocks * kEncodedBlockBytes);
  }
  if (needed <= static_cast<double>(file.limits.maxMemoryBytes)) return {};
  constexpr double kMiB = 1 << 20;
  return Error{
      fmt::format("a picture stored like this takes {:.0f} MiB of memory, more than the {} MiB "
                  "allowed (--max-memory)",
                  needed / kMiB + 0.5, file.limits.maxMemoryBytes >> 20U)};
}

}  // namespace kelvo::jpeg2000
