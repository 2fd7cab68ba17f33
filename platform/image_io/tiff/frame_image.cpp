#include "platform/image_io/tiff/frame_image.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "platform/image_io/tiff/sample_rows.h"
#include "platform/image_io/tiff/tags.h"

namespace kelvo::tiff {
namespace {

// The samples as they are stored, for pictures whose pixels are laid out as the image's.
class DirectRows final : public RowSource {
 public:
  explicit DirectRows(std::unique_ptr<SampleRows> rows) : rows_(std::move(rows)) {}

  Result<void> read(std::span<std::byte> pixels, std::uint32_t) override {
    return rows_->read(pixels);
  }

 private:
  std::unique_ptr<SampleRows> rows_;
};

// Some of the samples of each pixel, in another order.
class SelectedRows final : public RowSource {
 public:
  SelectedRows(std::unique_ptr<SampleRows> rows, std::uint32_t samples, std::size_t sampleBytes,
               std::vector<std::uint32_t> selected, bool inverted)
      : rows_(std::move(rows)),
        samples_(samples),
        sampleBytes_(sampleBytes),
        selected_(std::move(selected)),
        inverted_(inverted),
        row_(rows_->rowBytes()) {}

  Result<void> read(std::span<std::byte> pixels, std::uint32_t) override {
    const std::size_t step = samples_ * sampleBytes_;
    std::byte* to = pixels.data();
    const std::byte* const end = to + pixels.size();
    while (to != end) {
      if (auto read = rows_->read(row_); !read) return read;
      for (std::size_t at = 0; at < row_.size(); at += step) {
        for (const std::uint32_t sample : selected_) {
          std::memcpy(to, row_.data() + at + sample * sampleBytes_, sampleBytes_);
          // Of gray whose 0 is white; an alpha after it is not turned round.
          if (inverted_ && sample == 0) invert(to);
          to += sampleBytes_;
        }
      }
    }
    return {};
  }

 private:
  void invert(std::byte* sample) const {
    for (std::size_t i = 0; i < sampleBytes_; ++i) sample[i] = ~sample[i];
  }

  std::unique_ptr<SampleRows> rows_;
  std::uint32_t samples_;
  std::size_t sampleBytes_;
  std::vector<std::uint32_t> selected_;
  bool inverted_;
  std::vector<std::byte> row_;
};

// Indices looked up in the colour table.
class IndexedRows final : public RowSource {
 public:
  IndexedRows(std::unique_ptr<SampleRows> rows, std::uint32_t width, std::uint32_t bits,
              std::shared_ptr<const Palette> palette)
      : rows_(std::move(rows)),
        width_(width),
        bits_(bits),
        palette_(std::move(palette)),
        row_(rows_->rowBytes()) {}

  Result<void> read(std::span<std::byte> pixels, std::uint32_t) override {
    const std::uint32_t mask = (1U << bits_) - 1;
    std::byte* to = pixels.data();
    const std::byte* const end = to + pixels.size();
    while (to != end) {
      if (auto read = rows_->read(row_); !read) return read;
      for (std::size_t x = 0; x < width_; ++x) {
        const std::size_t bit = x * bits_;
        const auto shift = static_cast<std::uint32_t>(8 - bits_ - bit % 8);
        const auto index = std::to_integer<std::uint32_t>(row_[bit / 8]) >> shift & mask;
        std::memcpy(to, (*palette_)[index].data(), 3);
        to += 3;
      }
    }
    return {};
  }

