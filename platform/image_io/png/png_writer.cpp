#include "platform/image_io/png/png_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "platform/image_io/output_file.h"
#include "platform/image_io/png/adam7.h"
#include "platform/image_io/png/png_ancillary.h"
#include "platform/image_io/png/png_color_key.h"
#include "platform/image_io/png/png_deflate.h"
#include "platform/image_io/png/png_filter.h"
#include "platform/image_io/png/png_packer.h"
#include "platform/image_io/png/png_profile.h"
#include "platform/image_io/png/png_rows.h"
#include "platform/image_io/png/png_source.h"
#include "platform/pixels/rows_ahead.h"

namespace kelvo {
namespace {

constexpr std::array<char, 4> kTransparencyType = {'t', 'R', 'N', 'S'};
constexpr std::size_t kStripBytes = std::size_t{128} << 10;

using Color = PngPacker::Color;

std::span<const char, 4> typeOf(const PngChunk& chunk) { return std::span(chunk.type); }

std::span<const std::uint8_t> asBytes(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

// The file that the pictures came from, chunk by chunk, with other pixels in it.
class PngWriter final : public CodecWriter {
 public:
  PngWriter(OutputFile& out, std::size_t frames, const EncodeOptions& options)
      : out_(out), frames_(frames), options_(options) {}

  Result<void> addImage(const CGImage& image, const FrameProperties& properties) override {
    const auto* const own = dynamic_cast<const PngProperties*>(&properties);
    if (own == nullptr) return Error{"the picture does not come from a PNG file"};
    if (own->frame() != added_ || (file_ && file_ != own->file())) {
      return Error{"a frame is not the next one of this PNG file"};
    }
    if (!file_) {
      if (auto possible = checkFile(*own->file()); !possible) return possible;
      file_ = own->file();
    }
    if (auto fits = checkImage(image, file_->pictures()[added_].header); !fits) return fits;
    if (added_++ == 0) {
      if (auto begun = begin(image); !begun) return begun;
    }
    if (indexed()) return addIndices(image);
    // A colour key stands before the first picture and holds for all of them.
    if (keySearch_) return addKeyed(image);
    return writePicture(image);
  }

  Result<void> finish() override {
    if (!file_ || written_ != frames_) return Error{"a picture is missing"};
    if (auto written = writeChunksTo(file_->chunks().size()); !written) return written;
    return out_.write(file_->trailer());
  }

 private:
  [[nodiscard]] const PngHeader& header() const { return file_->header(); }
  [[nodiscard]] bool indexed() const { return header().color == PngColor::indexed; }

  Result<void> checkFile(const PngFile& file) const {
    if (file.pictures().size() != frames_) return Error{"the new file has another frame count"};
    if (auto writable = pngWritable(file); !writable) return writable;
    if (SourceStatus found = file.status(); found.status != CGImageSourceStatus::complete) {
      return Error{std::move(found.cause)};
    }
    const PngColor color = file.header().color;
    if (color == PngColor::gray || color == PngColor::grayAlpha) {
      return Error{"gray PNG files cannot be adjusted"};
    }
    return {};
  }

  Result<void> checkImage(const CGImage& image, const PngHeader& stored) const {
    if (image.width != stored.width || image.height != stored.height) {
      return Error{fmt::format("the picture has become {} x {} pixels", image.width, image.height)};
    }
    if (indexed()) {
      if (image.palette == nullptr) {
        return Error{"the picture has lost its colour table"};
      }
      if (image.palette->size() != file_->palette().size()) {
        return Error{
            fmt::format("the colour table has become one of {} colours", image.palette->size())};
      }
      return {};
    }
    const PixelLayout& layout = image.layout;
    const bool keptDepth = header().bitDepth == 16 && options_.keepDepth;
    if (layout.type != (keptDepth ? SampleType::u16 : SampleType::u8)) {
      return Error{fmt::format("pixels of {} bits a sample were expected", keptDepth ? 16 : 8)};
    }
    const bool opaque = layout.components == 3 && layout.alpha == AlphaInfo::none;
    const bool withAlpha = layout.components == 4 && layout.alpha != AlphaInfo::none;
    if (!opaque && !withAlpha) return Error{"RGB pixels were expected"};
    if (opaque && (header().color == PngColor::rgba || !file_->colorKey().empty())) {
      return Error{"the picture has lost its alpha"};
    }
    return {};
  }

  Result<void> begin(const CGImage& image) {
    first_ = image;
    first_.openRows = nullptr;
    depth_ = indexed() ? header().bitDepth : image.layout.type == SampleType::u16 ? 16 : 8;
    if (indexed()) collectAlphas(*image.palette);
    if (!file_->colorKey().empty()) {
      Color preferred{};
      std::ranges::copy(file_->colorKey(), preferred.begin());
      if (depth_ < header().bitDepth) {
        std::ranges::transform(preferred, preferred.begin(), scaleTo8Bits);
      }
      keySearch_.emplace(depth_ == 16, preferred);
    }
    return out_.write(kPngSignature);
  }

  // Transparent pixels have lost their colour, so any will do that no other pixel of any picture
  // has; the file's own one first. The pictures wait until all have been looked through.
  Result<void> addKeyed(const CGImage& image) {
    if (auto looked = keySearch_->add(image); !looked) return looked;
    waiting_.push_back(image);
    if (waiting_.size() != frames_) return {};
    key_ = keySearch_->find();
    if (!key_)
      return Error{"the picture has every colour, and none is left for transparent pixels"};
    for (const CGImage& picture : waiting_) {
      if (auto written = writePicture(picture); !written) return written;
    }
    return {};
  }

  // An adjusted colour table leaves the indices as they are; the chunks' checksums vouch for them.
  Result<void> addIndices(const CGImage& image) {
    if (*image.palette != *first_.palette) {
      return Error{
          "the frames share one colour table, and each frame's adjustment would make another of "
          "it"};
    }
    return writeChunksTo(file_->pictures()[written_++].last + 1);
  }

  Result<void> writePicture(const CGImage& image) {
    const PngPicture& picture = file_->pictures()[written_++];
    if (auto written = writeChunksTo(picture.first); !written) return written;
    if (auto written = writePixels(image); !written) return written;
    // Chunks between those of the old data stay; the data are written.
    for (; next_ <= picture.last; ++next_) {
      const PngChunk& chunk = file_->chunks()[next_];
      if (isData(chunk)) continue;
      if (auto written = writeChunk(chunk); !written) return written;
    }
    return {};
  }

  static bool isData(const PngChunk& chunk) {
    return chunk.name() == "IDAT" || chunk.name() == "fdAT";
  }

  // Everything before that chunk, data as they are: those that stand together in one piece, which
  // is then written without a copy.
  Result<void> writeChunksTo(std::size_t end) {
    const auto chunks = file_->chunks();
    while (next_ < end) {
      if (!isData(chunks[next_])) {
        if (auto written = writeChunk(chunks[next_++]); !written) return written;
        continue;
      }
      const std::byte* const from = chunks[next_].whole.data();
      std::size_t size = 0;
      for (; next_ < end && isData(chunks[next_]); ++next_) size += chunks[next_].whole.size();
      if (auto written = out_.write({from, size}); !written) return written;
    }
    return {};
  }

  Result<void> writeChunk(const PngChunk& chunk) {
    const std::string_view name = chunk.name();
    if (name == "IHDR") return writeHeader(chunk);
    if (name == "PLTE" && indexed()) return writePalette(chunk, *first_.palette);
    if (name == "tRNS") return writeTransparency(chunk);
    if (name == "iCCP" && first_.colorSpace != nullptr) {
      return writeProfile(chunk, *first_.colorSpace);
    }
    if (name == "fcTL" && !indexed()) return writeFrameControl(chunk);
    // An index of places inside the compressed data, which a copy of the data alone keeps right.
    if (name == "iDOT" && !(indexed() && alphas_.size() == sourceAlphas())) return {};
    if (const auto data = adaptedPngChunk(chunk, header(), depth_)) {
      return writePngChunk(out_, typeOf(chunk), *data);
    }
    return out_.write(chunk.whole);
  }

  Result<void> writeHeader(const PngChunk& chunk) {
    std::vector<std::byte> data(chunk.data.begin(), chunk.data.end());
    data[8] = static_cast<std::byte>(depth_);
    return writePngChunk(out_, typeOf(chunk), data);
  }

  // There may be more or fewer chunks of data than there were, and they are numbered through.
  Result<void> writeFrameControl(const PngChunk& chunk) {
    std::vector<std::byte> data(chunk.data.begin(), chunk.data.end());
    for (std::size_t i = 0; i < 4; ++i) data[i] = static_cast<std::byte>(sequence_ >> (24 - 8 * i));
    ++sequence_;
    return writePngChunk(out_, typeOf(chunk), data);
  }

  Result<void> writePalette(const PngChunk& chunk, const Palette& palette) {
    std::vector<std::byte> colors;
    for (const auto& color : palette) {
      for (std::size_t k = 0; k < 3; ++k) colors.push_back(std::byte{color[k]});
    }
    if (auto written = writePngChunk(out_, typeOf(chunk), colors); !written) return written;
    if (file_->find("tRNS") != nullptr || alphas_.empty()) return {};
    return writePngChunk(out_, kTransparencyType, alphas_);
  }

  // As many alphas as the file had; more if colours beyond them are no longer opaque.
  void collectAlphas(const Palette& palette) {
    std::size_t count = sourceAlphas();
    for (std::size_t i = 0; i < palette.size(); ++i) {
      alphas_.push_back(std::byte{palette[i][3]});
      if (palette[i][3] != 255) count = std::max(count, i + 1);
    }
    alphas_.resize(count);
  }
  [[nodiscard]] std::size_t sourceAlphas() const {
    const PngChunk* const chunk = file_->find("tRNS");
    return chunk == nullptr ? 0 : chunk->data.size();
  }

  Result<void> writeTransparency(const PngChunk& chunk) {
    if (indexed()) return writePngChunk(out_, typeOf(chunk), alphas_);
    if (!key_) return out_.write(chunk.whole);
    std::array<std::byte, 6> data;
    for (std::size_t k = 0; k < key_->size(); ++k) {
      data[2 * k] = static_cast<std::byte>((*key_)[k] >> 8);
      data[2 * k + 1] = static_cast<std::byte>((*key_)[k]);
    }
    return writePngChunk(out_, typeOf(chunk), data);
  }

  // The file's own chunk stays unless the picture comes with another profile.
  Result<void> writeProfile(const PngChunk& chunk, const CGColorSpace& space) {
    if (space.profile.empty() || space.profile == readPngProfile(chunk.data)) {
      return out_.write(chunk.whole);
    }
    return writePngChunk(out_, typeOf(chunk), packPngProfile(space.profile));
  }

  Result<void> writePixels(const CGImage& image) {
    const PngPacker packer(image.layout, header().color == PngColor::rgba, key_);
    // One processor decodes already; a third one adjusts.
    auto rows = openRowsAhead(image, options_.threads - 1);
    if (!rows) return std::move(rows).error();
    const bool frame = file_->chunks()[next_].name() == "fdAT";
    const auto data = PngDataWriter::create(out_, frame ? &sequence_ : nullptr);
    auto written = header().interlaced ? writePasses(image, **rows, packer, *data)
                                       : writeRows(image, **rows, packer, *data);
    if (!written) return written;
    return data->finish();
  }

  // Pulls all rows in strips and hands each strip, packed, to `take`.
  template <typename Take>
  static Result<void> pullStrips(const CGImage& image, RowSource& rows, const PngPacker& packer,
                                 Take take) {
    const std::size_t rowBytes = image.width * image.layout.pixelBytes();
    const std::size_t storedBytes = image.width * packer.storedPixelBytes();
    const auto atOnce = static_cast<std::uint32_t>(
        std::clamp<std::size_t>(kStripBytes / rowBytes, 1, image.height));
    std::vector<std::byte> pixels(rowBytes * atOnce);
    std::vector<std::byte> stored(storedBytes * atOnce);
    for (std::uint32_t y = 0; y < image.height; y += atOnce) {
      const std::uint32_t count = std::min(atOnce, image.height - y);
      const auto strip = std::span(pixels).first(rowBytes * count);
      const auto packed = std::span(stored).first(storedBytes * count);
      if (auto read = rows.read(strip, count); !read) return read;
      if (auto done = packer.pack(strip, packed); !done) return done;
      if (auto taken = take(std::span<const std::byte>(packed), y); !taken) return taken;
    }
    return {};
  }

  static Result<void> writeRows(const CGImage& image, RowSource& rows, const PngPacker& packer,
                                PngDataWriter& data) {
    const std::size_t storedBytes = image.width * packer.storedPixelBytes();
    PngRowFilter filter(storedBytes, packer.storedPixelBytes());
    return pullStrips(image, rows, packer,
                      [&](std::span<const std::byte> strip, std::uint32_t) -> Result<void> {
                        for (std::size_t at = 0; at < strip.size(); at += storedBytes) {
                          const auto row = asBytes(strip.subspan(at, storedBytes));
                          if (auto put = data.write(filter.filter(row)); !put) return put;
                        }
                        return {};
                      });
  }

  static Result<void> writePasses(const CGImage& image, RowSource& rows, const PngPacker& packer,
                                  PngDataWriter& data) {
    const std::size_t pixelBytes = packer.storedPixelBytes();
    const std::size_t rowBytes = image.width * pixelBytes;
    std::vector<std::byte> picture(rowBytes * image.height);
    auto pulled =
        pullStrips(image, rows, packer, [&](std::span<const std::byte> strip, std::uint32_t y) {
          std::ranges::copy(strip, picture.data() + y * rowBytes);
          return Result<void>();
        });
    if (!pulled) return pulled;
    std::vector<std::byte> row(rowBytes);
    for (const Adam7Pass& pass : kAdam7) {
      const std::uint32_t width = pass.width(image.width);
      if (width == 0) continue;
      PngRowFilter filter(width * pixelBytes, pixelBytes);
      for (std::uint32_t y = 0; y < pass.height(image.height); ++y) {
        const std::byte* const from =
            picture.data() + (pass.y0 + std::size_t{y} * pass.dy) * rowBytes;
        for (std::uint32_t x = 0; x < width; ++x) {
          std::memcpy(row.data() + x * pixelBytes,
                      from + (pass.x0 + std::size_t{x} * pass.dx) * pixelBytes, pixelBytes);
        }
        const auto used = std::span<const std::byte>(row).first(width * pixelBytes);
        if (auto put = data.write(filter.filter(asBytes(used))); !put) return put;
      }
    }
    return {};
  }

  OutputFile& out_;
  std::size_t frames_;
  EncodeOptions options_;
  std::shared_ptr<const PngFile> file_;
  std::size_t added_ = 0;       // pictures
  std::size_t written_ = 0;     // of them
  std::size_t next_ = 0;        // the chunk to be written next
  std::uint32_t sequence_ = 0;  // of the next chunk fcTL or fdAT
  CGImage first_;               // for its colour table and profile
  unsigned depth_ = 8;          // bits of a sample or an index in the new file
  std::optional<FreeColorSearch> keySearch_;
  std::vector<CGImage> waiting_;
  std::optional<Color> key_;
  std::vector<std::byte> alphas_;  // of an indexed picture
};

}  // namespace

Result<std::unique_ptr<CodecWriter>> createPngWriter(OutputFile& file, std::size_t frames,
                                                     const EncodeOptions& options) {
  return std::unique_ptr<CodecWriter>(std::make_unique<PngWriter>(file, frames, options));
}

}  // namespace kelvo
