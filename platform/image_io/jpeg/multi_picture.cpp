#include "platform/image_io/jpeg/multi_picture.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "platform/image_io/jpeg/jpeg_metadata.h"

namespace kelvo::jpeg {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kIdentifier = "MPF\0"sv;
constexpr std::uint32_t kNumberOfImages = 0xB001;
constexpr std::uint32_t kEntries = 0xB002;
constexpr std::size_t kEntryBytes = 16;
constexpr std::size_t kHeaderBytes = 8;
// More than any camera takes in one go.
constexpr std::uint32_t kMostPictures = 256;

// What an entry's attribute says.
constexpr std::uint32_t kTypeMask = 0xFFFFFF;
constexpr std::uint32_t kFormatMask = 0x07000000;  // 0: JPEG
constexpr std::uint32_t kPrimary = 0x030000;
constexpr std::uint32_t kLargeThumbnail = 0x01;  // the upper byte of the type
constexpr std::uint32_t kMultiFrame = 0x02;      // panorama, stereo, several angles

constexpr const char* kDamaged = "its index of further pictures (multi-picture) is damaged";
constexpr const char* kUnknownKind =
    "one of its further pictures (multi-picture) is of a kind that is not known, so that adjusting "
    "it could spoil it";

class Index {
 public:
  explicit Index(std::span<const std::byte> payload)
      : payload_(payload), tiff_(payload.subspan(kIdentifier.size())) {}

  // False if the directory cannot be read.
  bool read() {
    if (tiff_.size() < kHeaderBytes) return false;
    if (tiff_[0] != tiff_[1] || (tiff_[0] != std::byte{'I'} && tiff_[0] != std::byte{'M'})) {
      return false;
    }
    little_ = tiff_[0] == std::byte{'I'};
    const std::size_t directory = number(4, 4);
    if (directory + 2 > tiff_.size()) return false;
    const std::size_t fields = number(directory, 2);
    for (std::size_t i = 0; i < fields; ++i) {
      const std::size_t field = directory + 2 + 12 * i;
      if (field + 12 > tiff_.size()) return false;
      const std::uint32_t tag = number(field, 2);
      if (tag == kNumberOfImages) count_ = number(field + 8, 4);
      if (tag == kEntries) {
        bytes_ = number(field + 4, 4);
        entries_ = number(field + 8, 4);
      }
    }
    return true;
  }

  [[nodiscard]] std::uint32_t count() const { return count_; }

  // Empty, and why, if it does not fit the file.
  [[nodiscard]] std::vector<PicturePlace> places(std::span<const std::byte> file,
                                                 std::string& obstacle) const {
    obstacle = kDamaged;
    if (count_ > kMostPictures || bytes_ != kEntryBytes * count_ || entries_ > tiff_.size() ||
        tiff_.size() - entries_ < bytes_) {
      return {};
    }
    const auto base = static_cast<std::size_t>(tiff_.data() - file.data());
    std::vector<PicturePlace> places;
    for (std::size_t i = 0; i < count_; ++i) {
      const std::size_t entry = entries_ + kEntryBytes * i;
      const std::size_t offset = number(entry + 8, 4);
      PicturePlace place;
      place.begin = i == 0 ? 0 : base + offset;
      place.size = number(entry + 4, 4);
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
      if (!knownKind(number(entries_ + kEntryBytes * i, 4), i == 0)) {
        obstacle = kUnknownKind;
        return {};
      }
    }
    obstacle.clear();
    return places;
  }

  [[nodiscard]] MultiPictureIndex result(std::vector<PicturePlace> places) const {
    return {.payload = payload_,
            .pictures = std::move(places),
            .entries = kIdentifier.size() + entries_,
            .littleEndian = little_};
  }

 private:
  [[nodiscard]] std::uint32_t number(std::size_t at, std::size_t bytes) const {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
      value =
          value << 8 | std::to_integer<std::uint32_t>(tiff_[little_ ? at + bytes - 1 - i : at + i]);
    }
    return value;
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
  std::span<const std::byte> tiff_;
  bool little_ = false;
  std::uint32_t count_ = 0;
  std::size_t bytes_ = 0;
  std::size_t entries_ = 0;
};

}  // namespace

std::array<std::byte, 8> MultiPictureIndex::encodePlace(std::size_t size, std::size_t begin,
                                                        std::size_t base) const {
  const std::size_t header = base + kIdentifier.size();
  const std::array<std::size_t, 2> values = {size, begin == 0 ? 0 : begin - header};
  std::array<std::byte, 8> bytes = {};
  for (std::size_t value = 0; value < 2; ++value) {
    for (std::size_t i = 0; i < 4; ++i) {
      const std::size_t shift = 8 * (littleEndian ? i : 3 - i);
      bytes[4 * value + i] = static_cast<std::byte>(values[value] >> shift & 0xFFU);
    }
  }
  return bytes;
}

MultiPicture readMultiPicture(std::span<const std::byte> file,
                              const std::vector<Segment>& segments) {
  const auto found = std::ranges::find_if(
      segments, [](const Segment& segment) { return hasIdentifier(segment, 0xE2, kIdentifier); });
  if (found == segments.end()) return {};
  Index index(found->payload);
  if (!index.read()) return {.index = std::nullopt, .obstacle = kDamaged};
  if (index.count() <= 1) return {};
  MultiPicture result;
  auto places = index.places(file, result.obstacle);
  if (result.obstacle.empty()) result.index = index.result(std::move(places));
  return result;
}

}  // namespace kelvo::jpeg
