#include "core/triggers/command_tap_monitor.h"

#include "base/check.h"
#include "base/log.h"

#include <utility>

namespace trelvis {
namespace {
const LogCategory kLog("command-event-tap");
}  // namespace

CommandTapMonitor::CommandTapMonitor(AccessibilityPermissionProviding& permission,
                                     CommandEventTapManaging& eventTap, const Clock& clock,
                                     std::optional<ShortcutBinding> lookupBinding,
                                     std::optional<ShortcutBinding> regionBinding,
                                     OnTrigger onTrigger, OnRegionSelection onRegionSelection)
    : permission_(permission),
      eventTap_(eventTap),
      clock_(clock),
      onTrigger_(std::move(onTrigger)),
      onRegionSelection_(std::move(onRegionSelection)),
      recognizers_(std::move(lookupBinding), std::move(regionBinding)) {}

void CommandTapMonitor::configureSelect(std::optional<ShortcutBinding> binding,
                                        OnSelectTrigger onTrigger) {
  auto closure =
      onTrigger ? std::make_shared<const OnSelectTrigger>(std::move(onTrigger)) : nullptr;
  std::shared_ptr<const OnSelectTrigger> previous;
  {
    std::lock_guard lock(recognizerLock_);
    previous = std::exchange(onSelectTrigger_, std::move(closure));
    recognizers_.configureSelect(binding);
  }
  // `previous` dies here, outside the lock.
}

bool CommandTapMonitor::start() {
  if (!permission_.isProcessTrusted()) return false;
  std::weak_ptr<CommandTapMonitor> weak = weak_from_this();
  TRELVIS_DCHECK(!weak.expired(), "a CommandTapMonitor must be owned by a std::shared_ptr");
  const bool started = eventTap_.start(
      [weak](InputEventType type, uint16_t keyCode, uint64_t modifierFlags, Point location) {
        if (const auto self = weak.lock())
          self->handleEvent(type, keyCode, modifierFlags, location);
      });
  if (started) isRunning_.store(true, std::memory_order_release);
  return started;
}

void CommandTapMonitor::stop() {
  eventTap_.stop();
  RegionSelectionGestureUpdate update;
  {
    std::lock_guard lock(recognizerLock_);
    update = recognizers_.endGestures();
  }
  if (!update.isNone() && onRegionSelection_) onRegionSelection_(update);
  isRunning_.store(false, std::memory_order_release);
}

bool CommandTapMonitor::handleEvent(InputEventType type, uint16_t keyCode, uint64_t modifierFlags,
                                    Point location) {
  if (type == InputEventType::tapDisabledByTimeout ||
      type == InputEventType::tapDisabledByUserInput) {
    kLog.error(type == InputEventType::tapDisabledByTimeout
                   ? "tap disabled by timeout — re-enabling"
                   : "tap disabled by user input — re-enabling");
    RegionSelectionGestureUpdate update;
    {
      std::lock_guard lock(recognizerLock_);
      update = recognizers_.recoverFromInputInterruption();
    }
    eventTap_.enable();
    if (!update.isNone() && onRegionSelection_) onRegionSelection_(update);
    return false;
  }

  // Only a press can start a drag, and only then is the moment needed.
  const Instant now = type == InputEventType::leftMouseDown ? clock_.now() : Instant();
  TriggerDecision decision;
  std::shared_ptr<const OnSelectTrigger> onSelectTrigger;
  bool selectSharesLookupBinding = false;
  {
    std::lock_guard lock(recognizerLock_);
    decision = recognizers_.handleEvent(type, keyCode, modifierFlags, location, now);
    if (decision.fireSelect) {
      onSelectTrigger = onSelectTrigger_;
      selectSharesLookupBinding = recognizers_.selectSharesLookupBinding();
    }
  }
  if (!decision.update.isNone() && onRegionSelection_) onRegionSelection_(decision.update);
  if (decision.fireLookup && onTrigger_) onTrigger_();
  if (decision.fireSelect && onSelectTrigger && *onSelectTrigger) {
    (*onSelectTrigger)(selectSharesLookupBinding, location);
  }
  return false;
}

void CommandTapMonitor::cancelRegionSelection() {
  std::lock_guard lock(recognizerLock_);
  recognizers_.cancelRegionSelection();
}

void CommandTapMonitor::consumeLookupTapForRegionSelection() {
  std::lock_guard lock(recognizerLock_);
  recognizers_.consumeLookupTap();
}

TriggerRecognizers CommandTapMonitor::recognizers() const {
  std::lock_guard lock(recognizerLock_);
  return recognizers_;
}

}  // namespace trelvis
