#include "platform/image_io/exif_thumbnail.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

namespace kelvo {
namespace {

constexpr std::size_t kEntryBytes = 12;
constexpr int kMaxDirectories = 32;

constexpr std::uint32_t kStripOffsets = 0x0111;
constexpr std::uint32_t kStripByteCounts = 0x0117;
constexpr std::uint32_t kThumbnailOffset = 0x0201;
constexpr std::uint32_t kThumbnailLength = 0x0202;
constexpr std::array<std::uint32_t, 4> kSubdirectories = {0x8769, 0x8825, 0xa005, 0x014a};

struct Range {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
};

struct Entry {
  std::uint32_t tag = 0;
  std::uint32_t type = 0;
  std::uint32_t count = 0;
  std::uint64_t value = 0;  // where the value stands
  std::uint64_t bytes = 0;  // of the value
};

struct Directory {
  Range range;
  std::vector<Entry> entries;
  std::uint64_t link = 0;  // where the offset of the next directory stands
};

std::uint64_t typeBytes(std::uint32_t type) {
  constexpr std::array<std::uint8_t, 14> kBytes = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};
  return type < kBytes.size() ? kBytes[type] : 0;
}

class Structure {
 public:
  explicit Structure(std::span<std::byte> tiff) : tiff_(tiff) {}

  bool removeThumbnail() {
    if (!readByteOrder()) return false;
    std::optional<Directory> first = directory(number(4, 4));
    if (!first) return false;
    const std::uint64_t second = number(first->link, 4);
    if (second == 0) return false;
    kept_.assign(tiff_.size() + 1, 0);
    erased_.assign(tiff_.size() + 1, 0);
    keep({0, 8});
    keepTree(*first);
    // A chain of directories beyond the second is no part of the format: what it holds goes too.
    std::uint64_t offset = second;
    for (int i = 0; i < kMaxDirectories && offset != 0; ++i) {
      const std::optional<Directory> next = directory(offset);
      if (!next) break;
      offset = number(next->link, 4);
      eraseDirectory(*next);
    }
    applyErasures();
    for (std::uint64_t i = first->link; i < first->link + 4; ++i) tiff_[i] = std::byte{0};
    return true;
  }

 private:
  bool readByteOrder() {
    if (tiff_.size() < 8) return false;
    bigEndian_ = tiff_[0] == std::byte{'M'};
    return tiff_[0] == tiff_[1] && (bigEndian_ || tiff_[0] == std::byte{'I'}) && number(2, 2) == 42;
  }

  [[nodiscard]] bool inside(Range range) const {
    return range.begin <= range.end && range.end <= tiff_.size();
  }

  [[nodiscard]] std::uint32_t number(std::uint64_t offset, unsigned bytes) const {
    if (!inside({offset, offset + bytes})) return 0;
    std::uint32_t value = 0;
    for (unsigned i = 0; i < bytes; ++i) {
      const std::uint64_t at = offset + (bigEndian_ ? i : bytes - 1 - i);
      value = value << 8 | std::to_integer<std::uint32_t>(tiff_[at]);
    }
    return value;
  }

  [[nodiscard]] std::optional<Directory> directory(std::uint64_t offset) const {
    if (offset < 8 || !inside({offset, offset + 2})) return std::nullopt;
    const std::uint32_t count = number(offset, 2);
    Directory result;
    result.link = offset + 2 + count * kEntryBytes;
    result.range = {offset, result.link + 4};
    if (!inside({offset, result.link})) return std::nullopt;
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::uint64_t at = offset + 2 + i * kEntryBytes;
      Entry entry{.tag = number(at, 2), .type = number(at + 2, 2), .count = number(at + 4, 4)};
      entry.bytes = typeBytes(entry.type) * entry.count;
      entry.value = entry.bytes <= 4 ? at + 8 : number(at + 8, 4);
      result.entries.push_back(entry);
    }
    return result;
  }

