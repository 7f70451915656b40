#pragma once

// X11KeyTranslation: the constant tables between X11's keys and modifiers and the
// trigger logic's US-layout virtual key codes, modifier flag bits, Carbon hot-key
// masks and bottom-left-origin points. Pure functions without an X connection,
// usable from any thread; the X11 taps and the hot-key registrar build on them.

#include <cstdint>
#include <optional>

#include "base/geometry.h"

namespace trelvis {

class X11KeyTranslation {
 public:
  // A keysym (an X `KeySym`) → the virtual key code of the key that carries it on
  // a US layout. Letters in either case map to their key; nothing for a keysym
  // that has no such key.
  static std::optional<uint16_t> virtualKeyCode(unsigned long keysym);

  // The reverse: the keysym a US layout puts on the unshifted key, for grabbing a
  // hot key. Nothing for a code that has no key here.
  static std::optional<unsigned long> keysym(uint16_t virtualKeyCode);

  // The flag bit a modifier key holds down (Caps Lock's bit for Caps Lock), or
  // nothing for a key that is not a modifier.
  static std::optional<uint64_t> modifierFlag(uint16_t virtualKeyCode);

  // X modifier state (ShiftMask, LockMask, ControlMask, Mod1 = Option, Mod4 =
  // Command) → the flag bits. Other X modifiers (Num Lock, AltGr) add nothing.
  static uint64_t modifierFlags(unsigned int xState);

  // As modifierFlags, but with Control reported as Command: the copy chord of this
  // platform is Control+C, which the overlay's logic knows as the Command chord.
  static uint64_t shortcutModifierFlags(unsigned int xState);

  // A Carbon mask (command 0x100, shift 0x200, option 0x800, control 0x1000) → the X
  // modifier mask a grab needs. Bits outside those four are not modifiers a hot
  // key can require and are left out.
  static unsigned int xModifierMask(uint32_t carbonModifiers);

  // A root-window position → a global point with its origin at the bottom left of
  // the primary screen, whose height is `primaryScreenHeight`.
  static Point globalPoint(double rootX, double rootY, double primaryScreenHeight) {
    return Point{rootX, primaryScreenHeight - rootY};
  }
};

}  // namespace trelvis