 private:
  std::unique_ptr<SampleRows> rows_;
  std::uint32_t width_;
  std::uint32_t bits_;
  std::shared_ptr<const Palette> palette_;
  std::vector<std::byte> row_;
};

CGColorSpaceRef colorSpace(const TiffFile& file, std::size_t frame, const Picture& picture) {
  auto space = std::make_shared<CGColorSpace>();
  switch (picture.photometric) {
    case kMinIsWhite:
    case kMinIsBlack:
      space->model = ColorModel::gray;
      break;
    case kSeparated:
      space->model = ColorModel::cmyk;
      break;
    case kCieLab:
    case kIccLab:
    case kItuLab:
      space->model = ColorModel::lab;
      break;
    default:
      space->model = ColorModel::rgb;
  }
  if (const Entry* const profile = file.frames()[frame].find(kIccProfile)) {
    const auto bytes = valueBytes(file.view(), *profile);
    space->profile.assign(bytes.begin(), bytes.end());
  }
  return space;
}

using OpenRows = std::function<Result<std::unique_ptr<RowSource>>()>;

// Wraps freshly opened sample rows.
template <typename Wrap>
OpenRows opener(const std::shared_ptr<const TiffFile>& file, std::size_t frame, Wrap wrap) {
  return [file, frame, wrap]() -> Result<std::unique_ptr<RowSource>> {
    auto rows = SampleRows::open(file, frame);
    if (!rows) return std::move(rows).error();
    return std::unique_ptr<RowSource>(wrap(*std::move(rows)));
  };
}

}  // namespace

std::uint8_t ColorMap::level(std::size_t index) const {
  const std::uint32_t value = values[index];
  switch (scale) {
    case ColorMapScale::byte:
      return static_cast<std::uint8_t>(value);
    case ColorMapScale::shifted:
      return static_cast<std::uint8_t>(value >> 8);
    case ColorMapScale::full:
      break;
  }
  return static_cast<std::uint8_t>((value * 255 + 32767) / 65535);
}

std::uint16_t ColorMap::stored(std::size_t index, std::uint8_t newLevel) const {
  if (newLevel == level(index)) return values[index];
  switch (scale) {
    case ColorMapScale::byte:
      return newLevel;
    case ColorMapScale::shifted:
      return static_cast<std::uint16_t>(newLevel << 8);
    case ColorMapScale::full:
      break;
  }
  return static_cast<std::uint16_t>(newLevel * 257);
}

Result<ColorMap> readColorMap(const TiffFile& file, std::size_t frame) {
  const auto& picture = file.picture(frame);
  if (!picture) return picture.error();
  const Entry* const entry = file.frames()[frame].find(kColorMap);
  const std::uint64_t needed = std::uint64_t{3} << picture->bits;
  if (entry == nullptr || entry->type != kShort || entry->count != needed) {
    return Error{"the colour map is missing or of the wrong size"};
  }
  ColorMap map;
  for (const std::uint64_t value : integers(file.view(), *entry)) {
    map.values.push_back(static_cast<std::uint16_t>(value));
  }
  const auto all = [&map](auto predicate) {
    return std::all_of(map.values.begin(), map.values.end(), predicate);
  };
  const bool black = all([](std::uint16_t value) { return value == 0; });
  if (!black && all([](std::uint16_t value) { return value < 256; })) {
    map.scale = ColorMapScale::byte;
  } else if (!black && all([](std::uint16_t value) { return value % 256 == 0; })) {
    map.scale = ColorMapScale::shifted;
  }
  return map;
}

Result<CGImage> makeFrameImage(const std::shared_ptr<const TiffFile>& file, std::size_t frame) {
  const auto& read = file->picture(frame);
  if (!read) return read.error();
  const Picture& picture = *read;
  if (auto decodable = checkDecodable(picture); !decodable) return std::move(decodable).error();
  CGImage image{.width = picture.width,
                .height = picture.height,
                .layout = {},
                .colorSpace = colorSpace(*file, frame, picture),
                .openRows = {},
                .palette = nullptr};

  if (picture.photometric == kPalette) {
    const auto map = readColorMap(*file, frame);
    if (!map) return map.error();
    auto palette = std::make_shared<Palette>(map->colors());
    for (std::size_t i = 0; i < palette->size(); ++i) {
      for (std::size_t c = 0; c < 3; ++c) {
        (*palette)[i][c] = map->level(c * palette->size() + i);
      }
      (*palette)[i][3] = 255;
    }
    image.palette = palette;
    image.openRows = opener(file, frame, [picture, palette](std::unique_ptr<SampleRows> rows) {
      return std::make_unique<IndexedRows>(std::move(rows), picture.width, picture.bits, palette);
    });
    return image;
  }

  image.layout.type = picture.bits == 16 ? SampleType::u16 : SampleType::u8;
  std::vector<std::uint32_t> selected;
  for (std::uint32_t i = 0; i < picture.colorSamples(); ++i) selected.push_back(i);
  if (const int alpha = picture.alphaSample(); alpha >= 0) {
    selected.push_back(static_cast<std::uint32_t>(alpha));
    image.layout.alpha = picture.straightAlpha() ? AlphaInfo::last : AlphaInfo::premultipliedLast;
  }
  if (selected.size() > 5) {
    return Error{std::to_string(picture.colorSamples()) + " inks are not supported"};
  }
  image.layout.components = static_cast<std::uint8_t>(selected.size());
  const bool inverted = picture.photometric == kMinIsWhite;
  if (selected.size() == picture.samples && !inverted) {
    image.openRows = opener(file, frame, [](std::unique_ptr<SampleRows> rows) {
      return std::make_unique<DirectRows>(std::move(rows));
    });
    return image;
  }
  image.openRows =
      opener(file, frame, [picture, selected, inverted](std::unique_ptr<SampleRows> rows) {
        return std::make_unique<SelectedRows>(std::move(rows), picture.samples, picture.bits / 8,
                                              selected, inverted);
      });
  return image;
}

}  // namespace kelvo::tiff
