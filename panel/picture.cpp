#include "panel/picture.h"

#include <cstring>
#include <utility>
#include <vector>

#include "platform/image/render.h"

namespace kelvo {
namespace {

constexpr PixelLayout kOpaque{.components = 3};
constexpr PixelLayout kPremultiplied{.components = 4, .alpha = AlphaInfo::premultipliedLast};

}  // namespace

CIImageRef imageWithPicture(const QImage& picture) {
  if (picture.isNull()) return nullptr;
  const bool alpha = picture.hasAlphaChannel();
  const PixelLayout layout = alpha ? kPremultiplied : kOpaque;
  const QImage pixels = picture.convertToFormat(alpha ? QImage::Format_RGBA8888_Premultiplied
                                                      : QImage::Format_RGB888);
  const auto width = static_cast<std::size_t>(pixels.width());
  const auto height = static_cast<std::size_t>(pixels.height());
  const std::size_t rowBytes = width * layout.pixelBytes();
  std::vector<std::byte> bytes(rowBytes * height);
  for (std::size_t y = 0; y < height; ++y) {
    std::memcpy(bytes.data() + y * rowBytes, pixels.constScanLine(static_cast<int>(y)), rowBytes);
  }
  return CIImage::imageWithCGImage(
      CGImageCreateWithPixels(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height),
                              layout, std::move(bytes), CGColorSpaceCreateDeviceRGB()));
}

QImage renderedPicture(const NSImage& image) {
  if (image.representations().empty()) return {};
  const CIImageRef& recipe = image.representations().back().CIImage();
  if (!recipe) return {};
  const Result<CGImage> rendered = render(recipe, {});
  if (!rendered) return {};
  const bool alpha = rendered->layout.alpha != AlphaInfo::none;
  QImage picture(static_cast<int>(rendered->width), static_cast<int>(rendered->height),
                 alpha ? QImage::Format_RGBA8888_Premultiplied : QImage::Format_RGB888);
  const auto rows = rendered->openRows();
  if (picture.isNull() || !rows) return {};
  const std::size_t rowBytes = rendered->width * rendered->layout.pixelBytes();
  std::vector<std::byte> bytes(rowBytes * rendered->height);
  if (!(*rows)->read(bytes, rendered->height)) return {};
  for (int y = 0; y < picture.height(); ++y) {
    std::memcpy(picture.scanLine(y), bytes.data() + static_cast<std::size_t>(y) * rowBytes,
                rowBytes);
  }
  return picture;
}

CIImageRef imageWithRepresentation(const NSImage& image) {
  return imageWithPicture(renderedPicture(image));
}

}  // namespace kelvo
