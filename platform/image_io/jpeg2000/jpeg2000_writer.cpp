#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include "platform/image_io/exif_thumbnail.h"
#include "platform/image_io/jpeg2000/jpeg2000_file.h"
#include "platform/image_io/jpeg2000/tiles.h"
#include "platform/image_io/output_file.h"
#include "platform/pixels/premultiply.h"

namespace kelvo::jpeg2000 {
namespace {

constexpr unsigned kReducedBits = 8;

// The adjusted picture's tiles, component by component, as the encoder takes them.
class PictureEncoder {
 public:
  PictureEncoder(Jpeg2000FileRef file, const EncodeOptions& options)
      : file_(std::move(file)),
        bits_(options.keepDepth ? std::max(kReducedBits, file_->depth()) : kReducedBits),
        encoder_(file_, bits_, options.threads) {}

  [[nodiscard]] unsigned bits() const { return bits_; }

  Result<std::vector<std::byte>> encode(const CGImage& image) {
    auto rows = image.openRows();
    if (!rows) return std::move(rows).error();
    const Grid& grid = file_->codestream.grid;
    const std::size_t rowBytes = image.width * image.layout.pixelBytes();
    std::vector<std::byte> strip;
    for (std::uint32_t row = 0; row < grid.rows(); ++row) {
      const std::uint32_t height = tileArea(grid, 0, row).height;
      strip.resize(rowBytes * height);
      if (auto read = readStrip(**rows, strip, rowBytes); !read) return std::move(read).error();
      unpremultiply(strip, image.layout);
      for (std::uint32_t column = 0; column < grid.columns(); ++column) {
        const Area area = tileArea(grid, column, row);
        if (auto added = encoder_.add(planes(strip, image, area)); !added) {
          return std::move(added).error();
        }
      }
    }
    return encoder_.finish();
  }

 private:
  static Result<void> readStrip(RowSource& rows, std::span<std::byte> strip, std::size_t rowBytes) {
    constexpr std::size_t kRows = 64;
    while (!strip.empty()) {
      const auto part = strip.first(std::min(strip.size(), kRows * rowBytes));
      if (auto read = rows.read(part, static_cast<std::uint32_t>(part.size() / rowBytes)); !read) {
        return read;
      }
      strip = strip.subspan(part.size());
    }
    return {};
  }

  void unpremultiply(std::vector<std::byte>& strip, const PixelLayout& layout) const {
    if (layout.alpha == AlphaInfo::none || file_->boxes.channels.premultiplied) return;
    if (layout.type == SampleType::u8) {
      vImageUnpremultiplyData_RGBA8888(
          {reinterpret_cast<std::uint8_t*>(strip.data()), strip.size()});
    } else {
      unpremultiplyRGBA16({reinterpret_cast<std::uint16_t*>(strip.data()), strip.size() / 2});
    }
  }

  [[nodiscard]] std::vector<std::byte> planes(const std::vector<std::byte>& strip,
                                              const CGImage& image, const Area& area) const {
    const std::size_t sampleBytes = bits_ > 8 ? 2 : 1;
    const std::size_t planeBytes = std::size_t{area.width} * area.height * sampleBytes;
    const std::size_t components = file_->codestream.components.size();
    // What no channel fills is opaque alpha.
    std::vector<std::byte> result(planeBytes * components, std::byte{0xFF});
    if (sampleBytes == 2 && image.layout.alpha == AlphaInfo::none && components > 3) {
      fillOpaque(result);
    }
    const Channels& channels = file_->boxes.channels;
    for (std::size_t k = 0; k < image.layout.components; ++k) {
      const std::size_t component = k < 3 ? channels.colors[k] : *channels.alpha;
      std::byte* to = result.data() + component * planeBytes;
      for (std::uint32_t y = 0; y < area.height; ++y) {
        const std::byte* from =
            strip.data() +
            ((std::size_t{y} * image.width + area.left) * image.layout.components + k) *
                image.layout.sampleBytes();
        for (std::uint32_t x = 0; x < area.width; ++x) {
          if (sampleBytes == 1) {
            *to++ = *from;
          } else {
            std::uint16_t wide = 0;
            std::memcpy(&wide, from, sizeof wide);
            const std::uint16_t stored = reduced(wide);
            std::memcpy(to, &stored, sizeof stored);
            to += sizeof stored;
          }
          from += image.layout.pixelBytes();
        }
      }
    }
    return result;
  }

