#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/drawing/display_list.h"
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

// A picture for display: a size and what to draw. Whoever draws it paints the file it references,
// if any, then its representations, then what was drawn into it.
class NSImage {
 public:
  static std::shared_ptr<NSImage> initWithSize(NSSize size) {
    return std::make_shared<NSImage>(size);
  }
  // A picture in a file, read when it is drawn; `NAME@2x.EXT` beside it is used where a view unit
  // has more than one pixel. Its size is that of the file's pixels and stays 0 here. No error if
  // there is no such file: nothing is drawn.
  static std::shared_ptr<NSImage> initByReferencingFile(std::string path);

  explicit NSImage(NSSize size) : size_(size) {}

  void addRepresentation(NSCIImageRep representation) {
    representations_.push_back(std::move(representation));
  }
  [[nodiscard]] NSSize size() const { return size_; }
  [[nodiscard]] const std::vector<NSCIImageRep>& representations() const {
    return representations_;
  }

  // Until unlockFocus, what is drawn onto the canvas becomes part of the picture; its origin is the
  // picture's lower left corner. Drawing again adds to what is there.
  [[nodiscard]] Canvas& lockFocus() { return drawing_; }
  void unlockFocus() {}
  [[nodiscard]] const DisplayList& drawing() const { return drawing_; }

  // The file this picture references; empty if none.
  [[nodiscard]] const std::string& referencedFile() const { return file_; }
  struct File {
    std::string path;
    int pixelsPerUnit = 1;
  };
  // The file to read where a view unit has `scale` pixels.
  [[nodiscard]] File fileForScale(double scale) const;

 private:
  NSSize size_;
  std::vector<NSCIImageRep> representations_;
  DisplayList drawing_;
  std::string file_;
};
using NSImageRef = std::shared_ptr<NSImage>;

}  // namespace kelvo
