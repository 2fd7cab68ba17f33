#include "platform/image_io/webp/webp_encoder.h"

#include <fmt/format.h>
#include <webp/encode.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <span>

#include "platform/image_io/webp/lossy_settings.h"
#include "platform/image_io/webp/vp8_header.h"
#include "platform/pixels/premultiply.h"
#include "platform/pixels/rows_ahead.h"

namespace kelvo {
namespace {

// Even, because the two rows that share their chroma are converted together.
constexpr std::uint32_t kStripRows = 16;

const std::uint8_t* asBytes(std::span<const std::byte> bytes) {
  return reinterpret_cast<const std::uint8_t*>(bytes.data());
}

Error libraryVersionError() { return Error{"the WebP library is another version"}; }

// The library's picture and the memory in it.
class Picture {
 public:
  Picture() { valid_ = WebPPictureInit(&picture_) != 0; }
  ~Picture() {
    if (valid_) WebPPictureFree(&picture_);
  }
  Picture(const Picture&) = delete;
  Picture& operator=(const Picture&) = delete;

  [[nodiscard]] bool valid() const { return valid_; }
  WebPPicture* operator->() { return &picture_; }
  WebPPicture* get() { return &picture_; }

 private:
  WebPPicture picture_{};
  bool valid_ = false;
};

class MemoryWriter {
 public:
  MemoryWriter() { WebPMemoryWriterInit(&writer_); }
  ~MemoryWriter() { WebPMemoryWriterClear(&writer_); }
  MemoryWriter(const MemoryWriter&) = delete;
  MemoryWriter& operator=(const MemoryWriter&) = delete;

  WebPMemoryWriter* get() { return &writer_; }
  [[nodiscard]] std::span<const std::byte> bytes() const {
    return {reinterpret_cast<const std::byte*>(writer_.mem), writer_.size};
  }

 private:
  WebPMemoryWriter writer_{};
};

void copyPlane(const std::uint8_t* from, int fromStride, std::uint8_t* to, int toStride,
               std::uint32_t width, std::uint32_t rows) {
  for (std::uint32_t y = 0; y < rows; ++y) {
    std::memcpy(to, from, width);
    from += fromStride;
    to += toStride;
  }
}

// Pulls the rows of `image` into the library's picture, straight, strip by strip, so that no second
// picture of all pixels is needed.
class Importer {
 public:
  Importer(const CGImage& image, Picture& picture) : image_(image), picture_(picture) {}

  Result<void> run(unsigned threads) {
    // One processor decodes already; a third one adjusts.
    auto rows = openRowsAhead(image_, threads - 1);
    if (!rows) return std::move(rows).error();
    const std::size_t rowBytes = image_.width * image_.layout.pixelBytes();
    std::vector<std::byte> strip(rowBytes * std::min(kStripRows, image_.height));
    for (std::uint32_t y = 0; y < image_.height; y += kStripRows) {
      const std::uint32_t count = std::min(kStripRows, image_.height - y);
      const auto pixels = std::span(strip).first(rowBytes * count);
      if (auto read = (*rows)->read(pixels, count); !read) return read;
      if (alpha()) {
        vImageUnpremultiplyData_RGBA8888(
            {reinterpret_cast<std::uint8_t*>(pixels.data()), pixels.size()});
      }
      if (picture_->use_argb != 0) {
        importArgb(pixels, y);
      } else if (!importYuv(pixels, y, count)) {
        return Error{"there is not enough memory to encode the picture"};
      }
    }
    return {};
  }

 private:
  [[nodiscard]] bool alpha() const { return image_.layout.components == 4; }

  void importArgb(std::span<const std::byte> pixels, std::uint32_t y) {
    const std::size_t step = image_.layout.components;
    const std::uint8_t* from = asBytes(pixels);
    for (std::size_t at = 0; at < pixels.size(); ++y) {
      std::uint32_t* const row =
          picture_->argb + std::size_t{y} * static_cast<std::size_t>(picture_->argb_stride);
      for (std::uint32_t x = 0; x < image_.width; ++x, at += step) {
        const std::uint32_t opacity = step == 4 ? from[at + 3] : 255U;
        row[x] = opacity << 24 | std::uint32_t{from[at]} << 16 | std::uint32_t{from[at + 1]} << 8 |
                 from[at + 2];
      }
    }
  }

