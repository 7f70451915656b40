#pragma once

// commandTapMonitorsOver: the shortcut controller's factory of command tap
// monitors, each over the given permission, tap and clock, for the tests that
// build a controller. The three must outlive the controller.

#include <memory>
#include <optional>
#include <utility>

#include "core/triggers/shortcut_controller.h"

namespace trelvis::testing {

inline ShortcutController::MakeCommandTapMonitor commandTapMonitorsOver(
    AccessibilityPermissionProviding& permission, CommandEventTapManaging& tap,
    const Clock& clock) {
  return [&permission, &tap, &clock](std::optional<ShortcutBinding> lookup,
                                     std::optional<ShortcutBinding> region,
                                     CommandTapMonitor::OnTrigger onTrigger,
                                     CommandTapMonitor::OnRegionSelection onRegion) {
    return std::make_shared<CommandTapMonitor>(permission, tap, clock, lookup, region,
                                               std::move(onTrigger), std::move(onRegion));
  };
}

}  // namespace trelvis::testing
