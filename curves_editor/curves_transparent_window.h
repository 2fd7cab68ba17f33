#pragma once

#include "platform/drawing/ns_window.h"

namespace kelvo {

// Lies over the panel's window and consumes no input: whatever reaches it goes on to the window
// below.
class CurvesTransparentWindow final : public NSChildWindow {
 public:
  using NSChildWindow::NSChildWindow;

  void sendEvent(const NSEvent& event) override {
    if (parentWindow() != nullptr) parentWindow()->sendEvent(event);
  }
};

}  // namespace kelvo
