#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <vector>

#include "platform/image_io/output_file.h"
#include "platform/image_io/tiff/file_layout.h"
#include "platform/image_io/tiff/tiff_file.h"

namespace kelvo::tiff {

// A value that takes the place of an entry's old one; bytes in the file's byte order.
struct NewValue {
  std::uint16_t type = 0;
  std::uint64_t count = 0;
  std::vector<std::byte> bytes;
};

// Writes a file that is the old one with other pixels: everything else is copied byte for byte, and
// offsets are adjusted to where things have moved. Files with values that may hold offsets that
// cannot be adjusted keep every such byte where it was; the pixels then fill the room the old ones
// leave and overflow to the end of the file.
class FileRewriter {
 public:
  static Result<std::unique_ptr<FileRewriter>> begin(OutputFile& out,
                                                     std::shared_ptr<const TiffFile> file);

  // Frames come in order. Between beginFrame and endFrame each strip or tile is placed once.
  Result<void> beginFrame(std::size_t frame);
  Result<void> placeStrile(std::size_t index, std::span<const std::byte> bytes);
  // A strip whose length is not known beforehand.
  Result<void> startStrile(std::size_t index);
  Result<void> appendToStrile(std::span<const std::byte> bytes);
  Result<void> endFrame();

  // Changes an entry that stands in a frame's directory (or a directory below it) already.
  void replace(const Entry& entry, NewValue value);

  // After the last frame.
  Result<void> finish();

 private:
  struct Block {
    Extent from;
    std::uint64_t to = 0;
    bool written = false;
  };

  FileRewriter(OutputFile& out, std::shared_ptr<const TiffFile> file, FileLayout layout);
  Result<void> writeBlock(Block& block);
  Result<void> writeBlocksBefore(std::uint64_t offset);
  Result<void> writeAt(std::uint64_t position, std::span<const std::byte> bytes);
  [[nodiscard]] std::uint64_t takeRoom(std::uint64_t length);
  [[nodiscard]] std::uint64_t moved(std::uint64_t offset) const;
  Result<void> writeDirectory(const Directory& directory, bool chained);
  Result<void> writeValue(const Entry& entry, const NewValue& value, std::span<std::byte> field);
  void findSharedValues();

  OutputFile& out_;
  std::shared_ptr<const TiffFile> file_;
  bool movable_;
  std::vector<Block> blocks_;
  std::vector<Extent> room_;  // not yet filled, when nothing may move
  std::uint64_t end_ = 0;     // where the next bytes go that have no place of their own
  std::size_t frame_ = 0;
  std::vector<Extent> placed_;                // the frame's new strips or tiles
  std::size_t open_ = 0;                      // the strip being appended to
  std::map<std::uint64_t, NewValue> values_;  // by the entry's position
  std::vector<std::uint64_t> shared_;         // values used by more than one entry, sorted
};

}  // namespace kelvo::tiff
