#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>

#include "platform/image/built_in/built_in_filter.h"
#include "platform/image/render.h"

namespace kelvo {
namespace {

constexpr PixelLayout kFloatPixels{4, SampleType::f32, AlphaInfo::premultipliedLast};
constexpr std::uint32_t kRowsAtATime = 16;

constexpr double kDefaultBuckets = 256;
constexpr double kMostBuckets = 4096;
constexpr double kDefaultQuality = 1;
constexpr double kDefaultScale = 1;
constexpr double kDefaultRangeMin = 0;
constexpr double kDefaultRangeMax = 1;
// What the tallest bucket becomes at scale 0: 192 of 256 units.
constexpr double kFittedHeight = 0.75;

// How many pixels fall into each bucket: buckets of red, then green, blue and alpha.
class Counts {
 public:
  Counts(std::size_t buckets, double rangeMin, double rangeMax)
      : buckets_(buckets),
        start_(static_cast<float>(rangeMin)),
        perUnit_(static_cast<float>(static_cast<double>(buckets) / (rangeMax - rangeMin))),
        counts_(4 * buckets) {}

  void add(const float* pixel) {
    const float alpha = pixel[3];
    // Opaque pixels are most, and dividing is dear.
    const float divisor = alpha == 0 ? INFINITY : alpha;
    for (std::size_t c = 0; c < 3; ++c) {
      count(c, alpha == 1.0F ? pixel[c] : pixel[c] / divisor);
    }
    count(3, alpha);
  }

  [[nodiscard]] std::uint64_t at(std::size_t channel, std::size_t bucket) const {
    return counts_[channel * buckets_ + bucket];
  }
  [[nodiscard]] std::uint64_t tallestOfColors() const {
    return *std::max_element(counts_.begin(),
                             counts_.end() - static_cast<std::ptrdiff_t>(buckets_));
  }

 private:
  void count(std::size_t channel, float value) {
    const float place = (value - start_) * perUnit_;
    const auto last = static_cast<float>(buckets_ - 1);
    // In this order a value that is not a number ends in the first bucket.
    const float limited = place > 0 ? std::min(place, last) : 0;
    ++counts_[channel * buckets_ + static_cast<std::size_t>(limited)];
  }

  std::size_t buckets_;
  float start_;
  float perUnit_;
  std::vector<std::uint64_t> counts_;
};

struct Measurement {
  CIImageRef image;
  std::size_t buckets;
  double scale;
  double rangeMin;
  double rangeMax;
};

Result<Counts> count(const Measurement& measurement) {
  const auto picture = render(measurement.image, {.type = SampleType::f32});
  if (!picture) return picture.error();
  auto rows = picture->openRows();
  if (!rows) return std::move(rows).error();
  Counts counts(measurement.buckets, measurement.rangeMin, measurement.rangeMax);
  std::vector<float> pixels(std::size_t{4} * picture->width * kRowsAtATime);
  for (std::uint32_t y = 0; y < picture->height; y += kRowsAtATime) {
    const std::uint32_t height = std::min(kRowsAtATime, picture->height - y);
    const auto strip = std::span(pixels).first(std::size_t{4} * picture->width * height);
    if (auto read = (*rows)->read(std::as_writable_bytes(strip), height); !read) {
      return std::move(read).error();
    }
    for (std::size_t i = 0; i < strip.size(); i += 4) counts.add(&strip[i]);
  }
  return counts;
}

Result<std::vector<float>> measure(const Measurement& measurement) {
  const auto counts = count(measurement);
  if (!counts) return counts.error();
  const CGRect& extent = measurement.image->extent();
  const double share = 1 / (extent.width * extent.height);
  const bool fitted = !(measurement.scale > 0);
  const double factor = fitted ? kFittedHeight / static_cast<double>(counts->tallestOfColors())
                               : measurement.scale * share;
  std::vector<float> row;
  row.reserve(4 * measurement.buckets);
  for (std::size_t bucket = 0; bucket < measurement.buckets; ++bucket) {
    for (std::size_t c = 0; c < 4; ++c) {
      const double scale = fitted && c == 3 ? share : factor;
      row.push_back(static_cast<float>(static_cast<double>(counts->at(c, bucket)) * scale));
    }
  }
  return row;
}

class HistogramRow final : public RowSource {
 public:
  explicit HistogramRow(std::vector<float> row) : row_(std::move(row)) {}

  Result<void> read(std::span<std::byte> pixels, std::uint32_t /*rows*/) override {
    std::memcpy(pixels.data(), row_.data(), pixels.size());
    return {};
  }

 private:
  std::vector<float> row_;
};

// One row, a pixel a bucket: the share of the picture's pixels whose red, green, blue and alpha lie
// in that bucket of the range, times the scale. Colours are straight; the results are no colours
// and multiplied by nothing. Values outside the range count in the bucket at its end. At scale 0
// the tallest bucket of red, green and blue becomes three quarters, the two others in proportion,
// and alpha stays a share. Every pixel is measured, whatever the quality.
class Histogram final : public CIFilter {
 public:
  Histogram() {
    declareInput("inputImage", &image_);
    declareInput("inputBuckets", &buckets_);
    declareInput("inputQuality", &quality_);
    declareInput("inputScale", &scale_);
    declareInput("inputRangeMin", &rangeMin_);
    declareInput("inputRangeMax", &rangeMax_);
  }

  void setDefaults() override {
    buckets_ = kDefaultBuckets;
    quality_ = kDefaultQuality;
    scale_ = kDefaultScale;
    rangeMin_ = kDefaultRangeMin;
    rangeMax_ = kDefaultRangeMax;
  }

  // Empty if the range is.
  [[nodiscard]] CIImageRef outputImage() const override {
    const double buckets = buckets_.value_or(kDefaultBuckets);
    const Measurement measurement{
        .image = image_,
        .buckets = static_cast<std::size_t>(
            buckets >= 1 ? std::min(std::floor(buckets), kMostBuckets) : 1.0),
        .scale = scale_.value_or(kDefaultScale),
        .rangeMin = rangeMin_.value_or(kDefaultRangeMin),
        .rangeMax = rangeMax_.value_or(kDefaultRangeMax)};
    if (!image_ || !(measurement.rangeMin < measurement.rangeMax)) return nullptr;
    CGImage row{.width = static_cast<std::uint32_t>(measurement.buckets),
                .height = 1,
                .layout = kFloatPixels,
                .colorSpace = CGColorSpaceCreateDeviceRGB(),
                .openRows = [measurement]() -> Result<std::unique_ptr<RowSource>> {
                  auto measured = measure(measurement);
                  if (!measured) return std::move(measured).error();
                  return std::unique_ptr<RowSource>(
                      std::make_unique<HistogramRow>(std::move(measured).value()));
                },
                .palette = nullptr};
    return CIImage::imageWithCGImage(std::move(row));
  }

 private:
  CIImageRef image_;
  std::optional<NSNumber> buckets_ = kDefaultBuckets;
  std::optional<NSNumber> quality_ = kDefaultQuality;
  std::optional<NSNumber> scale_ = kDefaultScale;
  std::optional<NSNumber> rangeMin_ = kDefaultRangeMin;
  std::optional<NSNumber> rangeMax_ = kDefaultRangeMax;
};

}  // namespace

CIFilterRef makeHistogram() { return std::make_shared<Histogram>(); }

}  // namespace kelvo
