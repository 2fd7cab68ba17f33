#include "platform/image_io/jpeg2000/codestream.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "platform/image_io/jpeg2000/markers.h"

namespace kelvo::jpeg2000 {
namespace {

constexpr unsigned kMostProfile = 2;
constexpr unsigned kMostLayers = 100;  // of the library
constexpr unsigned kMostLevels = 32;
constexpr unsigned kPartOneBlockStyles = 0x3F;
constexpr std::uint64_t kMostTiles = 65535;
constexpr unsigned kMostPartsOfTile = 255;
constexpr std::size_t kMostSegments = 65536;

// OpenJPEG's forward transforms spoil a tile that at an odd place comes down to nothing from left
// to right (5-3), or to one sample (9-7), before the last of its levels: they take what lies beside
// it for its own. Tiles that begin at multiples of large powers of two, as nearly all do, never do.
bool isSpoilt(std::uint32_t begin, std::uint32_t end, const CodingStyle& style, bool across) {
  if (style.reversible && !across) return false;
  const std::uint32_t left = style.reversible ? 0 : 1;
  for (unsigned level = 0; level < style.levels; ++level) {
    if (end - begin == left && begin % 2 == 1) return true;
    begin = (begin + 1) / 2;
    end = (end + 1) / 2;
  }
  return false;
}

class MarkerReader {
 public:
  explicit MarkerReader(Bytes bytes) { stream_.bytes = bytes; }

  Result<Codestream> read() {
    if (number(0, 2) != kStart || number(2, 2) != kSize) return Error{"it has no main header"};
    position_ = 2;
    bool sized = false;
    bool styled = false;
    std::size_t segments = 0;
    while (number(position_, 2) != kTilePart) {
      if (++segments > kMostSegments) return Error{"it has more than 65536 segments of metadata"};
      const unsigned marker = number(position_, 2);
      const auto segment = takeSegment();
      if (!segment) return segment.error();
      Result<void> taken;
      if (marker == kSize) {
        if (sized) return Error{"its main header is damaged"};
        taken = takeSize(segment->subspan(4));
        sized = true;
      } else if (marker == kStyle) {
        if (styled) return Error{"its main header is damaged"};
        taken = takeStyle(segment->subspan(4));
        styled = true;
      } else {
        takeOther(marker, *segment, true);
      }
      if (!taken) return std::move(taken).error();
    }
    if (!sized || !styled) return Error{"its main header is damaged"};
    stream_.headerBytes = position_;
    checkTiles();
    stream_.status = walkTileParts();
    return std::move(stream_);
  }

 private:
  [[nodiscard]] std::uint32_t number(std::size_t at, std::size_t bytes) const {
    if (at > stream_.bytes.size() || bytes > stream_.bytes.size() - at) return 0;
    heif::Reader reader(stream_.bytes.subspan(at));
    return static_cast<std::uint32_t>(reader.number(bytes));
  }

  // A marker segment, marker and length included.
  Result<Bytes> takeSegment() {
    const unsigned marker = number(position_, 2);
    const std::size_t length = number(position_ + 2, 2);
    if (marker < 0xFF00 || length < 2 || stream_.bytes.size() - position_ < length + 2) {
      return Error{"its main header is damaged"};
    }
    const Bytes segment = stream_.bytes.subspan(position_, length + 2);
    position_ += segment.size();
    return segment;
  }

