#include "platform/image_io/jpeg/embedded_thumbnails.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "platform/image_io/exif_thumbnail.h"
#include "platform/image_io/jpeg/jpeg_metadata.h"
#include "platform/image_io/tiff/directory.h"
#include "platform/image_io/tiff/tags.h"

namespace kelvo::jpeg {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kExif = "Exif\0\0"sv;
constexpr std::string_view kJfif = "JFIF\0"sv;
constexpr std::string_view kJfxx = "JFXX\0"sv;
constexpr std::string_view kResources = "Photoshop 3.0\0"sv;

// The TIFF structure inside an EXIF segment, read as far as it makes sense. Positions are from the
// start of the payload.
class ExifReader {
 public:
  // Anything that does not say otherwise is big-endian: a reader that is less strict about the
  // header than this would show the old thumbnail.
  explicit ExifReader(std::span<const std::byte> payload)
      : view_{
            payload.subspan(kExif.size()),
            {.bigEndian = payload.size() <= kExif.size() || payload[kExif.size()] != std::byte{'I'},
             .big = false}} {}

  [[nodiscard]] bool bigEndian() const { return view_.format.bigEndian; }
  [[nodiscard]] bool contains(std::size_t at, std::uint64_t bytes) const {
    return at >= kExif.size() && view_.holds(at - kExif.size(), bytes);
  }
  // Offsets in the structure count from its byte-order mark.
  [[nodiscard]] static std::size_t position(std::uint64_t offset) {
    return kExif.size() + static_cast<std::size_t>(offset);
  }
  [[nodiscard]] std::uint32_t firstDirectory() const {
    return static_cast<std::uint32_t>(view_.offset(view_.format.firstOffsetPosition()));
  }

  struct Directory {
    tiff::Directory read;
    std::size_t nextField = 0;  // where the offset of the one after it stands
  };
  // None if it does not lie within the payload with the offset at its end.
  [[nodiscard]] std::optional<Directory> directory(std::uint32_t offset) const {
    Directory result{.read = tiff::readDirectory(view_, offset).directory};
    const std::uint64_t end = offset + result.read.tableBytes;
    if (result.read.tableBytes == 0 || end > view_.bytes.size()) return std::nullopt;
    result.nextField = position(end - 4);
    return result;
  }

  // The position of an entry's value field, and the number in it.
  struct Value {
    std::size_t field;
    std::uint32_t number;
    std::uint16_t type;
  };
  [[nodiscard]] std::optional<Value> find(const Directory& directory, std::uint16_t tag) const {
    const tiff::Entry* const entry = directory.read.find(tag);
    if (entry == nullptr) return std::nullopt;
    const std::uint64_t field = entry->position + 8;
    const std::uint64_t number = view_.integer(field, entry->type == tiff::kShort ? 2 : 4);
    return Value{position(field), static_cast<std::uint32_t>(number), entry->type};
  }

 private:
  tiff::View view_;
};

void blank(std::vector<std::byte>& bytes, std::size_t at, std::size_t count) {
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), count, std::byte{0});
}

// A thumbnail that can be painted again: a JPEG stream in a place of its own.
std::optional<ExifThumbnail> paintableThumbnail(std::span<const std::byte> payload,
                                                const ExifReader& exif,
                                                const ExifReader::Directory& primary,
                                                const ExifReader::Directory& directory) {
  const auto data = exif.find(directory, tiff::kJpegInterchangeFormat);
  const auto length = exif.find(directory, tiff::kJpegInterchangeFormatLength);
  const auto compression = exif.find(directory, tiff::kCompression);
  if (!data || !length || length->type != tiff::kLong) return std::nullopt;
  if (compression && compression->number != tiff::kOldJpeg) return std::nullopt;
  const std::size_t at = ExifReader::position(data->number);
  // After the directory that describes it: a place that overlaps anything else is not one.
  if (!exif.contains(at, length->number) || at < directory.nextField + 4 || length->number < 4) {
    return std::nullopt;
  }
  const auto old = payload.subspan(at, length->number);
  if (old[0] != std::byte{0xFF} || old[1] != std::byte{0xD8}) return std::nullopt;
  constexpr std::uint32_t kLongestSide = 1024;
  const Structure picture = readStructure(old, Extent::toFirstScan);
  if (picture.width == 0 || picture.height == 0 || picture.width > kLongestSide ||
      picture.height > kLongestSide) {
    return std::nullopt;
  }
  return ExifThumbnail{.segment = 0,
                       .data = at,
                       .capacity = length->number,
                       .lengthField = length->field,
                       .directoryPointer = primary.nextField,
                       .directoryOffset = static_cast<std::uint32_t>(primary.read.next),
                       .bigEndian = exif.bigEndian(),
                       .width = picture.width,
                       .height = picture.height};
}

// Gives back the one that can be painted again. Of any other nothing is left.
std::optional<ExifThumbnail> removeExifThumbnail(PreparedSegment& segment) {
  const ExifReader exif(segment.original);
  const auto primary = exif.directory(exif.firstDirectory());
  if (!primary || primary->read.next == 0) return std::nullopt;
  const auto directory = exif.directory(static_cast<std::uint32_t>(primary->read.next));
  if (!directory || (directory->read.find(tiff::kJpegInterchangeFormat) == nullptr &&
                     directory->read.find(tiff::kStripOffsets) == nullptr)) {
    return std::nullopt;
  }
  const auto thumbnail = paintableThumbnail(segment.original, exif, *primary, *directory);
  if (!thumbnail) {
    if (auto without = withoutExifThumbnail(segment.original)) {
      segment.edited = *std::move(without);
      return std::nullopt;
    }
  }
  segment.edited.assign(segment.original.begin(), segment.original.end());
  blank(segment.edited, primary->nextField, 4);
  if (thumbnail) blank(segment.edited, thumbnail->data, thumbnail->capacity);
  return thumbnail;
}

