#include "platform/image_io/exif_thumbnail.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>
#include <utility>

#include "platform/image_io/tiff/directory.h"
#include "platform/image_io/tiff/tags.h"

namespace kelvo {
namespace {

constexpr int kMaxDirectories = 32;

constexpr std::array<std::uint16_t, 4> kSubdirectories = {
    tiff::kExifIfd, tiff::kGpsIfd, tiff::kInteroperabilityIfd, tiff::kSubIfds};

struct Range {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
};

Range rangeOf(const tiff::Directory& directory) {
  return {directory.offset, directory.offset + directory.tableBytes};
}

Range rangeOf(const tiff::Entry& entry) { return {entry.value, entry.value + entry.bytes}; }

// Where the offset of the next directory stands.
std::uint64_t linkOf(const tiff::Directory& directory) { return rangeOf(directory).end - 4; }

class Structure {
 public:
  explicit Structure(std::span<std::byte> tiff) : tiff_(tiff) {}

  bool removeThumbnail() {
    const auto format = tiff::readHeader(tiff_);
    if (!format || format->big) return false;
    view_ = {tiff_, *format};
    const auto first = directory(view_.offset(format->firstOffsetPosition()));
    if (!first || first->next == 0) return false;
    kept_.assign(tiff_.size() + 1, 0);
    erased_.assign(tiff_.size() + 1, 0);
    keep({0, format->headerBytes()});
    keepTree(*first);
    // A chain of directories beyond the second is no part of the format: what it holds goes too.
    std::uint64_t offset = first->next;
    for (int i = 0; i < kMaxDirectories && offset != 0; ++i) {
      const auto next = directory(offset);
      if (!next) break;
      offset = next->next;
      eraseDirectory(*next);
    }
    applyErasures();
    const std::uint64_t link = linkOf(*first);
    for (std::uint64_t i = link; i < link + 4; ++i) tiff_[i] = std::byte{0};
    return true;
  }

 private:
  // As far as it can be read: values may lie outside the block. None within the header.
  [[nodiscard]] std::optional<tiff::Directory> directory(std::uint64_t offset) const {
    if (offset < view_.format.headerBytes()) return std::nullopt;
    auto read = tiff::readDirectory(view_, offset).directory;
    if (read.tableBytes == 0) return std::nullopt;
    return read;
  }

  [[nodiscard]] std::uint64_t element(const tiff::Entry& entry, std::uint64_t index) const {
    const std::uint32_t bytes = tiff::fieldBytes(entry.type);
    return bytes == 0 || bytes > 4 ? 0 : view_.integer(entry.value + index * bytes, bytes);
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
  void keepTree(const tiff::Directory& first) {
    std::vector<tiff::Directory> open = {first};
    for (int i = 0; i < kMaxDirectories && !open.empty(); ++i) {
      const tiff::Directory current = std::move(open.back());
      open.pop_back();
      keep(rangeOf(current));
      for (const tiff::Entry& entry : current.entries) {
        keep(rangeOf(entry));
        if (std::ranges::find(kSubdirectories, entry.tag) == kSubdirectories.end()) continue;
        const auto children = std::min<std::uint64_t>(entry.count, kMaxDirectories);
        for (std::uint64_t k = 0; k < children; ++k) {
          if (auto child = directory(element(entry, k))) open.push_back(std::move(*child));
        }
      }
    }
  }

  void eraseDirectory(const tiff::Directory& thumbnail) {
    const auto erasePicture = [&](std::uint16_t offsets, std::uint16_t lengths) {
      const tiff::Entry* const begin = thumbnail.find(offsets);
      const tiff::Entry* const length = thumbnail.find(lengths);
      if (begin == nullptr || length == nullptr) return;
      // No more of them than fit into the block.
      const auto count = std::min<std::uint64_t>({begin->count, length->count, tiff_.size() / 2});
      for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t at = element(*begin, i);
        erase({at, at + element(*length, i)});
      }
    };
    erasePicture(tiff::kJpegInterchangeFormat, tiff::kJpegInterchangeFormatLength);
    erasePicture(tiff::kStripOffsets, tiff::kStripByteCounts);
    for (const tiff::Entry& entry : thumbnail.entries) erase(rangeOf(entry));
    erase(rangeOf(thumbnail));
  }

  std::span<std::byte> tiff_;
  tiff::View view_;
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
