#include "platform/open_save/exif_tree.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string>
#include <utility>

#include "platform/image_io/tiff/directory.h"
#include "platform/image_io/tiff/tags.h"

namespace kelvo {
namespace {

// Entries may share their bytes, so a small block can ask for a lot of memory.
constexpr std::uint64_t kMostBytes = std::uint64_t{16} << 20;

constexpr std::uint16_t kOrientation = 274;

constexpr auto kImageTags = std::to_array<std::uint16_t>({
    270,  // ImageDescription
    271,  // Make
    272,  // Model
    kOrientation,
    282,    // XResolution
    283,    // YResolution
    296,    // ResolutionUnit
    305,    // Software
    306,    // DateTime
    315,    // Artist
    316,    // HostComputer
    18246,  // Rating
    18249,  // RatingPercent
    33432,  // Copyright
    40091,  // XPTitle
    40092,  // XPComment
    40093,  // XPAuthor
    40094,  // XPKeywords
    40095,  // XPSubject
});

constexpr auto kPointers =
    std::to_array<std::uint16_t>({tiff::kExifIfd, tiff::kGpsIfd, tiff::kInteroperabilityIfd});

bool isImageTag(std::uint16_t tag) {
  return std::ranges::find(kImageTags, tag) != kImageTags.end();
}

bool isCarried(std::uint16_t tag) {
  return tag != tiff::kMakerNote && std::ranges::find(kPointers, tag) == kPointers.end();
}

class Reader {
 public:
  explicit Reader(const tiff::View& view) : view_(view) {}

  Result<tiff::Directory> directory(std::uint64_t offset) const {
    auto read = tiff::readDirectory(view_, offset);
    if (read.problem.status != CGImageSourceStatus::complete) {
      return Error{"its EXIF data are damaged: " + read.problem.cause};
    }
    return std::move(read.directory);
  }

  // The fields that `wanted` lets through.
  Result<void> take(const tiff::Directory& from, bool (*wanted)(std::uint16_t tag),
                    std::vector<ExifField>& to) {
    for (const tiff::Entry& entry : from.entries) {
      if (!wanted(entry.tag) || entry.bytes == 0 || entry.type > tiff::kIfd) continue;
      taken_ += entry.bytes;
      if (taken_ > kMostBytes) return Error{"its EXIF data are too large"};
      const auto value = tiff::valueBytes(view_, entry);
      to.push_back({entry.tag, entry.type, entry.count, {value.begin(), value.end()}});
    }
    return {};
  }

  // The fields of the directory that an entry of `from` points to, if there is one.
  Result<tiff::Directory> follow(const tiff::Directory& from, std::uint16_t pointer,
                                 std::vector<ExifField>& to) {
    const tiff::Entry* const entry = from.find(pointer);
    if (entry == nullptr) return tiff::Directory{};
    const auto offsets = tiff::integers(view_, *entry);
    if (offsets.size() != 1) return Error{"its EXIF data are damaged"};
    auto read = directory(offsets.front());
    if (!read) return read;
    if (auto taken = take(*read, &isCarried, to); !taken) return std::move(taken).error();
    return read;
  }

 private:
  tiff::View view_;
  std::uint64_t taken_ = 0;
};

class Layout {
 public:
  Layout(std::uint64_t position, bool bigEndian) : position_(position), bigEndian_(bigEndian) {}

  // Where the directory stands.
  std::uint64_t add(std::vector<ExifField> fields) {
    std::ranges::stable_sort(fields, {}, &ExifField::tag);
    const std::uint64_t begin = position_ + bytes_.size();
    std::uint64_t values = begin + 2 + 12 * fields.size() + 4;
    put(fields.size(), 2);
    for (const ExifField& field : fields) {
      put(field.tag, 2);
      put(field.type, 2);
      put(field.count, 4);
      if (field.value.size() > 4) {
        put(values, 4);
        values += (field.value.size() + 1) / 2 * 2;
      } else {
        bytes_.insert(bytes_.end(), field.value.begin(), field.value.end());
        bytes_.resize(bytes_.size() + 4 - field.value.size());
      }
    }
    put(0, 4);  // no next directory
    for (const ExifField& field : fields) {
      if (field.value.size() <= 4) continue;
      bytes_.insert(bytes_.end(), field.value.begin(), field.value.end());
      bytes_.resize((bytes_.size() + 1) / 2 * 2);
    }
    return begin;
  }

