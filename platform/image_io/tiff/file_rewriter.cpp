#include "platform/image_io/tiff/file_rewriter.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "platform/image_io/tiff/tags.h"

namespace kelvo::tiff {
namespace {

// Blocks keep their offset modulo this, so that what was aligned stays aligned.
constexpr std::uint64_t kAlignment = 16;
constexpr std::uint64_t kMostClassic = std::numeric_limits<std::uint32_t>::max();
// Free extents looked at before a strip goes to the end of the file.
constexpr std::size_t kCandidates = 16;

NewValue integerValue(std::span<const std::uint64_t> values, std::uint16_t type,
                      const Format& format) {
  std::uint64_t largest = 0;
  for (const std::uint64_t value : values) largest = std::max(largest, value);
  // The type stays if the numbers fit it.
  if (type != kShort && type != kLong && type != kLong8) type = kLong;
  if (type == kShort && largest > std::numeric_limits<std::uint16_t>::max()) type = kLong;
  if (type == kLong && largest > kMostClassic && format.big) type = kLong8;
  const std::size_t width = fieldBytes(type);
  NewValue value{.type = type, .count = values.size(), .bytes = {}};
  value.bytes.resize(values.size() * width);
  for (std::size_t i = 0; i < values.size(); ++i) {
    storeInteger(std::span(value.bytes).subspan(i * width, width), values[i], width,
                 format.bigEndian);
  }
  return value;
}

}  // namespace

FileRewriter::FileRewriter(OutputFile& out, std::shared_ptr<const TiffFile> file, FileLayout layout)
    : out_(out), file_(std::move(file)), movable_(layout.movable), room_(std::move(layout.room)) {
  for (const Extent& extent : layout.kept) blocks_.push_back({extent, extent.offset, false});
  if (!movable_ && !layout.kept.empty()) {
    end_ = layout.kept.back().end();
    // Room behind everything that is kept is simply the end of the file.
    std::erase_if(room_, [this](const Extent& free) { return free.offset >= end_; });
  }
  // Earliest room last, to be taken from the back.
  std::reverse(room_.begin(), room_.end());
  findSharedValues();
}

Result<std::unique_ptr<FileRewriter>> FileRewriter::begin(OutputFile& out,
                                                          std::shared_ptr<const TiffFile> file) {
  auto layout = analyseLayout(*file);
  if (!layout) return std::move(layout).error();
  std::unique_ptr<FileRewriter> self(new FileRewriter(out, std::move(file), *std::move(layout)));
  if (self->movable_) {
    if (auto written = self->writeBlock(self->blocks_.front()); !written) {
      return std::move(written).error();
    }
  } else {
    for (Block& block : self->blocks_) {
      if (auto written = self->writeBlock(block); !written) return std::move(written).error();
    }
  }
  return self;
}

void FileRewriter::findSharedValues() {
  std::vector<Extent> values;
  const auto add = [&values](const Directory& directory) {
    for (const Entry& entry : directory.entries) {
      if (!entry.isInline) values.push_back({entry.value, entry.bytes});
    }
  };
  for (const Directory& frame : file_->frames()) add(frame);
  for (const SubDirectory& sub : file_->subDirectories()) add(sub.directory);
  std::sort(values.begin(), values.end(),
            [](const Extent& a, const Extent& b) { return a.offset < b.offset; });
  std::uint64_t end = 0;
  std::uint64_t longest = 0;  // start of the value that reaches to `end`
  for (const Extent& value : values) {
    if (value.offset < end) {
      shared_.push_back(value.offset);
      shared_.push_back(longest);
    }
    if (value.end() > end) {
      end = value.end();
      longest = value.offset;
    }
  }
  std::sort(shared_.begin(), shared_.end());
}

Result<void> FileRewriter::writeAt(std::uint64_t position, std::span<const std::byte> bytes) {
  const Format& format = file_->view().format;
  if (!format.big && position + bytes.size() > kMostClassic) {
    return Error{"the new file would be larger than the 4 GiB that its kind of TIFF can hold"};
  }
  if (auto sought = out_.seek(position); !sought) return sought;
  return out_.write(bytes);
}

Result<void> FileRewriter::writeBlock(Block& block) {
  if (movable_) {
    const std::uint64_t shift = (block.from.offset - end_) % kAlignment;
    block.to = end_ + shift;
    end_ = block.to + block.from.length;
  }
  block.written = true;
  return writeAt(block.to,
                 file_->view().bytes.subspan(static_cast<std::size_t>(block.from.offset),
                                             static_cast<std::size_t>(block.from.length)));
}

Result<void> FileRewriter::writeBlocksBefore(std::uint64_t offset) {
  for (Block& block : blocks_) {
    if (block.written || block.from.offset >= offset) continue;
    if (auto written = writeBlock(block); !written) return written;
  }
  return {};
}

// Where `length` bytes of pixels go.
std::uint64_t FileRewriter::takeRoom(std::uint64_t length) {
  if (!movable_) {
    const std::size_t looked = std::min(kCandidates, room_.size());
    for (std::size_t i = 0; i < looked; ++i) {
      Extent& free = room_[room_.size() - 1 - i];
      if (free.length < length) continue;
      const std::uint64_t position = free.offset;
      free.offset += length;
      free.length -= length;
      return position;
    }
    if (looked == kCandidates) room_.pop_back();
  }
  const std::uint64_t position = end_;
  end_ += length;
  return position;
}

std::uint64_t FileRewriter::moved(std::uint64_t offset) const {
  const auto after = std::upper_bound(
      blocks_.begin(), blocks_.end(), offset,
      [](std::uint64_t value, const Block& block) { return value < block.from.offset; });
  if (after == blocks_.begin()) return offset;
  const Block& block = *std::prev(after);
  return block.to + (offset - block.from.offset);
}

Result<void> FileRewriter::beginFrame(std::size_t frame) {
  frame_ = frame;
  const auto striles = file_->striles(frame);
  if (!striles) return striles.error();
  placed_.assign(striles->size(), Extent{});
  if (!movable_) return {};
  std::uint64_t first = std::numeric_limits<std::uint64_t>::max();
  for (const Extent& strile : *striles) first = std::min(first, strile.offset);
  return writeBlocksBefore(first);
}

Result<void> FileRewriter::placeStrile(std::size_t index, std::span<const std::byte> bytes) {
  placed_[index] = {takeRoom(bytes.size()), bytes.size()};
  return writeAt(placed_[index].offset, bytes);
}

Result<void> FileRewriter::startStrile(std::size_t index) {
  open_ = index;
  placed_[index] = {end_, 0};
  return {};
}

Result<void> FileRewriter::appendToStrile(std::span<const std::byte> bytes) {
  auto written = writeAt(end_, bytes);
  end_ += bytes.size();
  placed_[open_].length += bytes.size();
  return written;
}

Result<void> FileRewriter::endFrame() {
  const Directory& directory = file_->frames()[frame_];
  const bool tiled = file_->picture(frame_)->tiled;
  std::vector<std::uint64_t> offsets;
  std::vector<std::uint64_t> lengths;
  for (const Extent& strile : placed_) {
    if (strile.length == 0) return Error{"a strip or tile was not written"};
    offsets.push_back(strile.offset);
    lengths.push_back(strile.length);
  }
  const Entry& offsetEntry = *directory.find(tiled ? kTileOffsets : kStripOffsets);
  const Entry& lengthEntry = *directory.find(tiled ? kTileByteCounts : kStripByteCounts);
  const Format& format = file_->view().format;
  replace(offsetEntry, integerValue(offsets, offsetEntry.type, format));
  replace(lengthEntry, integerValue(lengths, lengthEntry.type, format));
  return {};
}

void FileRewriter::replace(const Entry& entry, NewValue value) {
  values_[entry.position] = std::move(value);
}

// Writes a value that has changed and fills in its entry's type, count and value or offset.
Result<void> FileRewriter::writeValue(const Entry& entry, const NewValue& value,
                                      std::span<std::byte> field) {
  const Format& format = file_->view().format;
  const std::size_t width = format.offsetBytes();
  storeInteger(field.subspan(2), value.type, 2, format.bigEndian);
  storeInteger(field.subspan(4), value.count, width, format.bigEndian);
  const std::span place = field.subspan(4 + width, width);
  const bool own =
      !entry.isInline && !std::binary_search(shared_.begin(), shared_.end(), entry.value);
  if (value.bytes.size() <= width) {
    std::fill(place.begin(), place.end(), std::byte{0});
    std::copy(value.bytes.begin(), value.bytes.end(), place.begin());
    if (!own) return {};
    // Nothing of the old value stays behind.
    return writeAt(moved(entry.value),
                   std::vector<std::byte>(static_cast<std::size_t>(entry.bytes)));
  }
  std::uint64_t position = moved(entry.value);
  std::vector<std::byte> bytes = value.bytes;
  if (own && bytes.size() <= entry.bytes) {
    bytes.resize(static_cast<std::size_t>(entry.bytes));
  } else {
    position = (end_ + 7) / 8 * 8;
    end_ = position + bytes.size();
  }
  storeInteger(place, position, width, format.bigEndian);
  return writeAt(position, bytes);
}

Result<void> FileRewriter::writeDirectory(const Directory& directory, bool chained) {
  const View& view = file_->view();
  const Format& format = view.format;
  const auto old = view.bytes.subspan(static_cast<std::size_t>(directory.offset),
                                      static_cast<std::size_t>(directory.tableBytes));
  std::vector<std::byte> table(old.begin(), old.end());
  const std::span bytes(table);
  const std::size_t width = format.offsetBytes();
  for (const Entry& entry : directory.entries) {
    const std::span field = bytes.subspan(
        static_cast<std::size_t>(entry.position - directory.offset), format.entryBytes());
    if (const auto found = values_.find(entry.position); found != values_.end()) {
      if (auto written = writeValue(entry, found->second, field); !written) return written;
      continue;
    }
    if (!entry.isInline) {
      storeInteger(field.subspan(4 + width), moved(entry.value), width, format.bigEndian);
    }
    if (!movable_ || !pointsAtDirectories(entry)) continue;
    // Few enough to be adjusted in place, where their number and type stay.
    const std::size_t each = fieldBytes(entry.type);
    std::vector<std::byte> pointers(valueBytes(view, entry).begin(), valueBytes(view, entry).end());
    for (std::size_t at = 0; at < pointers.size(); at += each) {
      const std::span pointer = std::span(pointers).subspan(at, each);
      const std::uint64_t target = loadInteger(pointer, each, format.bigEndian);
      if (target != 0) storeInteger(pointer, moved(target), each, format.bigEndian);
    }
    const NewValue value{entry.type, entry.count, std::move(pointers)};
    if (auto written = writeValue(entry, value, field); !written) return written;
  }
  if (chained && directory.next != 0) {
    storeInteger(bytes.last(width), moved(directory.next), width, format.bigEndian);
  }
  return writeAt(moved(directory.offset), table);
}

Result<void> FileRewriter::finish() {
  if (auto written = writeBlocksBefore(std::numeric_limits<std::uint64_t>::max()); !written) {
    return written;
  }
  for (const Directory& frame : file_->frames()) {
    if (auto written = writeDirectory(frame, true); !written) return written;
  }
  for (const SubDirectory& sub : file_->subDirectories()) {
    auto written = writeDirectory(sub.directory, sub.tag == kSubIfds);
    if (!written) return written;
  }
  const Format& format = file_->view().format;
  std::vector<std::byte> first(format.offsetBytes());
  storeInteger(first, moved(file_->frames().front().offset), first.size(), format.bigEndian);
  if (auto written = writeAt(format.firstOffsetPosition(), first); !written) return written;
  // Many writers pad to an even length.
  if (file_->view().bytes.size() % 2 == 0 && out_.size() % 2 != 0) {
    const std::byte padding{0};
    return writeAt(out_.size(), std::span(&padding, 1));
  }
  return out_.seek(out_.size());
}

}  // namespace kelvo::tiff