  [[nodiscard]] std::uint16_t reduced(std::uint32_t wide) const {
    const std::uint32_t maximum = (1U << bits_) - 1;
    return static_cast<std::uint16_t>((wide * maximum + 32767) / 65535);
  }

  void fillOpaque(std::vector<std::byte>& samples) const {
    const auto opaque = static_cast<std::uint16_t>((1U << bits_) - 1);
    for (std::size_t i = 0; i < samples.size(); i += sizeof opaque) {
      std::memcpy(samples.data() + i, &opaque, sizeof opaque);
    }
  }

  Jpeg2000FileRef file_;
  unsigned bits_;
  TileEncoder encoder_;
};

bool holdsExif(const Box& box) {
  // "JpgTiffExif->JP2", and the one that exiftool and others write.
  constexpr std::array<std::array<unsigned char, 16>, 2> kNames = {
      {{'J', 'p', 'g', 'T', 'i', 'f', 'f', 'E', 'x', 'i', 'f', '-', '>', 'J', 'P', '2'},
       {0x05, 0x37, 0xCD, 0xAB, 0x9D, 0x0C, 0x44, 0x31, 0xA7, 0x2A, 0xFA, 0x56, 0x1F, 0x2A, 0x11,
        0x3E}}};
  return box.type == fourCC("uuid") &&
         std::any_of(kNames.begin(), kNames.end(), [&box](const auto& name) {
           return box.payload.size() > name.size() &&
                  std::equal(name.begin(), name.end(), box.payload.begin(),
                             [](unsigned char a, std::byte b) { return std::byte{a} == b; });
         });
}

class Writer final : public CodecWriter {
 public:
  Writer(OutputFile& out, std::size_t frames, const EncodeOptions& options)
      : out_(out), frames_(frames), options_(options) {}

  Result<void> addImage(const CGImage& image, const FrameProperties& properties) override {
    const auto* const own = dynamic_cast<const Jpeg2000Properties*>(&properties);
    if (own == nullptr) return Error{"the properties are of another format"};
    if (file_ != nullptr || frames_ != 1) return Error{"a picture comes twice"};
    if (auto possible = checkWritable(*own->file()); !possible) return possible;
    if (auto fine = checkImage(image, *own->file()); !fine) return fine;
    file_ = own->file();
    if (file_->palette) {
      table_ = image.palette;
      return {};
    }
    PictureEncoder encoder(file_, options_);
    bits_ = encoder.bits();
    auto made = encoder.encode(image);
    if (!made) return std::move(made).error();
    codestream_ = *std::move(made);
    return {};
  }

  Result<void> finish() override {
    if (file_ == nullptr) return Error{"there are pictures missing"};
    if (file_->boxes.outer.empty()) return out_.write(codestream_);
    for (const Box& box : file_->boxes.outer) {
      Result<void> done;
      if (box.type == kData && !table_) {
        done = writeCodestream(box);
      } else if (box.type == kHeader) {
        done = writeHeader(box);
      } else {
        done = copyBox(box);
      }
      if (!done) return done;
    }
    return {};
  }

