#include "platform/image_io/webp/webp_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "platform/image_io/exif_thumbnail.h"
#include "platform/image_io/little_endian.h"
#include "platform/image_io/mapped_file.h"
#include "platform/image_io/output_file.h"
#include "platform/image_io/webp/webp_encoder.h"
#include "platform/image_io/webp/webp_source.h"

namespace kelvo {
namespace {

constexpr std::size_t kLengthOffset = 4;  // of the length in a header

void append(std::vector<std::byte>& to, std::span<const std::byte> bytes) {
  to.insert(to.end(), bytes.begin(), bytes.end());
}

Result<void> appendChunk(std::vector<std::byte>& to, std::span<const char, 4> type,
                         std::span<const std::byte> data) {
  if (data.size() > std::numeric_limits<std::uint32_t>::max() - kChunkHeaderBytes) {
    return Error{"a picture would take more than the 4 GiB that the format allows"};
  }
  std::array<std::byte, kChunkHeaderBytes> header;
  std::ranges::transform(type, header.begin(), [](char c) { return static_cast<std::byte>(c); });
  writeLittleEndian(std::span(header).subspan(kLengthOffset),
                    static_cast<std::uint32_t>(data.size()));
  append(to, header);
  append(to, data);
  if (data.size() % 2 != 0) to.push_back(std::byte{0});
  return {};
}

// The file that the pictures came from, chunk by chunk, with other pixels in it.
class WebpWriter final : public CodecWriter {
 public:
  WebpWriter(OutputFile& out, std::size_t frames, unsigned threads)
      : out_(out), frames_(frames), threads_(threads) {}

  Result<void> addImage(const CGImage& image, const FrameProperties& properties) override {
    const auto* const own = dynamic_cast<const WebpProperties*>(&properties);
    if (own == nullptr) return Error{"the picture does not come from a WebP file"};
    if (file_ == nullptr) {
      if (auto begun = begin(own->file()); !begun) return begun;
    }
    if (own->file() != file_ || own->frame() != nextFrame_ || nextFrame_ >= frames_) {
      return Error{"the frames do not come in the order of the file"};
    }
    const WebpFrame& frame = file_->frames()[nextFrame_++];
    if (auto fits = checkImage(image, frame); !fits) return fits;
    if (auto copied = copyChunks(frame.firstChunk); !copied) return copied;
    nextChunk_ += frame.chunkCount;
    return writeFrame(image, frame);
  }

  Result<void> finish() override {
    if (file_ == nullptr || nextFrame_ != frames_) return Error{"a picture is missing"};
    if (auto copied = copyChunks(file_->chunks().size()); !copied) return copied;
    const std::uint64_t end = out_.position();
    const std::uint64_t length = end - kChunkHeaderBytes;
    if (length > std::numeric_limits<std::uint32_t>::max()) {
      return Error{"the file would be larger than the 4 GiB that the format allows"};
    }
    std::array<std::byte, 4> field;
    writeLittleEndian(field, static_cast<std::uint32_t>(length));
    if (auto moved = out_.seek(kLengthOffset); !moved) return moved;
    if (auto written = out_.write(field); !written) return written;
    if (auto moved = out_.seek(end); !moved) return moved;
    return out_.write(file_->trailer());
  }

 private:
  Result<void> begin(std::shared_ptr<const WebpFile> file) {
    if (auto writable = webpWritable(*file); !writable) return writable;
    if (file->status().status != CGImageSourceStatus::complete) return Error{file->status().cause};
    if (file->frames().size() != frames_) {
      return Error{fmt::format("a file of {} frames cannot become one of {}", file->frames().size(),
                               frames_)};
    }
    file_ = std::move(file);
    return out_.write(file_->bytes().bytes().first(kRiffHeaderBytes));
  }

  Result<void> checkImage(const CGImage& image, const WebpFrame& frame) const {
    if (image.width != frame.width || image.height != frame.height) {
      return Error{fmt::format("the picture has become {} x {} pixels", image.width, image.height)};
    }
    const bool opaque = image.layout == PixelLayout{.components = 3};
    const bool translucent =
        image.layout == PixelLayout{.components = 4, .alpha = AlphaInfo::premultipliedLast};
    if (!opaque && !(translucent && frame.alpha)) {
      return Error{frame.alpha ? "8-bit RGB pixels were expected"
                               : "8-bit RGB pixels without alpha were expected"};
    }
    if (image.colorSpace && !image.colorSpace->profile.empty() &&
        !std::ranges::equal(image.colorSpace->profile, file_->profile())) {
      return Error{"the colour profile is not that of the file"};
    }
    return {};
  }

  Result<void> copyChunks(std::size_t end) {
    for (; nextChunk_ < end; ++nextChunk_) {
      const WebpChunk& chunk = file_->chunks()[nextChunk_];
      const auto exif = chunk.name() == "EXIF" ? withoutExifThumbnail(chunk.data) : std::nullopt;
      std::vector<std::byte> changed;
      if (exif) {
        if (auto made = appendChunk(changed, chunk.type, *exif); !made) return made;
      }
      if (auto written = out_.write(exif ? changed : chunk.whole); !written) return written;
    }
    return {};
  }

  // A lossy picture that has become opaque loses its chunk of alpha: the encoder makes none.
  Result<void> writeFrame(const CGImage& image, const WebpFrame& frame) {
    auto encoded = encodeWebp(image, frame, threads_);
    if (!encoded) return std::move(encoded).error();
    std::vector<std::byte> content(frame.animationHeader.begin(), frame.animationHeader.end());
    for (const WebpChunk& part : frame.parts) {
      Result<void> made;
      if (part.lossy() || part.lossless()) {
        made = appendChunk(content, part.type, encoded->colors);
      } else if (!part.alpha()) {
        append(content, part.whole);
      } else if (encoded->alpha) {
        made = appendChunk(content, part.type, *encoded->alpha);
      }
      if (!made) return made;
    }
    if (frame.animationHeader.empty()) return out_.write(content);
    std::vector<std::byte> chunk;
    const auto& type = file_->chunks()[frame.firstChunk].type;
    if (auto made = appendChunk(chunk, type, content); !made) return made;
    return out_.write(chunk);
  }

  OutputFile& out_;
  std::size_t frames_;
  unsigned threads_;
  std::shared_ptr<const WebpFile> file_;
  std::size_t nextFrame_ = 0;
  std::size_t nextChunk_ = 0;
};

}  // namespace

Result<std::unique_ptr<CodecWriter>> createWebpWriter(OutputFile& file, std::size_t frames,
                                                      const EncodeOptions& options) {
  return std::unique_ptr<CodecWriter>(std::make_unique<WebpWriter>(file, frames, options.threads));
}

}  // namespace kelvo
