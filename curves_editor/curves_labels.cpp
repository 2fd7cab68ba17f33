#include <algorithm>
#include <cmath>
#include <utility>

#include "curves_editor/kelvo_tq_curves_view.h"

// The two values beside the plot.
namespace kelvo {
namespace {

constexpr double kLevelsPerUnit = 1.3333333333333333;
constexpr float kLabelBaseline = 13;

// Truncated; points that were loaded may lie anywhere.
int whole(float value) {
  constexpr float kMost = 1 << 30;
  return value >= -kMost && value <= kMost ? static_cast<int>(value) : 0;
}

int level(float value) { return whole(std::round(value)); }

float limitedLevel(float value) {
  if (!(value >= 0)) return 0;
  return value <= 255 ? value : 255;
}

}  // namespace

void KelvoTQCurvesView::drawLabels() {
  if (transparentWindow_ != nullptr && transparentWindow_->parentWindow() != nullptr) {
    transparentWindow_->parentWindow()->display(*transparentWindow_);
  }
  const auto point = selectedPoint();
  if (!point) return;
  if (bottomLabel_ != nullptr) {
    bottomLabel_->setStringValue(
        std::to_string(level(static_cast<float>(point->x * kLevelsPerUnit))));
  }
  if (leftLabel_ != nullptr) {
    leftLabel_->setStringValue(
        std::to_string(level(point->y * static_cast<float>(kLevelsPerUnit))));
  }
}

// A field that loses the focus because the pointer came into the view sends its action, which
// nobody asked for.
bool KelvoTQCurvesView::swallowsLabelAction() { return std::exchange(dontNeedToMove_, false); }

void KelvoTQCurvesView::moveSelectedPointByField(NSPoint to) {
  asOneStep([&] { moveSelectedPointInActiveChannelToPosition(to); });
  display();
}

void KelvoTQCurvesView::bottomLabelAction(const ValueField& sender) {
  if (swallowsLabelAction()) return;
  const int value = std::clamp(sender.intValue(), 0, 255);
  const int column = value / 4 * 3;
  if (const auto point = selectedPoint()) {
    moveSelectedPointByField({static_cast<double>(column), point->y});
  }
}

void KelvoTQCurvesView::leftLabelAction(const ValueField& sender) {
  if (swallowsLabelAction()) return;
  const float value = limitedLevel(std::round(sender.floatValue()));
  if (const auto point = selectedPoint()) {
    moveSelectedPointByField({point->x, value * 0.25F * 3.0F});
  }
}

NSImageRef KelvoTQCurvesView::labelImageForValue_ofType(float value, int type) const {
  if (type != 0 && type != 1) return nullptr;
  const NSSize size = type == 0 ? NSSize{52, 37} : NSSize{51, 39};
  NSImageRef image = NSImage::initWithSize(size);
  Canvas& canvas = image->lockFocus();
  canvas.compositeToPoint_operation_fraction(
      imageNamed(type == 0 ? "CurvesLabelLeft.png" : "CurvesLabelBottom.png"), {0, 0},
      NSCompositingOperation::sourceOver, 1);
  const std::string text = std::to_string(whole(value));
  const double width = sizeWithAttributes(text, labelAttributes_).width;
  const float x = std::round(static_cast<float>((size.width - width) * 0.5));
  canvas.drawTextAtPoint(text, {x, kLabelBaseline}, labelAttributes_);
  image->unlockFocus();
  return image;
}

}  // namespace kelvo
