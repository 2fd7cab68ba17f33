#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/image_io/codec.h"

// What stands in a JPEG file besides the entropy-coded data, read from its markers alone.
namespace kelvo::jpeg {

constexpr std::size_t kMaxComponents = 4;
constexpr std::size_t kTableSlots = 4;

// An application segment or comment, without its marker and length.
struct Segment {
  std::uint8_t marker = 0;  // 0xE0…0xEF, 0xFE
  std::span<const std::byte> payload;
};

using QuantTable = std::array<std::uint16_t, 64>;  // natural order, row by row

struct HuffmanTable {
  std::array<std::uint8_t, 17> counts = {};  // [n]: how many codes have n bits; [0] is 0
  std::vector<std::uint8_t> symbols;         // in order of their codes

  friend bool operator==(const HuffmanTable&, const HuffmanTable&) = default;
};

struct Component {
  std::uint8_t id = 0;
  std::uint8_t horizontalSampling = 1;
  std::uint8_t verticalSampling = 1;
  std::uint8_t quantSlot = 0;
  // As of the first scan that has the component.
  std::uint8_t dcSlot = 0;
  std::uint8_t acSlot = 0;
  std::optional<QuantTable> quantTable;
};

struct Scan {
  std::vector<std::uint8_t> components;  // indices into Structure::components
  std::uint8_t spectralStart = 0;
  std::uint8_t spectralEnd = 63;
  std::uint8_t approximationHigh = 0;
  std::uint8_t approximationLow = 0;
  std::uint32_t restartInterval = 0;  // coded units; 0: none
};

// Conditioning of the arithmetic coder, with its defaults.
struct ArithmeticConditioning {
  std::array<std::uint8_t, kTableSlots> dcLower = {0, 0, 0, 0};
  std::array<std::uint8_t, kTableSlots> dcUpper = {1, 1, 1, 1};
  std::array<std::uint8_t, kTableSlots> ac = {5, 5, 5, 5};
};

struct Structure {
  std::uint8_t frameMarker = 0;  // 0xC0…0xCF; 0: none was found
  std::uint8_t precision = 0;    // bits a sample
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<Component> components;
  std::vector<Segment> segments;  // in the order of the file
  // As of the first scan.
  std::array<std::optional<HuffmanTable>, kTableSlots> dcTables;
  std::array<std::optional<HuffmanTable>, kTableSlots> acTables;
  ArithmeticConditioning conditioning;
  std::vector<Scan> scans;
  std::size_t end = 0;  // just after the end-of-image marker
  SourceStatus status;

  [[nodiscard]] bool progressive() const { return frameMarker == 0xC2 || frameMarker == 0xCA; }
  [[nodiscard]] bool arithmetic() const { return frameMarker >= 0xC9; }
  // The decoder must hold all coefficients before the first row comes out.
  [[nodiscard]] bool severalScans() const {
    return progressive() || (!scans.empty() && scans.front().components.size() < components.size());
  }
};

enum class Extent { toFirstScan, wholeFile };

// Never fails: what is wrong is in `status`, and what was read before it is there. `file` may be a
// part of `mapped`, whose pages are let go of.
Structure readStructure(std::span<const std::byte> file, Extent extent,
                        const MappedFile* mapped = nullptr);

}  // namespace kelvo::jpeg
