#include "platform/image/ci_image.h"

#include <cstring>

namespace kelvo {
namespace {

constexpr PixelLayout kFloatPixels{4, SampleType::f32, AlphaInfo::premultipliedLast};

bool isRgb(const CGImage& image) {
  const bool hasAlpha = image.layout.alpha != AlphaInfo::none;
  return (!image.colorSpace || image.colorSpace->model == ColorModel::rgb) &&
         image.layout.components == (hasAlpha ? 4 : 3);
}

}  // namespace

CIFilterShape CISampler::definition() const {
  return image_ ? CIFilterShape{image_->extent()} : CIFilterShape{};
}

CIImageRef CIImage::imageWithCGImage(CGImage image) {
  if (!image.openRows || !isRgb(image)) return nullptr;
  const CGRect extent{0, 0, static_cast<double>(image.width), static_cast<double>(image.height)};
  return std::make_shared<const CIImage>(Source{std::move(image)}, extent);
}

CIImageRef CIImage::initWithBitmapData_bytesPerRow_size_format_colorSpace(
    std::span<const std::byte> data, std::size_t bytesPerRow, std::uint32_t width,
    std::uint32_t height, CIFormat, CGColorSpaceRef colorSpace) {
  const std::size_t rowBytes = width * kFloatPixels.pixelBytes();
  if (width == 0 || height == 0 || bytesPerRow < rowBytes) return nullptr;
  if (data.size() < rowBytes || (data.size() - rowBytes) / bytesPerRow < height - 1) return nullptr;
  std::vector<std::byte> pixels(rowBytes * height);
  for (std::size_t row = 0; row < height; ++row) {
    std::memcpy(pixels.data() + row * rowBytes, data.data() + row * bytesPerRow, rowBytes);
  }
  return imageWithCGImage(CGImageCreateWithPixels(width, height, kFloatPixels, std::move(pixels),
                                                  std::move(colorSpace)));
}

}  // namespace kelvo