  bool importYuv(std::span<const std::byte> pixels, std::uint32_t y, std::uint32_t rows) {
    Picture strip;
    if (!strip.valid()) return false;
    strip->width = static_cast<int>(image_.width);
    strip->height = static_cast<int>(rows);
    const int stride = static_cast<int>(pixels.size() / rows);
    const int imported = alpha() ? WebPPictureImportRGBA(strip.get(), asBytes(pixels), stride)
                                 : WebPPictureImportRGB(strip.get(), asBytes(pixels), stride);
    if (imported == 0) return false;
    const auto at = [y](std::uint8_t* plane, int planeStride, std::uint32_t divisor) {
      return plane + std::size_t{y / divisor} * static_cast<std::size_t>(planeStride);
    };
    const std::uint32_t chromaWidth = (image_.width + 1) / 2;
    const std::uint32_t chromaRows = (rows + 1) / 2;
    copyPlane(strip->y, strip->y_stride, at(picture_->y, picture_->y_stride, 1), picture_->y_stride,
              image_.width, rows);
    copyPlane(strip->u, strip->uv_stride, at(picture_->u, picture_->uv_stride, 2),
              picture_->uv_stride, chromaWidth, chromaRows);
    copyPlane(strip->v, strip->uv_stride, at(picture_->v, picture_->uv_stride, 2),
              picture_->uv_stride, chromaWidth, chromaRows);
    if (!alpha()) return true;
    std::uint8_t* const opacity = at(picture_->a, picture_->a_stride, 1);
    if (strip->a != nullptr) {
      copyPlane(strip->a, strip->a_stride, opacity, picture_->a_stride, image_.width, rows);
    } else {  // the strip is opaque
      std::fill_n(opacity, std::size_t{rows} * static_cast<std::size_t>(picture_->a_stride),
                  std::uint8_t{255});
    }
    return true;
  }

  const CGImage& image_;
  Picture& picture_;
};

Result<WebPConfig> configure(const WebpFrame& old) {
  WebPConfig config;
  if (WebPConfigInit(&config) == 0) return libraryVersionError();
  if (old.lossless) {
    // Half the time of the library's own choice (4, 75) for a percent or two of size.
    config.lossless = 1;
    config.method = 3;
    config.quality = 50;
    config.exact = 1;
    return config;
  }
  const LossySettings settings = estimateLossySettings(readVp8Header(old.bitstream));
  // The method that most files are made with: less costs a tenth of the size, more is no better.
  config.method = 4;
  config.quality = settings.quality;
  config.segments = settings.segments;
  config.sns_strength = settings.noiseShaping;
  config.filter_strength = settings.filterStrength;
  config.filter_sharpness = settings.filterSharpness;
  config.filter_type = settings.filterType;
  config.partitions = settings.partitions;
  config.alpha_quality = 100;  // lossless
  return config;
}

std::string encodingError(WebPEncodingError code) {
  switch (code) {
    case VP8_ENC_ERROR_OUT_OF_MEMORY:
    case VP8_ENC_ERROR_BITSTREAM_OUT_OF_MEMORY:
      return "there is not enough memory to encode the picture";
    case VP8_ENC_ERROR_PARTITION0_OVERFLOW:
    case VP8_ENC_ERROR_PARTITION_OVERFLOW:
      return "the picture has more detail than the format has room for";
    case VP8_ENC_ERROR_FILE_TOO_BIG:
      return "the picture would take more than the 4 GiB that the format allows";
    default:
      return fmt::format("the picture cannot be encoded (error {})", static_cast<int>(code));
  }
}

Result<EncodedWebp> takeChunks(std::span<const std::byte> file) {
  EncodedWebp encoded;
  for (const WebpChunk& chunk : readWebpChunks(file.subspan(kRiffHeaderBytes)).chunks) {
    std::vector<std::byte> data(chunk.data.begin(), chunk.data.end());
    if (chunk.alpha()) {
      encoded.alpha = std::move(data);
    } else if (chunk.lossy() || chunk.lossless()) {
      encoded.colors = std::move(data);
    }
  }
  if (encoded.colors.empty()) return Error{"the encoder gave no picture"};
  return encoded;
}

}  // namespace

Result<EncodedWebp> encodeWebp(const CGImage& image, const WebpFrame& old, unsigned threads) {
  auto config = configure(old);
  if (!config) return std::move(config).error();
  config->thread_level = threads >= 2 ? 1 : 0;
  Picture picture;
  MemoryWriter writer;
  if (!picture.valid()) return libraryVersionError();
  picture->use_argb = config->lossless;
  picture->colorspace = image.layout.components == 4 ? WEBP_YUV420A : WEBP_YUV420;
  picture->width = static_cast<int>(image.width);
  picture->height = static_cast<int>(image.height);
  picture->writer = WebPMemoryWrite;
  picture->custom_ptr = writer.get();
  if (WebPPictureAlloc(picture.get()) == 0) return Error{encodingError(picture->error_code)};
  if (auto imported = Importer(image, picture).run(threads); !imported) {
    return std::move(imported).error();
  }
  if (WebPEncode(&*config, picture.get()) == 0) return Error{encodingError(picture->error_code)};
  return takeChunks(writer.bytes());
}

}  // namespace kelvo
