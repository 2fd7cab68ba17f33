#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <utility>

#include "platform/image_io/codec_module.h"
#include "platform/image_io/output_file.h"
#include "platform/image_io/tiff/file_layout.h"
#include "platform/image_io/tiff/file_rewriter.h"
#include "platform/image_io/tiff/frame_image.h"
#include "platform/image_io/tiff/frame_writer.h"
#include "platform/image_io/tiff/old_colors.h"
#include "platform/image_io/tiff/tags.h"
#include "platform/image_io/tiff/tiff_file.h"

namespace kelvo {
namespace {

using tiff::TiffFile;

struct TiffFrameProperties final : FrameProperties {
  TiffFrameProperties(std::shared_ptr<const TiffFile> itsFile, std::size_t itsFrame)
      : file(std::move(itsFile)), frame(itsFrame) {}

  [[nodiscard]] const MappedFile* origin() const override { return &file->bytes(); }

  std::shared_ptr<const TiffFile> file;
  std::size_t frame;
};

Result<void> checkWritable(const TiffFile& file) {
  const SourceStatus status = file.status();
  if (status.status != CGImageSourceStatus::complete) return Error{status.cause};
  if (auto checked = tiff::checkNoOtherPictures(file); !checked) return checked;
  for (std::size_t i = 0; i < file.frames().size(); ++i) {
    if (auto checked = tiff::checkEncodable(file, i); !checked) return checked;
  }
  if (auto layout = tiff::analyseLayout(file); !layout) return std::move(layout).error();
  return {};
}

class TiffSource final : public CodecSource {
 public:
  explicit TiffSource(std::shared_ptr<const TiffFile> file) : file_(std::move(file)) {}

  [[nodiscard]] std::size_t count() const override { return file_->frames().size(); }
  [[nodiscard]] FrameInfo info(std::size_t frame) const override {
    const auto& picture = file_->picture(frame);
    if (!picture) return {};
    return {.width = picture->width,
            .height = picture->height,
            .bitsPerComponent =
                picture->photometric == tiff::kPalette ? std::uint32_t{8} : picture->bits};
  }
  [[nodiscard]] unsigned orientation(std::size_t frame) const override {
    return tiff::orientation(file_->view(), file_->frames()[frame]);
  }
  [[nodiscard]] SourceStatus status() const override { return file_->status(); }
  [[nodiscard]] Result<CGImage> image(std::size_t frame) const override {
    return tiff::makeFrameImage(file_, frame);
  }
  [[nodiscard]] Result<FramePropertiesRef> properties(std::size_t frame) const override {
    return FramePropertiesRef(std::make_shared<const TiffFrameProperties>(file_, frame));
  }
  [[nodiscard]] Result<void> writable(const EncodeOptions&) const override {
    return checkWritable(*file_);
  }

 private:
  std::shared_ptr<const TiffFile> file_;
};

class TiffWriter final : public CodecWriter {
 public:
  TiffWriter(OutputFile& out, std::size_t frames, unsigned threads)
      : out_(out), frames_(frames), ownJobs_(threads) {}

  Result<void> addImage(const CGImage& image, const FrameProperties& properties) override {
    const auto* const tiffProperties = dynamic_cast<const TiffFrameProperties*>(&properties);
    if (tiffProperties == nullptr || tiffProperties->frame != next_ ||
        (file_ && file_ != tiffProperties->file)) {
      return Error{"a frame is not the next one of this TIFF file"};
    }
    if (!rewriter_) {
      if (auto begun = begin(tiffProperties->file); !begun) return begun;
    }
    // Decoding and encoding share their threads, so that together they keep no more busy.
    tiff::JobPool& jobs = ownJobs_.threads() == file_->jobs().threads() ? file_->jobs() : ownJobs_;
    auto written = tiff::writeFrame(image, file_, next_, *rewriter_, jobs);
    if (!written) return written;
    dropOldThumbnails(file_->frames()[next_]);
    ++next_;
    return {};
  }

  Result<void> finish() override {
    if (!rewriter_ || next_ != frames_) return Error{"the new file lacks frames"};
    return rewriter_->finish();
  }

 private:
  Result<void> begin(std::shared_ptr<const TiffFile> file) {
    if (file->frames().size() != frames_) return Error{"the new file has another frame count"};
    if (auto checked = checkWritable(*file); !checked) return checked;
    file_ = std::move(file);
    auto rewriter = tiff::FileRewriter::begin(out_, file_);
    if (!rewriter) return std::move(rewriter).error();
    rewriter_ = *std::move(rewriter);
    return {};
  }

  void dropOldThumbnails(const tiff::Directory& directory) {
    const auto change = [&](std::uint16_t tag, auto without) {
      const tiff::Entry* const entry = directory.find(tag);
      // Some writers declare these as numbers of several bytes; their bytes are the same.
      if (entry == nullptr) return;
      auto bytes = without(tiff::valueBytes(file_->view(), *entry));
      if (!bytes) return;
      const std::size_t width = tiff::fieldBytes(entry->type);
      bytes->resize((bytes->size() + width - 1) / width * width);
      const std::uint64_t count = bytes->size() / width;
      rewriter_->replace(*entry, {entry->type, count, *std::move(bytes)});
    };
    change(tiff::kPhotoshop, tiff::withoutThumbnail);
    change(tiff::kXmp, tiff::withoutXmpThumbnails);
  }

  OutputFile& out_;
  std::size_t frames_;
  tiff::JobPool ownJobs_;
  std::size_t next_ = 0;
  std::shared_ptr<const TiffFile> file_;
  std::unique_ptr<tiff::FileRewriter> rewriter_;
};

Result<std::unique_ptr<CodecSource>> openTiff(FileBytes bytes, const Limits& limits) {
  auto file = TiffFile::open(std::move(bytes), limits);
  if (!file) return std::move(file).error();
  return std::unique_ptr<CodecSource>(std::make_unique<TiffSource>(*std::move(file)));
}

Result<std::unique_ptr<CodecWriter>> createTiffWriter(OutputFile& file, std::size_t frames,
                                                      const EncodeOptions& options) {
  return std::unique_ptr<CodecWriter>(std::make_unique<TiffWriter>(file, frames, options.threads));
}

}  // namespace
}  // namespace kelvo

extern "C" const kelvo::CodecModule* kelvoCodecModule() {
  static const kelvo::CodecModule module = {.open = &kelvo::openTiff,
                                            .createWriter = &kelvo::createTiffWriter};
  return &module;
}
