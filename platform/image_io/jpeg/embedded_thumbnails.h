#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/image_io/jpeg/jpeg_structure.h"

namespace kelvo::jpeg {

// A segment as it goes into the new file: the old file's bytes, or an edited copy.
struct PreparedSegment {
  std::uint8_t marker = 0;
  std::span<const std::byte> original;
  std::vector<std::byte> edited;  // empty: the original

  [[nodiscard]] std::span<const std::byte> payload() const {
    return edited.empty() ? original : std::span<const std::byte>(edited);
  }
};

// Where the EXIF thumbnail stood, all in bytes from the start of its segment's payload.
struct ExifThumbnail {
  std::size_t segment = 0;
  std::size_t data = 0;
  std::size_t capacity = 0;
  std::size_t lengthField = 0;        // 4 bytes: how much of the capacity is used
  std::size_t directoryPointer = 0;   // 4 bytes: the offset of the thumbnail's directory
  std::uint32_t directoryOffset = 0;  // its value in the old file
  bool bigEndian = false;
  std::uint32_t width = 0;
  std::uint32_t height = 0;

  // A 32-bit number as the directory stores it.
  [[nodiscard]] std::array<std::byte, 4> encode(std::uint32_t value) const;
};

struct PreparedSegments {
  std::vector<PreparedSegment> segments;
  std::optional<ExifThumbnail> exifThumbnail;  // one that can be painted again
};

// The segments without any embedded small picture in the old colours: the EXIF thumbnail is blanked
// and unlinked (its place is kept), the ones of JFIF and of image resources are left out.
// Everything else is byte for byte the same.
PreparedSegments withoutThumbnails(const std::vector<Segment>& segments);

}  // namespace kelvo::jpeg
