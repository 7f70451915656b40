#pragma once

// OverlayKeyboardMonitor decides, for the overlay keyboard tap, which key events
// to swallow while the translation card is visible: Escape (dismiss, unless the
// card is pinned) and the copy chord (copy the card's selected text), together
// with their auto-repeats and key-ups, and nothing else. Events arrive on the
// tap's own thread; the closures are called there too, outside `keyStateLock`,
// and must read only state that is safe on that thread. The overlay panel
// controller starts and stops it on the main thread and owns it through
// std::shared_ptr (the tap's handler holds it weakly). Borrows the permission and
// the tap.

#include <atomic>
#include <bitset>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "core/triggers/input_events.h"

namespace trelvis {

// The modifier bits the copy chord looks at: Shift, Control, Option, Command. Caps
// Lock and Function do not matter.
inline constexpr uint64_t kCopyChordModifierMask = 0x1E0000;
// The copy chord of this logic is Command+C. A platform whose copy chord differs
// reports its own chord with the Command flag (the X11 overlay tap reports
// Control+C that way), so the rule stays one.
inline constexpr uint64_t kPlatformCopyChordModifier = ModifierFlags::command;

// Whether `keyCode` with `modifierFlags` is the copy chord: C with exactly
// `copyModifier` among Shift, Control, Option and Command.
constexpr bool isCopyChord(uint16_t keyCode, uint64_t modifierFlags,
                           uint64_t copyModifier = kPlatformCopyChordModifier) {
  return keyCode == KeyCodes::c && (modifierFlags & kCopyChordModifierMask) == copyModifier;
}

class OverlayKeyboardMonitor : public std::enable_shared_from_this<OverlayKeyboardMonitor> {
 public:
  struct Closures {
    std::function<bool()> isOverlayVisible;
    std::function<bool()> isOverlayPinned;
    // The text selected on the card, if any.
    std::function<std::optional<std::string>()> selectedText;
    std::function<void()> onEscape;
    std::function<void(const std::string& text)> onCopy;
  };

  // `copyModifier` is the one modifier flag of the copy chord.
  OverlayKeyboardMonitor(AccessibilityPermissionProviding& permission,
                         OverlayKeyboardEventTapManaging& eventTap, Closures closures,
                         uint64_t copyModifier = kPlatformCopyChordModifier);
  OverlayKeyboardMonitor(const OverlayKeyboardMonitor&) = delete;
  OverlayKeyboardMonitor& operator=(const OverlayKeyboardMonitor&) = delete;

  // False without accessibility trust or when the tap cannot run; the caller then
  // falls back on an in-process monitor.
  bool start();
  // Stops the tap and forgets the pending key-ups.
  void stop();
  bool isRunning() const { return isRunning_.load(std::memory_order_acquire); }

  // The tap's event handler: true to swallow the event.
  bool handleEvent(const OverlayKeyboardEvent& event);

  // Whether the release of `keyCode` is still to be swallowed.
  bool isKeyUpPending(uint16_t keyCode) const;

 private:
  void rememberConsumedPress(uint16_t keyCode);

  AccessibilityPermissionProviding& permission_;
  OverlayKeyboardEventTapManaging& eventTap_;
  const Closures closures_;
  const uint64_t copyModifier_;

  mutable std::mutex keyStateLock_;
  // Guarded by keyStateLock_: keys whose press was swallowed and whose release is
  // still to be swallowed. A bit per key code, so the tap thread never allocates.
  std::bitset<0x10000> pendingConsumedKeyUps_;

  std::atomic<bool> isRunning_{false};
};

}  // namespace trelvis