// "JFIF", version, density unit, densities, then the thumbnail's width and height and its pixels.
void removeJfifThumbnail(PreparedSegment& segment) {
  constexpr std::size_t kSize = 12;
  constexpr std::size_t kPixels = 14;
  const auto payload = segment.original;
  if (payload.size() < kPixels) return;
  const std::size_t bytes = std::to_integer<std::size_t>(payload[kSize]) *
                            std::to_integer<std::size_t>(payload[kSize + 1]) * 3;
  if (bytes == 0) return;
  segment.edited.assign(payload.begin(), payload.begin() + kPixels);
  blank(segment.edited, kSize, 2);
  const auto after = payload.subspan(std::min(payload.size(), kPixels + bytes));
  segment.edited.insert(segment.edited.end(), after.begin(), after.end());
}

// Image resources: "8BIM", number, a name padded to even length, size, data padded likewise. The
// stream may be cut into segments anywhere. None if there is no thumbnail or the stream is not what
// it should be, and is then to be left alone.
std::optional<std::vector<std::byte>> resourcesWithoutThumbnails(
    std::span<const std::byte> stream) {
  constexpr std::uint32_t kThumbnailBgr = 1033;
  constexpr std::uint32_t kThumbnail = 1036;
  const auto number = [&](std::size_t at, std::size_t bytes) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
      value = value << 8 | std::to_integer<std::uint32_t>(stream[at + i]);
    }
    return value;
  };
  std::vector<std::byte> kept;
  bool removed = false;
  for (std::size_t at = 0; at < stream.size();) {
    const std::size_t start = at;
    if (stream.size() - at < 7) return std::nullopt;
    const std::uint32_t id = number(at + 4, 2);
    const std::size_t name = std::to_integer<std::size_t>(stream[at + 6]) + 1;
    at += 6 + name + name % 2;
    if (at > stream.size() || stream.size() - at < 4) return std::nullopt;
    const std::size_t size = number(at, 4);
    at += 4;
    if (size > stream.size() - at) return std::nullopt;
    at = std::min(stream.size(), at + size + size % 2);
    if (id == kThumbnailBgr || id == kThumbnail) {
      removed = true;
    } else {
      kept.insert(kept.end(), stream.begin() + static_cast<std::ptrdiff_t>(start),
                  stream.begin() + static_cast<std::ptrdiff_t>(at));
    }
  }
  if (!removed) return std::nullopt;
  return kept;
}

bool isResources(const Segment& segment) { return hasIdentifier(segment, 0xED, kResources); }

// Cuts a stream of image resources into segments.
std::vector<PreparedSegment> resourceSegments(std::span<const std::byte> stream) {
  constexpr std::size_t kMost = 65533 - kResources.size();
  const auto* const head = reinterpret_cast<const std::byte*>(kResources.data());
  std::vector<PreparedSegment> segments;
  while (!stream.empty()) {
    const auto part = stream.first(std::min(stream.size(), kMost));
    PreparedSegment segment{.marker = 0xED, .original = {}, .edited = {}};
    segment.edited.assign(head, head + kResources.size());
    segment.edited.insert(segment.edited.end(), part.begin(), part.end());
    segments.push_back(std::move(segment));
    stream = stream.subspan(part.size());
  }
  return segments;
}

}  // namespace

std::array<std::byte, 4> ExifThumbnail::encode(std::uint32_t value) const {
  std::array<std::byte, 4> bytes = {};
  tiff::storeInteger(bytes, value, bytes.size(), bigEndian);
  return bytes;
}

PreparedSegments withoutThumbnails(const std::vector<Segment>& segments) {
  std::vector<std::byte> resources;
  for (const Segment& segment : segments) {
    if (!isResources(segment)) continue;
    const auto part = segment.payload.subspan(kResources.size());
    resources.insert(resources.end(), part.begin(), part.end());
  }
  const auto keptResources = resourcesWithoutThumbnails(resources);
  bool resourcesWritten = false;

  PreparedSegments result;
  for (const Segment& segment : segments) {
    if (hasIdentifier(segment, 0xE0, kJfxx)) continue;
    if (keptResources && isResources(segment)) {
      if (resourcesWritten) continue;
      resourcesWritten = true;
      for (PreparedSegment& part : resourceSegments(*keptResources)) {
        result.segments.push_back(std::move(part));
      }
      continue;
    }
    PreparedSegment prepared{.marker = segment.marker, .original = segment.payload, .edited = {}};
    if (hasIdentifier(segment, 0xE0, kJfif)) removeJfifThumbnail(prepared);
    if (hasIdentifier(segment, 0xE1, kExif)) {
      auto thumbnail = removeExifThumbnail(prepared);
      if (thumbnail && !result.exifThumbnail) {
        thumbnail->segment = result.segments.size();
        result.exifThumbnail = thumbnail;
      }
    }
    result.segments.push_back(std::move(prepared));
  }
  return result;
}

}  // namespace kelvo::jpeg
