#include "platform/x11/x11_region_selection_physical_state.h"

#include <X11/Xlib.h>

#include <array>
#include <utility>

#include "platform/x11/x11_connection.h"

namespace trelvis {

X11RegionSelectionPhysicalState::X11RegionSelectionPhysicalState(std::string displayName)
    : connection_(std::make_unique<x11::SharedConnection>(std::move(displayName))) {}

X11RegionSelectionPhysicalState::~X11RegionSelectionPhysicalState() = default;

int X11RegionSelectionPhysicalState::pressedMouseButtons() const {
  int buttons = 0;
  connection_->ask([&](x11::Connection& connection) {
    if (x11::queryPointer(connection.display(), connection.root()).mask & Button1Mask) buttons = 1;
  });
  return buttons;
}

bool X11RegionSelectionPhysicalState::keyState(uint16_t virtualKeyCode) const {
  bool down = false;
  connection_->ask([&](x11::Connection& connection) {
    Display* display = connection.display();
    const auto map = x11::keycodeMap(display);
    if (!map) return;
    std::array<char, 32> keys{};
    XQueryKeymap(display, keys.data());
    for (size_t keycode = 0; keycode < map->size() && !down; ++keycode) {
      const auto bits = static_cast<unsigned char>(keys[keycode / 8]);
      down = (*map)[keycode] == virtualKeyCode && (bits & (1u << (keycode % 8)));
    }
  });
  return down;
}

RegionSelectionPhysicalStateSource X11RegionSelectionPhysicalState::source() const {
  return {[this] { return pressedMouseButtons(); },
          [this](uint16_t keyCode) { return keyState(keyCode); }};
}

}  // namespace trelvis
