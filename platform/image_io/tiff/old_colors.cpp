#include "platform/image_io/tiff/old_colors.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "platform/image_io/tiff/tags.h"

namespace kelvo::tiff {
namespace {

std::string_view asText(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// Keys of the blocks that hold layers, as both byte orders write them.
bool holdsLayers(std::span<const std::byte> imageSourceData) {
  const std::string_view text = asText(imageSourceData);
  constexpr std::array<std::string_view, 6> kBlocks = {"8BIMLayr", "8BIMLr16", "8BIMLr32",
                                                       "MIB8ryaL", "MIB861rL", "MIB823rL"};
  return std::any_of(kBlocks.begin(), kBlocks.end(), [text](std::string_view block) {
    return text.find(block) != std::string_view::npos;
  });
}

Result<void> checkDirectory(const View& view, const Directory& directory) {
  if (directory.find(kDngVersion) != nullptr) {
    return Error{"it holds raw camera data, which is not adjusted"};
  }
  if (const Entry* const layers = directory.find(kImageSourceData)) {
    if (holdsLayers(valueBytes(view, *layers))) {
      return Error{"it holds layers, which would keep the old colours"};
    }
  }
  for (const std::uint16_t tag :
       {kJpegInterchangeFormat, kJpegQTables, kJpegDcTables, kJpegAcTables}) {
    if (directory.find(tag) != nullptr) {
      return Error{"it holds an old-style JPEG picture, which would keep the old colours"};
    }
  }
  return {};
}

constexpr std::uint16_t kOldThumbnail = 1033;
constexpr std::uint16_t kThumbnail = 1036;
constexpr std::size_t kResourceHead = 6;  // signature and number, before the name

// Length of the resource at the start of `bytes`: signature, number, name and data, both padded to
// an even length. 0 if none stands there.
std::size_t resourceBytes(std::span<const std::byte> bytes) {
  constexpr std::array<std::string_view, 4> kSignatures = {"8BIM", "MeSa", "PHUT", "AgHg"};
  if (bytes.size() < kResourceHead + 2) return 0;
  const std::string_view signature = asText(bytes.first(4));
  if (std::find(kSignatures.begin(), kSignatures.end(), signature) == kSignatures.end()) return 0;
  const std::size_t name = (std::to_integer<std::size_t>(bytes[kResourceHead]) + 2) / 2 * 2;
  const std::size_t head = kResourceHead + name + 4;
  if (bytes.size() < head) return 0;
  const auto data = static_cast<std::size_t>(loadInteger(bytes.subspan(head - 4), 4, true));
  if (data > bytes.size() - head) return 0;
  return std::min(bytes.size(), head + (data + 1) / 2 * 2);
}

// The first "<name ...>...</name>" at or after `from`; length 0 if there is none.
struct Element {
  std::size_t start = 0;
  std::size_t length = 0;
};
Element findElement(std::string_view text, std::string_view name, std::size_t from) {
  const std::string open = "<" + std::string(name);
  const std::string close = "</" + std::string(name) + ">";
  const std::size_t start = text.find(open, from);
  if (start == std::string_view::npos) return {};
  const std::size_t after = start + open.size();
  if (after >= text.size() ||
      std::string_view(" \t\r\n>").find(text[after]) == std::string_view::npos) {
    return {};
  }
  const std::size_t end = text.find(close, after);
  if (end == std::string_view::npos) return {};
  return {start, end + close.size() - start};
}

}  // namespace

Result<void> checkNoOtherPictures(const TiffFile& file) {
  for (const Directory& frame : file.frames()) {
    if (auto checked = checkDirectory(file.view(), frame); !checked) return checked;
  }
  for (const SubDirectory& sub : file.subDirectories()) {
    if (auto checked = checkDirectory(file.view(), sub.directory); !checked) return checked;
    if (holdsPicture(sub.directory)) {
      return Error{"a sub-directory holds another picture, which would keep the old colours"};
    }
  }
  return {};
}

std::optional<std::vector<std::byte>> withoutThumbnail(std::span<const std::byte> resources) {
  std::vector<std::byte> kept;
  bool found = false;
  std::span<const std::byte> rest = resources;
  while (const std::size_t length = resourceBytes(rest)) {
    const auto number = loadInteger(rest.subspan(4), 2, true);
    if (number == kThumbnail || number == kOldThumbnail) {
      found = true;
    } else {
      kept.insert(kept.end(), rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(length));
    }
    rest = rest.subspan(length);
  }
  if (!found) return std::nullopt;
  kept.insert(kept.end(), rest.begin(), rest.end());
  return kept;
}

std::optional<std::vector<std::byte>> withoutXmpThumbnails(std::span<const std::byte> packet) {
  std::vector<std::byte> kept(packet.begin(), packet.end());
  bool found = false;
  for (const std::string_view name : {"xmp:Thumbnails", "xap:Thumbnails"}) {
    std::size_t from = 0;
    while (true) {
      const Element element = findElement(asText(packet), name, from);
      if (element.length == 0) break;
      std::fill_n(kept.begin() + static_cast<std::ptrdiff_t>(element.start), element.length,
                  std::byte{' '});
      from = element.start + element.length;
      found = true;
    }
  }
  if (!found) return std::nullopt;
  return kept;
}

}  // namespace kelvo::tiff
