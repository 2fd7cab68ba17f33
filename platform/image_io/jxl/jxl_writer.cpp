#include <sys/mman.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "platform/image_io/exif_thumbnail.h"
#include "platform/image_io/file_descriptor.h"
#include "platform/image_io/jxl/encoder.h"
#include "platform/image_io/jxl/jxl_file.h"
#include "platform/image_io/mapped_file.h"
#include "platform/image_io/output_file.h"

namespace kelvo::jxl {
namespace {

constexpr FourCC kExif = fourCC("Exif");
constexpr std::size_t kMostExifBytes = 64 << 20;

Result<void> writeBox(OutputFile& out, FourCC type, Bytes payload) {
  heif::Builder header;
  constexpr std::size_t kShortHeader = 8;
  constexpr std::size_t kLongHeader = 16;
  const std::uint64_t size = payload.size() + kShortHeader;
  const bool isLong = size > 0xFFFFFFFFU;
  header.number(isLong ? 1 : size, 4);
  header.number(type, 4);
  if (isLong) header.number(payload.size() + kLongHeader, 8);
  if (auto written = out.write(header.bytes()); !written) return written;
  return out.write(payload);
}

// An Exif box's content with its thumbnail taken out; nothing if there is none.
std::optional<std::vector<std::byte>> withoutThumbnail(Bytes content) {
  heif::Reader reader(content);
  reader.take(reader.u32());
  if (!reader.ok() || reader.rest().empty()) return std::nullopt;
  const auto without = withoutExifThumbnail(reader.rest());
  if (!without) return std::nullopt;
  std::vector<std::byte> changed(content.begin(), content.end());
  std::copy(without->begin(), without->end(),
            changed.end() - static_cast<std::ptrdiff_t>(without->size()));
  return changed;
}

class Writer final : public CodecWriter {
 public:
  Writer(OutputFile& out, std::size_t frames, const EncodeOptions& options)
      : out_(out), frames_(frames), options_(options) {}

  Result<void> addImage(const CGImage& image, const FrameProperties& properties) override {
    const auto* const own = dynamic_cast<const JxlProperties*>(&properties);
    if (own == nullptr) return Error{"the properties are of another format"};
    if (file_ == nullptr) {
      if (auto possible = checkWritable(*own->file(), options_); !possible) return possible;
      file_ = own->file();
    }
    if (own->file() != file_ || own->frame() != next_ || next_ >= frames_) {
      return Error{"the frames do not come in the order of the file"};
    }
    const Frame& frame = file_->headers.frames[next_++];
    if (file_->jpeg) return packAnew(image);
    if (auto fine = checkImage(image, frame); !fine) return fine;
    if (!encoder_) encoder_.emplace(file_, options_);
    return encoder_->add(image);
  }

  Result<void> finish() override {
    if (file_ == nullptr || next_ != frames_ || frames_ != file_->headers.frames.size()) {
      return Error{"there are pictures missing"};
    }
    if (encoder_) {
      auto codestream = encoder_->finish();
      if (!codestream) return std::move(codestream).error();
      codestream_ = *std::move(codestream);
    }
    if (file_->container.boxes.empty()) return out_.write(codestream_);
    return file_->jpeg ? writePacked() : writeBoxes(out_);
  }

 private:
  Result<void> checkImage(const CGImage& image, const Frame& frame) const {
    if (image.width != frame.width || image.height != frame.height) {
      return Error{"the picture's size is not that of the file"};
    }
    const PixelLayout layout = layoutOf(file_->headers);
    if (file_->headers.info.num_color_channels != 3) {
      return Error{"only RGB pictures can be written"};
    }
    const SampleType type = options_.keepDepth ? layout.type : SampleType::u8;
    const bool withAlpha = image.layout.components == 4 &&
                           image.layout.alpha == AlphaInfo::premultipliedLast &&
                           layout.alpha != AlphaInfo::none;
    const bool opaque = image.layout.components == 3 && image.layout.alpha == AlphaInfo::none;
    if (image.layout.type != type || !(withAlpha || opaque)) {
      return Error{"the adjusted picture's pixels are not like the file's"};
    }
    if (image.colorSpace && image.colorSpace->profile != file_->headers.profile) {
      return Error{"the colour profile is not that of the file"};
    }
    return {};
  }

  // The JPEG inside with other pixels, packed again.
  Result<void> packAnew(const CGImage& image) {
    const auto jpeg = file_->jpeg->open();
    if (!jpeg) return jpeg.error();
    auto rewritten = rewriteJpeg(**jpeg, image, options_);
    if (!rewritten) return std::move(rewritten).error();
    jpeg_ = *std::move(rewritten);
    auto packed = packJpeg(jpeg_, options_.threads);
    if (!packed) return std::move(packed).error();
    packed_ = *std::move(packed);
    packedBoxes_ = readContainer(packed_);
    codestream_.assign(packedBoxes_.codestream.begin(), packedBoxes_.codestream.end());
    const auto headers = readHeaders(codestream_, file_->limits);
    if (!headers || !headers->status.cause.empty() || !sameContents(file_->headers, *headers)) {
      return Error{"not everything that the file tells about its pictures can be written back"};
    }
    return {};
  }

