#include "platform/image_io/jpeg/jpeg_writer.h"

#include <algorithm>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "platform/image_io/jpeg/embedded_thumbnails.h"
#include "platform/image_io/jpeg/jpeg_compressor.h"
#include "platform/image_io/jpeg/jpeg_metadata.h"
#include "platform/image_io/jpeg/jpeg_properties.h"
#include "platform/image_io/jpeg/thumbnail_painter.h"
#include "platform/image_io/output_file.h"

namespace kelvo::jpeg {
namespace {

class Writer final : public CodecWriter {
 public:
  explicit Writer(OutputFile& file) : file_(&file) {}

  Result<void> addImage(const CGImage& image, const FrameProperties& properties) override {
    const auto* const from = dynamic_cast<const Properties*>(&properties);
    if (from == nullptr) return Error{"the properties are of another format"};
    if (auto possible = check(image, *from); !possible) return possible;
    source_ = from->file();
    trailer_ = from->trailer();

    PreparedSegments prepared = withoutThumbnails(from->structure().segments);
    thumbnail_ = prepared.exifThumbnail;
    if (thumbnail_) {
      painter_.emplace(image.width, image.height, thumbnail_->width, thumbnail_->height);
    }
    Compressor compressor(*file_);
    std::vector<std::uint64_t> positions;
    if (auto started = compressor.start(*from, prepared.segments, positions); !started) {
      return started;
    }
    if (thumbnail_) thumbnailSegment_ = positions[thumbnail_->segment];
    if (auto copied = copyRows(image, compressor); !copied) return copied;
    if (auto finished = compressor.finish(); !finished) return finished;
    added_ = true;
    return {};
  }

  Result<void> finish() override {
    if (!added_) return Error{"there is no picture to write"};
    if (auto painted = writeThumbnail(); !painted) return painted;
    return file_->write(trailer_);
  }

 private:
  static Result<void> check(const CGImage& image, const Properties& from) {
    if (auto possible = checkWritable(from); !possible) return possible;
    const Structure& structure = from.structure();
    if (image.width != structure.width || image.height != structure.height) {
      return Error{"the picture's size is not that of the file"};
    }
    if (image.layout != PixelLayout{.components = 3}) {
      return Error{"a JPEG holds 8-bit RGB without alpha only"};
    }
    // The profile is carried over with the file's other segments.
    if (image.colorSpace && image.colorSpace->profile != from.colorSpace().profile) {
      return Error{"the colour profile is not that of the file"};
    }
    const bool tables = std::all_of(structure.components.begin(), structure.components.end(),
                                    [](const Component& one) { return one.quantTable; });
    if (structure.components.size() != 3 || !tables) {
      return Error{"the picture's tables are not complete"};
    }
    return {};
  }

  Result<void> copyRows(const CGImage& image, Compressor& compressor) {
    auto rows = image.openRows();
    if (!rows) return std::move(rows).error();
    const std::size_t rowBytes = std::size_t{3} * image.width;
    const std::uint32_t stripRows = std::min(compressor.rowsAtOnce(), image.height);
    std::vector<std::byte> strip(rowBytes * stripRows);
    for (std::uint32_t y = 0; y < image.height;) {
      const std::uint32_t count = std::min(stripRows, image.height - y);
      const std::span<std::byte> pixels(strip.data(), rowBytes * count);
      if (auto read = (*rows)->read(pixels, count); !read) return read;
      if (painter_) {
        for (std::uint32_t i = 0; i < count; ++i) {
          painter_->addRow(pixels.subspan(rowBytes * i, rowBytes));
        }
      }
      if (auto written = compressor.writeRows(pixels, count); !written) return written;
      y += count;
    }
    return {};
  }

  // The thumbnail goes where the old one stood. Until this has run, and where it does not fit, the
  // file has none.
  Result<void> writeThumbnail() {
    if (!painter_) return {};
    auto picture = painter_->encode(thumbnail_->capacity);
    if (!picture) return {};
    const std::uint64_t end = file_->position();
    const auto patch = [&](std::size_t at, std::span<const std::byte> bytes) -> Result<void> {
      if (auto moved = file_->seek(thumbnailSegment_ + at); !moved) return moved;
      return file_->write(bytes);
    };
    const auto size = static_cast<std::uint32_t>(picture->size());
    if (auto done = patch(thumbnail_->data, *picture); !done) return done;
    if (auto done = patch(thumbnail_->lengthField, thumbnail_->encode(size)); !done) return done;
    const auto pointer = thumbnail_->encode(thumbnail_->directoryOffset);
    if (auto done = patch(thumbnail_->directoryPointer, pointer); !done) return done;
    return file_->seek(end);
  }

  OutputFile* file_;
  std::optional<ExifThumbnail> thumbnail_;
  std::optional<ThumbnailPainter> painter_;
  std::uint64_t thumbnailSegment_ = 0;  // where its segment's payload stands in the new file
  FileBytes source_;                    // the properties may be gone before finish()
  std::span<const std::byte> trailer_;  // in it
  bool added_ = false;
};

}  // namespace

Result<std::unique_ptr<CodecWriter>> createWriter(OutputFile& file, std::size_t frames,
                                                  const EncodeOptions&) {
  if (frames != 1) return Error{"a JPEG holds one picture"};
  return std::unique_ptr<CodecWriter>(std::make_unique<Writer>(file));
}

}  // namespace kelvo::jpeg
