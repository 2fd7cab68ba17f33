#include <algorithm>
#include <mutex>
#include <utility>

#include "platform/image_io/codec_module.h"
#include "platform/image_io/heif/heif_file.h"
#include "platform/image_io/heif/orientation.h"
#include "platform/image_io/heif/picture_rows.h"
#include "platform/image_io/mapped_file.h"

namespace kelvo::heif {
namespace {

class Source final : public CodecSource {
 public:
  explicit Source(HeifFileRef file) : file_(std::move(file)) {}

  [[nodiscard]] std::size_t count() const override { return file_->pictures.frames.size(); }

  [[nodiscard]] FrameInfo info(std::size_t frame) const override {
    const Picture& picture = file_->pictures.frames[frame].picture;
    const auto format = formatOf(file_->structure, *file_->structure.find(picture.tiles[0]));
    return {.width = picture.width,
            .height = picture.height,
            .bitsPerComponent = format ? format->depth : 8};
  }

  [[nodiscard]] unsigned orientation(std::size_t frame) const override {
    return orientationOf(file_->structure, file_->pictures.frames[frame].picture.item);
  }

  [[nodiscard]] SourceStatus status() const override {
    std::call_once(checked_, [&] { status_ = findStatus(); });
    return status_;
  }

  [[nodiscard]] Result<CGImage> image(std::size_t frame) const override {
    const Frame& wanted = file_->pictures.frames[frame];
    if (auto fits = checkMemory(*file_, wanted.picture); !fits) {
      return std::move(fits).error();
    }
    const auto layout = layoutOf(*file_, wanted);
    if (!layout) return layout.error();
    CGColorSpace space = {.model = layout->components < 3 ? ColorModel::gray : ColorModel::rgb,
                          .profile = wanted.profile};
    return CGImage{.width = wanted.picture.width,
                   .height = wanted.picture.height,
                   .layout = *layout,
                   .colorSpace = std::make_shared<const CGColorSpace>(std::move(space)),
                   .openRows = [file = file_, frame] { return openFrameRows(file, frame); },
                   .palette = nullptr};
  }

  [[nodiscard]] Result<FramePropertiesRef> properties(std::size_t frame) const override {
    return FramePropertiesRef(std::make_shared<const HeifProperties>(file_, frame));
  }

  [[nodiscard]] Result<void> writable(const EncodeOptions&) const override {
    return checkWritable(*file_);
  }

 private:
  [[nodiscard]] SourceStatus findStatus() const {
    const Structure& structure = file_->structure;
    if (structure.status.status != CGImageSourceStatus::complete) return structure.status;
    for (const Item& item : structure.items) {
      if (!isCoded(item.type)) continue;
      if (const auto whole = checkFraming(structure, item); !whole) {
        return {.status = CGImageSourceStatus::invalidData, .cause = whole.error().message};
      }
    }
    return {};
  }

  HeifFileRef file_;
  mutable std::once_flag checked_;
  mutable SourceStatus status_;
};

Result<void> checkLimits(const Pictures& pictures, const Limits& limits) {
  if (pictures.frames.size() > limits.maxFrames) {
    return Error{"it has " + std::to_string(pictures.frames.size()) + " pictures, more than the " +
                 std::to_string(limits.maxFrames) + " allowed (--max-frames)"};
  }
  for (const Frame& frame : pictures.frames) {
    constexpr std::uint32_t kLargestSide = 1 << 28;
    const Picture& picture = frame.picture;
    const std::uint64_t pixels = std::uint64_t{picture.width} * picture.height;
    if (pixels > limits.maxPixels) {
      return Error{"it has " + std::to_string(pixels) + " pixels, more than the " +
                   std::to_string(limits.maxPixels) + " allowed (--max-pixels)"};
    }
    std::vector<const Picture*> all = {&picture};
    if (frame.alpha) all.push_back(&*frame.alpha);
    for (const Picture& thumbnail : frame.thumbnails) all.push_back(&thumbnail);
    for (const Picture* const one : all) {
      if (std::max(one->tileWidth, one->tileHeight) > kLargestSide ||
          std::uint64_t{one->tileWidth} * one->columns > kLargestSide ||
          std::uint64_t{one->tileHeight} * one->rows > kLargestSide) {
        return Error{"a picture's size makes no sense"};
      }
    }
  }
  return {};
}

}  // namespace

Result<std::unique_ptr<CodecSource>> openHeif(FileBytes file, const Limits& limits) {
  auto structure = readStructure(file->bytes());
  if (!structure) return std::move(structure).error();
  auto pictures = findPictures(*structure);
  if (!pictures) return std::move(pictures).error();
  if (auto within = checkLimits(*pictures, limits); !within) return std::move(within).error();
  auto opened = std::make_shared<HeifFile>();
  opened->bytes = std::move(file);
  opened->structure = *std::move(structure);
  opened->pictures = *std::move(pictures);
  opened->limits = limits;
  return std::unique_ptr<CodecSource>(std::make_unique<Source>(std::move(opened)));
}

Result<void> checkWritable(const HeifFile& file) {
  if (file.structure.status.status != CGImageSourceStatus::complete) {
    return Error{file.structure.status.cause};
  }
  if (!file.pictures.obstacle.empty()) return Error{file.pictures.obstacle};
  for (const Frame& frame : file.pictures.frames) {
    if (auto fits = checkMemory(file, frame.picture); !fits) return fits;
  }
  return {};
}

}  // namespace kelvo::heif

extern "C" const kelvo::CodecModule* kelvoCodecModule() {
  static const kelvo::CodecModule module = {.open = &kelvo::heif::openHeif,
                                            .createWriter = &kelvo::heif::createHeifWriter};
  return &module;
}
