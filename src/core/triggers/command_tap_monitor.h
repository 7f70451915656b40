#pragma once

// CommandTapMonitor drives the trigger recognizers from the global listen-only
// command tap: modifier taps for lookup and select, the region shortcut and its
// drag. Events arrive on the tap's own thread, where the recognizers change under
// `recognizerLock`; decisions are delivered after the lock is let go, on that same
// thread, so the closures must hop to the main thread themselves. The main thread
// builds, configures, starts and stops it. Own it through std::shared_ptr: the
// tap's handler holds it weakly. Borrows the permission, the tap and the clock,
// which must outlive it; it never consumes an event.

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "base/clock.h"
#include "base/geometry.h"
#include "core/triggers/input_events.h"
#include "core/triggers/region_selection_gesture_update.h"
#include "core/triggers/shortcut_binding.h"
#include "core/triggers/trigger_recognizers.h"

namespace trelvis {

class CommandTapMonitor : public std::enable_shared_from_this<CommandTapMonitor> {
 public:
  using OnTrigger = std::function<void()>;
  using OnRegionSelection = std::function<void(const RegionSelectionGestureUpdate& update)>;
  // Whether the select binding is the lookup binding, and where the tap happened.
  using OnSelectTrigger = std::function<void(bool sharesLookupBinding, Point location)>;

  // `clock` stamps the press that starts a region drag; in production the
  // continuous clock. Pass none for a binding of kind keyCombo.
  CommandTapMonitor(AccessibilityPermissionProviding& permission, CommandEventTapManaging& eventTap,
                    const Clock& clock, std::optional<ShortcutBinding> lookupBinding,
                    std::optional<ShortcutBinding> regionBinding, OnTrigger onTrigger,
                    OnRegionSelection onRegionSelection);
  CommandTapMonitor(const CommandTapMonitor&) = delete;
  CommandTapMonitor& operator=(const CommandTapMonitor&) = delete;

  // Installs the select tap (none removes it); a select binding equal to the
  // lookup binding replaces the lookup recognizer.
  void configureSelect(std::optional<ShortcutBinding> binding, OnSelectTrigger onTrigger);

  // False without accessibility trust or when the tap cannot run.
  bool start();
  // Stops the tap and ends any gesture, delivering a region cancellation.
  void stop();
  bool isRunning() const { return isRunning_.load(std::memory_order_acquire); }

  // The tap's event handler. Always false: the command tap never consumes.
  bool handleEvent(InputEventType type, uint16_t keyCode, uint64_t modifierFlags, Point location);

  // The region overlay ended the selection itself: back to idle, no update.
  void cancelRegionSelection();
  // A region drag began: the modifier press behind it must not also fire a tap.
  void consumeLookupTapForRegionSelection();

  // A copy of the recognizers, taken under the lock, for diagnostics and tests.
  TriggerRecognizers recognizers() const;

 private:
  AccessibilityPermissionProviding& permission_;
  CommandEventTapManaging& eventTap_;
  const Clock& clock_;
  const OnTrigger onTrigger_;
  const OnRegionSelection onRegionSelection_;

  mutable std::mutex recognizerLock_;
  // Guarded by recognizerLock_. Shared so that the tap thread can take the select
  // closure out from under the lock without copying it.
  TriggerRecognizers recognizers_;
  std::shared_ptr<const OnSelectTrigger> onSelectTrigger_;

  std::atomic<bool> isRunning_{false};
};

}  // namespace trelvis
