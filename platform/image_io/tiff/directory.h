#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/image_io/codec.h"

// The directories of a TIFF file as they stand in its bytes, in either byte order, classic or
// BigTIFF. Positions are bytes from the start of the file.
namespace kelvo::tiff {

struct Format {
  bool bigEndian = false;
  bool big = false;  // BigTIFF: 64-bit offsets

  [[nodiscard]] std::uint32_t offsetBytes() const { return big ? 8 : 4; }
  [[nodiscard]] std::uint32_t entryBytes() const { return big ? 20 : 12; }
  [[nodiscard]] std::uint32_t countBytes() const { return big ? 8 : 2; }
  [[nodiscard]] std::uint32_t headerBytes() const { return big ? 16 : 8; }
  // Where the header holds the offset of the first directory.
  [[nodiscard]] std::uint32_t firstOffsetPosition() const { return big ? 8 : 4; }
};

// Whole numbers of 1, 2, 4 or 8 bytes in the file's byte order.
std::uint64_t loadInteger(std::span<const std::byte> from, std::size_t bytes, bool bigEndian);
void storeInteger(std::span<std::byte> to, std::uint64_t value, std::size_t bytes, bool bigEndian);

// The bytes of the file with its format.
struct View {
  std::span<const std::byte> bytes;
  Format format;

  [[nodiscard]] bool holds(std::uint64_t position, std::uint64_t length) const {
    return position <= bytes.size() && length <= bytes.size() - position;
  }
  // 0 if the file does not hold them.
  [[nodiscard]] std::uint64_t integer(std::uint64_t position, std::size_t width) const {
    if (!holds(position, width)) return 0;
    return loadInteger(bytes.subspan(static_cast<std::size_t>(position), width), width,
                       format.bigEndian);
  }
  [[nodiscard]] std::uint64_t offset(std::uint64_t position) const {
    return integer(position, format.offsetBytes());
  }
};

struct Entry {
  std::uint16_t tag = 0;
  std::uint16_t type = 0;
  std::uint64_t count = 0;
  std::uint64_t position = 0;  // of the entry
  std::uint64_t value = 0;     // of its value, which lies within the file if nothing is wrong
  std::uint64_t bytes = 0;     // of its value; 0 if the type is not known
  bool isInline = true;        // the value stands in the entry itself
};

struct Directory {
  std::uint64_t offset = 0;
  std::uint64_t tableBytes = 0;  // from its count to its next offset
  std::uint64_t next = 0;        // 0: the last one
  std::vector<Entry> entries;

  [[nodiscard]] const Entry* find(std::uint16_t tag) const;
};

// The header's format; an error if it is no TIFF header.
Result<Format> readHeader(std::span<const std::byte> bytes);

struct DirectoryResult {
  Directory directory;
  SourceStatus problem;  // the first there is; complete if there is none
};
// Reads on after a problem as far as that makes sense, for those whom a part of a damaged directory
// serves. Without entries and tableBytes there is none; an entry's value may lie outside the file
// then, and `next` may be missing, which reads as 0.
DirectoryResult readDirectory(const View& view, std::uint64_t offset);

// The values of an entry of a whole-number type without sign; empty for any other type, and where
// the file does not hold them.
std::vector<std::uint64_t> integers(const View& view, const Entry& entry);

// How the directory's picture is to be turned and mirrored to be looked at: 1 to 8, 1 being as it
// is stored, which is also what it is if the directory tells nothing sensible.
unsigned orientation(const View& view, const Directory& directory);

// Empty where the file does not hold them.
inline std::span<const std::byte> valueBytes(const View& view, const Entry& entry) {
  if (!view.holds(entry.value, entry.bytes)) return {};
  return view.bytes.subspan(static_cast<std::size_t>(entry.value),
                            static_cast<std::size_t>(entry.bytes));
}

}  // namespace kelvo::tiff
