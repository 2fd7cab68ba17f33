#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "platform/drawing/ns_image.h"

namespace kelvo {

// A shape of the pointer. `hotSpot` is measured from the picture's upper left corner, y downwards.
// Two cursors are the same if they are one object.
class NSCursor {
 public:
  static std::shared_ptr<const NSCursor> initWithImage_hotSpot(NSImageRef image, NSPoint hotSpot) {
    return std::make_shared<const NSCursor>(std::move(image), hotSpot);
  }
  NSCursor(NSImageRef image, NSPoint hotSpot) : image_(std::move(image)), hotSpot_(hotSpot) {}

  [[nodiscard]] const NSImageRef& image() const { return image_; }
  [[nodiscard]] NSPoint hotSpot() const { return hotSpot_; }

 private:
  NSImageRef image_;
  NSPoint hotSpot_;
};
// Empty: the pointer's usual shape.
using NSCursorRef = std::shared_ptr<const NSCursor>;

// Cursors lying on each other; the topmost one shows. Under all of them lies the usual shape.
class CursorStack {
 public:
  [[nodiscard]] NSCursorRef currentCursor() const {
    return cursors_.empty() ? nullptr : cursors_.back();
  }
  void push(NSCursorRef cursor) { cursors_.push_back(std::move(cursor)); }
  void pop() {
    if (!cursors_.empty()) cursors_.pop_back();
  }
  [[nodiscard]] const std::vector<NSCursorRef>& cursors() const { return cursors_; }

 private:
  std::vector<NSCursorRef> cursors_;
};

}  // namespace kelvo