  [[nodiscard]] std::uint32_t element(const Entry& entry, std::uint32_t index) const {
    const auto bytes = static_cast<unsigned>(typeBytes(entry.type));
    return bytes == 0 || bytes > 4 ? 0 : number(entry.value + std::uint64_t{index} * bytes, bytes);
  }

  // A damaged block may hold many ranges that are all long, so marking one takes no time: the count
  // goes up where it begins and down where it ends.
  void mark(std::vector<std::int32_t>& steps, Range range) const {
    range.end = std::min<std::uint64_t>(range.end, tiff_.size());
    if (range.begin >= range.end) return;
    ++steps[range.begin];
    --steps[range.end];
  }
  void keep(Range range) { mark(kept_, range); }
  void erase(Range range) { mark(erased_, range); }

  void applyErasures() {
    std::int64_t kept = 0;
    std::int64_t erased = 0;
    for (std::size_t i = 0; i < tiff_.size(); ++i) {
      kept += kept_[i];
      erased += erased_[i];
      if (erased > 0 && kept == 0) tiff_[i] = std::byte{0};
    }
  }

  // Everything that the first directory leads to belongs to the picture itself.
  void keepTree(const Directory& first) {
    std::vector<Directory> open = {first};
    for (int i = 0; i < kMaxDirectories && !open.empty(); ++i) {
      const Directory current = std::move(open.back());
      open.pop_back();
      keep(current.range);
      for (const Entry& entry : current.entries) {
        keep({entry.value, entry.value + entry.bytes});
        if (std::find(kSubdirectories.begin(), kSubdirectories.end(), entry.tag) ==
            kSubdirectories.end()) {
          continue;
        }
        const std::uint32_t children = std::min<std::uint32_t>(entry.count, kMaxDirectories);
        for (std::uint32_t k = 0; k < children; ++k) {
          if (auto child = directory(element(entry, k))) open.push_back(std::move(*child));
        }
      }
    }
  }

  void eraseDirectory(const Directory& thumbnail) {
    const auto find = [&](std::uint32_t tag) -> const Entry* {
      const auto& entries = thumbnail.entries;
      const auto found = std::find_if(entries.begin(), entries.end(),
                                      [&](const Entry& e) { return e.tag == tag; });
      return found == entries.end() ? nullptr : &*found;
    };
    const auto erasePicture = [&](std::uint32_t offsets, std::uint32_t lengths) {
      const Entry* const begin = find(offsets);
      const Entry* const length = find(lengths);
      if (begin == nullptr || length == nullptr) return;
      // No more of them than fit into the block.
      const auto count = std::min<std::uint64_t>({begin->count, length->count, tiff_.size() / 2});
      for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint64_t at = element(*begin, i);
        erase({at, at + element(*length, i)});
      }
    };
    erasePicture(kThumbnailOffset, kThumbnailLength);
    erasePicture(kStripOffsets, kStripByteCounts);
    for (const Entry& entry : thumbnail.entries) {
      erase({entry.value, entry.value + entry.bytes});
    }
    erase(thumbnail.range);
  }

  std::span<std::byte> tiff_;
  bool bigEndian_ = false;
  std::vector<std::int32_t> kept_;    // steps of ranges that belong to the picture itself
  std::vector<std::int32_t> erased_;  // steps of ranges that belong to the thumbnail
};

}  // namespace

std::optional<std::vector<std::byte>> withoutExifThumbnail(std::span<const std::byte> exif) {
  constexpr std::string_view kPrefix("Exif\0\0", 6);
  const bool prefixed =
      exif.size() >= kPrefix.size() &&
      std::equal(kPrefix.begin(), kPrefix.end(), exif.begin(),
                 [](char c, std::byte b) { return static_cast<std::byte>(c) == b; });
  std::vector<std::byte> changed(exif.begin(), exif.end());
  Structure structure(std::span<std::byte>(changed).subspan(prefixed ? kPrefix.size() : 0));
  if (!structure.removeThumbnail()) return std::nullopt;
  return changed;
}

}  // namespace kelvo
