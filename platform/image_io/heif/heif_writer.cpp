#include <algorithm>
#include <functional>
#include <optional>
#include <set>
#include <utility>

#include "platform/image_io/exif_thumbnail.h"
#include "platform/image_io/heif/downscaler.h"
#include "platform/image_io/heif/encoder.h"
#include "platform/image_io/heif/file_assembly.h"
#include "platform/image_io/heif/heif_file.h"
#include "platform/image_io/heif/picture_rows.h"
#include "platform/image_io/output_file.h"
#include "platform/pixels/premultiply.h"

namespace kelvo::heif {
namespace {

// Fills planes with the rows of a picture from the given one on, as many as there are.
using FillPlanes = std::function<Result<void>(Planes& planes, const ColorConversion& conversion,
                                              std::uint32_t firstRow)>;

// The adjusted rows as straight numbers of 0 to 1 (unless the file's own are multiplied by alpha)
// and levels of alpha.
class AdjustedRows {
 public:
  AdjustedRows(const CGImage& image, bool premultiplied, std::unique_ptr<RowSource> rows)
      : width_(image.width),
        layout_(image.layout),
        unpremultiply_(image.layout.alpha != AlphaInfo::none && !premultiplied),
        rows_(std::move(rows)) {
    const std::size_t samples = std::size_t{width_} * layout_.components;
    layout_.type == SampleType::u8 ? narrow_.resize(samples) : wide_.resize(samples);
    colors_.resize(std::size_t{3} * width_);
  }

  Result<void> next() {
    if (layout_.type == SampleType::u8) {
      if (auto read = rows_->read(std::as_writable_bytes(std::span(narrow_)), 1); !read)
        return read;
      if (unpremultiply_) vImageUnpremultiplyData_RGBA8888(narrow_);
      convert(narrow_, 255);
    } else {
      if (auto read = rows_->read(std::as_writable_bytes(std::span(wide_)), 1); !read) return read;
      if (unpremultiply_) unpremultiplyRGBA16(wide_);
      convert(wide_, 65535);
    }
    return {};
  }

  [[nodiscard]] std::span<const float> colors() const { return colors_; }
  // Rounded to so many bits.
  [[nodiscard]] std::uint16_t alpha(std::uint32_t x, unsigned depth) const {
    const std::uint32_t maximum = (1U << depth) - 1;
    if (layout_.alpha == AlphaInfo::none) return static_cast<std::uint16_t>(maximum);
    const std::size_t at = std::size_t{4} * x + 3;
    return layout_.type == SampleType::u8
               ? static_cast<std::uint16_t>((narrow_[at] * maximum + 127) / 255)
               : static_cast<std::uint16_t>((wide_[at] * maximum + 32767) / 65535);
  }

 private:
  template <typename Sample>
  void convert(const std::vector<Sample>& samples, float maximum) {
    const std::size_t step = layout_.components;
    for (std::size_t x = 0; x < width_; ++x) {
      for (std::size_t k = 0; k < 3; ++k) {
        colors_[3 * x + k] = static_cast<float>(samples[step * x + k]) / maximum;
      }
    }
  }

  std::uint32_t width_;
  PixelLayout layout_;
  bool unpremultiply_;
  std::unique_ptr<RowSource> rows_;
  std::vector<std::uint8_t> narrow_;
  std::vector<std::uint16_t> wide_;
  std::vector<float> colors_;
};

Planes part(const Planes& band, std::uint32_t left, std::uint32_t width) {
  Planes tile(width, band.height, band.chroma, band.depth);
  for (unsigned k = 0; k < tile.count(); ++k) {
    const std::uint32_t from = k == 0 ? left : left >> chromaShiftX(band.chroma);
    for (std::uint32_t y = 0; y < tile.planeHeight(k); ++y) {
      const auto row = band.row(k, y).subspan(from, tile.planeWidth(k));
      std::copy(row.begin(), row.end(), tile.row(k, y).begin());
    }
  }
  return tile;
}

// Adds the new data of one frame's pictures to the edits.
class FrameEncoder {
 public:
  FrameEncoder(HeifFileRef file, const Frame& frame, bool keepDepth, Edits& edits)
      : file_(std::move(file)), frame_(frame), keepDepth_(keepDepth), edits_(edits) {}

  Result<void> encode(const CGImage& image) {
    auto rows = image.openRows();
    if (!rows) return std::move(rows).error();
    AdjustedRows adjusted(image, frame_.premultiplied, *std::move(rows));
    for (const Picture& small : frame_.thumbnails) {
      scalers_.emplace_back(frame_.picture.width, frame_.picture.height, small.width, small.height);
    }
    if (auto ready = openAlpha(); !ready) return ready;
    const auto fill = [&](Planes& planes, const ColorConversion& conversion,
                          std::uint32_t firstRow) -> Result<void> {
      PlaneWriter writer(conversion, planes);
      const std::uint32_t end = std::min(firstRow + planes.height, frame_.picture.height);
      for (std::uint32_t y = firstRow; y < end; ++y) {
        if (auto read = adjusted.next(); !read) return read;
        writer.addRow(adjusted.colors());
        for (Downscaler& scaler : scalers_) scaler.addRow(adjusted.colors());
        if (auto taken = takeAlpha(adjusted, y); !taken) return taken;
      }
      writer.finish();
      return {};
    };
    if (auto encoded = encodePicture(frame_.picture, fill); !encoded) return encoded;
    if (auto encoded = encodeAlpha(); !encoded) return encoded;
    return encodeThumbnails();
  }

