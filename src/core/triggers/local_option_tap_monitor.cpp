#include "core/triggers/local_option_tap_monitor.h"

#include "base/check.h"

#include <utility>

namespace trelvis {

LocalOptionTapMonitor::LocalOptionTapMonitor(LocalEventMonitoring& events,
                                             const PointerLocating& pointer, const Clock& clock,
                                             std::optional<ShortcutBinding> lookupBinding,
                                             std::optional<ShortcutBinding> regionBinding,
                                             std::optional<ShortcutBinding> selectBinding,
                                             OnTrigger onTrigger, OnSelectTrigger onSelectTrigger,
                                             OnRegionSelection onRegionSelection)
    : events_(events),
      pointer_(pointer),
      clock_(clock),
      onTrigger_(std::move(onTrigger)),
      onSelectTrigger_(std::move(onSelectTrigger)),
      onRegionSelection_(std::move(onRegionSelection)),
      recognizers_(std::move(lookupBinding), std::move(regionBinding)) {
  recognizers_.configureSelect(selectBinding);
}

LocalOptionTapMonitor::~LocalOptionTapMonitor() {
  // A monitor left installed would call a handler whose target is gone; the
  // handler holds us weakly, but the event source should not keep it either.
  if (monitor_) events_.removeMonitor(*monitor_);
}

bool LocalOptionTapMonitor::start() {
  if (monitor_) return true;
  std::weak_ptr<LocalOptionTapMonitor> weak = weak_from_this();
  TRELVIS_DCHECK(!weak.expired(), "a LocalOptionTapMonitor must be owned by a std::shared_ptr");
  monitor_ = events_.addLocalMonitor(kCommandTapEventMask, [weak](const LocalInputEvent& event) {
    const auto self = weak.lock();
    if (!self) return true;
    switch (event.type) {
      case InputEventType::leftMouseDown:
      case InputEventType::leftMouseUp:
      case InputEventType::rightMouseDown:
      case InputEventType::leftMouseDragged:
      case InputEventType::otherMouseDown:
        self->handleEvent(event.type, 0, event.modifierFlags, self->pointer_.mouseLocation());
        break;
      case InputEventType::keyDown:
      case InputEventType::flagsChanged:
        self->handleEvent(event.type, event.keyCode, event.modifierFlags,
                          self->pointer_.mouseLocation());
        break;
      default:
        break;
    }
    return true;
  });
  return monitor_.has_value();
}

void LocalOptionTapMonitor::stop() {
  if (const std::optional<LocalEventMonitoring::Token> token =
          std::exchange(monitor_, std::nullopt)) {
    events_.removeMonitor(*token);
  }
  const RegionSelectionGestureUpdate update = recognizers_.endGestures();
  if (!update.isNone() && onRegionSelection_) onRegionSelection_(update);
}

bool LocalOptionTapMonitor::handleEvent(InputEventType type, uint16_t keyCode,
                                        uint64_t modifierFlags, Point location) {
  // An in-process monitor is never disabled by the system: nothing to recover from.
  if (type == InputEventType::tapDisabledByTimeout ||
      type == InputEventType::tapDisabledByUserInput) {
    return false;
  }
  const Instant now = type == InputEventType::leftMouseDown ? clock_.now() : Instant();
  const TriggerDecision decision =
      recognizers_.handleEvent(type, keyCode, modifierFlags, location, now);
  const bool selectSharesLookupBinding = recognizers_.selectSharesLookupBinding();
  // The closures may drop the last owner of this monitor; keep it alive until the
  // decision is delivered.
  const auto keepAlive = weak_from_this().lock();
  if (!decision.update.isNone() && onRegionSelection_) onRegionSelection_(decision.update);
  if (decision.fireLookup && onTrigger_) onTrigger_();
  if (decision.fireSelect && onSelectTrigger_) {
    onSelectTrigger_(selectSharesLookupBinding, location);
  }
  return false;
}

}  // namespace trelvis
