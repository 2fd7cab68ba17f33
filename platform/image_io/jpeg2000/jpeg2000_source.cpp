#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "platform/image_io/codec_module.h"
#include "platform/image_io/jpeg2000/jpeg2000_file.h"
#include "platform/image_io/jpeg2000/picture_rows.h"
#include "platform/image_io/mapped_file.h"

namespace kelvo::jpeg2000 {
namespace {

class Source final : public CodecSource {
 public:
  explicit Source(Jpeg2000FileRef file) : file_(std::move(file)) {}

  [[nodiscard]] std::size_t count() const override { return 1; }

  [[nodiscard]] FrameInfo info(std::size_t) const override {
    const Grid& grid = file_->codestream.grid;
    return {.width = grid.width(), .height = grid.height(), .bitsPerComponent = file_->depth()};
  }

  [[nodiscard]] SourceStatus status() const override {
    if (!file_->boxes.status.cause.empty()) return file_->boxes.status;
    return file_->codestream.status;
  }

  [[nodiscard]] Result<CGImage> image(std::size_t) const override {
    if (auto fits = checkMemory(*file_, Use::decode); !fits) return std::move(fits).error();
    const Boxes& boxes = file_->boxes;
    CGColorSpace space = {.model = boxes.model, .profile = boxes.profile};
    const Grid& grid = file_->codestream.grid;
    return CGImage{.width = grid.width(),
                   .height = grid.height(),
                   .layout = layoutOf(*file_),
                   .colorSpace = std::make_shared<const CGColorSpace>(std::move(space)),
                   .openRows = [file = file_] { return openPictureRows(file); },
                   .palette = file_->palette};
  }

  [[nodiscard]] Result<FramePropertiesRef> properties(std::size_t) const override {
    return FramePropertiesRef(std::make_shared<const Jpeg2000Properties>(file_));
  }

  [[nodiscard]] Result<void> writable(const EncodeOptions&) const override {
    return checkWritable(*file_);
  }

 private:
  Jpeg2000FileRef file_;
};

std::shared_ptr<const Palette> readPalette(const Boxes& boxes) {
  if (!boxes.table || boxes.model != ColorModel::rgb || !boxes.obstacle.empty()) return nullptr;
  const auto box = std::find_if(boxes.header.begin(), boxes.header.end(),
                                [](const Box& b) { return b.type == kPalette; });
  Palette palette;
  for (std::size_t i = 0; i < boxes.table->entries; ++i) {
    const Bytes row =
        box->payload.subspan(boxes.table->offset + i * boxes.table->columns, boxes.table->columns);
    std::array<std::uint8_t, 4> color = {0, 0, 0, 255};
    for (std::size_t k = 0; k < 3; ++k) {
      color[k] = std::to_integer<std::uint8_t>(row[boxes.channels.colors[k]]);
    }
    if (boxes.channels.alpha) color[3] = std::to_integer<std::uint8_t>(row[*boxes.channels.alpha]);
    palette.push_back(color);
  }
  return std::make_shared<const Palette>(std::move(palette));
}

}  // namespace

Result<std::unique_ptr<CodecSource>> openJpeg2000(FileBytes file, const Limits& limits) {
  auto boxes = readBoxStructure(file->bytes());
  if (!boxes) return std::move(boxes).error();
  auto codestream = readCodestream(boxes->codestream);
  if (!codestream) return std::move(codestream).error();
  const std::uint64_t pixels = std::uint64_t{codestream->grid.width()} * codestream->grid.height();
  if (pixels > limits.maxPixels) {
    return Error{fmt::format("it has {} pixels, more than the {} allowed (--max-pixels)", pixels,
                             limits.maxPixels)};
  }
  readColors(*boxes, *codestream);
  auto opened = std::make_shared<Jpeg2000File>();
  opened->bytes = std::move(file);
  opened->boxes = *std::move(boxes);
  opened->codestream = *std::move(codestream);
  opened->palette = readPalette(opened->boxes);
  opened->limits = limits;
  if (opened->palette && opened->boxes.channels.premultiplied) {
    opened->boxes.obstacle = "a colour table with premultiplied alpha cannot be written back";
  }
  return std::unique_ptr<CodecSource>(std::make_unique<Source>(std::move(opened)));
}

PixelLayout layoutOf(const Jpeg2000File& file) {
  PixelLayout layout;
  if (file.palette) {
    const bool opaque = std::all_of(file.palette->begin(), file.palette->end(),
                                    [](const auto& color) { return color[3] == 255; });
    if (opaque) return layout;
    layout.components = 4;
    layout.alpha = AlphaInfo::last;
    return layout;
  }
  const Boxes& boxes = file.boxes;
  layout.type = file.depth() > 8 ? SampleType::u16 : SampleType::u8;
  layout.components = boxes.model == ColorModel::gray ? 1 : boxes.model == ColorModel::cmyk ? 4 : 3;
  if (boxes.channels.alpha && boxes.model == ColorModel::rgb) {
    layout.components = 4;
    layout.alpha = boxes.channels.premultiplied ? AlphaInfo::premultipliedLast : AlphaInfo::last;
  }
  return layout;
}

Result<void> checkWritable(const Jpeg2000File& file) {
  if (!file.boxes.status.cause.empty()) return Error{file.boxes.status.cause};
  if (!file.codestream.status.cause.empty()) return Error{file.codestream.status.cause};
  if (!file.boxes.obstacle.empty()) return Error{file.boxes.obstacle};
  // A file with a colour table keeps its codestream.
  if (file.palette) return {};
  if (!file.codestream.obstacle.empty()) return Error{file.codestream.obstacle};
  return checkMemory(file, Use::rewrite);
}

}  // namespace kelvo::jpeg2000

extern "C" const kelvo::CodecModule* kelvoCodecModule() {
  static const kelvo::CodecModule module = {.open = &kelvo::jpeg2000::openJpeg2000,
                                            .createWriter = &kelvo::jpeg2000::createJpeg2000Writer};
  return &module;
}
