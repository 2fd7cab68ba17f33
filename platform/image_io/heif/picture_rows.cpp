#include "platform/image_io/heif/picture_rows.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace kelvo::heif {
namespace {

class FrameRows final : public RowSource {
 public:
  FrameRows(HeifFileRef file, std::size_t frame, PixelLayout layout)
      : frame_(file->pictures.frames[frame]), layout_(layout), color_(file, frame_.picture) {
    if (frame_.alpha) alpha_.emplace(std::move(file), *frame_.alpha);
  }

  Result<void> read(std::span<std::byte> pixels, std::uint32_t rows) override {
    const std::size_t rowBytes = std::size_t{frame_.picture.width} * layout_.pixelBytes();
    for (std::uint32_t i = 0; i < rows; ++i, ++y_) {
      if (auto ready = color_.prepare(y_); !ready) return ready;
      if (alpha_) {
        if (auto ready = alpha_->prepare(y_); !ready) return ready;
      }
      std::byte* const row = pixels.data() + i * rowBytes;
      if (layout_.type == SampleType::u8) {
        if (auto filled = fill(reinterpret_cast<std::uint8_t*>(row)); !filled) return filled;
      } else {
        wide_.resize(rowBytes / 2);
        if (auto filled = fill(wide_.data()); !filled) return filled;
        std::copy_n(reinterpret_cast<const std::byte*>(wide_.data()), rowBytes, row);
      }
    }
    return {};
  }

 private:
  template <typename Sample>
  Result<void> fill(Sample* row) {
    const std::size_t step = layout_.components;
    if (!alpha_) return color_.colors(y_, row, step);
    levels_.resize(frame_.picture.width);
    alpha_->levels(y_, levels_);
    const std::uint32_t stored = (1U << alpha_->tiles()[0].coding.depth) - 1;
    constexpr std::uint32_t kMaximum = std::numeric_limits<Sample>::max();
    for (std::size_t x = 0; x < levels_.size(); ++x) {
      row[x * step + step - 1] = static_cast<Sample>((levels_[x] * kMaximum + stored / 2) / stored);
    }
    return color_.colors(y_, row, step);
  }

  const Frame& frame_;
  PixelLayout layout_;
  PictureDecoder color_;
  std::optional<PictureDecoder> alpha_;
  std::uint32_t y_ = 0;
  std::vector<std::uint16_t> wide_;
  std::vector<std::uint16_t> levels_;
};

}  // namespace

ColorCoding effectiveColor(const Picture& picture, const Coding& coding) {
  return picture.color.value_or(coding.color);
}

Result<void> PictureDecoder::prepare(std::uint32_t y) {
  const std::uint32_t wanted = y / picture_.tileHeight;
  if (!tiles_.empty() && wanted == tileRow_) return {};
  tiles_.clear();
  for (std::uint32_t column = 0; column < picture_.columns; ++column) {
    const ItemId id = picture_.tiles[std::size_t{wanted} * picture_.columns + column];
    auto decoded = decodeItem(file_->structure, *file_->structure.find(id), picture_.tileWidth,
                              picture_.tileHeight);
    if (!decoded) return std::move(decoded).error();
    const Coding& coding = decoded->coding;
    if (!tiles_.empty() &&
        (coding.chroma != tiles_[0].coding.chroma || coding.depth != tiles_[0].coding.depth ||
         effectiveColor(picture_, coding) != effectiveColor(picture_, tiles_[0].coding))) {
      return Error{"the parts of a grid are coded in different ways"};
    }
    tiles_.push_back(*std::move(decoded));
  }
  tileRow_ = wanted;
  return {};
}

template <typename Use>
void PictureDecoder::forTiles(Use use) const {
  for (std::uint32_t column = 0; column < picture_.columns; ++column) {
    const std::uint32_t left = column * picture_.tileWidth;
    use(tiles_[column].planes, left, std::min(picture_.tileWidth, picture_.width - left));
  }
}

template <typename Sample>
Result<void> PictureDecoder::colors(std::uint32_t y, Sample* out, std::size_t step) const {
  const Coding& coding = tiles_[0].coding;
  const auto conversion =
      ColorConversion::create(effectiveColor(picture_, coding), coding.chroma, coding.depth);
  if (!conversion) return conversion.error();
  forTiles([&](const Planes& planes, std::uint32_t left, std::uint32_t count) {
    conversion->toRgb(planes, y % picture_.tileHeight, count, out + left * step, step);
  });
  return {};
}

void PictureDecoder::levels(std::uint32_t y, std::span<std::uint16_t> out) const {
  forTiles([&](const Planes& planes, std::uint32_t left, std::uint32_t count) {
    const auto from = planes.row(0, y % picture_.tileHeight).first(count);
    std::copy(from.begin(), from.end(), out.begin() + left);
  });
}

Result<PixelLayout> layoutOf(const HeifFile& file, const Frame& frame) {
  const auto formatOfPicture = [&](const Picture& picture) {
    return formatOf(file.structure, *file.structure.find(picture.tiles[0]));
  };
  const auto color = formatOfPicture(frame.picture);
  if (!color) return color.error();
  PixelLayout layout;
  layout.components = color->chroma == Chroma::none ? 1 : 3;
  layout.type = color->depth > 8 ? SampleType::u16 : SampleType::u8;
  if (frame.alpha) {
    layout.components = static_cast<std::uint8_t>(layout.components + 1);
    layout.alpha = frame.premultiplied ? AlphaInfo::premultipliedLast : AlphaInfo::last;
  }
  return layout;
}

Result<std::unique_ptr<RowSource>> openFrameRows(HeifFileRef file, std::size_t frame) {
  const Frame& wanted = file->pictures.frames[frame];
  const auto layout = layoutOf(*file, wanted);
  if (!layout) return layout.error();
  return std::unique_ptr<RowSource>(std::make_unique<FrameRows>(std::move(file), frame, *layout));
}

namespace {

std::uint64_t workingBytes(const Structure& structure, const Picture& picture) {
  // Measured with pictures of 12 megapixels.
  const bool hevc = structure.find(picture.tiles[0])->type == kHevcItem;
  const std::uint64_t bytesPerPixel = hevc ? 16 : 24;
  return std::uint64_t{picture.tileWidth} * picture.columns * picture.tileHeight * bytesPerPixel;
}

}  // namespace

Result<void> checkMemory(const HeifFile& file, const Picture& picture) {
  constexpr std::uint64_t kMiB = 1 << 20;
  const Limits& limits = file.limits;
  const std::uint64_t wanted = workingBytes(file.structure, picture);
  if (wanted <= limits.maxMemoryBytes) return {};
  return Error{"a picture of this size takes " + std::to_string((wanted + kMiB - 1) / kMiB) +
               " MiB of memory, more than the " + std::to_string(limits.maxMemoryBytes / kMiB) +
               " MiB allowed (--max-memory)"};
}

}  // namespace kelvo::heif
