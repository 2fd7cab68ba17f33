#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "curves_editor/kelvo_tq_curves_view.h"
#include "curves_editor/view_host.h"
#include "platform/foundation/ns_notification_center.h"

namespace kelvo::testing {

using Calls = std::vector<std::string>;
using CurvePoints = std::vector<CurvePoint>;

// Writes down what a view asks of its window.
class RecordingWindow final : public NSWindow {
 public:
  explicit RecordingWindow(Calls& calls) : calls_(calls) {}

  [[nodiscard]] NSRect frame() const override { return {{100, 200}, {600, 400}}; }
  void makeKeyWindow() override { calls_.emplace_back("key window"); }
  void setAcceptsMouseMovedEvents(bool accepts) override {
    calls_.emplace_back(accepts ? "moves on" : "moves off");
  }
  void sendEvent(const NSEvent& event) override {
    calls_.push_back("event " + std::to_string(event.keyCode));
  }
  void keyDown(const NSEvent& event) override {
    calls_.push_back("key " + std::to_string(event.keyCode));
  }
  [[nodiscard]] const std::vector<NSChildWindowRef>& childWindows() const override {
    return children_;
  }
  void addChildWindow_ordered(const NSChildWindowRef& child, int ordering) override {
    calls_.push_back("add child " + std::to_string(ordering));
    child->setParentWindow(this);
    children_.push_back(child);
  }
  void removeChildWindow(const NSChildWindowRef& child) override {
    calls_.emplace_back("remove child");
    child->setParentWindow(nullptr);
    std::erase(children_, child);
  }
  void center(NSChildWindow& child) override {
    calls_.emplace_back("center child");
    child.setFrame({{1, 2}, child.frame().size});
  }
  void setFrame_display(NSChildWindow& child, const NSRect& frame, bool display) override {
    calls_.emplace_back(display ? "frame and display child" : "frame child");
    child.setFrame(frame);
  }
  void display(NSChildWindow& /*child*/) override { calls_.emplace_back("display child"); }
  void orderOut(NSChildWindow& /*child*/) override { calls_.emplace_back("order out child"); }

 private:
  Calls& calls_;
  std::vector<NSChildWindowRef> children_;
};

// Writes down, in order, what a view asks of the toolkit and what it announces. The view's lower
// left corner stands at (20, 10) in the window. Lives longer than the view's last operation.
class RecordingHost final : public ViewHost {
 public:
  explicit RecordingHost(KelvoTQCurvesView& view)
      : view_(view),
        token_(NSNotificationCenter::defaultCenter().addObserverForName_object(
            "TQCurvesValuesChanged", &view,
            [this](const NSNotification&) { calls_.emplace_back("changed"); })) {
    view.setHost(this);
    view.awakeFromNib();
  }

  void setNeedsDisplay() override { calls_.emplace_back("redisplay"); }
  void display() override { calls_.emplace_back("display"); }
  [[nodiscard]] NSCursorRef currentCursor() const override { return cursors_.currentCursor(); }
  void pushCursor(const NSCursorRef& cursor) override {
    calls_.push_back(nameOf(cursor) + " cursor");
    cursors_.push(cursor);
  }
  void popCursor() override {
    calls_.emplace_back("pop");
    cursors_.pop();
  }
  int addTrackingRect(const NSRect& rect) override {
    calls_.push_back("track " + std::to_string(nextTag_) + ": " +
                     std::to_string(static_cast<int>(rect.size.width)) + " x " +
                     std::to_string(static_cast<int>(rect.size.height)));
    return nextTag_++;
  }
  void removeTrackingRect(int tag) override { calls_.push_back("untrack " + std::to_string(tag)); }
  void makeFirstResponder() override { calls_.emplace_back("first responder"); }
  [[nodiscard]] NSPoint convertPointFromWindow(NSPoint point) const override {
    return {point.x - 20, point.y - 10};
  }
  [[nodiscard]] NSWindow* window() override { return hasWindow ? &window_ : nullptr; }

  // What happened since it was asked last.
  Calls takeCalls() { return std::exchange(calls_, {}); }
  // The stack of cursors, the topmost last.
  [[nodiscard]] std::vector<std::string> cursors() const {
    std::vector<std::string> names;
    for (const NSCursorRef& cursor : cursors_.cursors()) names.push_back(nameOf(cursor));
    return names;
  }
  // Puts a cursor of the window's own on top.
  void pushOtherCursor() { cursors_.push(NSCursor::initWithImage_hotSpot(nullptr, {0, 0})); }
  void forgetCursors() { cursors_ = {}; }
  RecordingWindow& recordingWindow() { return window_; }

  bool hasWindow = true;

 private:
  [[nodiscard]] std::string nameOf(const NSCursorRef& cursor) const {
    return cursor == nullptr                   ? "usual"
           : cursor == view_.mainViewCursor()  ? "main"
           : cursor == view_.addPointCursor()  ? "add"
           : cursor == view_.movePointCursor() ? "move"
                                               : "other";
  }

  KelvoTQCurvesView& view_;
  Calls calls_;
  RecordingWindow window_{calls_};
  CursorStack cursors_;
  int nextTag_ = 1;
  NSNotificationCenter::Token token_;
};

}  // namespace kelvo::testing
