#pragma once

// X11RawEventTranslator: turns XInput2 raw key, button and motion events into the
// command tap's events (flags changed, key down, mouse down/up/dragged) with the
// modifier flags they happen under. Raw events carry neither modifier state nor
// logical button numbers, so the translator tracks which modifier keys and which
// button are down itself. It does no X I/O: X11CommandEventTap feeds it on the tap
// thread, together with the keyboard and pointer mappings and the lock state that
// XKB reports. Not thread-safe; one thread owns it.

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "core/triggers/input_events.h"

namespace trelvis {

class X11RawEventTranslator {
 public:
  struct Event {
    InputEventType type;
    uint16_t keyCode;
    uint64_t modifierFlags;
    friend bool operator==(const Event&, const Event&) = default;
  };

  // X keycodes are 8...255.
  using KeycodeMap = std::array<uint16_t, 256>;
  // A key whose keysym has no virtual key code still ends a gesture when pressed;
  // it reports as this base plus its X keycode, above every real virtual code.
  static constexpr uint16_t kUnmappedKeyBase = 0x100;

  // The keycode map of a core keyboard mapping: `keysyms` holds
  // `keysymsPerKeycode` entries for each keycode from `minKeycode` on, as
  // XGetKeyboardMapping returns them. A key is known by its first keysym, or its
  // second when the first is empty.
  static KeycodeMap keycodeMap(std::span<const unsigned long> keysyms, int minKeycode,
                               int keysymsPerKeycode);

  X11RawEventTranslator();

  void setKeycodeMap(const KeycodeMap& map) { keycodeMap_ = map; }
  // The core pointer's button map: entry i is the logical button of physical
  // button i + 1 (XGetPointerMapping). Buttons beyond it keep their numbers.
  void setButtonMap(std::span<const unsigned char> map);
  // The latched and locked X modifiers (XKB); Caps Lock's flag comes from here.
  void setLatchedAndLockedModifiers(unsigned int xModifiers) { lockedModifiers_ = xModifiers; }
  // Which keys and whether the left button are down already when tracking begins:
  // `keymap` is the 32-byte bit vector of XQueryKeymap.
  void setInitialState(std::span<const char, 32> keymap, bool leftButtonDown);

  std::optional<Event> keyPress(uint32_t keycode);
  std::optional<Event> keyRelease(uint32_t keycode);
  std::optional<Event> buttonPress(uint32_t physicalButton);
  std::optional<Event> buttonRelease(uint32_t physicalButton);
  std::optional<Event> motion();

  // The flags in force now.
  uint64_t modifierFlags() const;

 private:
  uint16_t virtualCode(uint32_t keycode) const;
  uint32_t logicalButton(uint32_t physicalButton) const;
  void setKeyDown(uint32_t keycode, bool down);

  KeycodeMap keycodeMap_{};
  std::array<unsigned char, 256> buttonMap_{};
  std::array<bool, 256> keyDown_{};
  // How many keys hold each of Shift, Control, Option and Command down.
  std::array<uint8_t, 4> heldModifierKeys_{};
  unsigned int lockedModifiers_ = 0;
  bool leftButtonDown_ = false;
};

}  // namespace trelvis
