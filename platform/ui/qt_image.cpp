#include "platform/ui/qt_image.h"

#include <QPainter>
#include <cmath>
#include <cstring>
#include <map>
#include <string>
#include <utility>

#include "platform/image/render.h"
#include "platform/image_io/cg_image_source.h"
#include "platform/ui/qt_canvas.h"
#include "platform/ui/qt_geometry.h"

namespace kelvo {
namespace {

// The most pixels to a side that a picture for display is drawn with.
constexpr double kMostPixels = 1 << 14;

std::uint8_t sampleAt(const std::byte* pixel, std::size_t component, SampleType type) {
  if (type == SampleType::u8) return std::to_integer<std::uint8_t>(pixel[component]);
  std::uint16_t sample = 0;
  std::memcpy(&sample, pixel + component * sizeof sample, sizeof sample);
  return static_cast<std::uint8_t>((sample + 128U) / 257U);
}

QImage readFile(const NSImage::File& file) {
  const auto source = CGImageSourceCreateWithURL(NSURL::fileURLWithPath(file.path));
  if (!source) return {};
  const auto picture = CGImageSourceCreateImageAtIndex(**source, 0);
  if (!picture) return {};
  QImage image = toQt(*picture);
  if (!image.isNull()) image.setDevicePixelRatio(file.pixelsPerUnit);
  return image;
}

// Files do not change while the program runs: they are the bundle's own.
const QImage& imageOfFile(const NSImage::File& file) {
  static std::map<std::string, QImage> files;
  const auto found = files.find(file.path);
  if (found != files.end()) return found->second;
  return files.emplace(file.path, readFile(file)).first->second;
}

}  // namespace

QImage toQt(const CGImage& image) {
  const PixelLayout& layout = image.layout;
  const bool isColor = image.colorSpace == nullptr || image.colorSpace->model == ColorModel::rgb;
  const bool isGray = image.colorSpace != nullptr && image.colorSpace->model == ColorModel::gray;
  const auto pixels = readAllPixels(image);
  if (!pixels || layout.type == SampleType::f32 || (!isColor && !isGray)) return {};
  const bool premultiplied = layout.alpha == AlphaInfo::premultipliedLast;
  QImage result(static_cast<int>(image.width), static_cast<int>(image.height),
                premultiplied ? QImage::Format_RGBA8888_Premultiplied : QImage::Format_RGBA8888);
  if (result.isNull()) return {};
  const std::byte* from = pixels->data();
  for (int y = 0; y < result.height(); ++y) {
    uchar* to = result.scanLine(y);
    for (int x = 0; x < result.width(); ++x, from += layout.pixelBytes(), to += 4) {
      for (std::size_t c = 0; c < 3; ++c) to[c] = sampleAt(from, isGray ? 0 : c, layout.type);
      const std::size_t alpha = isGray ? 1 : 3;
      to[3] = layout.alpha == AlphaInfo::none ? 255 : sampleAt(from, alpha, layout.type);
    }
  }
  return result;
}

QImage toQt(const NSImage& image, double scale) {
  if (!image.referencedFile().empty()) return imageOfFile(image.fileForScale(scale));
  const auto [width, height] = image.size();
  const double columns = std::ceil(width * scale);
  const double rows = std::ceil(height * scale);
  if (!(columns >= 1 && rows >= 1 && columns <= kMostPixels && rows <= kMostPixels)) return {};
  QImage result(static_cast<int>(columns), static_cast<int>(rows),
                QImage::Format_ARGB32_Premultiplied);
  if (result.isNull()) return {};
  result.setDevicePixelRatio(scale);
  result.fill(Qt::transparent);
  QPainter painter(&result);
  painter.setRenderHint(QPainter::SmoothPixmapTransform);
  for (const NSCIImageRep& representation : image.representations()) {
    const auto rendered = render(representation.CIImage(), {});
    if (rendered) painter.drawImage(QRectF({0, 0}, toQt(image.size())), toQt(*rendered));
  }
  QtCanvas canvas(painter, image.size(), scale);
  image.drawing().replay(canvas);
  return result;
}

}  // namespace kelvo