  Result<void> takeSize(Bytes content) {
    heif::Reader reader(content);
    stream_.profile = reader.u16();
    Grid& grid = stream_.grid;
    for (std::uint32_t* const field :
         {&grid.right, &grid.bottom, &grid.left, &grid.top, &grid.tileWidth, &grid.tileHeight,
          &grid.tileLeft, &grid.tileTop}) {
      *field = reader.u32();
    }
    const unsigned count = reader.u16();
    for (unsigned i = 0; i < count; ++i) {
      Component component;
      const unsigned depth = reader.u8();
      component.bits = (depth & 0x7FU) + 1;
      component.isSigned = (depth & 0x80U) != 0;
      component.stepX = reader.u8();
      component.stepY = reader.u8();
      if (component.stepX == 0 || component.stepY == 0) return Error{"its main header is damaged"};
      stream_.components.push_back(component);
    }
    const bool sensible = reader.ok() && reader.rest().empty() && count > 0 &&
                          grid.left < grid.right && grid.top < grid.bottom && grid.tileWidth > 0 &&
                          grid.tileHeight > 0 && grid.tileLeft <= grid.left &&
                          grid.tileTop <= grid.top &&
                          std::uint64_t{grid.tileLeft} + grid.tileWidth > grid.left &&
                          std::uint64_t{grid.tileTop} + grid.tileHeight > grid.top;
    if (!sensible) return Error{"its size makes no sense"};
    const std::uint64_t tiles = std::uint64_t{grid.columns()} * grid.rows();
    if (tiles > kMostTiles) {
      return Error{
          fmt::format("it has {} tiles, more than the {} there can be", tiles, kMostTiles)};
    }
    constexpr std::uint32_t kLargest = 0x7FFFFFFF;  // of the library
    if (std::max({grid.right, grid.bottom}) > kLargest) obstacle("it is too large to be written");
    if (stream_.profile > kMostProfile) {
      obstacle("a profile or extension beyond Part 1 of the format cannot be written back");
    }
    checkComponents();
    return {};
  }

  void checkComponents() {
    for (const Component& component : stream_.components) {
      if (component.isSigned) obstacle("signed samples cannot be written back");
      if (component.bits > 16) obstacle("samples of more than 16 bits cannot be written back");
      if (component.stepX != 1 || component.stepY != 1) {
        obstacle("components of a lower resolution cannot be written back");
      }
      if (component.bits != stream_.components[0].bits) {
        obstacle("components of several depths cannot be written back");
      }
    }
  }

  void checkTiles() {
    const Grid& grid = stream_.grid;
    const auto spoilt = [this](std::uint64_t first, std::uint32_t size, std::uint32_t from,
                               std::uint32_t to, bool across) {
      for (std::uint64_t at = first; at < to; at += size) {
        const auto begin = static_cast<std::uint32_t>(std::max<std::uint64_t>(at, from));
        const auto end = static_cast<std::uint32_t>(std::min<std::uint64_t>(at + size, to));
        if (isSpoilt(begin, end, stream_.style, across)) return true;
      }
      return false;
    };
    if (spoilt(grid.tileLeft, grid.tileWidth, grid.left, grid.right, true) ||
        spoilt(grid.tileTop, grid.tileHeight, grid.top, grid.bottom, false)) {
      obstacle("a tile is too narrow for its resolutions to be written back");
    }
  }

  Result<void> takeStyle(Bytes content) {
    heif::Reader reader(content);
    CodingStyle& style = stream_.style;
    style.flags = reader.u8();
    style.progression = reader.u8();
    style.layers = reader.u16();
    style.transform = reader.u8();
    style.levels = reader.u8();
    style.blockWidth = reader.u8();
    style.blockHeight = reader.u8();
    style.blockStyle = reader.u8();
    const unsigned wavelet = reader.u8();
    style.reversible = wavelet == 1;
    if ((style.flags & 1U) != 0) {
      for (unsigned i = 0; i <= style.levels; ++i) style.precincts.push_back(reader.u8());
    }
    if (!reader.ok() || style.layers == 0 || style.levels > kMostLevels || style.progression > 4 ||
        style.blockWidth > 8 || style.blockHeight > 8) {
      return Error{"its main header is damaged"};
    }
    if (style.transform > 1 || wavelet > 1 || style.flags > 7 ||
        style.blockStyle > kPartOneBlockStyles) {
      obstacle("a way of coding beyond Part 1 of the format cannot be written back");
    }
    // The library makes room for each, whether or not anything is in it.
    if (style.layers > kMostLayers) return Error{"it has more than 100 layers"};
    return {};
  }

