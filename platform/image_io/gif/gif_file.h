#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/image_io/codec.h"

// The structure of a GIF file: where its tables and frames stand, before any of them is decoded.
namespace kelvo {

// A colour table: where it begins and how many entries of r, g, b it has; none if there is none.
struct GifTable {
  std::size_t position = 0;
  std::size_t entries = 0;

  [[nodiscard]] std::size_t end() const { return position + 3 * entries; }
};

struct GifFrame {
  std::uint16_t width = 0;
  std::uint16_t height = 0;
  bool interlaced = false;
  std::size_t descriptor = 0;               // where its image descriptor begins
  GifTable ownTable;                        // its local table
  std::optional<std::uint8_t> transparent;  // the index that leaves what is below as it is
  std::uint8_t codeSize = 0;                // bits of an index as its compressed data begins
  std::span<const std::byte> subBlocks;     // that data, with lengths, to the empty sub-block

  [[nodiscard]] std::uint64_t pixels() const { return std::uint64_t{width} * height; }
};

// One file's structure. Holds the file; spans point into it.
class GifFile {
 public:
  // Walks the blocks. Errors: the file ends inside its header, or has more or larger frames than
  // the limits allow. Whatever else is wrong is left to status().
  static Result<std::shared_ptr<const GifFile>> open(FileBytes file, const Limits& limits);

  [[nodiscard]] const MappedFile& bytes() const { return *file_; }
  [[nodiscard]] const Limits& limits() const { return limits_; }
  [[nodiscard]] const std::vector<GifFrame>& frames() const { return frames_; }
  [[nodiscard]] const GifTable& globalTable() const { return globalTable_; }
  // The table that a frame is looked up in: its own, else the global one.
  [[nodiscard]] const GifTable& tableOf(const GifFrame& frame) const {
    return frame.ownTable.entries != 0 ? frame.ownTable : globalTable_;
  }
  [[nodiscard]] std::span<const std::byte> colors(const GifTable& table) const;
  // Complete only with a trailer and at least one frame. Bytes after the trailer are not looked at.
  [[nodiscard]] const SourceStatus& status() const { return status_; }

 private:
  GifFile() = default;

  FileBytes file_;
  Limits limits_;
  GifTable globalTable_;
  std::vector<GifFrame> frames_;
  SourceStatus status_;

  friend class GifWalk;
};

// Packed bytes of the screen's and the frames' descriptors.
namespace gif {
constexpr std::size_t kScreenPacked = 10;     // where the screen's stands in the file
constexpr std::size_t kDescriptorPacked = 9;  // where a frame's stands in its descriptor
constexpr unsigned kHasTable = 0x80;
constexpr unsigned kInterlaced = 0x40;    // frame
constexpr unsigned kSorted = 0x20;        // frame
constexpr unsigned kScreenSorted = 0x08;  // screen
constexpr unsigned kTableSize = 0x07;     // a table has 2 << this entries
}  // namespace gif

}  // namespace kelvo
