#include "platform/image_io/bmp/bmp_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

#include "platform/image_io/bmp/bmp_pixels.h"
#include "platform/image_io/bmp/bmp_rows.h"
#include "platform/image_io/bmp/bmp_source.h"
#include "platform/image_io/output_file.h"
#include "platform/pixels/premultiply.h"

namespace kelvo {
namespace {

constexpr std::size_t kStripBytes = std::size_t{256} << 10;

// A copy of the file that the picture came from, with other colours in its table or other samples
// in its pixels: nothing changes its place or size.
class BmpWriter final : public CodecWriter {
 public:
  BmpWriter(OutputFile& out, const EncodeOptions& options) : out_(out), options_(options) {}

  Result<void> addImage(const CGImage& image, const FrameProperties& properties) override {
    const auto* const own = dynamic_cast<const BmpProperties*>(&properties);
    if (own == nullptr) return Error{"the picture does not come from a BMP file"};
    if (file_ != nullptr) return Error{"a BMP file has one picture only"};
    file_ = own->file();
    if (auto fits = checkFile(image); !fits) return fits;
    auto written = header().indexed() ? writeTable(image) : writePixels(image);
    written_ = written.ok();
    return written;
  }

  Result<void> finish() override {
    if (!written_) return Error{"the picture is missing"};
    return out_.write(file_->bytes().subspan(out_.position()));
  }

 private:
  [[nodiscard]] const BmpHeader& header() const { return file_->header(); }

  [[nodiscard]] Result<void> checkFile(const CGImage& image) const {
    if (auto fits = checkBmpMemory(*file_); !fits) return fits;
    if (SourceStatus found = file_->status(); found.status != CGImageSourceStatus::complete) {
      return Error{std::move(found.cause)};
    }
    if (image.width != header().width || image.height != header().height) {
      return Error{fmt::format("the picture has become {} x {} pixels", image.width, image.height)};
    }
    if (image.colorSpace && !image.colorSpace->profile.empty() &&
        !std::ranges::equal(image.colorSpace->profile, file_->part(header().profile))) {
      return Error{"the colour profile is not that of the file"};
    }
    return {};
  }

  Result<void> writeTable(const CGImage& image) {
    if (image.palette == nullptr) return Error{"the picture has lost its colour table"};
    const Palette& palette = *image.palette;
    if (palette.size() != header().entries()) {
      return Error{fmt::format("the colour table has become one of {} colours", palette.size())};
    }
    if (std::ranges::any_of(palette, [](const auto& color) { return color[3] != 255; })) {
      return Error{"a colour is not opaque, and the file has no room for its alpha"};
    }
    // The indices are copied; damaged ones are not handed on.
    if (auto good = file_->checkIndices(); !good) return good;
    const auto old = file_->part(header().table);
    std::vector<std::byte> table(old.begin(), old.end());
    for (std::size_t i = 0; i < palette.size(); ++i) {
      for (std::size_t k = 0; k < 3; ++k) {
        table[i * header().entryBytes + k] = std::byte{palette[i][2 - k]};
      }
    }
    if (auto begun = out_.write(file_->bytes().first(header().table.begin)); !begun) return begun;
    return out_.write(table);
  }

  [[nodiscard]] Result<void> checkLayout(const PixelLayout& layout) const {
    const bool keptDepth = header().deep() && options_.keepDepth;
    if (layout.type != (keptDepth ? SampleType::u16 : SampleType::u8)) {
      return Error{fmt::format("pixels of {} bits a sample were expected", keptDepth ? 16 : 8)};
    }
    const bool opaque = layout.components == 3 && layout.alpha == AlphaInfo::none;
    const bool translucent =
        layout.components == 4 && layout.alpha == AlphaInfo::premultipliedLast && file_->hasAlpha();
    if (!opaque && !translucent) return Error{"RGB pixels with the file's alpha were expected"};
    if (opaque && file_->hasAlpha()) return Error{"the picture has lost its alpha"};
    return {};
  }

  Result<void> writePixels(const CGImage& image) {
    if (auto fits = checkLayout(image.layout); !fits) return fits;
    auto rows = image.openRows();
    if (!rows) return std::move(rows).error();
    if (auto begun = out_.write(file_->bytes().first(header().pixels.begin)); !begun) return begun;
    const BmpPixels packer(header(), image.layout);
    const std::size_t rowBytes = image.width * image.layout.pixelBytes();
    const std::size_t storedBytes = header().rowBytes();
    const auto atOnce = static_cast<std::uint32_t>(
        std::clamp<std::size_t>(kStripBytes / rowBytes, 1, image.height));
    std::vector<std::byte> strip(rowBytes * atOnce);
    std::vector<std::byte> stored(storedBytes * atOnce);
    for (std::uint32_t y = 0; y < image.height; y += atOnce) {
      const std::uint32_t count = std::min(atOnce, image.height - y);
      const auto pixels = std::span(strip).first(rowBytes * count);
      if (auto read = (*rows)->read(pixels, count); !read) return read;
      unpremultiply(image.layout, pixels);
      for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t place = header().topDown ? i : count - 1 - i;
        const auto row = std::span(stored).subspan(place * storedBytes, storedBytes);
        // Bits that are no channel's and bytes between rows stay as they were.
        std::ranges::copy(file_->row(y + i), row.begin());
        packer.pack(pixels.subspan(i * rowBytes, rowBytes), row);
      }
      const std::uint64_t first = header().topDown ? y : header().height - y - count;
      if (auto moved = out_.seek(header().pixels.begin + first * storedBytes); !moved) return moved;
      if (auto put = out_.write(std::span(stored).first(storedBytes * count)); !put) return put;
    }
    return out_.seek(header().pixels.end());
  }

  static void unpremultiply(const PixelLayout& layout, std::span<std::byte> pixels) {
    if (layout.components != 4) return;
    // Buffers come from the heap, whose alignment is enough for samples of either size.
    if (layout.type == SampleType::u16) {
      unpremultiplyRGBA16({reinterpret_cast<std::uint16_t*>(pixels.data()), pixels.size() / 2});
    } else {
      vImageUnpremultiplyData_RGBA8888(
          {reinterpret_cast<std::uint8_t*>(pixels.data()), pixels.size()});
    }
  }

  OutputFile& out_;
  EncodeOptions options_;
  std::shared_ptr<const BmpFile> file_;
  bool written_ = false;
};

}  // namespace

Result<std::unique_ptr<CodecWriter>> createBmpWriter(OutputFile& file, std::size_t frames,
                                                     const EncodeOptions& options) {
  if (frames != 1) return Error{"a BMP file has one picture only"};
  return std::unique_ptr<CodecWriter>(std::make_unique<BmpWriter>(file, options));
}

}  // namespace kelvo
