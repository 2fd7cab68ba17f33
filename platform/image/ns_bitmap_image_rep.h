#pragma once

#include "platform/image/render.h"

namespace kelvo {

// A recipe as a bitmap of 8 bits a sample. Its pixels are computed when they are read.
class NSBitmapImageRep {
 public:
  // Errors are those of `render`.
  static Result<NSBitmapImageRep> initWithCIImage(const CIImageRef& image) {
    auto rendered = render(image, {});
    if (!rendered) return std::move(rendered).error();
    return NSBitmapImageRep(std::move(rendered).value());
  }

  [[nodiscard]] const kelvo::CGImage& CGImage() const { return image_; }

 private:
  explicit NSBitmapImageRep(kelvo::CGImage image) : image_(std::move(image)) {}
  kelvo::CGImage image_;
};

}  // namespace kelvo