  std::vector<std::byte> bytes() && { return std::move(bytes_); }

 private:
  void put(std::uint64_t value, std::size_t bytes) {
    bytes_.resize(bytes_.size() + bytes);
    tiff::storeInteger(std::span(bytes_).last(bytes), value, bytes, bigEndian_);
  }

  std::uint64_t position_;
  bool bigEndian_;
  std::vector<std::byte> bytes_;
};

}  // namespace

Result<ExifTree> readExifTree(std::span<const std::byte> tiff) {
  const auto format = tiff::readHeader(tiff);
  if (!format) return Error{"its EXIF data are damaged: " + format.error().message};
  const tiff::View view = {tiff, *format};
  Reader reader(view);
  ExifTree tree;
  tree.bigEndian = format->bigEndian;
  const auto first = reader.directory(view.offset(format->firstOffsetPosition()));
  if (!first) return first.error();
  if (auto taken = reader.take(*first, &isImageTag, tree.image); !taken) {
    return std::move(taken).error();
  }
  const auto exif = reader.follow(*first, tiff::kExifIfd, tree.exif);
  if (!exif) return exif.error();
  if (auto gps = reader.follow(*first, tiff::kGpsIfd, tree.gps); !gps) {
    return std::move(gps).error();
  }
  auto further = reader.follow(*exif, tiff::kInteroperabilityIfd, tree.interoperability);
  if (!further) return std::move(further).error();
  return tree;
}

ExifField exifField(const ExifTree& tree, std::uint16_t tag, std::uint16_t type,
                    std::span<const std::uint64_t> values) {
  const std::size_t width = tiff::fieldBytes(type);
  ExifField field = {tag, type, values.size(), std::vector<std::byte>(values.size() * width)};
  for (std::size_t i = 0; i < values.size(); ++i) {
    tiff::storeInteger(std::span(field.value).subspan(i * width, width), values[i], width,
                       tree.bigEndian);
  }
  return field;
}

LaidOutTree layOut(const ExifTree& tree, std::uint64_t position) {
  Layout layout(position, tree.bigEndian);
  const auto pointer = [&](std::uint16_t tag, std::uint64_t place) {
    return exifField(tree, tag, tiff::kLong, std::array{place});
  };
  std::vector<ExifField> exif = tree.exif;
  if (!tree.interoperability.empty()) {
    exif.push_back(pointer(tiff::kInteroperabilityIfd, layout.add(tree.interoperability)));
  }
  std::vector<ExifField> image = tree.image;
  if (!exif.empty()) image.push_back(pointer(tiff::kExifIfd, layout.add(std::move(exif))));
  if (!tree.gps.empty()) image.push_back(pointer(tiff::kGpsIfd, layout.add(tree.gps)));
  LaidOutTree result;
  result.imageDirectory = layout.add(std::move(image));
  result.bytes = std::move(layout).bytes();
  if (position + result.bytes.size() > std::numeric_limits<std::uint32_t>::max()) return {};
  return result;
}

std::vector<std::byte> buildExifBlock(const ExifTree& tree) {
  if (tree.empty()) return {};
  constexpr std::size_t kHeaderBytes = 8;
  const LaidOutTree laid = layOut(tree, kHeaderBytes);
  std::vector<std::byte> block(kHeaderBytes);
  const std::span header(block);
  header[0] = header[1] = static_cast<std::byte>(tree.bigEndian ? 'M' : 'I');
  tiff::storeInteger(header.subspan(2), 42, 2, tree.bigEndian);
  tiff::storeInteger(header.subspan(4), laid.imageDirectory, 4, tree.bigEndian);
  block.insert(block.end(), laid.bytes.begin(), laid.bytes.end());
  return block;
}

unsigned orientationOf(const ExifTree& tree) {
  for (const ExifField& field : tree.image) {
    if (field.tag != kOrientation || field.type != tiff::kShort || field.value.size() != 2)
      continue;
    const std::uint64_t value = tiff::loadInteger(field.value, 2, tree.bigEndian);
    if (value >= 1 && value <= 8) return static_cast<unsigned>(value);
  }
  return 1;
}

}  // namespace kelvo
