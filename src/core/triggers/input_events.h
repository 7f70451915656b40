#pragma once

// The platform's input events as the trigger logic sees them, and the seams
// through which they arrive: the global listen-only command tap, the overlay's
// keyboard tap (which may swallow Escape and the copy chord), the in-process
// local monitor, global hot keys, and the few platform questions the trigger
// logic asks. Key codes are the US-layout virtual key codes of the shortcut
// tables; flags are the device-independent modifier bits below; points are
// global, with a bottom-left origin.

#include <cstdint>
#include <functional>
#include <optional>

#include "base/geometry.h"

namespace trelvis {

// Numbered as the platform numbers its event types.
enum class InputEventType : uint32_t {
  leftMouseDown = 1,
  leftMouseUp = 2,
  rightMouseDown = 3,
  rightMouseUp = 4,
  leftMouseDragged = 6,
  rightMouseDragged = 7,
  keyDown = 10,
  keyUp = 11,
  flagsChanged = 12,
  otherMouseDown = 25,
  tapDisabledByTimeout = 0xFFFFFFFE,
  tapDisabledByUserInput = 0xFFFFFFFF,
};

// The event mask bit of a type (1 << type); the two tap-disabled types have none
// and arrive regardless.
constexpr uint64_t eventMaskBit(InputEventType type) {
  auto value = static_cast<uint32_t>(type);
  return value < 64 ? (uint64_t{1} << value) : 0;
}

// Types 1, 2, 3, 6, 10, 12, 25: what the command tap and the local monitor listen to.
inline constexpr uint64_t kCommandTapEventMask = 0x200144E;
// Types 10, 11: what the overlay keyboard tap listens to.
inline constexpr uint64_t kOverlayTapEventMask = 0xC00;
// Types 10, 11, 12: what the shortcut recorder listens to.
inline constexpr uint64_t kRecorderEventMask = 0x1C00;

namespace ModifierFlags {
inline constexpr uint64_t capsLock = 0x10000;
inline constexpr uint64_t shift = 0x20000;
inline constexpr uint64_t control = 0x40000;
inline constexpr uint64_t option = 0x80000;
inline constexpr uint64_t command = 0x100000;
inline constexpr uint64_t function = 0x800000;
}  // namespace ModifierFlags

// Virtual key codes the trigger logic names.
namespace KeyCodes {
inline constexpr uint16_t c = 8;
inline constexpr uint16_t escape = 53;
inline constexpr uint16_t rightCommand = 54;
inline constexpr uint16_t leftCommand = 55;
inline constexpr uint16_t leftShift = 56;
inline constexpr uint16_t capsLock = 57;
inline constexpr uint16_t leftOption = 58;
inline constexpr uint16_t leftControl = 59;
inline constexpr uint16_t rightShift = 60;
inline constexpr uint16_t rightOption = 61;
inline constexpr uint16_t rightControl = 62;
inline constexpr uint16_t function = 63;
}  // namespace KeyCodes

// One keyboard event for the overlay's handling.
struct OverlayKeyboardEvent {
  InputEventType type = InputEventType::keyDown;
  uint16_t keyCode = 0;
  uint64_t modifierFlags = 0;
  bool isRepeat = false;
  friend bool operator==(const OverlayKeyboardEvent&, const OverlayKeyboardEvent&) = default;
};

// The global, listen-only source of key, modifier and pointer events. Its
// handler runs on the tap's own thread and must return quickly.
class CommandEventTapManaging {
 public:
  using EventHandler = std::function<void(InputEventType type, uint16_t keyCode,
                                          uint64_t modifierFlags, Point location)>;
  virtual ~CommandEventTapManaging() = default;
  // Stops a running tap first. False when the tap cannot run.
  virtual bool start(EventHandler handler) = 0;
  // Does not wait for the tap's thread to end.
  virtual void stop() = 0;
  // Re-enables a tap that the system disabled.
  virtual void enable() = 0;
};

// While started, swallows the keyboard events its handler returns true for.
class OverlayKeyboardEventTapManaging {
 public:
  using EventHandler = std::function<bool(const OverlayKeyboardEvent& event)>;
  virtual ~OverlayKeyboardEventTapManaging() = default;
  virtual bool start(EventHandler handler) = 0;
  virtual void stop() = 0;
  virtual void enable() = 0;
};

// Whether the process may watch and post global input.
class AccessibilityPermissionProviding {
 public:
  virtual ~AccessibilityPermissionProviding() = default;
  virtual bool isProcessTrusted() const = 0;
};

// An event of this application's own windows, for the in-process monitors (and,
// seen from outside, for the global ones).
struct LocalInputEvent {
  InputEventType type = InputEventType::keyDown;
  uint16_t keyCode = 0;  // for key and flags events
  uint64_t modifierFlags = 0;
  bool isRepeat = false;
  // Where a pointer event happened, in global points with a bottom-left origin.
  Point location;
};

// In-process event monitors on the main thread, used when the global tap cannot
// run and by the shortcut recorder. A handler returns true to let the event go on
// to the application, false to swallow it. A handler may remove its own monitor.
class LocalEventMonitoring {
 public:
  using Handler = std::function<bool(const LocalInputEvent& event)>;
  using Token = uint64_t;
  virtual ~LocalEventMonitoring() = default;
  virtual std::optional<Token> addLocalMonitor(uint64_t eventMask, Handler handler) = 0;
  virtual void removeMonitor(Token token) = 0;
};

// Where the pointer is now (global, bottom-left origin), and which process owns
// the frontmost window.
class PointerLocating {
 public:
  virtual ~PointerLocating() = default;
  virtual Point mouseLocation() const = 0;
};

class FrontmostApplicationProviding {
 public:
  virtual ~FrontmostApplicationProviding() = default;
  virtual std::optional<int32_t> frontmostProcessIdentifier() const = 0;
};

// Global key-combination registration. A registration has a four-character owner
// (`signature`) and a small integer identity; presses are delivered to the
// handler on the main executor.
class HotKeyRegistering {
 public:
  struct HotKeyID {
    uint32_t signature = 0;
    uint32_t id = 0;
    friend bool operator==(const HotKeyID&, const HotKeyID&) = default;
  };
  using Ref = uint64_t;
  using PressHandler = std::function<void(HotKeyID id)>;

  virtual ~HotKeyRegistering() = default;
  // `modifiers` is the Carbon mask (command 0x100, shift 0x200, option 0x800,
  // control 0x1000). Nothing when the combination cannot be had (another client
  // holds it, or the key does not exist here).
  virtual std::optional<Ref> registerHotKey(uint16_t keyCode, uint32_t modifiers, HotKeyID id) = 0;
  virtual void unregisterHotKey(Ref ref) = 0;
  // Installs (or, with an empty handler, removes) the receiver of presses.
  virtual void setPressHandler(PressHandler handler) = 0;
};

}  // namespace trelvis
