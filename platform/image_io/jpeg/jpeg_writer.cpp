#include "platform/image_io/jpeg/jpeg_writer.h"

#include <algorithm>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "platform/image_io/jpeg/embedded_thumbnails.h"
#include "platform/image_io/jpeg/gain_map.h"
#include "platform/image_io/jpeg/jpeg_compressor.h"
#include "platform/image_io/jpeg/jpeg_metadata.h"
#include "platform/image_io/jpeg/jpeg_properties.h"
#include "platform/image_io/jpeg/thumbnail_painter.h"
#include "platform/image_io/output_file.h"
#include "platform/pixels/rows_ahead.h"

namespace kelvo::jpeg {
namespace {

class Writer final : public CodecWriter {
 public:
  Writer(OutputFile& file, std::size_t frames, const EncodeOptions& options)
      : file_(&file), frames_(frames), options_(options) {}

  Result<void> addImage(const CGImage& image, const FrameProperties& properties) override {
    const auto* const from = dynamic_cast<const Properties*>(&properties);
    if (from == nullptr) return Error{"the properties are of another format"};
    if (auto possible = check(image, *from); !possible) return possible;
    source_ = from->file();
    if (from->number() == 0) index_ = from->pictures().index;

    const std::uint64_t begin = file_->position();
    PreparedSegments prepared = prepareSegments(*from);
    thumbnail_ = prepared.exifThumbnail;
    painter_.reset();
    if (thumbnail_) {
      painter_.emplace(image.width, image.height, thumbnail_->width, thumbnail_->height);
    }
    Compressor compressor(*file_);
    std::vector<std::uint64_t> positions;
    if (auto started = compressor.start(*from, prepared.segments, positions); !started) {
      return started;
    }
    if (thumbnail_) thumbnailSegment_ = positions[thumbnail_->segment];
    if (index_ && from->number() == 0) noteIndex(prepared.segments, positions);
    if (auto copied = copyRows(image, compressor); !copied) return copied;
    if (auto finished = compressor.finish(); !finished) return finished;
    if (auto painted = writeThumbnail(); !painted) return painted;
    noteWritten(*from, begin);
    for (const auto piece : from->trailer()) {
      if (auto written = file_->write(piece); !written) return written;
    }
    return {};
  }

  Result<void> finish() override {
    if (written_.size() != frames_) return Error{"not all pictures have been written"};
    return writeIndex();
  }

 private:
  // Where a picture stands in the new file, and its size as the index is to have it.
  struct Written {
    std::uint64_t begin = 0;
    std::uint64_t size = 0;
  };

  Result<void> check(const CGImage& image, const Properties& from) const {
    const auto& index = from.pictures().index;
    if (from.number() != written_.size() || frames_ != (index ? index->frames.size() : 1)) {
      return Error{"the pictures are not those of the file"};
    }
    if (auto possible = checkWritable(from, options_); !possible) return possible;
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

  // The segments as they go into the new file, but for the thumbnail and the index, which are
  // filled in when what they say is known.
  PreparedSegments prepareSegments(const Properties& from) {
    std::vector<Segment> segments = from.structure().segments;
    if (!from.hasGainMap()) return withoutThumbnails(segments);
    std::erase_if(segments, isGainMapSegment);
    const MultiPictureIndex* const old = from.pictures().index ? &*from.pictures().index : nullptr;
    // An index of one picture says nothing.
    if (old != nullptr && old->frames.size() == 1) {
      std::erase_if(segments, isMultiPictureSegment);
      index_.reset();
    }
    PreparedSegments prepared = withoutThumbnails(segments);
    for (PreparedSegment& segment : prepared.segments) {
      removeGainMapFromXmp(segment);
      if (old == nullptr || !isMultiPictureSegment({segment.marker, segment.original})) continue;
      segment.edited =
          segment.original.data() == old->payload.data()
              ? old->payloadOfFrames()
              : renumbered(segment.original, old->frames[from.number()] + 1, from.number() + 1);
    }
    return prepared;
  }

  Result<void> copyRows(const CGImage& image, Compressor& compressor) {
    // One processor decodes already; a third one adjusts.
    auto rows = openRowsAhead(image, options_.threads - 1);
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

  void noteIndex(const std::vector<PreparedSegment>& segments,
                 const std::vector<std::uint64_t>& positions) {
    for (std::size_t i = 0; i < segments.size(); ++i) {
      if (segments[i].original.data() == index_->payload.data()) indexPosition_ = positions[i];
    }
  }

  // What the index counted as the picture's beyond its end-of-image marker, it counts again.
  void noteWritten(const Properties& from, std::uint64_t begin) {
    std::uint64_t size = file_->position() - begin;
    if (index_) {
      const std::size_t counted = index_->pictures[index_->frames[from.number()]].size;
      if (counted > from.structure().end) size += counted - from.structure().end;
    }
    written_.push_back({begin, size});
  }

  Result<void> writeIndex() {
    if (!index_) return {};
    const std::uint64_t end = file_->position();
    for (std::size_t i = 0; i < written_.size(); ++i) {
      const auto place = index_->encodePlace(written_[i].size, written_[i].begin, indexPosition_);
      if (auto moved = file_->seek(indexPosition_ + index_->placeField(i)); !moved) return moved;
      if (auto patched = file_->write(place); !patched) return patched;
    }
    return file_->seek(end);
  }

  OutputFile* file_;
  std::size_t frames_;
  EncodeOptions options_;
  std::vector<Written> written_;
  std::optional<MultiPictureIndex> index_;
  std::uint64_t indexPosition_ = 0;  // of its segment's payload in the new file
  std::optional<ExifThumbnail> thumbnail_;
  std::optional<ThumbnailPainter> painter_;
  std::uint64_t thumbnailSegment_ = 0;  // where its segment's payload stands in the new file
  FileBytes source_;                    // the properties may be gone before finish()
};

}  // namespace

Result<std::unique_ptr<CodecWriter>> createWriter(OutputFile& file, std::size_t frames,
                                                  const EncodeOptions& options) {
  return std::unique_ptr<CodecWriter>(std::make_unique<Writer>(file, frames, options));
}

}  // namespace kelvo::jpeg
