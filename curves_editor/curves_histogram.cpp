#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "curves_editor/kelvo_tq_curves_view.h"
#include "curves_editor/reset_alpha_filter.h"
#include "platform/image/ci_filter.h"
#include "platform/image/render.h"

namespace kelvo {
namespace {

constexpr std::size_t kBuckets = 256;
constexpr double kImageSize = 256;
// Alpha, red, green, blue.
constexpr std::size_t kBucketBytes = 4;

CIImageRef outputOf(const CIFilterRef& filter) {
  return std::get<CIImageRef>(filter->valueForKey("outputImage"));
}

// One row, a pixel a bucket.
CIImageRef histogramRow(const CIImageRef& image) {
  const CIFilterRef histogram = CIFilter::filterWithName("CIHistogram");
  histogram->setDefaults();
  histogram->setValue_forKey(image, "inputImage");
  histogram->setValue_forKey(static_cast<double>(kBuckets), "inputBuckets");
  histogram->setValue_forKey(static_cast<double>(0.95F), "inputQuality");
  histogram->setValue_forKey(0.0, "inputScale");  // as high as the plot
  histogram->setValue_forKey(0.0, "inputRangeMin");
  histogram->setValue_forKey(1.0, "inputRangeMax");

  TQResetAlphaFilter::initialize();
  const CIFilterRef opaque = CIFilter::filterWithName("TQResetAlphaFilter");
  opaque->setValue_forKey(outputOf(histogram), "inputImage");
  return outputOf(opaque);
}

// The row as 8-bit alpha, red, green, blue; none if the picture cannot be measured.
std::optional<std::vector<std::uint8_t>> renderedRow(const CIImageRef& row) {
  const auto rendered = render(row, {.colorSpace = CGColorSpaceCreateDeviceRGB()});
  if (!rendered) return std::nullopt;
  const auto pixels = readAllPixels(*rendered);
  if (!pixels) return std::nullopt;
  const std::size_t components = rendered->layout.components;
  std::vector<std::uint8_t> argb(rendered->width * kBucketBytes, 255);
  for (std::size_t i = 0; i < rendered->width; ++i) {
    for (std::size_t c = 0; c < 3; ++c) {
      argb[i * kBucketBytes + 1 + c] = std::to_integer<std::uint8_t>((*pixels)[i * components + c]);
    }
  }
  return argb;
}

using Heights = std::array<float, kBuckets>;  // 0…1

// An area from the bottom up to the heights, in an image of its own.
NSImageRef filledImage(const Heights& heights, const NSColor& color) {
  std::vector<NSPoint> polygon{{0, 0}};
  for (std::size_t i = 0; i < kBuckets; ++i) {
    polygon.push_back({static_cast<double>(i), heights[i] * kImageSize});
  }
  polygon.push_back({static_cast<double>(kBuckets - 1), 0});
  NSBezierPath path = NSBezierPath::bezierPath();
  path.appendBezierPathWithPoints_count(polygon);

  NSImageRef image = NSImage::initWithSize({kImageSize, kImageSize});
  Canvas& canvas = image->lockFocus();
  canvas.setColor(color);
  canvas.fill(path);
  image->unlockFocus();
  return image;
}

}  // namespace

CMBitmap KelvoTQCurvesView::getCMBitmapFromPixels_width(std::span<std::uint8_t> pixels,
                                                        std::size_t width) {
  return {.image = pixels.data(),
          .width = width,
          .height = 1,
          .rowBytes = width * kBucketBytes,
          .pixelSize = 8 * kBucketBytes,
          .space = BitmapSpace::cmARGB32Space};
}

void KelvoTQCurvesView::setCIImageForH(const CIImageRef& image) {
  rgbHistogramImage_ = nullptr;
  redHistogramImage_ = nullptr;
  greenHistogramImage_ = nullptr;
  blueHistogramImage_ = nullptr;
  const auto row = image ? renderedRow(histogramRow(image)) : std::nullopt;
  if (!row) return;

  Heights red;
  Heights green;
  Heights blue;
  Heights master;
  for (std::size_t i = 0; i < kBuckets; ++i) {
    const std::uint8_t* const bucket = row->data() + i * kBucketBytes;
    red[i] = static_cast<float>(bucket[1]) / 255.0F;
    green[i] = static_cast<float>(bucket[2]) / 255.0F;
    blue[i] = static_cast<float>(bucket[3]) / 255.0F;
    master[i] = std::max({red[i], green[i], blue[i]});
  }
  const auto opaque = NSColor::colorWithCalibratedRed_green_blue_alpha;
  rgbHistogramImage_ = filledImage(master, opaque(0, 0, 0, 1));
  redHistogramImage_ = filledImage(red, opaque(1, 0, 0, 1));
  greenHistogramImage_ = filledImage(green, opaque(0, 1, 0, 1));
  blueHistogramImage_ = filledImage(blue, opaque(0, 0, 1, 1));
}

}  // namespace kelvo
