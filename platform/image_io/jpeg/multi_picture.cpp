#include "platform/image_io/jpeg/multi_picture.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "platform/image_io/jpeg/gain_map.h"
#include "platform/image_io/jpeg/jpeg_metadata.h"
#include "platform/image_io/tiff/directory.h"

namespace kelvo::jpeg {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kIdentifier = "MPF\0"sv;
constexpr std::uint16_t kNumberOfImages = 0xB001;
constexpr std::uint16_t kEntries = 0xB002;
constexpr std::uint16_t kIdentifiers = 0xB003;
constexpr std::uint16_t kOwnNumber = 0xB101;
constexpr std::size_t kIdBytes = 33;
// An entry of the table: attribute, size, place, and the numbers of two pictures it depends on.
constexpr std::size_t kEntryBytes = 16;
constexpr std::size_t kDependencies = 12;
// In a directory's entry.
constexpr std::size_t kCountField = 4;
constexpr std::size_t kValueField = 8;
// More than any camera takes in one go.
constexpr std::uint64_t kMostPictures = 256;

// What an entry's attribute says.
constexpr std::uint32_t kTypeMask = 0xFFFFFF;
constexpr std::uint32_t kFormatMask = 0x07000000;  // 0: JPEG
constexpr std::uint32_t kPrimary = 0x030000;
constexpr std::uint32_t kGainMap = 0x050000;
constexpr std::uint32_t kLargeThumbnail = 0x01;  // the upper byte of the type
constexpr std::uint32_t kMultiFrame = 0x02;      // panorama, stereo, several angles

constexpr const char* kDamaged = "its index of further pictures (multi-picture) is damaged";
constexpr const char* kUnknownKind =
    "one of its further pictures (multi-picture) is of a kind that is not known, so that adjusting "
    "it could spoil it";

// A view of the TIFF structure in a segment's payload. Absent if it has no header.
std::optional<tiff::View> viewOf(std::span<const std::byte> payload) {
  const auto structure = payload.subspan(kIdentifier.size());
  const auto format = tiff::readHeader(structure);
  if (!format || format->big) return std::nullopt;
  return tiff::View{structure, *format};
}

tiff::Directory firstDirectory(const tiff::View& view) {
  return tiff::readDirectory(view, view.offset(view.format.firstOffsetPosition())).directory;
}

// The number in an entry's value field, which may be that of a place.
std::uint64_t valueField(const tiff::View& view, const tiff::Entry& entry) {
  return view.integer(entry.position + kValueField, 4);
}

class Index {
 public:
  explicit Index(std::span<const std::byte> payload) : payload_(payload) {}

  // False if the directory cannot be read.
  bool read() {
    const auto view = viewOf(payload_);
    if (!view) return false;
    view_ = *view;
    const tiff::Directory directory = firstDirectory(view_);
    if (directory.tableBytes == 0) return false;
    if (const auto* const count = directory.find(kNumberOfImages)) {
      count_ = valueField(view_, *count);
    }
    if (const auto* const table = directory.find(kEntries)) {
      bytes_ = table->count;
      entries_ = valueField(view_, *table);
    }
    return true;
  }

  [[nodiscard]] std::uint64_t count() const { return count_; }

  // Empty, and why, if it does not fit the file.
  [[nodiscard]] std::vector<PicturePlace> places(std::span<const std::byte> file,
                                                 std::string& obstacle) const {
    obstacle = kDamaged;
    if (count_ > kMostPictures || bytes_ != kEntryBytes * count_ ||
        !view_.holds(entries_, bytes_)) {
      return {};
    }
    const auto base = static_cast<std::size_t>(view_.bytes.data() - file.data());
    std::vector<PicturePlace> places;
    for (std::size_t i = 0; i < count_; ++i) {
      const std::size_t offset = number(i, 8);
      PicturePlace place;
      place.begin = i == 0 ? 0 : base + offset;
      place.size = number(i, 4);
      if ((i == 0 && offset != 0) || place.begin >= file.size() ||
          place.size > file.size() - place.begin || !beginsPicture(file.subspan(place.begin))) {
        return {};
      }
      if (i > 0) {
        // One after the other, so that each can be written after the one before.
        if (place.begin < places.back().begin + places.back().size) return {};
        places.back().limit = place.begin;
      }
      places.push_back(place);
    }
    places.back().limit = file.size();
    for (std::size_t i = 0; i < count_; ++i) {
      PicturePlace& place = places[i];
      place.gainMap =
          i > 0 && isGainMap(number(i, 0), file.subspan(place.begin, place.limit - place.begin));
      if (!place.gainMap && !knownKind(number(i, 0), i == 0)) {
        obstacle = kUnknownKind;
        return {};
      }
    }
    obstacle.clear();
    return places;
  }

  [[nodiscard]] MultiPictureIndex result(std::vector<PicturePlace> places) const {
    MultiPictureIndex index{.payload = payload_,
                            .pictures = std::move(places),
                            .frames = {},
                            .entries = kIdentifier.size() + static_cast<std::size_t>(entries_),
                            .bigEndian = view_.format.bigEndian};
    for (std::size_t i = 0; i < index.pictures.size(); ++i) {
      if (!index.pictures[i].gainMap) index.frames.push_back(i);
    }
    return index;
  }

 private:
  // The number of 4 bytes that stands `at` bytes into a picture's entry.
  [[nodiscard]] std::uint32_t number(std::size_t picture, std::size_t at) const {
    return static_cast<std::uint32_t>(view_.integer(entries_ + kEntryBytes * picture + at, 4));
  }