 private:
  Result<void> openAlpha() {
    if (!frame_.alpha) return {};
    const auto format = formatOf(file_->structure, *file_->structure.find(frame_.alpha->tiles[0]));
    if (!format) return format.error();
    alphaDepth_ = keepDepth_ ? format->depth : 8;
    alphaChanged_ = alphaDepth_ != format->depth;
    oldAlpha_.emplace(file_, *frame_.alpha);
    oldLevels_.resize(frame_.picture.width);
    levels_.reserve(std::size_t{frame_.picture.width} * frame_.picture.height);
    return {};
  }

  Result<void> takeAlpha(const AdjustedRows& adjusted, std::uint32_t y) {
    if (!oldAlpha_) return {};
    if (auto ready = oldAlpha_->prepare(y); !ready) return ready;
    oldAlpha_->levels(y, oldLevels_);
    for (std::uint32_t x = 0; x < frame_.picture.width; ++x) {
      levels_.push_back(adjusted.alpha(x, alphaDepth_));
      alphaChanged_ = alphaChanged_ || levels_.back() != oldLevels_[x];
    }
    return {};
  }

  // Alpha that no adjustment has touched keeps its data as they are.
  Result<void> encodeAlpha() {
    if (!oldAlpha_ || !alphaChanged_) return {};
    const auto fill = [&](Planes& planes, const ColorConversion&, std::uint32_t firstRow) {
      const std::uint32_t width = frame_.picture.width;
      for (std::uint32_t y = 0; y < planes.height; ++y) {
        const std::size_t from = std::min(firstRow + y, frame_.picture.height - 1);
        const auto row = planes.row(0, y);
        for (std::uint32_t x = 0; x < planes.width; ++x) {
          row[x] = levels_[from * width + std::min(x, width - 1)];
        }
      }
      for (unsigned k = 1; k < planes.count(); ++k) {
        std::fill(planes.samples[k].begin(), planes.samples[k].end(),
                  static_cast<std::uint16_t>(1U << (planes.depth - 1)));
      }
      return Result<void>();
    };
    return encodePicture(*frame_.alpha, fill);
  }

  Result<void> encodeThumbnails() {
    for (std::size_t i = 0; i < scalers_.size(); ++i) {
      const Picture& small = frame_.thumbnails[i];
      const auto fill = [&](Planes& planes, const ColorConversion& conversion,
                            std::uint32_t firstRow) {
        PlaneWriter writer(conversion, planes);
        const std::uint32_t end = std::min(firstRow + planes.height, small.height);
        for (std::uint32_t y = firstRow; y < end; ++y) writer.addRow(scalers_[i].row(y));
        writer.finish();
        return Result<void>();
      };
      if (auto encoded = encodePicture(small, fill); !encoded) return encoded;
    }
    return {};
  }

  Result<void> encodePicture(const Picture& picture, const FillPlanes& fill) {
    PictureDecoder old(file_, picture);
    unsigned depth = 8;
    for (std::uint32_t row = 0; row < picture.rows; ++row) {
      // The old tiles tell how they were coded.
      if (auto ready = old.prepare(row * picture.tileHeight); !ready) return ready;
      std::vector<Coding> codings;
      for (const Decoded& tile : old.tiles()) {
        codings.push_back(tile.coding);
        codings.back().color = effectiveColor(picture, tile.coding);
        if (!keepDepth_) codings.back().depth = 8;
      }
      depth = codings[0].depth;
      const auto conversion = ColorConversion::create(codings[0].color, codings[0].chroma, depth);
      if (!conversion) return conversion.error();
      Planes band(picture.columns * picture.tileWidth, picture.tileHeight, codings[0].chroma,
                  depth);
      if (auto filled = fill(band, *conversion, row * picture.tileHeight); !filled) return filled;
      for (std::uint32_t column = 0; column < picture.columns; ++column) {
        const ItemId id = picture.tiles[std::size_t{row} * picture.columns + column];
        auto encoded = picture.columns == 1
                           ? encodePlanes(band, codings[column])
                           : encodePlanes(part(band, column * picture.tileWidth, picture.tileWidth),
                                          codings[column]);
        if (!encoded) return std::move(encoded).error();
        put(id, *std::move(encoded), depth);
      }
    }
    setDepth(picture.item, depth);
    return {};
  }

