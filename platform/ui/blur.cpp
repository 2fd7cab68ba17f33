#include "platform/ui/blur.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace kelvo {
namespace {

constexpr int kBoxes = 3;

// Odd widths of boxes whose variances (w^2 - 1)/12 add up to that of the Gaussian as nearly as they
// can: some of the next odd width below the ideal one, the others of the one above.
std::array<std::size_t, kBoxes> boxWidths(double deviation) {
  const double variance = deviation * deviation;
  int low = static_cast<int>(std::floor(std::sqrt(12 * variance / kBoxes + 1)));
  if (low % 2 == 0) --low;
  const double lows = (12 * variance - kBoxes * (low * low + 4 * low + 3)) / (-4 * low - 4);
  std::array<std::size_t, kBoxes> widths{};
  for (int i = 0; i < kBoxes; ++i) {
    const int width = i < std::lround(lows) ? low : low + 2;
    widths[static_cast<std::size_t>(i)] = static_cast<std::size_t>(width);
  }
  return widths;
}

// Alpha, row after row.
struct Plane {
  std::size_t width;
  std::size_t height;
  std::vector<float> values;

  [[nodiscard]] float* row(std::size_t y) { return values.data() + y * width; }
};

// Each value becomes the mean of the `box` values around it in its row.
void filterRows(Plane& plane, std::size_t box) {
  const std::size_t reach = box / 2;
  const float share = 1 / static_cast<float>(box);
  // Nothing before and after the row.
  std::vector<float> line(plane.width + 2 * reach + 1);
  for (std::size_t y = 0; y < plane.height; ++y) {
    float* const row = plane.row(y);
    std::copy_n(row, plane.width, line.begin() + static_cast<std::ptrdiff_t>(reach) + 1);
    float sum = 0;
    for (std::size_t x = 0; x < 2 * reach; ++x) sum += line[x + 1];
    for (std::size_t x = 0; x < plane.width; ++x) {
      sum += line[x + box] - line[x];
      row[x] = sum * share;
    }
  }
}

// The same in its column; whole rows are added at a time, side by side in memory.
void filterColumns(Plane& plane, std::size_t box) {
  const std::size_t reach = box / 2;
  const float share = 1 / static_cast<float>(box);
  Plane from = plane;
  std::vector<float> sums(plane.width);
  const auto add = [&](std::size_t y, float sign) {
    const float* const row = from.row(y);
    for (std::size_t x = 0; x < sums.size(); ++x) sums[x] += sign * row[x];
  };
  for (std::size_t y = 0; y < std::min(reach, plane.height); ++y) add(y, 1);
  for (std::size_t y = 0; y < plane.height; ++y) {
    if (y + reach < plane.height) add(y + reach, 1);
    if (y > reach) add(y - reach - 1, -1);
    float* const row = plane.row(y);
    for (std::size_t x = 0; x < sums.size(); ++x) row[x] = sums[x] * share;
  }
}

}  // namespace

QImage blurredShadow(const QImage& picture, double deviation, const QColor& color) {
  Plane alpha{
      static_cast<std::size_t>(picture.width()), static_cast<std::size_t>(picture.height()), {}};
  alpha.values.reserve(alpha.width * alpha.height);
  for (int y = 0; y < picture.height(); ++y) {
    const auto* row = reinterpret_cast<const QRgb*>(picture.constScanLine(y));
    for (int x = 0; x < picture.width(); ++x) {
      alpha.values.push_back(static_cast<float>(qAlpha(row[x])));
    }
  }
  for (const std::size_t box : boxWidths(deviation)) {
    if (box <= 1) continue;
    filterRows(alpha, box);
    filterColumns(alpha, box);
  }
  std::array<QRgb, 256> shades{};
  for (std::size_t level = 0; level < shades.size(); ++level) {
    const float a = static_cast<float>(level) * color.alphaF();
    const auto part = [a](float component) { return static_cast<int>(std::lround(a * component)); };
    shades[level] = qRgba(part(color.redF()), part(color.greenF()), part(color.blueF()), part(1));
  }
  QImage shadow(picture.size(), QImage::Format_ARGB32_Premultiplied);
  shadow.setDevicePixelRatio(picture.devicePixelRatio());
  for (int y = 0; y < picture.height(); ++y) {
    auto* row = reinterpret_cast<QRgb*>(shadow.scanLine(y));
    const float* from = alpha.row(static_cast<std::size_t>(y));
    // Sums of differences may fall a little below 0.
    for (int x = 0; x < picture.width(); ++x) {
      row[x] = shades[static_cast<std::size_t>(std::clamp(from[x] + 0.5F, 0.0F, 255.0F))];
    }
  }
  return shadow;
}

}  // namespace kelvo
