#include "platform/image_io/tiff/file_layout.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/image_io/tiff/tags.h"

namespace kelvo::tiff {
namespace {

// Writers pad to even or aligned offsets and do not always clear what they pad with.
constexpr std::uint64_t kPaddingBytes = 4;
// Kept bytes this close to each other, with no pixels between them, move together.
constexpr std::uint64_t kNearBytes = 64;

// Sorted, overlapping and touching ones joined.
std::vector<Extent> merged(std::vector<Extent> extents) {
  std::sort(extents.begin(), extents.end(),
            [](const Extent& a, const Extent& b) { return a.offset < b.offset; });
  std::vector<Extent> result;
  for (const Extent& extent : extents) {
    if (extent.length == 0) continue;
    if (!result.empty() && extent.offset <= result.back().end()) {
      result.back().length = std::max(result.back().end(), extent.end()) - result.back().offset;
    } else {
      result.push_back(extent);
    }
  }
  return result;
}

bool overlap(const std::vector<Extent>& a, const std::vector<Extent>& b) {
  for (std::size_t i = 0, j = 0; i < a.size() && j < b.size();) {
    if (a[i].end() <= b[j].offset) {
      ++i;
    } else if (b[j].end() <= a[i].offset) {
      ++j;
    } else {
      return true;
    }
  }
  return false;
}

// Tags of the standard, its supplements and the registries, none of whose values hold offsets
// beyond those that this codec adjusts.
bool knownWithoutOffsets(std::uint16_t tag) {
  if (tag >= 254 && tag <= 347) return true;  // baseline, extensions
  if (tag >= 529 && tag <= 532) return true;  // YCbCr
  constexpr std::array<std::uint16_t, 33> kOthers = {
      400,           // global parameters, a pointer that is adjusted
      700,           // XMP
      18246, 18249,  // rating
      33432,         // copyright
      33550, 33922, 34264, 34735, 34736, 34737, 42112, 42113,  // geographic
      33723,                                                   // IPTC
      34377, 34675,                                            // image resources, ICC profile
      34665, 34853, 40965,                                     // pointers that are adjusted
      37724, 50341, 59932,                       // blocks with offsets within themselves, padding
      34016, 34850, 34852, 37386, 37396, 37399,  // camera
      40091, 40092, 40093, 40094, 40095,         // titles and keywords
  };
  return std::find(kOthers.begin(), kOthers.end(), tag) != kOthers.end() ||
         (tag >= 33434 && tag <= 33437) || (tag >= 36864 && tag <= 37399) || tag == 34855;
}

// Whether the value of an entry may hold offsets that cannot be told.
bool mayHoldOffsets(const Entry& entry, std::uint16_t directoryTag) {
  if (entry.tag == kMakerNote) return true;
  switch (entry.type) {
    case kAscii:
    case kShort:
    case kSByte:
    case kSShort:
    case kRational:
    case kSRational:
    case kFloat:
    case kDouble:
      return false;
    default:
      break;
  }
  if (pointsAtDirectories(entry)) return false;
  switch (directoryTag) {
    case kExifIfd:
      return !(entry.tag >= 33434 && entry.tag <= 42240) && !knownWithoutOffsets(entry.tag);
    case kGpsIfd:
    case kInteroperabilityIfd:
      return false;
    default:
      return !knownWithoutOffsets(entry.tag);
  }
}

class Analysis {
 public:
  explicit Analysis(const TiffFile& file) : file_(file) {}

  Result<FileLayout> run() {
    const std::uint64_t size = file_.view().bytes.size();
    tables_.push_back({0, file_.view().format.headerBytes()});
    for (const Directory& frame : file_.frames()) add(frame, 0);
    for (const SubDirectory& sub : file_.subDirectories()) add(sub.directory, sub.tag);

    const std::vector<Extent> values = merged(values_);
    const std::vector<Extent> tables = merged(tables_);
    std::uint64_t apart = 0;
    std::uint64_t together = 0;
    for (const Extent& table : tables_) apart += table.length;
    for (const Extent& table : tables) together += table.length;
    if (apart != together || overlap(tables, values)) {
      return Error{"its directories lie on top of each other"};
    }
    std::vector<Extent> pixels;
    for (std::size_t i = 0; i < file_.frames().size(); ++i) {
      auto striles = file_.striles(i);
      if (!striles) return std::move(striles).error();
      for (const Extent& strile : *striles) {
        if (!file_.view().holds(strile.offset, strile.length)) {
          return Error{"a strip or tile lies outside the file"};
        }
        pixels.push_back(strile);
      }
    }
    pixels = merged(std::move(pixels));
    std::vector<Extent> referenced = values;
    referenced.insert(referenced.end(), tables.begin(), tables.end());
    referenced = merged(std::move(referenced));
    if (overlap(referenced, pixels)) {
      return Error{"its directories and its pixels lie on top of each other"};
    }
    settleGaps(referenced, pixels, size);
    return std::move(layout_);
  }

 private:
  void add(const Directory& directory, std::uint16_t tag) {
    tables_.push_back({directory.offset, directory.tableBytes});
    for (const Entry& entry : directory.entries) {
      if (!entry.isInline) values_.push_back({entry.value, entry.bytes});
      if (fieldBytes(entry.type) == 0 || mayHoldOffsets(entry, tag)) layout_.movable = false;
    }
    // Only frames and further pictures are chained; what stands there otherwise is not understood.
    if (tag != 0 && tag != kSubIfds && directory.next != 0) layout_.movable = false;
  }

  // Decides what becomes of the bytes that nothing points at.
  void settleGaps(const std::vector<Extent>& referenced, const std::vector<Extent>& pixels,
                  std::uint64_t size) {
    std::vector<Extent> used = referenced;
    used.insert(used.end(), pixels.begin(), pixels.end());
    used = merged(std::move(used));
    std::vector<Extent> kept = referenced;
    std::vector<Extent> room = pixels;
    std::uint64_t start = 0;
    used.push_back({size, 1});
    for (const Extent& extent : used) {
      const Extent gap{start, extent.offset - start};
      start = extent.end();
      if (gap.length == 0) continue;
      const bool blank = isBlank(gap);
      if (blank || gap.length < kPaddingBytes) {
        if (touches(pixels, gap)) {
          room.push_back(gap);
        } else if (!blank || gap.length < kNearBytes) {
          kept.push_back(gap);
        }
      } else {
        kept.push_back(gap);
        layout_.movable = false;
      }
    }
    layout_.kept = merged(std::move(kept));
    layout_.room = merged(std::move(room));
  }

  [[nodiscard]] bool isBlank(const Extent& extent) const {
    const auto bytes = file_.view().bytes.subspan(static_cast<std::size_t>(extent.offset),
                                                  static_cast<std::size_t>(extent.length));
    return std::all_of(bytes.begin(), bytes.end(),
                       [](std::byte byte) { return byte == std::byte{0}; });
  }

  // Whether the gap begins right after pixels.
  static bool touches(const std::vector<Extent>& pixels, const Extent& gap) {
    const auto after = std::upper_bound(
        pixels.begin(), pixels.end(), gap.offset,
        [](std::uint64_t offset, const Extent& extent) { return offset < extent.offset; });
    return after != pixels.begin() && std::prev(after)->end() == gap.offset;
  }

  const TiffFile& file_;
  FileLayout layout_;
  std::vector<Extent> tables_;
  std::vector<Extent> values_;
};

}  // namespace

Result<FileLayout> analyseLayout(const TiffFile& file) { return Analysis(file).run(); }

}  // namespace kelvo::tiff
