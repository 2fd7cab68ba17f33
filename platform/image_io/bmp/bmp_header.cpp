#include "platform/image_io/bmp/bmp_header.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <string_view>

#include "platform/image_io/little_endian.h"

namespace kelvo {
namespace {

constexpr std::size_t kFileHeaderBytes = 14;

// The versions of the second header, told apart by their sizes.
constexpr std::uint32_t kCore = 12;       // OS/2 1.x
constexpr std::uint32_t kLeastOs2 = 16;   // OS/2 2.x, cut anywhere up to 64
constexpr std::uint32_t kInfo = 40;       // Windows 3
constexpr std::uint32_t kInfoMasks = 52;  // with masks
constexpr std::uint32_t kInfoAlpha = 56;  // with masks and alpha
constexpr std::uint32_t kMostOs2 = 64;
constexpr std::uint32_t kV4 = 108;
constexpr std::uint32_t kV5 = 124;

bool knownSize(std::uint32_t size) {
  return size == kCore || (size >= kLeastOs2 && size <= kMostOs2 && size % 2 == 0) || size == kV4 ||
         size == kV5;
}

bool os2(std::uint32_t size) {
  return size >= kLeastOs2 && size <= kMostOs2 && size != kInfo && size != kInfoMasks &&
         size != kInfoAlpha;
}

class Reader {
 public:
  Reader(std::span<const std::byte> file, const Limits& limits) : file_(file), limits_(limits) {}

  Result<BmpHeader> read() {
    if (!looksLikeBmp(file_)) return Error{"the file does not begin with a header"};
    size_ = readLittleEndian32(file_, kFileHeaderBytes);
    if (file_.size() < kFileHeaderBytes + size_) return endsInHeader();
    info_ = file_.subspan(kFileHeaderBytes, size_);
    header_.fileBytes = readLittleEndian32(file_, 2);
    header_.pixels.begin = readLittleEndian32(file_, 10);
    afterHeaders_ = kFileHeaderBytes + size_;
    for (const auto step : {&Reader::readDimensions, &Reader::readCompression,
                            &Reader::readChannels, &Reader::readTable, &Reader::readRanges}) {
      if (auto done = (this->*step)(); !done) return std::move(done).error();
    }
    return header_;
  }

 private:
  static Error endsInHeader() { return Error{"the file ends inside its headers"}; }

  // Fields beyond the header's end are 0.
  [[nodiscard]] std::uint32_t field(std::size_t at) const {
    return at + 4 <= info_.size() ? readLittleEndian32(info_, at) : 0;
  }

  Result<void> readDimensions() {
    const bool core = size_ == kCore;
    std::uint32_t planes = 0;
    if (core) {
      header_.width = readLittleEndian16(info_, 4);
      header_.height = readLittleEndian16(info_, 6);
      planes = readLittleEndian16(info_, 8);
      header_.pixelBits = readLittleEndian16(info_, 10);
    } else {
      header_.width = field(4);
      header_.height = field(8);
      planes = readLittleEndian16(info_, 12);
      header_.pixelBits = readLittleEndian16(info_, 14);
    }
    constexpr std::uint32_t kSign = 0x80000000;
    if (!core && !os2(size_) && (header_.height & kSign) != 0) {
      header_.topDown = true;
      header_.height = ~header_.height + 1;
    }
    const auto senseless = [](std::uint32_t n) { return n == 0 || (n & kSign) != 0; };
    if (senseless(header_.width) || senseless(header_.height)) {
      return Error{
          fmt::format("a picture of {} x {} pixels makes no sense", header_.width, header_.height)};
    }
    if (planes != 1) return Error{fmt::format("a picture of {} planes makes no sense", planes)};
    if (std::uint64_t{header_.width} * header_.height > limits_.maxPixels) {
      return Error{fmt::format("a picture of {} x {} pixels is over the limit of {} (--max-pixels)",
                               header_.width, header_.height, limits_.maxPixels)};
    }
    return {};
  }

  Result<void> readCompression() {
    const std::uint32_t compression = size_ == kCore ? 0 : field(16);
    switch (compression) {
      case 0:
        break;
      case 1:
        header_.compression = BmpCompression::rle8;
        break;
      case 2:
        header_.compression = BmpCompression::rle4;
        break;
      case 3:
        if (os2(size_)) return unsupported("Huffman codes");
        masks_ = 3;
        break;
      case 4:
        return unsupported(os2(size_) ? "runs of 24-bit pixels" : "a JPEG picture");
      case 5:
        return unsupported("a PNG picture");
      case 6:
        if (os2(size_)) return unknownCompression(compression);
        masks_ = 4;
        break;
      case 11:
      case 12:
      case 13:
        return unsupported("CMYK colours");
      default:
        return unknownCompression(compression);
    }
    return checkPixelBits();
  }

  static Error unsupported(std::string_view what) {
    return Error{fmt::format("a BMP file with {} inside is not supported", what)};
  }

  static Error unknownCompression(std::uint32_t compression) {
    return Error{fmt::format("the compression {} is not known", compression)};
  }

  [[nodiscard]] Result<void> checkPixelBits() const {
    const unsigned bits = header_.pixelBits;
    bool valid = false;
    if (header_.compression == BmpCompression::rle8) {
      valid = bits == 8 && !header_.topDown;
    } else if (header_.compression == BmpCompression::rle4) {
      valid = bits == 4 && !header_.topDown;
    } else if (masks_ != 0) {
      valid = bits == 16 || bits == 32;
    } else {
      constexpr std::array kDepths = {1U, 2U, 4U, 8U, 16U, 24U, 32U};
      valid = std::ranges::find(kDepths, bits) != kDepths.end() &&
              (size_ != kCore || (bits != 16 && bits != 32));
    }
    if (valid) return {};
    return Error{fmt::format("{} bits a pixel do not go with the rest of the header", bits)};
  }

