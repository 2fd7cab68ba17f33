#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/image_io/codec.h"
#include "platform/image_io/heif/boxes.h"

namespace kelvo::jpeg2000 {

using heif::Bytes;

struct Component {
  unsigned bits = 8;
  bool isSigned = false;
  unsigned stepX = 1;
  unsigned stepY = 1;

  friend bool operator==(const Component&, const Component&) = default;
};

// How all tiles are coded, in the numbers of ISO/IEC 15444-1, A.6.1.
struct CodingStyle {
  unsigned flags = 0;        // precincts 1, SOP 2, EPH 4
  unsigned progression = 0;  // LRCP, RLCP, RPCL, PCRL, CPRL
  unsigned layers = 1;
  unsigned transform = 0;   // of components: 0 none, 1 the one of Part 1
  unsigned levels = 0;      // of decomposition
  unsigned blockWidth = 0;  // code-blocks: the exponent of 2, less 2
  unsigned blockHeight = 0;
  unsigned blockStyle = 0;
  bool reversible = false;              // 5-3, else 9-7
  std::vector<std::uint8_t> precincts;  // one for each resolution, lowest first

  friend bool operator==(const CodingStyle&, const CodingStyle&) = default;
};

// On the reference grid.
struct Grid {
  std::uint32_t right = 0;
  std::uint32_t bottom = 0;
  std::uint32_t left = 0;
  std::uint32_t top = 0;
  std::uint32_t tileWidth = 0;
  std::uint32_t tileHeight = 0;
  std::uint32_t tileLeft = 0;
  std::uint32_t tileTop = 0;

  [[nodiscard]] std::uint32_t width() const { return right - left; }
  [[nodiscard]] std::uint32_t height() const { return bottom - top; }
  [[nodiscard]] std::uint32_t columns() const {
    return static_cast<std::uint32_t>((std::uint64_t{right} - tileLeft + tileWidth - 1) /
                                      tileWidth);
  }
  [[nodiscard]] std::uint32_t rows() const {
    return static_cast<std::uint32_t>((std::uint64_t{bottom} - tileTop + tileHeight - 1) /
                                      tileHeight);
  }

  friend bool operator==(const Grid&, const Grid&) = default;
};

// What the markers of a codestream tell; no pixel is decoded.
struct Codestream {
  Bytes bytes;
  Grid grid;
  std::vector<Component> components;
  unsigned profile = 0;  // Rsiz
  CodingStyle style;
  bool otherStyles = false;     // of tiles or components of their own
  std::vector<Bytes> kept;      // segments of the main header that are about nothing coded, whole
  bool tileLengths = false;     // has TLM
  bool packetLengths = false;   // has PLT
  std::size_t headerBytes = 0;  // up to the first tile
  std::vector<std::uint64_t> tileBytes;  // of each tile, headers left out
  SourceStatus status;
  // Why it cannot be written back whole: its first reason. Empty if it can.
  std::string obstacle;
};

// An error if the main header makes no sense.
Result<Codestream> readCodestream(Bytes bytes);

// Two codestreams that are stored in the same way, depth and coded data aside.
bool sameForm(const Codestream& a, const Codestream& b);

}  // namespace kelvo::jpeg2000