  void put(ItemId id, Encoded encoded, unsigned depth) {
    const Item& item = *file_->structure.find(id);
    for (const PropertyUse& use : item.properties) {
      const Box& property = file_->structure.properties[use.index - 1];
      if (property.type != configurationOf(item.type)) continue;
      // Files that keep the header out of the AV1 configuration go on doing so.
      constexpr std::size_t kAv1Fields = 4;
      if (item.type == kAv1Item && property.payload.size() == kAv1Fields) {
        encoded.configuration.resize(kAv1Fields);
      }
      edits_.properties[{id, use.index}] = encoded.configuration;
    }
    edits_.data[id] = std::move(encoded.data);
    setDepth(id, depth);
  }

  // The property that tells the bits of each channel.
  void setDepth(ItemId id, unsigned depth) {
    for (const PropertyUse& use : file_->structure.find(id)->properties) {
      const Box& property = file_->structure.properties[use.index - 1];
      constexpr std::size_t kFixedBytes = 5;
      if (property.type != fourCC("pixi") || property.payload.size() < kFixedBytes) continue;
      std::vector<std::byte> bits(property.payload.begin(), property.payload.end());
      std::fill(bits.begin() + kFixedBytes, bits.end(), static_cast<std::byte>(depth));
      if (!std::equal(bits.begin(), bits.end(), property.payload.begin())) {
        edits_.properties[{id, use.index}] = std::move(bits);
      }
    }
  }

  HeifFileRef file_;
  const Frame& frame_;
  bool keepDepth_;
  Edits& edits_;
  std::vector<Downscaler> scalers_;
  std::optional<PictureDecoder> oldAlpha_;
  unsigned alphaDepth_ = 8;
  bool alphaChanged_ = false;
  std::vector<std::uint16_t> oldLevels_;
  std::vector<std::uint16_t> levels_;
};

class Writer final : public CodecWriter {
 public:
  Writer(OutputFile& out, std::size_t frames, bool keepDepth)
      : out_(out), frames_(frames), keepDepth_(keepDepth) {}

  Result<void> addImage(const CGImage& image, const FrameProperties& properties) override {
    const auto* const own = dynamic_cast<const HeifProperties*>(&properties);
    if (own == nullptr) return Error{"the properties are of another format"};
    if (file_ == nullptr) {
      file_ = own->file();
      if (auto possible = checkWritable(*file_); !possible) return possible;
    }
    if (own->file() != file_) return Error{"the pictures are of different files"};
    if (!added_.insert(own->frame()).second) return Error{"a picture comes twice"};
    const Frame& frame = file_->pictures.frames[own->frame()];
    if (auto fine = check(image, frame); !fine) return fine;
    return FrameEncoder(file_, frame, keepDepth_, edits_).encode(image);
  }

  Result<void> finish() override {
    if (file_ == nullptr || added_.size() != frames_ || frames_ != file_->pictures.frames.size()) {
      return Error{"there are pictures missing"};
    }
    for (const Item& item : file_->structure.items) {
      if (item.type != fourCC("Exif")) continue;
      if (auto removed = removeThumbnail(item); !removed) return removed;
    }
    return writeEdited(file_->structure, edits_, out_);
  }

 private:
  Result<void> check(const CGImage& image, const Frame& frame) const {
    if (image.width != frame.picture.width || image.height != frame.picture.height) {
      return Error{"the picture's size is not that of the file"};
    }
    const auto layout = layoutOf(*file_, frame);
    if (!layout) return layout.error();
    if (layout->components < 3) return Error{"gray pictures cannot be adjusted"};
    const SampleType type = keepDepth_ ? layout->type : SampleType::u8;
    const bool withAlpha = image.layout.components == 4 &&
                           image.layout.alpha == AlphaInfo::premultipliedLast && frame.alpha;
    const bool opaque = image.layout.components == 3 && image.layout.alpha == AlphaInfo::none;
    if (image.layout.type != type || !(withAlpha || opaque)) {
      return Error{"the adjusted picture's pixels are not like the file's"};
    }
    if (image.colorSpace && image.colorSpace->profile != frame.profile) {
      return Error{"the colour profile is not that of the file"};
    }
    return {};
  }

  Result<void> removeThumbnail(const Item& item) {
    auto data = file_->structure.data(item);
    if (!data) return std::move(data).error();
    Reader reader(*data);
    const std::size_t skipped = reader.u32();
    reader.take(skipped);
    if (!reader.ok() || reader.rest().empty()) return {};
    const auto without = withoutExifThumbnail(reader.rest());
    if (!without) return {};
    std::copy(without->begin(), without->end(),
              data->end() - static_cast<std::ptrdiff_t>(without->size()));
    edits_.data[item.id] = *std::move(data);
    return {};
  }

  OutputFile& out_;
  std::size_t frames_;
  bool keepDepth_;
  HeifFileRef file_;
  std::set<std::size_t> added_;
  Edits edits_;
};

}  // namespace

Result<std::unique_ptr<CodecWriter>> createHeifWriter(OutputFile& file, std::size_t frames,
                                                      const EncodeOptions& options) {
  return std::unique_ptr<CodecWriter>(std::make_unique<Writer>(file, frames, options.keepDepth));
}

}  // namespace kelvo::heif
