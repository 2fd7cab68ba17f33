#pragma once

#include "platform/drawing/ns_geometry.h"

namespace kelvo {

// Bits of an event's modifier flags. On this platform the Control key takes the part of Command.
constexpr unsigned NSShiftKeyMask = 0x20000;
constexpr unsigned NSAlternateKeyMask = 0x80000;
constexpr unsigned NSCommandKeyMask = 0x100000;

// Numbers of the keys that views handle; every other key is kKeyOther.
constexpr int kKeyZ = 6;
constexpr int kKeyC = 8;
constexpr int kKeyV = 9;
constexpr int kKeyY = 16;
constexpr int kKeyTab = 48;
constexpr int kKeyDelete = 51;
constexpr int kKeyEscape = 53;
constexpr int kKeyForwardDelete = 117;
constexpr int kKeyLeft = 123;
constexpr int kKeyRight = 124;
constexpr int kKeyDown = 125;
constexpr int kKeyUp = 126;
constexpr int kKeyOther = 0xFFFF;

enum class NSEventType {
  mouseDown,
  mouseDragged,
  mouseUp,
  mouseMoved,
  mouseEntered,
  mouseExited,
  keyDown,
};

// What the pointer or the keyboard did.
struct NSEvent {
  NSEventType type = NSEventType::mouseMoved;
  NSPoint locationInWindow;  // in the window's units, y upwards from its lower left corner
  unsigned modifierFlags = 0;
  int keyCode = kKeyOther;
};

}  // namespace kelvo
