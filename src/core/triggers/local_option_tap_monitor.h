#pragma once

// LocalOptionTapMonitor drives the same trigger recognizers as CommandTapMonitor,
// fed by an in-process event monitor instead of the global tap. It stands in while
// the tap cannot run (no accessibility trust) and this application is frontmost.
// Everything, the closures included, runs on the main thread, so it has no lock.
// Own it through std::shared_ptr: the monitor's handler holds it weakly, so a
// closure may drop the last owner while an event is being handled. Borrows the
// event source, the pointer and the clock; it never swallows an event.

#include <functional>
#include <memory>
#include <optional>

#include "base/clock.h"
#include "base/geometry.h"
#include "core/triggers/input_events.h"
#include "core/triggers/region_selection_gesture_update.h"
#include "core/triggers/shortcut_binding.h"
#include "core/triggers/trigger_recognizers.h"

namespace trelvis {

class LocalOptionTapMonitor : public std::enable_shared_from_this<LocalOptionTapMonitor> {
 public:
  using OnTrigger = std::function<void()>;
  using OnRegionSelection = std::function<void(const RegionSelectionGestureUpdate& update)>;
  using OnSelectTrigger = std::function<void(bool sharesLookupBinding, Point location)>;

  // Pass none for a binding of kind keyCombo. A select binding equal to the lookup
  // binding replaces the lookup recognizer, as in CommandTapMonitor.
  LocalOptionTapMonitor(LocalEventMonitoring& events, const PointerLocating& pointer,
                        const Clock& clock, std::optional<ShortcutBinding> lookupBinding,
                        std::optional<ShortcutBinding> regionBinding,
                        std::optional<ShortcutBinding> selectBinding, OnTrigger onTrigger,
                        OnSelectTrigger onSelectTrigger, OnRegionSelection onRegionSelection);
  ~LocalOptionTapMonitor();
  LocalOptionTapMonitor(const LocalOptionTapMonitor&) = delete;
  LocalOptionTapMonitor& operator=(const LocalOptionTapMonitor&) = delete;

  // Installs the in-process monitor (once); false when none could be had.
  bool start();
  // Removes the monitor and ends any gesture, delivering a region cancellation.
  void stop();
  bool isRunning() const { return monitor_.has_value(); }

  // Always false: the events go on to the application.
  bool handleEvent(InputEventType type, uint16_t keyCode, uint64_t modifierFlags, Point location);

  void cancelRegionSelection() { recognizers_.cancelRegionSelection(); }
  void consumeLookupTapForRegionSelection() { recognizers_.consumeLookupTap(); }

  const TriggerRecognizers& recognizers() const { return recognizers_; }

 private:
  LocalEventMonitoring& events_;
  const PointerLocating& pointer_;
  const Clock& clock_;
  const OnTrigger onTrigger_;
  const OnSelectTrigger onSelectTrigger_;
  const OnRegionSelection onRegionSelection_;
  std::optional<LocalEventMonitoring::Token> monitor_;
  TriggerRecognizers recognizers_;
};

}  // namespace trelvis
