#include "platform/image_io/gif/gif_source.h"

#include <utility>

#include "platform/image_io/gif/gif_indices.h"
#include "platform/image_io/gif/gif_rows.h"

namespace kelvo {
namespace {

class GifSource final : public CodecSource {
 public:
  explicit GifSource(std::shared_ptr<const GifFile> file) : file_(std::move(file)) {}

  std::size_t count() const override { return file_->frames().size(); }

  FrameInfo info(std::size_t frame) const override {
    return {.width = file_->frames()[frame].width,
            .height = file_->frames()[frame].height,
            .bitsPerComponent = 8};
  }

  SourceStatus status() const override { return file_->status(); }

  // The indices are checked here: an adjusted frame is written without anybody reading its rows.
  Result<CGImage> image(std::size_t frame) const override {
    const GifFrame& its = file_->frames()[frame];
    if (file_->tableOf(its).entries == 0) return Error{"the frame has no colour table"};
    if (auto good = checkGifIndices(*file_, its); !good) return std::move(good).error();
    CGImage image;
    image.width = its.width;
    image.height = its.height;
    image.layout = gifLayout(its);
    image.colorSpace = CGColorSpaceCreateDeviceRGB();
    image.openRows = [file = file_, frame] { return openGifRows(file, frame); };
    image.palette = std::make_shared<const Palette>(gifPalette(*file_, its));
    return image;
  }

  Result<FramePropertiesRef> properties(std::size_t frame) const override {
    return FramePropertiesRef(std::make_shared<const GifProperties>(file_, frame));
  }

 private:
  std::shared_ptr<const GifFile> file_;
};

}  // namespace

Result<std::unique_ptr<CodecSource>> openGif(FileBytes file, const Limits& limits) {
  auto gif = GifFile::open(std::move(file), limits);
  if (!gif) return std::move(gif).error();
  return std::unique_ptr<CodecSource>(std::make_unique<GifSource>(*std::move(gif)));
}

}  // namespace kelvo