 private:
  Result<void> checkImage(const CGImage& image, const Jpeg2000File& file) const {
    const Grid& grid = file.codestream.grid;
    if (image.width != grid.width() || image.height != grid.height()) {
      return Error{"the picture's size is not that of the file"};
    }
    if (file.boxes.model != ColorModel::rgb) return Error{"only RGB pictures can be written"};
    if (image.colorSpace && image.colorSpace->profile != file.boxes.profile) {
      return Error{"the colour profile is not that of the file"};
    }
    const PixelLayout layout = layoutOf(file);
    if (file.palette) {
      if (image.palette && image.palette->size() == file.palette->size()) return {};
      return Error{"a colour table of the same size was expected"};
    }
    const bool withAlpha = image.layout.components == 4 &&
                           image.layout.alpha == AlphaInfo::premultipliedLast &&
                           layout.alpha != AlphaInfo::none;
    const bool opaque = image.layout.components == 3 && image.layout.alpha == AlphaInfo::none;
    const SampleType type = options_.keepDepth ? layout.type : SampleType::u8;
    if (image.palette || image.layout.type != type || !(withAlpha || opaque)) {
      return Error{"the adjusted picture's pixels are not like the file's"};
    }
    return {};
  }

  Result<void> writeCodestream(const Box& box) {
    heif::Builder header;
    constexpr std::uint64_t kShortHeader = 8;
    constexpr std::uint64_t kLongHeader = 16;
    const std::uint64_t size = codestream_.size() + kShortHeader;
    const bool isLong = size > 0xFFFFFFFFU;
    header.number(box.toEnd ? 0 : isLong ? 1 : size, 4);
    header.number(kData, 4);
    if (isLong && !box.toEnd) header.number(codestream_.size() + kLongHeader, 8);
    if (auto written = out_.write(header.bytes()); !written) return written;
    return out_.write(codestream_);
  }

  // Every box in it has the size it had.
  Result<void> writeHeader(const Box& box) {
    std::vector<std::byte> changed(box.whole.begin(), box.whole.end());
    for (const Box& inner : file_->boxes.header) {
      std::byte* const at = changed.data() + (inner.payload.data() - box.whole.data());
      if (inner.type == kPalette && table_) {
        writeTable(at);
      } else if (!table_ && bits_ != file_->depth()) {
        constexpr std::size_t kDepthOffset = 10;
        constexpr std::byte kVarious{255};
        const auto depth = static_cast<std::byte>(bits_ - 1);
        if (inner.type == kImageHeader && at[kDepthOffset] != kVarious) at[kDepthOffset] = depth;
        if (inner.type == kDepths) std::fill_n(at, inner.payload.size(), depth);
      }
    }
    return out_.write(changed);
  }

  void writeTable(std::byte* payload) const {
    const ColorTable& table = *file_->boxes.table;
    const Channels& channels = file_->boxes.channels;
    std::byte* row = payload + table.offset;
    for (const auto& color : *table_) {
      for (std::size_t k = 0; k < 3; ++k) row[channels.colors[k]] = std::byte{color[k]};
      if (channels.alpha) row[*channels.alpha] = std::byte{color[3]};
      row += table.columns;
    }
  }

  Result<void> copyBox(const Box& box) {
    if (!holdsExif(box)) return out_.write(box.whole);
    constexpr std::size_t kNameBytes = 16;
    const auto without = withoutExifThumbnail(box.payload.subspan(kNameBytes));
    if (!without) return out_.write(box.whole);
    if (auto written = out_.write(box.whole.first(box.whole.size() - without->size())); !written) {
      return written;
    }
    return out_.write(*without);
  }

  OutputFile& out_;
  std::size_t frames_;
  EncodeOptions options_;
  Jpeg2000FileRef file_;
  unsigned bits_ = kReducedBits;
  std::vector<std::byte> codestream_;
  std::shared_ptr<const Palette> table_;
};

}  // namespace

Result<std::unique_ptr<CodecWriter>> createJpeg2000Writer(OutputFile& file, std::size_t frames,
                                                          const EncodeOptions& options) {
  return std::unique_ptr<CodecWriter>(std::make_unique<Writer>(file, frames, options));
}

}  // namespace kelvo::jpeg2000
