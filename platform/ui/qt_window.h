#pragma once

#include <QWidget>
#include <functional>
#include <memory>
#include <vector>

#include "platform/drawing/ns_window.h"

namespace kelvo {

// The window that a view's widget is in.
class QtWindow final : public NSWindow {
 public:
  using Handler = std::function<void(const NSEvent&)>;

  // `dispatch` gives an event to the view; `leaveKey` is told of keys that the view leaves.
  QtWindow(QWidget& widget, Handler dispatch, Handler leaveKey);
  ~QtWindow() override;
  QtWindow(const QtWindow&) = delete;
  QtWindow& operator=(const QtWindow&) = delete;

  [[nodiscard]] NSRect frame() const override;
  void makeKeyWindow() override;
  void setAcceptsMouseMovedEvents(bool accepts) override;
  void sendEvent(const NSEvent& event) override { dispatch_(event); }
  void keyDown(const NSEvent& event) override { leaveKey_(event); }

  [[nodiscard]] const std::vector<NSChildWindowRef>& childWindows() const override {
    return children_;
  }
  void addChildWindow_ordered(const NSChildWindowRef& child, int ordering) override;
  void removeChildWindow(const NSChildWindowRef& child) override;
  void center(NSChildWindow& child) override;
  void setFrame_display(NSChildWindow& child, const NSRect& frame, bool display) override;
  void display(NSChildWindow& child) override;
  void orderOut(NSChildWindow& child) override;

 private:
  class Overlay;
  [[nodiscard]] Overlay* overlayOf(const NSChildWindow& child) const;

  QWidget& widget_;
  Handler dispatch_;
  Handler leaveKey_;
  std::vector<NSChildWindowRef> children_;
  std::vector<std::unique_ptr<Overlay>> overlays_;
};

}  // namespace kelvo