  // Writes the file only if the new JPEG comes out of it.
  Result<void> writePacked() {
    const FileDescriptor memory(::memfd_create("packed", MFD_CLOEXEC));
    OutputFile whole(memory.get());
    if (auto written = writeBoxes(whole); !written) return written;
    if (auto flushed = whole.flush(); !flushed) return flushed;
    const auto mapped = MappedFile::fromDescriptor(memory.get());
    if (!mapped) return mapped.error();
    const auto unpacked = unpackJpeg((*mapped)->bytes(), file_->limits.maxMemoryBytes);
    if (!unpacked || *unpacked != jpeg_) return Error{"the adjusted JPEG cannot be packed"};
    return out_.write((*mapped)->bytes());
  }

  Result<void> writeBoxes(OutputFile& out) const {
    std::size_t parts = 0;
    for (const Box& box : file_->container.boxes) parts += box.type == kPartOfCodestream ? 1 : 0;
    Bytes rest = codestream_;
    std::uint32_t part = 0;
    for (const Box& box : file_->container.boxes) {
      Result<void> done;
      if (box.type == kWholeCodestream) {
        done = writeBox(out, kWholeCodestream, rest);
      } else if (box.type == kPartOfCodestream) {
        // Each as large as it was, the last takes what is left.
        const bool last = part + 1 == parts;
        const std::size_t old = box.payload.size() - kPartHeader;
        const Bytes content = last ? rest : rest.first(std::min(old, rest.size()));
        heif::Builder payload;
        payload.number(part++ | (last ? kLastPart : 0), kPartHeader);
        payload.append(content);
        rest = rest.subspan(content.size());
        done = writeBox(out, kPartOfCodestream, payload.bytes());
      } else {
        done = copyBox(out, box);
      }
      if (!done) return done;
    }
    return {};
  }

  // The box of this content that the library made of the new JPEG.
  [[nodiscard]] const Box* packedBox(FourCC content) const {
    const auto& boxes = packedBoxes_.boxes;
    const auto found = std::find_if(boxes.begin(), boxes.end(), [content](const Box& box) {
      return contentType(box) == content;
    });
    return found == boxes.end() ? nullptr : &*found;
  }

  Result<void> copyBox(OutputFile& out, const Box& box) const {
    if (box.type == kReconstruction) {
      const Box* const made = packedBox(kReconstruction);
      if (made == nullptr) return Error{"the adjusted JPEG cannot be packed"};
      return writeBox(out, kReconstruction, made->payload);
    }
    if (contentType(box) != kExif) return out.write(box.whole);
    const auto content = contentOf(box);
    if (!content) return content.error();
    auto changed = changedExif(*content);
    if (!changed) return std::move(changed).error();
    if (*changed == *content) return out.write(box.whole);
    if (box.type == kExif) return writeBox(out, kExif, *changed);
    const auto packed = compressed(kExif, *changed);
    if (!packed) return packed.error();
    return writeBox(out, kCompressedBox, *packed);
  }

  static Result<std::vector<std::byte>> contentOf(const Box& box) {
    if (box.type == kCompressedBox) return decompressed(box, kMostExifBytes);
    return std::vector<std::byte>(box.payload.begin(), box.payload.end());
  }

  // Without a thumbnail, or with the one that the new JPEG has.
  [[nodiscard]] Result<std::vector<std::byte>> changedExif(
      const std::vector<std::byte>& content) const {
    const Box* const made = packedBox(kExif);
    if (made != nullptr) return contentOf(*made);
    return withoutThumbnail(content).value_or(content);
  }

  OutputFile& out_;
  std::size_t frames_;
  EncodeOptions options_;
  JxlFileRef file_;
  std::optional<CodestreamEncoder> encoder_;
  std::vector<std::byte> codestream_;
  // Of a packed JPEG: the new one, and what the library makes of it.
  std::vector<std::byte> jpeg_;
  std::vector<std::byte> packed_;
  Container packedBoxes_;
  std::size_t next_ = 0;
};

}  // namespace

Result<std::unique_ptr<CodecWriter>> createJxlWriter(OutputFile& file, std::size_t frames,
                                                     const EncodeOptions& options) {
  return std::unique_ptr<CodecWriter>(std::make_unique<Writer>(file, frames, options));
}

}  // namespace kelvo::jxl
