#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/image_io/codec.h"
#include "platform/image_io/heif/structure.h"

// Which items are the pictures of a file, and what else there is.
namespace kelvo::heif {

// Colour as ITU-T H.273 numbers it; 2 is "unspecified".
struct ColorCoding {
  unsigned primaries = 2;
  unsigned transfer = 2;
  unsigned matrix = 2;
  bool fullRange = true;

  friend bool operator==(const ColorCoding&, const ColorCoding&) = default;
};

// One coded item, or a grid of them. Sizes are those of the stored pixels, before cropping,
// rotation and mirroring.
struct Picture {
  ItemId item = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t columns = 1;
  std::uint32_t rows = 1;
  std::uint32_t tileWidth = 0;
  std::uint32_t tileHeight = 0;
  std::vector<ItemId> tiles;  // row by row
  std::optional<ColorCoding> color;
};

struct Frame {
  Picture picture;
  std::optional<Picture> alpha;
  bool premultiplied = false;  // the stored colour is multiplied by alpha
  std::vector<Picture> thumbnails;
  std::vector<std::byte> profile;
};

struct Pictures {
  std::vector<Frame> frames;  // the primary picture first, then in the file's order
  // Why the file cannot be written back whole: its first reason. Empty if it can.
  std::string obstacle;
};

// An error if the primary picture cannot be read at all.
Result<Pictures> findPictures(const Structure& structure);

// The kinds of coded items that can be decoded and encoded.
constexpr FourCC kHevcItem = fourCC("hvc1");
constexpr FourCC kAv1Item = fourCC("av01");
constexpr FourCC kGridItem = fourCC("grid");

constexpr bool isCoded(FourCC type) { return type == kHevcItem || type == kAv1Item; }
// The property that holds a coded item's decoder configuration.
constexpr FourCC configurationOf(FourCC type) {
  return type == kHevcItem ? fourCC("hvcC") : fourCC("av1C");
}

}  // namespace kelvo::heif