  Result<void> readChannels() {
    if (header_.indexed()) return {};
    const bool fiveBits = header_.pixelBits == 16;
    std::array<std::uint32_t, 4> masks = {fiveBits ? 0x7c00U : 0xff0000U,
                                          fiveBits ? 0x3e0U : 0xff00U, fiveBits ? 0x1fU : 0xffU, 0};
    if (masks_ != 0) {
      // They begin at the same place, inside the header or after it.
      constexpr std::size_t kMasksAt = 40;
      std::size_t count = masks_;
      if (size_ == kInfo) {
        afterHeaders_ += 4 * count;
        if (file_.size() < afterHeaders_) return endsInHeader();
      } else {
        count = std::min<std::size_t>((size_ - kMasksAt) / 4, masks.size());
      }
      masks = {};
      for (std::size_t i = 0; i < count; ++i) {
        masks[i] = readLittleEndian32(file_, kFileHeaderBytes + kMasksAt + 4 * i);
      }
    }
    return setChannels(masks);
  }

  Result<void> setChannels(const std::array<std::uint32_t, 4>& masks) {
    const std::uint64_t pixel = (std::uint64_t{1} << header_.pixelBits) - 1;
    constexpr unsigned kMostBits = 16;
    std::uint32_t taken = 0;
    for (std::size_t i = 0; i < masks.size(); ++i) {
      const BmpChannel channel = {masks[i]};
      const std::uint64_t run = std::uint64_t{channel.maximum()} + 1;
      if ((masks[i] & ~pixel) != 0 || (masks[i] & taken) != 0 || !std::has_single_bit(run)) {
        return Error{fmt::format("the mask {:#x} makes no sense", masks[i])};
      }
      if (masks[i] == 0 && i < 3) return Error{"a picture needs red, green and blue"};
      if (channel.bits() > kMostBits) {
        return Error{fmt::format("channels of {} bits are not supported", channel.bits())};
      }
      taken |= masks[i];
      header_.channels[i] = channel;
    }
    return {};
  }

  Result<void> readTable() {
    const std::uint64_t pixelsAt = header_.pixels.begin;
    if (pixelsAt < afterHeaders_) {
      return Error{fmt::format("the pixels begin at byte {}, inside the headers", pixelsAt)};
    }
    if (!header_.indexed()) return {};
    header_.entryBytes = size_ == kCore ? 3 : 4;
    const std::uint64_t told = size_ == kCore ? 0 : field(32);
    const std::uint64_t most = std::uint64_t{1} << header_.pixelBits;
    const std::uint64_t room = (pixelsAt - afterHeaders_) / header_.entryBytes;
    // A table that is not told to be shorter may still be cut by the pixels. In OS/2 2.x that would
    // rather mean entries of three bytes, which some programs write by mistake.
    const std::uint64_t needed = told == 0 && os2(size_) ? most : told;
    if (needed > room) {
      return Error{
          fmt::format("there is room for {} of the {} colours of the table", room, needed)};
    }
    const std::uint64_t entries = std::min({told == 0 ? most : told, most, room});
    if (entries == 0) return Error{"the colour table is missing"};
    header_.table = {afterHeaders_, entries * header_.entryBytes};
    return {};
  }

  Result<void> readRanges() {
    const std::uint64_t rest =
        file_.size() - std::min<std::uint64_t>(header_.pixels.begin, file_.size());
    const std::uint32_t told = field(20);
    if (header_.compression == BmpCompression::none) {
      header_.pixels.size = header_.rowBytes() * header_.height;
    } else {
      header_.pixels.size = told == 0 ? rest : told;
    }
    constexpr std::uint32_t kEmbedded = 0x4d424544;  // 'MBED'
    if (size_ == kV5 && field(56) == kEmbedded && field(116) != 0) {
      header_.profile = {kFileHeaderBytes + std::uint64_t{field(112)}, field(116)};
      const bool inHeaders = header_.profile.begin < afterHeaders_;
      if (inHeaders || header_.profile.overlaps(header_.table) ||
          header_.profile.overlaps(header_.pixels)) {
        return Error{"the colour profile stands where something else does"};
      }
    }
    return {};
  }

  std::span<const std::byte> file_;
  const Limits& limits_;
  std::uint32_t size_ = 0;           // of the second header
  std::span<const std::byte> info_;  // that header
  std::uint64_t afterHeaders_ = 0;
  std::size_t masks_ = 0;  // how many are told
  BmpHeader header_;
};

}  // namespace

bool BmpHeader::deep() const {
  return std::ranges::any_of(channels, [](const BmpChannel& c) { return c.bits() > 8; });
}

Result<BmpHeader> readBmpHeader(std::span<const std::byte> file, const Limits& limits) {
  return Reader(file, limits).read();
}

bool looksLikeBmp(std::span<const std::byte> head) {
  return head.size() >= kFileHeaderBytes + 4 && head[0] == std::byte{'B'} &&
         head[1] == std::byte{'M'} && knownSize(readLittleEndian32(head, kFileHeaderBytes));
}

}  // namespace kelvo
