#pragma once

// TriggerRecognizers: the recognizers of one trigger monitor (lookup tap, select
// tap, region shortcut, region drag) and the one dispatch of input events over
// them, shared by the global command tap monitor and the in-process fallback. It
// decides; the monitor that owns it guards it (CommandTapMonitor under its lock,
// LocalOptionTapMonitor on the main thread) and delivers the decision after
// letting go of the lock. A plain value; handling an event allocates nothing.

#include <cstdint>
#include <optional>

#include "base/clock.h"
#include "base/geometry.h"
#include "core/triggers/input_events.h"
#include "core/triggers/modifier_tap_recognizer.h"
#include "core/triggers/region_selection_drag_recognizer.h"
#include "core/triggers/region_selection_gesture_update.h"
#include "core/triggers/region_selection_shortcut_recognizer.h"
#include "core/triggers/shortcut_binding.h"

namespace trelvis {

// What one event decided, to be delivered in this order: the region update (unless
// none), then the lookup tap, then the select tap.
struct TriggerDecision {
  RegionSelectionGestureUpdate update;
  bool fireLookup = false;
  bool fireSelect = false;
  friend bool operator==(const TriggerDecision&, const TriggerDecision&) = default;
};

class TriggerRecognizers {
 public:
  // Key combination bindings have no recognizer here: pass none for them.
  TriggerRecognizers(std::optional<ShortcutBinding> lookupBinding,
                     std::optional<ShortcutBinding> regionBinding);

  // Installs the select recognizer (none removes it). When select and lookup are
  // the same gesture only the select recognizer runs, and its taps say they share
  // the lookup binding.
  void configureSelect(const std::optional<ShortcutBinding>& selectBinding);

  // `now` matters only for a primary-button press, which may start a drag.
  TriggerDecision handleEvent(InputEventType type, uint16_t keyCode, uint64_t modifierFlags,
                              Point location, Instant now);

  // After the platform dropped events: presses in flight are forgotten and an
  // armed selection is cancelled, but a running drag goes on.
  RegionSelectionGestureUpdate recoverFromInputInterruption();
  // When the monitor stops: presses, the region shortcut and any drag end.
  RegionSelectionGestureUpdate endGestures();
  // The region overlay went away on its own: back to idle without an update.
  void cancelRegionSelection();
  // A drag began elsewhere: the modifier press that armed it is not a tap.
  void consumeLookupTap();

  bool selectSharesLookupBinding() const { return selectSharesLookupBinding_; }
  const std::optional<ModifierTapRecognizer>& lookupRecognizer() const { return lookupRecognizer_; }
  const std::optional<ModifierTapRecognizer>& selectRecognizer() const { return selectRecognizer_; }
  const std::optional<RegionSelectionShortcutRecognizer>& regionRecognizer() const {
    return regionRecognizer_;
  }
  const RegionSelectionDragRecognizer& regionDragRecognizer() const {
    return regionDragRecognizer_;
  }

 private:
  RegionSelectionGestureUpdate handleRegionFlags(uint16_t keyCode, uint64_t modifierFlags);

  std::optional<ShortcutBinding> lookupBinding_;
  std::optional<ModifierTapRecognizer> lookupRecognizer_;
  std::optional<ModifierTapRecognizer> selectRecognizer_;
  bool selectSharesLookupBinding_ = false;
  std::optional<RegionSelectionShortcutRecognizer> regionRecognizer_;
  RegionSelectionDragRecognizer regionDragRecognizer_;
};

}  // namespace trelvis
