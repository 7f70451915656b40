#pragma once

// The modifier keys that can be tapped as a shortcut, and the masks over the
// modifier flags that the recognizers and the shortcut recorder share. Constant
// tables, usable from any thread.

#include <cstdint>
#include <optional>

#include "core/triggers/input_events.h"

namespace trelvis {

// The Carbon modifier mask of a binding: command 0x100, shift 0x200, option 0x800,
// control 0x1000.
namespace CarbonModifiers {
inline constexpr uint32_t command = 0x100;
inline constexpr uint32_t shift = 0x200;
inline constexpr uint32_t option = 0x800;
inline constexpr uint32_t control = 0x1000;
// Control + Option, the one modifier chord there is.
inline constexpr uint32_t chord = control | option;
}  // namespace CarbonModifiers

namespace ModifierMasks {
// Caps Lock, Shift, Control, Option, Command, Function.
inline constexpr uint64_t allModifiers = 0x9F0000;
// Control and Option.
inline constexpr uint64_t chord = ModifierFlags::control | ModifierFlags::option;
// Caps Lock, Shift, Command, Function: any of them spoils a chord.
inline constexpr uint64_t chordForeign = 0x930000;
}  // namespace ModifierMasks

// The key code of a binding that has no key (a modifier chord).
inline constexpr uint16_t kNoKeyCode = 0xFFFF;

// One of the four keys a tap may be bound to. Left and right keys of a modifier
// share one flag bit, so the other side is tracked by its own key code.
struct TapKey {
  uint16_t keyCode;
  uint64_t flag;
  uint32_t carbonFlag;
  uint16_t pairedKeyCode;
};

constexpr std::optional<TapKey> tapKey(uint16_t keyCode) {
  switch (keyCode) {
    case KeyCodes::leftOption:
      return TapKey{keyCode, ModifierFlags::option, CarbonModifiers::option, KeyCodes::rightOption};
    case KeyCodes::leftControl:
      return TapKey{keyCode, ModifierFlags::control, CarbonModifiers::control,
                    KeyCodes::rightControl};
    case KeyCodes::rightOption:
      return TapKey{keyCode, ModifierFlags::option, CarbonModifiers::option, KeyCodes::leftOption};
    case KeyCodes::rightControl:
      return TapKey{keyCode, ModifierFlags::control, CarbonModifiers::control,
                    KeyCodes::leftControl};
    default:
      return std::nullopt;
  }
}

// 58, 59, 61 and 62; right Shift (60) deliberately is not one of them.
constexpr bool isTapKey(uint16_t keyCode) {
  return tapKey(keyCode).has_value();
}

}  // namespace trelvis
