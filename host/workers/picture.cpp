#include "host/workers/picture.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "host/workers/upright.h"
#include "platform/image_io/cg_image_source.h"

namespace kelvo::host {
namespace {

using Progress = std::function<void(std::uint64_t pixels)>;

// What a look at a file may cost.
constexpr Limits kLimits{.maxPixels = 400'000'000,
                         .maxFrames = kDefaultMaxFrames,
                         .maxMemoryBytes = std::uint64_t{1} << 30U};
constexpr std::uint32_t kLargestSide = 2000;
constexpr std::size_t kStripBytes = std::size_t{1} << 20U;

// Rows of any layout as r, g, b, a of 0…255, premultiplied.
template <typename Sample>
class PixelReader {
 public:
  explicit PixelReader(const PixelLayout& layout)
      : components_(layout.components),
        gray_(layout.components <= 2),
        hasAlpha_(layout.alpha != AlphaInfo::none),
        straight_(layout.alpha == AlphaInfo::last) {}

  void add(const std::byte* pixel, float* sums) const {
    float values[4] = {};
    for (std::size_t i = 0; i < components_; ++i) {
      Sample sample;
      std::memcpy(&sample, pixel + i * sizeof(Sample), sizeof(Sample));
      values[i] = level(sample);
    }
    const float alpha = hasAlpha_ ? values[components_ - 1] : 255.0F;
    const float share = straight_ ? alpha / 255 : 1.0F;
    sums[0] += values[0] * share;
    sums[1] += values[gray_ ? 0 : 1] * share;
    sums[2] += values[gray_ ? 0 : 2] * share;
    sums[3] += alpha;
  }

 private:
  static float level(std::uint8_t sample) { return sample; }
  static float level(std::uint16_t sample) { return static_cast<float>(sample) / 257; }
  static float level(float sample) {
    return std::isnan(sample) ? 0 : std::clamp(sample, 0.0F, 1.0F) * 255;
  }

  std::size_t components_;
  bool gray_;
  bool hasAlpha_;
  bool straight_;
};

// Averages the pixels of each box. A box has at most 2^24 pixels before single precision loses
// count, far more than fall on one pixel of a picture for display.
class BoxScaler {
 public:
  BoxScaler(const CGImage& image, std::uint32_t width, std::uint32_t height,
            const Progress& onProgress)
      : image_(image),
        width_(width),
        height_(height),
        onProgress_(onProgress),
        sums_(std::size_t{width} * 4) {
    columns_.reserve(image.width);
    counts_.resize(width);
    for (std::uint64_t x = 0; x < image.width; ++x) {
      columns_.push_back(static_cast<std::uint32_t>(x * width / image.width));
      ++counts_[columns_.back()];
    }
  }

  Result<std::string> scale() {
    tell();
    switch (image_.layout.type) {
      case SampleType::u8:
        return scaleRows(PixelReader<std::uint8_t>(image_.layout));
      case SampleType::u16:
        return scaleRows(PixelReader<std::uint16_t>(image_.layout));
      case SampleType::f32:
        break;
    }
    return scaleRows(PixelReader<float>(image_.layout));
  }

 private:
  template <typename Reader>
  Result<std::string> scaleRows(const Reader& reader) {
    auto rows = image_.openRows();
    if (!rows) {
      return rows.error();
    }
    const std::size_t pixelBytes = image_.layout.pixelBytes();
    const std::size_t rowBytes = image_.width * pixelBytes;
    const auto most = static_cast<std::uint32_t>(
        std::clamp<std::size_t>(kStripBytes / rowBytes, 1, image_.height));
    std::vector<std::byte> strip(most * rowBytes);
    std::string pixels;
    pixels.reserve(std::size_t{width_} * height_ * 4);
    std::uint32_t inBox = 0;
    for (std::uint32_t y = 0; y < image_.height;) {
      const std::uint32_t count = std::min(most, image_.height - y);
      if (auto read = (*rows)->read(std::span(strip).first(count * rowBytes), count); !read) {
        return read.error();
      }
      tell();
      for (std::uint32_t row = 0; row < count; ++row, ++y) {
        const std::byte* pixel = strip.data() + row * rowBytes;
        for (const std::uint32_t column : columns_) {
          reader.add(pixel, &sums_[std::size_t{column} * 4]);
          pixel += pixelBytes;
        }
        ++inBox;
        if (boxOf(y + 1) != boxOf(y)) {
          finishRow(std::exchange(inBox, 0), pixels);
        }
      }
    }
    return pixels;
  }

  void tell() const {
    if (onProgress_) {
      onProgress_(std::uint64_t{image_.width} * image_.height);
    }
  }

  [[nodiscard]] std::uint32_t boxOf(std::uint32_t y) const {
    return static_cast<std::uint32_t>(std::uint64_t{y} * height_ / image_.height);
  }

  void finishRow(std::uint32_t rows, std::string& pixels) {
    for (std::size_t x = 0; x < width_; ++x) {
      const float count = static_cast<float>(counts_[x]) * static_cast<float>(rows);
      float* const sums = &sums_[x * 4];
      const float alpha = std::min(sums[3] / count, 255.0F);
      for (std::size_t i = 0; i < 4; ++i) {
        const float level = std::min(std::exchange(sums[i], 0.0F) / count, alpha);
        pixels += static_cast<char>(static_cast<std::uint8_t>(std::lround(level)));
      }
    }
  }

  const CGImage& image_;
  std::uint32_t width_;
  std::uint32_t height_;
  const Progress& onProgress_;
  std::vector<std::uint32_t> columns_;  // where each column of the image goes
  std::vector<std::uint32_t> counts_;   // how many columns go there
  std::vector<float> sums_;
};

Result<void> makePicture(const PictureRequestMessage& request, PictureMessage& picture,
                         const Progress& onProgress) {
  const auto source = CGImageSourceCreateWithURL(NSURL::fileURLWithPath(request.path), kLimits);
  if (!source) {
    return source.error();
  }
  picture.format = (*source)->codec().displayName;
  picture.frames = CGImageSourceGetCount(**source);
  const auto image = CGImageSourceCreateImageAtIndex(**source, 0);
  if (!image) {
    return image.error();
  }
  picture.fullWidth = image->width;
  picture.fullHeight = image->height;
  const ColorModel model = image->colorSpace->model;
  if (model == ColorModel::cmyk || model == ColorModel::lab) {
    return Error{"its colours are neither RGB nor grey"};
  }
  picture.adjustable = model == ColorModel::rgb && (*source)->codec().createWriter != nullptr;
  const std::uint32_t longer = std::max(image->width, image->height);
  const std::uint32_t wanted = std::clamp(request.longerSide, 1U, kLargestSide);
  const double factor = longer > wanted ? static_cast<double>(wanted) / longer : 1;
  const auto scaled = [factor](std::uint32_t side) {
    return std::max(1U, static_cast<std::uint32_t>(std::lround(side * factor)));
  };
  picture.width = scaled(image->width);
  picture.height = scaled(image->height);
  auto pixels = BoxScaler(*image, picture.width, picture.height, onProgress).scale();
  if (!pixels) {
    return pixels.error();
  }
  picture.pixels = std::move(pixels).value();
  makeUpright(picture, (*source)->frames().orientation(0));
  return {};
}

}  // namespace

PictureMessage makePicture(const PictureRequestMessage& request, const Progress& onProgress) {
  PictureMessage picture;
  if (auto made = makePicture(request, picture, onProgress); !made) {
    picture.failure = made.error().message;
    picture.width = 0;
    picture.height = 0;
  }
  return picture;
}

}  // namespace kelvo::host
