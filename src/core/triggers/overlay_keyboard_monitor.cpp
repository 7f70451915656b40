#include "core/triggers/overlay_keyboard_monitor.h"

#include "base/check.h"
#include "base/log.h"

#include <utility>

namespace trelvis {
namespace {
const LogCategory kLog("overlay-keyboard-tap");
}  // namespace

OverlayKeyboardMonitor::OverlayKeyboardMonitor(AccessibilityPermissionProviding& permission,
                                               OverlayKeyboardEventTapManaging& eventTap,
                                               Closures closures, uint64_t copyModifier)
    : permission_(permission),
      eventTap_(eventTap),
      closures_(std::move(closures)),
      copyModifier_(copyModifier) {}

bool OverlayKeyboardMonitor::start() {
  if (!permission_.isProcessTrusted()) return false;
  std::weak_ptr<OverlayKeyboardMonitor> weak = weak_from_this();
  TRELVIS_DCHECK(!weak.expired(), "an OverlayKeyboardMonitor must be owned by a std::shared_ptr");
  const bool started = eventTap_.start([weak](const OverlayKeyboardEvent& event) {
    const auto self = weak.lock();
    return self && self->handleEvent(event);
  });
  if (started) isRunning_.store(true, std::memory_order_release);
  return started;
}

void OverlayKeyboardMonitor::stop() {
  eventTap_.stop();
  {
    std::lock_guard lock(keyStateLock_);
    pendingConsumedKeyUps_.reset();
  }
  isRunning_.store(false, std::memory_order_release);
}

bool OverlayKeyboardMonitor::handleEvent(const OverlayKeyboardEvent& event) {
  switch (event.type) {
    case InputEventType::tapDisabledByTimeout:
    case InputEventType::tapDisabledByUserInput:
      kLog.error(event.type == InputEventType::tapDisabledByTimeout
                     ? "tap disabled by timeout — re-enabling"
                     : "tap disabled by user input — re-enabling");
      eventTap_.enable();
      return false;
    case InputEventType::keyUp: {
      // Visibility is not asked: a card that hid while the key was held still owns
      // the key's release.
      std::lock_guard lock(keyStateLock_);
      const bool pending = pendingConsumedKeyUps_.test(event.keyCode);
      pendingConsumedKeyUps_.reset(event.keyCode);
      return pending;
    }
    case InputEventType::keyDown:
      break;
    default:
      return false;
  }
  if (event.isRepeat) {
    // Repeats of a swallowed key stay swallowed; no other repeat is.
    std::lock_guard lock(keyStateLock_);
    return pendingConsumedKeyUps_.test(event.keyCode);
  }
  if (!closures_.isOverlayVisible || !closures_.isOverlayVisible()) return false;

  if (event.keyCode == KeyCodes::c) {
    if (!isCopyChord(event.keyCode, event.modifierFlags, copyModifier_)) return false;
    std::optional<std::string> text =
        closures_.selectedText ? closures_.selectedText() : std::nullopt;
    if (!text || text->empty()) return false;
    rememberConsumedPress(event.keyCode);
    if (closures_.onCopy) closures_.onCopy(*text);
    return true;
  }
  if (event.keyCode == KeyCodes::escape) {
    // A pinned card stays; Escape belongs to the application in front.
    if (closures_.isOverlayPinned && closures_.isOverlayPinned()) return false;
    rememberConsumedPress(event.keyCode);
    if (closures_.onEscape) closures_.onEscape();
    return true;
  }
  return false;
}

void OverlayKeyboardMonitor::rememberConsumedPress(uint16_t keyCode) {
  std::lock_guard lock(keyStateLock_);
  pendingConsumedKeyUps_.set(keyCode);
}

bool OverlayKeyboardMonitor::isKeyUpPending(uint16_t keyCode) const {
  std::lock_guard lock(keyStateLock_);
  return pendingConsumedKeyUps_.test(keyCode);
}

}  // namespace trelvis
