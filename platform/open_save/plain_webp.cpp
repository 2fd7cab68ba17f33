#include <webp/encode.h>
#include <webp/mux_types.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "platform/image_io/little_endian.h"
#include "platform/image_io/output_file.h"
#include "platform/open_save/plain_rows.h"
#include "platform/open_save/plain_writer.h"

namespace kelvo {
namespace {

// The library's picture and the memory in it.
class Picture {
 public:
  Picture() : valid_(WebPPictureInit(&picture_) != 0) {}
  ~Picture() {
    if (valid_) WebPPictureFree(&picture_);
  }
  Picture(const Picture&) = delete;
  Picture& operator=(const Picture&) = delete;

  bool allocate(const CGImage& image) {
    if (!valid_) return false;
    picture_.use_argb = 1;
    picture_.width = static_cast<int>(image.width);
    picture_.height = static_cast<int>(image.height);
    return WebPPictureAlloc(&picture_) != 0;
  }
  [[nodiscard]] std::uint32_t* row(std::uint32_t y) const {
    return picture_.argb + std::size_t{y} * static_cast<std::size_t>(picture_.argb_stride);
  }
  WebPPicture* get() { return &picture_; }

 private:
  WebPPicture picture_{};
  bool valid_;
};

class MemoryWriter {
 public:
  MemoryWriter() { WebPMemoryWriterInit(&writer_); }
  ~MemoryWriter() { WebPMemoryWriterClear(&writer_); }
  MemoryWriter(const MemoryWriter&) = delete;
  MemoryWriter& operator=(const MemoryWriter&) = delete;

  WebPMemoryWriter* get() { return &writer_; }
  [[nodiscard]] std::span<const std::byte> bytes() const {
    return std::as_bytes(std::span(writer_.mem, writer_.size));
  }

 private:
  WebPMemoryWriter writer_{};
};

constexpr std::size_t kRiffHeaderBytes = 12;

// Without loss. The library wants the whole picture in memory.
class WebpWriter final : public PlainWriter {
 public:
  explicit WebpWriter(OutputFile& file) : file_(&file) {}

 private:
  Result<void> write(const CGImage& image, const CarriedMetadata& metadata) override {
    if (image.width > WEBP_MAX_DIMENSION || image.height > WEBP_MAX_DIMENSION) {
      return Error{
          "it has more than 16383 pixels in a row or column, which do not fit into a WebP "
          "file"};
    }
    Picture picture;
    if (!picture.allocate(image)) return noMemory();
    if (auto read = readInto(picture, image); !read) return read;
    WebPConfig config;
    if (WebPConfigInit(&config) == 0) return Error{"the WebP library is another version"};
    config.lossless = 1;
    config.exact = 1;
    MemoryWriter encoded;
    picture.get()->writer = &WebPMemoryWrite;
    picture.get()->custom_ptr = encoded.get();
    if (WebPEncode(&config, picture.get()) == 0) {
      return picture.get()->error_code == VP8_ENC_ERROR_OUT_OF_MEMORY
                 ? noMemory()
                 : Error{"the picture could not be compressed"};
    }
    return writeFile(image, metadata, encoded.bytes());
  }

  static Error noMemory() { return Error{"there is not enough memory to encode the picture"}; }

  static Result<void> readInto(Picture& picture, const CGImage& image) {
    PixelLayout stored = image.layout;
    stored.type = SampleType::u8;
    if (stored.alpha == AlphaInfo::premultipliedLast) stored.alpha = AlphaInfo::last;
    auto rows = PlainRows::open(image, stored, "WebP");
    if (!rows) return std::move(rows).error();
    const bool alpha = stored.alpha != AlphaInfo::none;
    const bool gray = stored.components < 3;
    std::uint32_t y = 0;
    return forEachStrip(
        *rows, image.height, stripRows(image.width * stored.pixelBytes(), image.height),
        [&](std::span<std::byte> pixels, std::uint32_t count) -> Result<void> {
          const auto sample = [&](std::size_t at) {
            return std::to_integer<std::uint32_t>(pixels[at]);
          };
          std::size_t at = 0;
          for (const std::uint32_t end = y + count; y < end; ++y) {
            std::uint32_t* const row = picture.row(y);
            for (std::uint32_t x = 0; x < image.width; ++x, at += stored.components) {
              const std::uint32_t opacity = alpha ? sample(at + stored.components - 1) : 255U;
              row[x] = opacity << 24 | sample(at) << 16 | sample(gray ? at : at + 1) << 8 |
                       sample(gray ? at : at + 2);
            }
          }
          return {};
        });
  }

  // What the library made is a whole file of one chunk with the pixels. With more to tell it gets
  // further chunks around that.
  Result<void> writeFile(const CGImage& image, const CarriedMetadata& metadata,
                         std::span<const std::byte> simple) {
    const auto& profile = image.colorSpace->profile;
    if (profile.empty() && metadata.exif().empty()) return file_->write(simple);
    constexpr std::size_t kExtendedBytes = 10;
    std::array<std::byte, kExtendedBytes> extended = {};
    if (!profile.empty()) extended[0] |= std::byte{ICCP_FLAG};
    if (!metadata.exif().empty()) extended[0] |= std::byte{EXIF_FLAG};
    if (image.layout.alpha != AlphaInfo::none) extended[0] |= std::byte{ALPHA_FLAG};
    writeLittleEndian(std::span(extended).subspan(4, 3), image.width - 1);
    writeLittleEndian(std::span(extended).subspan(7, 3), image.height - 1);
    constexpr std::array<std::byte, kRiffHeaderBytes> kRoom = {};
    if (auto written = file_->write(kRoom); !written) return written;
    if (auto written = writeChunk("VP8X", extended); !written) return written;
    if (auto written = writeChunk("ICCP", profile); !written) return written;
    if (auto written = file_->write(simple.subspan(kRiffHeaderBytes)); !written) return written;
    if (auto written = writeChunk("EXIF", metadata.exif()); !written) return written;
    if (file_->position() > std::numeric_limits<std::uint32_t>::max()) {
      return Error{"it does not fit into a WebP file"};
    }
    std::array<std::byte, kRiffHeaderBytes> head = {};
    std::memcpy(head.data(), simple.data(), head.size());
    writeLittleEndian(std::span(head).subspan(4, 4),
                      static_cast<std::uint32_t>(file_->position() - 8));
    if (auto sought = file_->seek(0); !sought) return sought;
    return file_->write(head);
  }

  // Nothing for no data.
  Result<void> writeChunk(const char* name, std::span<const std::byte> data) {
    if (data.empty()) return {};
    std::array<std::byte, 8> head = {};
    std::memcpy(head.data(), name, 4);
    writeLittleEndian(std::span(head).last(4), static_cast<std::uint32_t>(data.size()));
    if (auto written = file_->write(head); !written) return written;
    if (auto written = file_->write(data); !written || data.size() % 2 == 0) return written;
    constexpr std::array<std::byte, 1> kPadding = {};
    return file_->write(kPadding);
  }

  OutputFile* file_;
};

}  // namespace

std::unique_ptr<CodecWriter> makePlainWebpWriter(OutputFile& file) {
  return std::make_unique<WebpWriter>(file);
}

}  // namespace kelvo
