#include "platform/image_io/tiff/directory.h"

#include <algorithm>
#include <string>

#include "platform/image_io/tiff/tags.h"

namespace kelvo::tiff {
namespace {

SourceStatus endsEarly(std::string cause) {
  return {CGImageSourceStatus::incomplete, std::move(cause)};
}

}  // namespace

std::uint64_t loadInteger(std::span<const std::byte> from, std::size_t bytes, bool bigEndian) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < bytes; ++i) {
    value = value << 8 | std::to_integer<std::uint64_t>(from[bigEndian ? i : bytes - 1 - i]);
  }
  return value;
}

void storeInteger(std::span<std::byte> to, std::uint64_t value, std::size_t bytes, bool bigEndian) {
  for (std::size_t i = 0; i < bytes; ++i) {
    to[bigEndian ? bytes - 1 - i : i] = static_cast<std::byte>(value & 0xFF);
    value >>= 8;
  }
}

const Entry* Directory::find(std::uint16_t tag) const {
  const auto found = std::find_if(entries.begin(), entries.end(),
                                  [tag](const Entry& entry) { return entry.tag == tag; });
  return found == entries.end() ? nullptr : &*found;
}

Result<Format> readHeader(std::span<const std::byte> bytes) {
  const Error noHeader{"it has no TIFF header"};
  if (bytes.size() < 8 || bytes[0] != bytes[1]) return noHeader;
  Format format;
  format.bigEndian = bytes[0] == std::byte{'M'};
  if (!format.bigEndian && bytes[0] != std::byte{'I'}) return noHeader;
  const auto version = loadInteger(bytes.subspan(2), 2, format.bigEndian);
  if (version == 42) return format;
  format.big = true;
  if (version != 43) return noHeader;
  if (bytes.size() < format.headerBytes() ||
      loadInteger(bytes.subspan(4), 2, format.bigEndian) != 8 ||
      loadInteger(bytes.subspan(6), 2, format.bigEndian) != 0) {
    return Error{"its BigTIFF header is damaged"};
  }
  return format;
}

DirectoryResult readDirectory(const View& view, std::uint64_t offset) {
  const Format& format = view.format;
  DirectoryResult result;
  const auto note = [&](const std::string& cause) {
    if (result.problem.status == CGImageSourceStatus::complete) result.problem = endsEarly(cause);
  };
  Directory& directory = result.directory;
  directory.offset = offset;
  if (!view.holds(offset, format.countBytes())) {
    note("the file ends before its directory at byte " + std::to_string(offset));
    return result;
  }
  const std::uint64_t count = view.integer(offset, format.countBytes());
  const std::uint64_t room = view.bytes.size() - offset - format.countBytes();
  const bool entriesFit = count <= room / format.entryBytes();
  if (!entriesFit || room - count * format.entryBytes() < format.offsetBytes()) {
    note("the file ends within its directory at byte " + std::to_string(offset));
  }
  if (!entriesFit) return result;
  directory.tableBytes = format.countBytes() + count * format.entryBytes() + format.offsetBytes();
  directory.next = view.offset(offset + directory.tableBytes - format.offsetBytes());
  directory.entries.reserve(static_cast<std::size_t>(count));
  for (std::uint64_t i = 0; i < count; ++i) {
    Entry entry;
    entry.position = offset + format.countBytes() + i * format.entryBytes();
    entry.tag = static_cast<std::uint16_t>(view.integer(entry.position, 2));
    entry.type = static_cast<std::uint16_t>(view.integer(entry.position + 2, 2));
    entry.count = view.offset(entry.position + 4);
    entry.value = entry.position + 4 + format.offsetBytes();
    const std::uint64_t width = fieldBytes(entry.type);
    if (width != 0) {
      const bool tooLong = entry.count > view.bytes.size() / width;
      if (tooLong) {
        note("the value of tag " + std::to_string(entry.tag) + " is longer than the file");
      }
      entry.bytes = tooLong ? view.bytes.size() + 1 : entry.count * width;
      entry.isInline = entry.bytes <= format.offsetBytes();
      if (!entry.isInline) entry.value = view.offset(entry.value);
      if (!view.holds(entry.value, entry.bytes)) {
        note("the value of tag " + std::to_string(entry.tag) + " lies outside the file");
      }
    }
    directory.entries.push_back(entry);
  }
  return result;
}

std::vector<std::uint64_t> integers(const View& view, const Entry& entry) {
  std::vector<std::uint64_t> values;
  switch (entry.type) {
    case kByte:
    case kShort:
    case kLong:
    case kLong8:
    case kIfd:
    case kIfd8:
      break;
    default:
      return values;
  }
  if (!view.holds(entry.value, entry.bytes)) return values;
  const std::uint32_t width = fieldBytes(entry.type);
  values.reserve(static_cast<std::size_t>(entry.count));
  for (std::uint64_t i = 0; i < entry.count; ++i) {
    values.push_back(view.integer(entry.value + i * width, width));
  }
  return values;
}

unsigned orientation(const View& view, const Directory& directory) {
  const Entry* const entry = directory.find(kOrientation);
  if (entry == nullptr || entry->count != 1) return 1;
  const auto values = integers(view, *entry);
  return values.size() == 1 && values[0] >= 1 && values[0] <= 8 ? static_cast<unsigned>(values[0])
                                                                : 1;
}

}  // namespace kelvo::tiff
