#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/image/cg_rect.h"
#include "platform/image/ci_color.h"
#include "platform/image/ci_kernel.h"
#include "platform/image/ci_vector.h"
#include "platform/pixels/cg_image.h"

namespace kelvo {

class CIImage;
using CIImageRef = std::shared_ptr<const CIImage>;  // empty: no image

// A region of the plane; here always a rectangle.
struct CIFilterShape {
  CGRect rect;
};

// Gives a kernel access to an image.
class CISampler {
 public:
  // No image, no sampler: the sampler is empty and whatever is applied to it yields no image.
  static CISampler samplerWithImage(CIImageRef image) { return CISampler(std::move(image)); }

  [[nodiscard]] const CIImageRef& image() const { return image_; }
  [[nodiscard]] CIFilterShape definition() const;

 private:
  explicit CISampler(CIImageRef image) : image_(std::move(image)) {}
  CIImageRef image_;
};

// What a kernel parameter receives. Nothing set acts as zeros.
using CIKernelArgument = std::variant<std::monostate, CISampler, double, CIVector, CIColor>;

enum class CIFormat { RGBAf };  // four floats a pixel, premultiplied
constexpr CIFormat kCIFormatRGBAf = CIFormat::RGBAf;

// A picture as a recipe: a source of pixels, or a kernel applied to other pictures. Immutable;
// nothing is computed until it is rendered (render.h).
class CIImage {
 public:
  struct Source {
    CGImage image;
  };
  struct Applied {
    CIKernelRef kernel;
    std::vector<CIKernelArgument> arguments;
  };
  using Recipe = std::variant<Source, Applied>;

  CIImage(Recipe recipe, CGRect extent) : recipe_(std::move(recipe)), extent_(extent) {}

  // The numbers of an RGB picture as they are, its first pixel at (0, 0). Empty for any other
  // colour model.
  static CIImageRef imageWithCGImage(CGImage image);
  // Copies the bytes. `bytesPerRow` may exceed width * 16. Empty if the bytes do not suffice.
  static CIImageRef initWithBitmapData_bytesPerRow_size_format_colorSpace(
      std::span<const std::byte> data, std::size_t bytesPerRow, std::uint32_t width,
      std::uint32_t height, CIFormat format, CGColorSpaceRef colorSpace);

  // Outside it the picture is transparent.
  [[nodiscard]] const CGRect& extent() const { return extent_; }
  [[nodiscard]] const Recipe& recipe() const { return recipe_; }

 private:
  Recipe recipe_;
  CGRect extent_;
};

}  // namespace kelvo