  void takeOther(unsigned marker, Bytes segment, bool inMain) {
    switch (marker) {
      case kComment:
      case kRegistration:
        if (inMain) {
          stream_.kept.push_back(segment);
        } else {
          obstacle("comments of single tiles cannot be written back");
        }
        break;
      case kTileLengths:
        stream_.tileLengths = true;
        break;
      case kPacketLengths:
      case kPacketLengthsInMain:
        stream_.packetLengths = true;
        break;
      case kQuantization:
      case kComponentQuantization:
        break;
      case kStyle:
      case kComponentStyle:
        stream_.otherStyles = true;
        obstacle("tiles or components coded in ways of their own cannot be written back");
        break;
      case kRegion:
        obstacle("a region of interest cannot be written back");
        break;
      case kProgressionChanges:
        obstacle("changes of progression cannot be written back");
        break;
      case kPackedInMain:
      case kPackedInTile:
        obstacle("packed packet headers cannot be written back");
        break;
      case kCapabilities:
        obstacle("a way of coding beyond Part 1 of the format cannot be written back");
        break;
      default:
        obstacle("an unknown part of its codestream cannot be written back");
    }
  }

  void obstacle(const char* reason) {
    if (stream_.obstacle.empty()) stream_.obstacle = reason;
  }

  static SourceStatus damaged(const char* cause) {
    return {.status = CGImageSourceStatus::invalidData, .cause = cause};
  }
  static SourceStatus endsEarly() {
    return {.status = CGImageSourceStatus::incomplete,
            .cause = "the file ends inside its codestream"};
  }

  SourceStatus walkTileParts() {
    constexpr std::size_t kTilePartHeader = 12;
    const std::size_t size = stream_.bytes.size();
    const std::uint64_t tiles = std::uint64_t{stream_.grid.columns()} * stream_.grid.rows();
    std::vector<std::uint8_t> parts(tiles);
    stream_.tileBytes.resize(tiles);
    while (number(position_, 2) == kTilePart) {
      if (size - position_ < kTilePartHeader) return endsEarly();
      const std::size_t begin = position_;
      const std::uint32_t tile = number(begin + 4, 2);
      const std::uint32_t length = number(begin + 6, 4);
      if (number(begin + 2, 2) != 10 || tile >= tiles) return damaged("a tile's header is damaged");
      if (parts[tile]++ == kMostPartsOfTile) {
        return damaged("a tile of it has more than 255 parts");
      }
      // Without a length it goes on to the end marker.
      const std::size_t most = size - begin;
      if (length > most) return endsEarly();
      if (length == 0 && most < kTilePartHeader + 4) return endsEarly();
      const std::size_t end = length == 0 ? size - 2 : begin + length;
      position_ = begin + kTilePartHeader;
      while (position_ < end && number(position_, 2) != kTileData) {
        const unsigned marker = number(position_, 2);
        const auto segment = takeSegment();
        if (!segment || position_ > end) return damaged("a tile's header is damaged");
        takeOther(marker, *segment, false);
      }
      if (position_ + 2 > end) return damaged("a tile's header is damaged");
      stream_.tileBytes[tile] += end - position_ - 2;
      position_ = end;
    }
    if (size - position_ < 2) return endsEarly();
    if (number(position_, 2) != kEnd) return damaged("its codestream is damaged between tiles");
    if (size - position_ > 2) return damaged("bytes follow the end of its codestream");
    if (std::find(parts.begin(), parts.end(), 0) != parts.end()) {
      return {.status = CGImageSourceStatus::incomplete, .cause = "tiles of it are missing"};
    }
    return {};
  }

  Codestream stream_;
  std::size_t position_ = 0;
};

}  // namespace

Result<Codestream> readCodestream(Bytes bytes) { return MarkerReader(bytes).read(); }

bool sameForm(const Codestream& a, const Codestream& b) {
  return a.grid == b.grid && a.components.size() == b.components.size() && a.style == b.style &&
         a.profile == b.profile && a.tileLengths == b.tileLengths &&
         a.packetLengths == b.packetLengths &&
         std::equal(
             a.kept.begin(), a.kept.end(), b.kept.begin(), b.kept.end(),
             [](Bytes x, Bytes y) { return std::equal(x.begin(), x.end(), y.begin(), y.end()); });
}

}  // namespace kelvo::jpeg2000
