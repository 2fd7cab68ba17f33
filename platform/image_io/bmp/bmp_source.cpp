#include "platform/image_io/bmp/bmp_source.h"

#include "platform/image_io/bmp/bmp_rows.h"

namespace kelvo {
namespace {

class BmpSource final : public CodecSource {
 public:
  explicit BmpSource(std::shared_ptr<const BmpFile> file) : file_(std::move(file)) {}

  std::size_t count() const override { return 1; }

  FrameInfo info(std::size_t) const override {
    const BmpHeader& header = file_->header();
    std::uint32_t bits = 8;
    for (const BmpChannel& channel : header.channels) bits = std::max(bits, channel.bits());
    return {.width = header.width, .height = header.height, .bitsPerComponent = bits};
  }

  SourceStatus status() const override { return file_->status(); }

  Result<CGImage> image(std::size_t) const override {
    // Nothing else looks at whether the pixels lie in the file.
    if (SourceStatus found = status(); found.status != CGImageSourceStatus::complete) {
      return Error{std::move(found.cause)};
    }
    if (auto fits = checkBmpMemory(*file_); !fits) return std::move(fits).error();
    const BmpHeader& header = file_->header();
    const auto profile = file_->part(header.profile);
    CGImage image;
    image.width = header.width;
    image.height = header.height;
    image.layout = bmpLayout(*file_);
    image.colorSpace = std::make_shared<const CGColorSpace>(
        CGColorSpace{.model = ColorModel::rgb, .profile = {profile.begin(), profile.end()}});
    image.openRows = [file = file_]() -> Result<std::unique_ptr<RowSource>> {
      return openBmpRows(file);
    };
    if (header.indexed()) image.palette = std::make_shared<const Palette>(file_->palette());
    return image;
  }

  Result<FramePropertiesRef> properties(std::size_t) const override {
    return FramePropertiesRef(std::make_shared<const BmpProperties>(file_));
  }

  Result<void> writable(const EncodeOptions&) const override { return checkBmpMemory(*file_); }

 private:
  std::shared_ptr<const BmpFile> file_;
};

}  // namespace

Result<std::unique_ptr<CodecSource>> openBmp(FileBytes file, const Limits& limits) {
  auto bmp = BmpFile::open(std::move(file), limits);
  if (!bmp) return std::move(bmp).error();
  return std::unique_ptr<CodecSource>(std::make_unique<BmpSource>(*std::move(bmp)));
}

}  // namespace kelvo
