#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "platform/drawing/ns_geometry.h"
#include "platform/image/ci_image.h"

namespace kelvo {

// A recipe as a representation of a picture for display. Drawing it renders it.
class NSCIImageRep {
 public:
  static NSCIImageRep imageRepWithCIImage(CIImageRef image) {
    return NSCIImageRep(std::move(image));
  }
  [[nodiscard]] const CIImageRef& CIImage() const { return image_; }

 private:
  explicit NSCIImageRep(CIImageRef image) : image_(std::move(image)) {}
  CIImageRef image_;
};

// A picture for display: a size and what to draw.
class NSImage {
 public:
  static std::shared_ptr<NSImage> initWithSize(NSSize size) {
    return std::make_shared<NSImage>(size);
  }
  explicit NSImage(NSSize size) : size_(size) {}

  void addRepresentation(NSCIImageRep representation) {
    representations_.push_back(std::move(representation));
  }
  [[nodiscard]] NSSize size() const { return size_; }
  [[nodiscard]] const std::vector<NSCIImageRep>& representations() const {
    return representations_;
  }

 private:
  NSSize size_;
  std::vector<NSCIImageRep> representations_;
};
using NSImageRef = std::shared_ptr<NSImage>;

}  // namespace kelvo
