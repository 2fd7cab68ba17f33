#include "platform/image_io/png/png_source.h"

#include <fmt/format.h>

#include <cstdint>
#include <mutex>
#include <utility>

#include "platform/image_io/exif_orientation.h"
#include "platform/image_io/png/png_profile.h"
#include "platform/image_io/png/png_rows.h"

namespace kelvo {
namespace {

class PngSource final : public CodecSource {
 public:
  explicit PngSource(std::shared_ptr<const PngFile> file) : file_(std::move(file)) {}

  std::size_t count() const override { return file_->pictures().size(); }

  FrameInfo info(std::size_t frame) const override {
    const PngHeader& header = file_->pictures()[frame].header;
    return {
        .width = header.width,
        .height = header.height,
        .bitsPerComponent = header.color == PngColor::indexed ? std::uint32_t{8} : header.bitDepth};
  }

  unsigned orientation(std::size_t /*frame*/) const override {
    for (const PngChunk& chunk : file_->chunks()) {
      if (chunk.name() == "eXIf") return exifOrientation(chunk.data);
    }
    return 1;
  }

  SourceStatus status() const override {
    std::call_once(checked_, [&] { status_ = file_->status(); });
    return status_;
  }

  Result<CGImage> image(std::size_t frame) const override {
    // The decoder is not shown the checksums: they are looked at here, all of them.
    if (SourceStatus found = status(); found.status != CGImageSourceStatus::complete) {
      return Error{std::move(found.cause)};
    }
    if (auto fits = checkPngMemory(*file_, 1); !fits) return std::move(fits).error();
    const PngHeader& header = file_->pictures()[frame].header;
    CGImage image;
    image.width = header.width;
    image.height = header.height;
    image.layout = pngLayout(*file_);
    image.colorSpace = colorSpace();
    image.openRows = [file = file_, frame] { return openPngRows(file, frame); };
    if (header.color == PngColor::indexed) {
      image.palette = std::make_shared<const Palette>(file_->palette());
    }
    return image;
  }

  Result<FramePropertiesRef> properties(std::size_t frame) const override {
    return FramePropertiesRef(std::make_shared<const PngProperties>(file_, frame));
  }

  Result<void> writable(const EncodeOptions&) const override { return pngWritable(*file_); }

 private:
  // One for all frames.
  CGColorSpaceRef colorSpace() const {
    std::call_once(spaceRead_, [&] {
      CGColorSpace space;
      const PngColor color = file_->header().color;
      const bool gray = color == PngColor::gray || color == PngColor::grayAlpha;
      space.model = gray ? ColorModel::gray : ColorModel::rgb;
      if (const PngChunk* const chunk = file_->find("iCCP")) {
        space.profile = readPngProfile(chunk->data);
      }
      space_ = std::make_shared<const CGColorSpace>(std::move(space));
    });
    return space_;
  }

  std::shared_ptr<const PngFile> file_;
  mutable std::once_flag checked_;
  mutable SourceStatus status_;
  mutable std::once_flag spaceRead_;
  mutable CGColorSpaceRef space_;
};

}  // namespace

Result<std::unique_ptr<CodecSource>> openPng(FileBytes file, const Limits& limits) {
  auto png = PngFile::open(std::move(file), limits);
  if (!png) return std::move(png).error();
  return std::unique_ptr<CodecSource>(std::make_unique<PngSource>(*std::move(png)));
}

Result<void> pngWritable(const PngFile& file) {
  if (file.pictures().size() > 1 && !file.colorKey().empty()) {
    // All frames wait for the key, and those that were measured in memory.
    const std::size_t pixelBytes = pngLayout(file).pixelBytes();
    std::uint64_t needed = 0;
    for (const PngPicture& picture : file.pictures()) {
      needed += std::uint64_t{picture.header.width} * picture.header.height * pixelBytes;
    }
    if (needed > file.limits().maxMemoryBytes) {
      return Error{
          fmt::format("an animation with a transparent colour takes {} bytes of memory, over the "
                      "limit of {} (--max-memory)",
                      needed, file.limits().maxMemoryBytes)};
    }
  }
  return checkPngMemory(file, 2);
}

}  // namespace kelvo
