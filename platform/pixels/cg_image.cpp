#include "platform/pixels/cg_image.h"

#include <cstring>
#include <utility>

namespace kelvo {
namespace {

class MemoryRows final : public RowSource {
 public:
  MemoryRows(std::shared_ptr<const std::vector<std::byte>> pixels) : pixels_(std::move(pixels)) {}

  Result<void> read(std::span<std::byte> pixels, std::uint32_t) override {
    if (pixels.size() > pixels_->size() - position_)
      return Error{"rows past the end of the picture"};
    if (!pixels.empty()) std::memcpy(pixels.data(), pixels_->data() + position_, pixels.size());
    position_ += pixels.size();
    return {};
  }

 private:
  std::shared_ptr<const std::vector<std::byte>> pixels_;
  std::size_t position_ = 0;
};

}  // namespace

CGColorSpaceRef CGColorSpaceCreateDeviceRGB() { return std::make_shared<const CGColorSpace>(); }

const CGColorSpaceRef& CGImageGetColorSpace(const CGImage& image) { return image.colorSpace; }

Result<CGImage> CGImageCreateCopyWithColorSpace(const CGImage& image, CGColorSpaceRef space) {
  if (image.colorSpace && space && image.colorSpace->model != space->model) {
    return Error{"the colour models differ"};
  }
  CGImage copy = image;
  copy.colorSpace = std::move(space);
  return copy;
}

CGImage CGImageCreateWithPixels(std::uint32_t width, std::uint32_t height, PixelLayout layout,
                                std::vector<std::byte> pixels, CGColorSpaceRef space) {
  auto shared = std::make_shared<const std::vector<std::byte>>(std::move(pixels));
  return CGImage{.width = width,
                 .height = height,
                 .layout = layout,
                 .colorSpace = std::move(space),
                 .openRows = [shared]() -> Result<std::unique_ptr<RowSource>> {
                   return std::unique_ptr<RowSource>(std::make_unique<MemoryRows>(shared));
                 },
                 .palette = nullptr};
}

Result<std::vector<std::byte>> readAllPixels(const CGImage& image) {
  auto rows = image.openRows();
  if (!rows) return std::move(rows).error();
  std::vector<std::byte> pixels(std::size_t{image.width} * image.height *
                                image.layout.pixelBytes());
  auto read = (*rows)->read(pixels, image.height);
  if (!read) return std::move(read).error();
  return pixels;
}

}  // namespace kelvo
