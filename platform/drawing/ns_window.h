#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "platform/color/ns_color.h"
#include "platform/drawing/ns_event.h"
#include "platform/drawing/ns_geometry.h"
#include "platform/drawing/ns_image.h"

namespace kelvo {

class NSWindow;

// A picture at a place in a window.
struct NSImageView {
  NSRect frame;
  NSImageRef image;
  bool hidden = false;
};

// A window that lies over another one and moves with it: what it looks like and what is in it. The
// window that it is added to shows it.
class NSChildWindow {
 public:
  static constexpr int kBorderless = 0;
  static constexpr int kBuffered = 2;

  NSChildWindow(const NSRect& contentRect, int styleMask, int backing, bool defer)
      : frame_(contentRect), styleMask_(styleMask), backing_(backing), defer_(defer) {}
  virtual ~NSChildWindow() = default;

  // An event that reached this window.
  virtual void sendEvent(const NSEvent& event) = 0;

  // On the screen, y upwards.
  [[nodiscard]] const NSRect& frame() const { return frame_; }
  void setFrame(const NSRect& frame) { frame_ = frame; }
  [[nodiscard]] int styleMask() const { return styleMask_; }
  [[nodiscard]] int backing() const { return backing_; }
  [[nodiscard]] bool isDeferred() const { return defer_; }
  [[nodiscard]] NSWindow* parentWindow() const { return parent_; }
  // For the window that it is added to or removed from.
  void setParentWindow(NSWindow* parent) { parent_ = parent; }

  NSColor backgroundColor = NSColor::whiteColor();
  int level = 0;
  float alphaValue = 1;
  bool opaque = true;
  bool hasShadow = true;
  bool ignoresMouseEvents = false;
  std::vector<std::shared_ptr<NSImageView>> contentViews;

 private:
  NSRect frame_;
  int styleMask_;
  int backing_;
  bool defer_;
  NSWindow* parent_ = nullptr;
};
using NSChildWindowRef = std::shared_ptr<NSChildWindow>;

constexpr int NSWindowAbove = 1;
// The level of screen savers, above every other window.
constexpr int kScreenSaverWindowLevelKey = 13;
int CGWindowLevelForKey(int key);

// What views ask of the window that they are in.
class NSWindow {
 public:
  virtual ~NSWindow() = default;

  // On the screen, y upwards.
  [[nodiscard]] virtual NSRect frame() const = 0;
  virtual void makeKeyWindow() = 0;
  virtual void setAcceptsMouseMovedEvents(bool accepts) = 0;
  // Takes an event as if it had come from the pointer or the keyboard.
  virtual void sendEvent(const NSEvent& event) = 0;
  // A key that the view leaves to its window.
  virtual void keyDown(const NSEvent& event) = 0;

  [[nodiscard]] virtual const std::vector<NSChildWindowRef>& childWindows() const = 0;
  virtual void addChildWindow_ordered(const NSChildWindowRef& child, int ordering) = 0;
  virtual void removeChildWindow(const NSChildWindowRef& child) = 0;
  // Moves the child to the middle of the screen.
  virtual void center(NSChildWindow& child) = 0;
  virtual void setFrame_display(NSChildWindow& child, const NSRect& frame, bool display) = 0;
  virtual void display(NSChildWindow& child) = 0;
  virtual void orderOut(NSChildWindow& child) = 0;
};

}  // namespace kelvo