  static bool isGainMap(std::uint32_t attribute, std::span<const std::byte> picture) {
    return (attribute & kTypeMask) == kGainMap ||
           gainMapSigns(readStructure(picture, Extent::toFirstScan).segments).isMap;
  }

  static bool beginsPicture(std::span<const std::byte> bytes) {
    constexpr std::array kStart = {std::byte{0xFF}, std::byte{0xD8}, std::byte{0xFF}};
    return bytes.size() >= kStart.size() && std::equal(kStart.begin(), kStart.end(), bytes.begin());
  }

  // Pictures that people look at. What else an index may list (maps of depth or of gain) means
  // something other than colours.
  static bool knownKind(std::uint32_t attribute, bool first) {
    if ((attribute & kFormatMask) != 0) return false;
    const std::uint32_t type = attribute & kTypeMask;
    const std::uint32_t family = type >> 16;
    return family == kLargeThumbnail || family == kMultiFrame || type == kPrimary ||
           (first && type == 0);
  }

  std::span<const std::byte> payload_;
  tiff::View view_;
  std::uint64_t count_ = 0;
  std::uint64_t bytes_ = 0;
  std::uint64_t entries_ = 0;
};

}  // namespace

std::array<std::byte, 8> MultiPictureIndex::encodePlace(std::size_t size, std::size_t begin,
                                                        std::size_t base) const {
  const std::size_t header = base + kIdentifier.size();
  std::array<std::byte, 8> bytes = {};
  tiff::storeInteger(std::span(bytes).first(4), size, 4, bigEndian);
  tiff::storeInteger(std::span(bytes).last(4), begin == 0 ? 0 : begin - header, 4, bigEndian);
  return bytes;
}

std::vector<std::byte> MultiPictureIndex::payloadOfFrames() const {
  std::vector<std::byte> bytes(payload.begin(), payload.end());
  const std::span<std::byte> structure = std::span(bytes).subspan(kIdentifier.size());
  const tiff::View view = {structure, {.bigEndian = bigEndian, .big = false}};
  const tiff::Directory directory = firstDirectory(view);
  const auto store = [&](std::uint64_t at, std::uint64_t value, std::size_t width) {
    tiff::storeInteger(structure.subspan(static_cast<std::size_t>(at), width), value, width,
                       bigEndian);
  };
  // Moves the frames' parts of a table together; zeros follow.
  const auto compact = [&](const tiff::Entry& table, std::uint64_t at, std::size_t partBytes) {
    const auto parts = structure.subspan(static_cast<std::size_t>(at), partBytes * pictures.size());
    for (std::size_t i = 0; i < frames.size(); ++i) {
      std::ranges::copy(parts.subspan(partBytes * frames[i], partBytes),
                        parts.begin() + static_cast<std::ptrdiff_t>(partBytes * i));
    }
    std::ranges::fill(parts.subspan(partBytes * frames.size()), std::byte{0});
    store(table.position + kCountField, partBytes * frames.size(), 4);
  };
  if (const auto* const count = directory.find(kNumberOfImages)) {
    store(count->position + kValueField, frames.size(), 4);
  }
  if (const auto* const ids = directory.find(kIdentifiers)) {
    const bool fits =
        ids->count == kIdBytes * pictures.size() && view.holds(ids->value, ids->bytes);
    if (fits) compact(*ids, ids->value, kIdBytes);
  }
  if (const auto* const table = directory.find(kEntries)) {
    const std::uint64_t at = entries - kIdentifier.size();
    compact(*table, at, kEntryBytes);
    // The pictures that one depends on are numbered from 1 on; 0 is none.
    for (std::size_t i = 0; i < 2 * frames.size(); ++i) {
      const std::uint64_t field = at + kEntryBytes * (i / 2) + kDependencies + 2 * (i % 2);
      const std::uint64_t old = view.integer(field, 2);
      const auto found = std::ranges::find(frames, old - 1);
      const auto number = found == frames.end() ? 0 : found - frames.begin() + 1;
      store(field, static_cast<std::uint64_t>(number), 2);
    }
  }
  return bytes;
}

MultiPicture readMultiPicture(std::span<const std::byte> file,
                              const std::vector<Segment>& segments) {
  const auto found = std::ranges::find_if(segments, isMultiPictureSegment);
  if (found == segments.end()) return {};
  Index index(found->payload);
  if (!index.read()) return {.index = std::nullopt, .obstacle = kDamaged};
  if (index.count() <= 1) return {};
  MultiPicture result;
  auto places = index.places(file, result.obstacle);
  if (result.obstacle.empty()) result.index = index.result(std::move(places));
  return result;
}

bool isMultiPictureSegment(const Segment& segment) {
  return hasIdentifier(segment, 0xE2, kIdentifier);
}

std::vector<std::byte> renumbered(std::span<const std::byte> payload, std::size_t from,
                                  std::size_t to) {
  const auto view = viewOf(payload);
  if (!view) return {};
  const tiff::Directory directory = firstDirectory(*view);
  const tiff::Entry* const own = directory.find(kOwnNumber);
  if (own == nullptr || valueField(*view, *own) != from) return {};
  std::vector<std::byte> bytes(payload.begin(), payload.end());
  const std::size_t at = kIdentifier.size() + static_cast<std::size_t>(own->position) + kValueField;
  tiff::storeInteger(std::span(bytes).subspan(at, 4), to, 4, view->format.bigEndian);
  return bytes;
}

}  // namespace kelvo::jpeg
