// Cost of CommandTapMonitor::handleEvent on the tap thread, with closures that do
// nothing, so the figure is the monitor's own: the lock, the recognizers and the
// delivery. A tap press-and-release of left Option (two flags-changed events, each
// delivering a region update, the release also a lookup tap), and a pointer drag
// delivering a changed update per event. The last case goes through the tap's
// handler as well, which holds the monitor weakly.

#include "base/clock.h"
#include "core/triggers/command_tap_monitor.h"
#include "core/triggers/modifier_keys.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <optional>
#include <utility>

namespace trelvis {
namespace {

class TrustedProcess final : public AccessibilityPermissionProviding {
 public:
  bool isProcessTrusted() const override { return true; }
};

class HandlerHoldingTap final : public CommandEventTapManaging {
 public:
  bool start(EventHandler handler) override {
    handler_ = std::move(handler);
    return true;
  }
  void stop() override { handler_ = nullptr; }
  void enable() override {}
  const EventHandler& handler() const { return handler_; }

 private:
  EventHandler handler_;
};

struct Setup {
  Setup() {
    const ShortcutBinding lookup{"lookupTrigger", ShortcutBindingKind::modifierTap,
                                 KeyCodes::leftOption, 0};
    const ShortcutBinding region{"regionSelectionTrigger", ShortcutBindingKind::modifierTap,
                                 KeyCodes::leftOption, 0};
    monitor = std::make_shared<CommandTapMonitor>(
        permission, tap, clock, lookup, region, [] {},
        [](const RegionSelectionGestureUpdate& update) { benchmark::DoNotOptimize(&update); });
    monitor->configureSelect(std::nullopt, nullptr);
    monitor->start();
  }
  TrustedProcess permission;
  HandlerHoldingTap tap;
  ContinuousClock clock;
  std::shared_ptr<CommandTapMonitor> monitor;
};

void BM_HandleFlagsChanged(benchmark::State& state) {
  Setup s;
  bool down = false;
  for (auto _ : state) {
    down = !down;
    benchmark::DoNotOptimize(s.monitor->handleEvent(InputEventType::flagsChanged,
                                                    KeyCodes::leftOption,
                                                    down ? ModifierFlags::option : 0, {100, 200}));
  }
}
BENCHMARK(BM_HandleFlagsChanged);

void BM_HandleMouseDragged(benchmark::State& state) {
  Setup s;
  s.monitor->handleEvent(InputEventType::flagsChanged, KeyCodes::leftOption, ModifierFlags::option,
                         {0, 0});
  s.monitor->handleEvent(InputEventType::leftMouseDown, 0, ModifierFlags::option, {10, 10});
  double x = 10;
  for (auto _ : state) {
    x += 1;
    benchmark::DoNotOptimize(s.monitor->handleEvent(InputEventType::leftMouseDragged, 0,
                                                    ModifierFlags::option, {x, 20}));
  }
}
BENCHMARK(BM_HandleMouseDragged);

void BM_TapHandlerFlagsChanged(benchmark::State& state) {
  Setup s;
  const auto& handler = s.tap.handler();
  bool down = false;
  for (auto _ : state) {
    down = !down;
    handler(InputEventType::flagsChanged, KeyCodes::leftOption, down ? ModifierFlags::option : 0,
            {100, 200});
  }
}
BENCHMARK(BM_TapHandlerFlagsChanged);

}  // namespace
}  // namespace trelvis
