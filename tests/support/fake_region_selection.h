#pragma once

// Fakes of the region selection overlay's seams: windows that record what they
// were asked into a CallLog ("w1 front", "w2 out") and keep what their view was
// given to draw, a windowing that names them in order of making and keeps every
// one it made (as an application's window list would, until they are released),
// and physical keys and buttons that the test holds down.

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/capture/region_selection_physical_state.h"
#include "core/capture/region_selection_surface.h"
#include "support/call_log.h"

namespace trelvis {

class FakeRegionSelectionWindow final : public RegionSelectionWindow, LogsCalls {
 public:
  FakeRegionSelectionWindow(CallLog& log, std::string name, Rect frame, Rect displayBounds)
      : LogsCalls(log), name(std::move(name)), frame(frame), displayBounds(displayBounds) {}

  std::string_view identifier() const override { return windowIdentifier; }
  bool isVisible() const override { return visible; }
  void orderFrontRegardless() override {
    visible = true;
    log_.add(name + " front");
  }
  void orderOut() override {
    visible = false;
    log_.add(name + " out");
  }
  void display(const RegionSelectionViewState& state) override { view = state; }

  // What the view reports when the user presses, drags or releases on it.
  void report(RegionSelectionPointerPhase phase, Point local) {
    if (onPointerEvent) onPointerEvent(phase, local);
  }

  const std::string name;
  const Rect frame;
  const Rect displayBounds;
  std::string windowIdentifier{kIdentifier};
  bool visible = false;
  RegionSelectionViewState view;
};

class FakeRegionSelectionWindowing final : public RegionSelectionWindowing, LogsCalls {
 public:
  using LogsCalls::LogsCalls;

  std::shared_ptr<RegionSelectionWindow> makeWindow(const Rect& frame, const Rect& displayBounds,
                                                    AppearanceMode appearance) override {
    auto window = std::make_shared<FakeRegionSelectionWindow>(
        log_, "w" + std::to_string(made.size() + 1), frame, displayBounds);
    window->view.appearance = appearance;
    log_.add("make " + window->name);
    made.push_back(window);
    return window;
  }

  std::vector<RegionSelectionWindow*> windows() override {
    std::vector<RegionSelectionWindow*> all;
    for (const auto& window : made) all.push_back(window.get());
    return all;
  }

  FakeRegionSelectionWindow& window(size_t number) { return *made.at(number - 1); }

  std::vector<std::shared_ptr<FakeRegionSelectionWindow>> made;
};

// Keys and buttons held down; records the keys asked about, in order.
class FakePhysicalInput {
 public:
  RegionSelectionPhysicalStateSource source() {
    return {[this] { return buttons; },
            [this](uint16_t keyCode) {
              keyQueries.push_back(keyCode);
              return keysDown.count(keyCode) > 0;
            }};
  }

  int buttons = 0;
  std::set<uint16_t> keysDown;
  std::vector<uint16_t> keyQueries;
};

}  // namespace trelvis
