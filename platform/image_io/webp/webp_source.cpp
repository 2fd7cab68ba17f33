#include "platform/image_io/webp/webp_source.h"

#include <fmt/format.h>
#include <webp/encode.h>

#include "platform/image_io/exif_orientation.h"
#include "platform/image_io/webp/webp_rows.h"

namespace kelvo {
namespace {

class WebpSource final : public CodecSource {
 public:
  explicit WebpSource(std::shared_ptr<const WebpFile> file) : file_(std::move(file)) {}

  std::size_t count() const override { return file_->frames().size(); }

  FrameInfo info(std::size_t frame) const override {
    const WebpFrame& found = file_->frames()[frame];
    return {.width = found.width, .height = found.height, .bitsPerComponent = 8};
  }

  unsigned orientation(std::size_t /*frame*/) const override {
    for (const WebpChunk& chunk : file_->chunks()) {
      if (chunk.name() == "EXIF") return exifOrientation(chunk.data);
    }
    return 1;
  }

  SourceStatus status() const override { return file_->status(); }

  Result<CGImage> image(std::size_t number) const override {
    const WebpFrame& frame = file_->frames()[number];
    if (auto fits = checkWebpMemory(*file_, frame, WebpUse::decode); !fits) {
      return std::move(fits).error();
    }
    const auto profile = file_->profile();
    CGImage image;
    image.width = frame.width;
    image.height = frame.height;
    image.layout = webpLayout(frame);
    image.colorSpace = std::make_shared<const CGColorSpace>(
        CGColorSpace{.model = ColorModel::rgb, .profile = {profile.begin(), profile.end()}});
    image.openRows = [file = file_, number]() -> Result<std::unique_ptr<RowSource>> {
      return openWebpRows(file, file->frames()[number]);
    };
    return image;
  }

  Result<FramePropertiesRef> properties(std::size_t frame) const override {
    return FramePropertiesRef(std::make_shared<const WebpProperties>(file_, frame));
  }

  Result<void> writable(const EncodeOptions&) const override { return webpWritable(*file_); }

 private:
  std::shared_ptr<const WebpFile> file_;
};

}  // namespace

Result<std::unique_ptr<CodecSource>> openWebp(FileBytes file, const Limits& limits) {
  auto webp = WebpFile::open(std::move(file), limits);
  if (!webp) return std::move(webp).error();
  return std::unique_ptr<CodecSource>(std::make_unique<WebpSource>(*std::move(webp)));
}

Result<void> webpWritable(const WebpFile& file) {
  for (const WebpFrame& frame : file.frames()) {
    if (frame.width > WEBP_MAX_DIMENSION || frame.height > WEBP_MAX_DIMENSION) {
      return Error{fmt::format("a picture of {} x {} pixels can be read but not written",
                               frame.width, frame.height)};
    }
    if (auto fits = checkWebpMemory(file, frame, WebpUse::rewrite); !fits) return fits;
  }
  return {};
}

}  // namespace kelvo
