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
std::array<int, kBoxes> boxWidths(double deviation) {
  const double variance = deviation * deviation;
  int low = static_cast<int>(std::floor(std::sqrt(12 * variance / kBoxes + 1)));
  if (low % 2 == 0) --low;
  const double lows = (12 * variance - kBoxes * (low * low + 4 * low + 3)) / (-4 * low - 4);
  std::array<int, kBoxes> widths{};
  for (int i = 0; i < kBoxes; ++i) {
    widths[static_cast<std::size_t>(i)] = i < std::lround(lows) ? low : low + 2;
  }
  return widths;
}

// One box filter along `count` numbers that lie `stride` apart.
void filterLine(float* line, int count, int stride, int width, std::vector<float>& scratch) {
  const int reach = width / 2;
  const auto at = [&](int i) {
    return i >= 0 && i < count ? line[static_cast<std::ptrdiff_t>(i) * stride] : 0.0F;
  };
  float sum = 0;
  for (int i = 0; i < reach; ++i) sum += at(i);
  for (int i = 0; i < count; ++i) {
    sum += at(i + reach) - at(i - reach - 1);
    scratch[static_cast<std::size_t>(i)] = sum / static_cast<float>(width);
  }
  for (int i = 0; i < count; ++i) {
    line[static_cast<std::ptrdiff_t>(i) * stride] = scratch[static_cast<std::size_t>(i)];
  }
}

}  // namespace

QImage blurredShadow(const QImage& picture, double deviation, const QColor& color) {
  const int width = picture.width();
  const int height = picture.height();
  std::vector<float> alpha;
  alpha.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  for (int y = 0; y < height; ++y) {
    const auto* row = reinterpret_cast<const QRgb*>(picture.constScanLine(y));
    for (int x = 0; x < width; ++x) alpha.push_back(static_cast<float>(qAlpha(row[x])));
  }
  std::vector<float> scratch(static_cast<std::size_t>(std::max(width, height)));
  for (const int box : boxWidths(deviation)) {
    if (box <= 1) continue;
    for (int y = 0; y < height; ++y) {
      filterLine(alpha.data() + static_cast<std::ptrdiff_t>(y) * width, width, 1, box, scratch);
    }
    for (int x = 0; x < width; ++x) filterLine(alpha.data() + x, height, width, box, scratch);
  }
  QImage shadow(picture.size(), QImage::Format_ARGB32_Premultiplied);
  shadow.setDevicePixelRatio(picture.devicePixelRatio());
  const float* from = alpha.data();
  for (int y = 0; y < height; ++y) {
    auto* row = reinterpret_cast<QRgb*>(shadow.scanLine(y));
    for (int x = 0; x < width; ++x) {
      const float a = std::clamp(*from++, 0.0F, 255.0F) * color.alphaF();
      const auto part = [a](float component) {
        return static_cast<int>(std::lround(a * component));
      };
      row[x] = qRgba(part(color.redF()), part(color.greenF()), part(color.blueF()), part(1));
    }
  }
  return shadow;
}

}  // namespace kelvo
