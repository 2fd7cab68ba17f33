#include <algorithm>

#include "curves_editor/kelvo_tq_curves_view.h"

// The view in its window: its pictures, cursors, pointer tracking, the window over it.
namespace kelvo {
namespace {

constexpr NSPoint kHotSpot{3, 1.5};
constexpr double kLabelFontSize = 9;
// How much wider than the window the one over it is.
constexpr double kOverhang = 100;
constexpr float kTransparentWindowAlpha = 0.99F;

}  // namespace

std::optional<std::string> KelvoTQCurvesView::pathForImage(const char* name) const {
  return bundle_ ? bundle_->pathForImageResource(name) : std::nullopt;
}

NSImageRef KelvoTQCurvesView::imageNamed(const char* name) const {
  return NSImage::initByReferencingFile(pathForImage(name).value_or(std::string()));
}

void KelvoTQCurvesView::awakeFromNib() {
  popCursors();  // those of an earlier waking
  const char* const names[] = {"CurvesCursor.tif", "CurvesAdd.tif", "CurvesMove.tif"};
  for (std::size_t i = 0; i < curvesCursors_.size(); ++i) {
    curvesCursors_[i] = NSCursor::initWithImage_hotSpot(imageNamed(names[i]), kHotSpot);
  }
  normalPointImage_ = imageNamed("CurvesBoxNormal.png");
  selectedPointImage_ = imageNamed("CuvesBoxSelected.png");
  labelAttributes_ = {NSFont::boldSystemFontOfSize(kLabelFontSize), NSColor::whiteColor()};
  rgbHistogramImage_ = nullptr;
  redHistogramImage_ = nullptr;
  greenHistogramImage_ = nullptr;
  blueHistogramImage_ = nullptr;
}

NSCursorRef KelvoTQCurvesView::currentCursor() const {
  return host_ != nullptr ? host_->currentCursor() : nullptr;
}

bool KelvoTQCurvesView::isCurvesCursor(const NSCursorRef& cursor) const {
  return cursor != nullptr && std::ranges::find(curvesCursors_, cursor) != curvesCursors_.end();
}

void KelvoTQCurvesView::pushCursor(const NSCursorRef& cursor) {
  if (host_ == nullptr || cursor == nullptr || host_->currentCursor() == cursor) return;
  host_->pushCursor(cursor);
}

void KelvoTQCurvesView::popCursors() {
  while (isCurvesCursor(currentCursor())) host_->popCursor();
}

void KelvoTQCurvesView::mouseEntered(const NSEvent& /*event*/) {
  dontNeedToMove_ = true;
  if (host_ == nullptr) return;
  host_->makeFirstResponder();
  if (NSWindow* window = host_->window()) {
    window->setAcceptsMouseMovedEvents(true);
    window->makeKeyWindow();
  }
  host_->display();
  for (ValueField* label : {leftLabel_, bottomLabel_}) {
    if (label != nullptr) label->display();
  }
  if (mousePressed_) {
    mouseInsideView_ = true;
    return;
  }
  // What the pointer looked like comes back when the editor's cursors are popped.
  host_->pushCursor(host_->currentCursor());
  if (mainViewCursor() != nullptr) host_->pushCursor(mainViewCursor());
}

void KelvoTQCurvesView::mouseExited(const NSEvent& /*event*/) {
  dontNeedToMove_ = false;
  if (!mousePressed_) popCursors();
  mouseInsideView_ = false;
}

void KelvoTQCurvesView::resetCursorRects() {
  if (host_ == nullptr) return;
  if (trackingRectID_) host_->removeTrackingRect(*trackingRectID_);
  trackingRectID_ = host_->addTrackingRect(bounds());
}

void KelvoTQCurvesView::reconfigureTrackingRect() { resetCursorRects(); }

void KelvoTQCurvesView::setupTransparentWindow() {
  NSWindow* const window = host_ != nullptr ? host_->window() : nullptr;
  if (window == nullptr) return;
  if (transparentWindow_ == nullptr) {
    NSRect frame = window->frame();
    frame.size.width += kOverhang;
    transparentWindow_ = std::make_shared<CurvesTransparentWindow>(
        frame, NSChildWindow::kBorderless, NSChildWindow::kBuffered, false);
    transparentWindow_->backgroundColor = NSColor::clearColor();
    transparentWindow_->level = CGWindowLevelForKey(kScreenSaverWindowLevelKey);
    transparentWindow_->alphaValue = kTransparentWindowAlpha;
    transparentWindow_->opaque = false;
    transparentWindow_->hasShadow = false;
    transparentWindow_->ignoresMouseEvents = true;
    leftLabelImageView_ = std::make_shared<NSImageView>(
        NSImageView{{{25, 200}, {52, 37}}, imageNamed("CurvesLabelLeft.png"), true});
    bottomLabelImageView_ = std::make_shared<NSImageView>(
        NSImageView{{{200, 40}, {51, 39}}, imageNamed("CurvesLabelBottom.png"), true});
    transparentWindow_->contentViews = {leftLabelImageView_, bottomLabelImageView_};
  }
  const auto& children = window->childWindows();
  if (std::ranges::find(children, transparentWindow_) == children.end()) {
    window->addChildWindow_ordered(transparentWindow_, NSWindowAbove);
  }
  window->center(*transparentWindow_);
  window->setFrame_display(*transparentWindow_, transparentWindow_->frame(), true);
}

void KelvoTQCurvesView::hideTransparentWindow() {
  NSWindow* const window = host_ != nullptr ? host_->window() : nullptr;
  if (window == nullptr || transparentWindow_ == nullptr || window->childWindows().empty()) return;
  window->removeChildWindow(transparentWindow_);
  window->orderOut(*transparentWindow_);
}

}  // namespace kelvo
