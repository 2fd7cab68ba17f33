#include "platform/image_io/jpeg/embedded_thumbnails.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "platform/image_io/jpeg/jpeg_metadata.h"

namespace kelvo::jpeg {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kExif = "Exif\0\0"sv;
constexpr std::string_view kJfif = "JFIF\0"sv;
constexpr std::string_view kJfxx = "JFXX\0"sv;
constexpr std::string_view kResources = "Photoshop 3.0\0"sv;

constexpr std::uint32_t kCompression = 0x0103;
constexpr std::uint32_t kStripOffsets = 0x0111;
constexpr std::uint32_t kStripByteCounts = 0x0117;
constexpr std::uint32_t kThumbnailOffset = 0x0201;
constexpr std::uint32_t kThumbnailLength = 0x0202;

// The TIFF structure inside an EXIF segment. Every position is from the start of the payload.
class ExifReader {
 public:
  explicit ExifReader(std::span<const std::byte> payload)
      : payload_(payload),
        littleEndian_(payload.size() > kExif.size() && payload[kExif.size()] == std::byte{'I'}) {}

  [[nodiscard]] bool littleEndian() const { return littleEndian_; }
  [[nodiscard]] std::uint32_t number(std::size_t at, std::size_t bytes) const {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
      const std::size_t from = littleEndian_ ? at + bytes - 1 - i : at + i;
      value = value << 8 | std::to_integer<std::uint32_t>(payload_[from]);
    }
    return value;
  }
  // Offsets in the structure count from its byte-order mark.
  [[nodiscard]] std::size_t position(std::uint32_t offset) const { return kExif.size() + offset; }
  [[nodiscard]] bool contains(std::size_t at, std::size_t bytes) const {
    return at <= payload_.size() && bytes <= payload_.size() - at;
  }
  // The position of the field that points to the directory after the one at `directory`.
  [[nodiscard]] std::optional<std::size_t> nextDirectoryField(std::size_t directory) const {
    if (!contains(directory, 2)) return std::nullopt;
    const std::size_t field = directory + 2 + std::size_t{12} * number(directory, 2);
    if (!contains(field, 4)) return std::nullopt;
    return field;
  }
  // The position of an entry's value field, and the number in it.
  struct Value {
    std::size_t field;
    std::uint32_t number;
    std::uint32_t type;
  };
  [[nodiscard]] std::optional<Value> find(std::size_t directory, std::uint32_t tag) const {
    const std::uint32_t entries = number(directory, 2);
    for (std::uint32_t i = 0; i < entries; ++i) {
      const std::size_t entry = directory + 2 + std::size_t{12} * i;
      if (number(entry, 2) != tag) continue;
      constexpr std::uint32_t kShort = 3;
      const std::uint32_t type = number(entry + 2, 2);
      return Value{entry + 8, number(entry + 8, type == kShort ? 2 : 4), type};
    }
    return std::nullopt;
  }

 private:
  std::span<const std::byte> payload_;
  bool littleEndian_;
};

void blank(std::vector<std::byte>& bytes, std::size_t at, std::size_t count) {
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), count, std::byte{0});
}

std::optional<ExifThumbnail> removeExifThumbnail(PreparedSegment& segment) {
  const ExifReader exif(segment.original);
  if (!exif.contains(kExif.size(), 8)) return std::nullopt;
  const std::size_t primary = exif.position(exif.number(exif.position(4), 4));
  const auto pointer = exif.nextDirectoryField(primary);
  if (!pointer) return std::nullopt;
  const std::uint32_t offset = exif.number(*pointer, 4);
  const std::size_t directory = exif.position(offset);
  const auto directoryEnd = exif.nextDirectoryField(directory);
  if (offset == 0 || !directoryEnd) return std::nullopt;

  const auto data = exif.find(directory, kThumbnailOffset);
  const auto length = exif.find(directory, kThumbnailLength);
  const auto strips = exif.find(directory, kStripOffsets);
  const auto stripBytes = exif.find(directory, kStripByteCounts);
  if (!data && !strips) return std::nullopt;

  segment.edited.assign(segment.original.begin(), segment.original.end());
  blank(segment.edited, *pointer, 4);
  if (!data && stripBytes && exif.contains(exif.position(strips->number), stripBytes->number)) {
    // Several strips have their positions elsewhere; then the count of one of them is not its
    // size either, and unlinking has to do.
    blank(segment.edited, exif.position(strips->number), stripBytes->number);
  }
  if (!data || !length) return std::nullopt;
  const std::size_t at = exif.position(data->number);
  constexpr std::uint32_t kLong = 4;
  // After the directory that describes it: a place that overlaps anything else is not one.
  if (!exif.contains(at, length->number) || at < *directoryEnd + 4 || length->number < 4) {
    return std::nullopt;
  }
  const auto old = segment.original.subspan(at, length->number);
  if (old[0] != std::byte{0xFF} || old[1] != std::byte{0xD8}) return std::nullopt;
  blank(segment.edited, at, length->number);
  const Structure picture = readStructure(old, Extent::toFirstScan);
  const bool paintable =
      picture.width > 0 && picture.height > 0 && picture.width <= 1024 && picture.height <= 1024 &&
      length->type == kLong &&
      exif.find(directory, kCompression).value_or(ExifReader::Value{0, 6, 0}).number == 6;
  if (!paintable) return std::nullopt;
  return ExifThumbnail{.segment = 0,
                       .data = at,
                       .capacity = length->number,
                       .lengthField = length->field,
                       .directoryPointer = *pointer,
                       .directoryOffset = offset,
                       .littleEndian = exif.littleEndian(),
                       .width = picture.width,
                       .height = picture.height};
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
  for (std::size_t i = 0; i < 4; ++i) {
    bytes[littleEndian ? i : 3 - i] = static_cast<std::byte>(value >> (8 * i) & 0xFF);
  }
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
