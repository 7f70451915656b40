#include "platform/x11/x11_key_translation.h"

#include <X11/X.h>
#include <X11/XF86keysym.h>
#include <X11/keysym.h>

#include <array>

#include "core/triggers/input_events.h"

namespace trelvis {
namespace {

struct KeyEntry {
  unsigned long keysym;
  uint16_t code;
};

// The first entry of a code is the keysym that code grabs as. Keypad keys appear
// under both of their keysyms because Num Lock decides which one is unshifted.
constexpr KeyEntry kKeys[] = {
    {XK_a, 0},
    {XK_s, 1},
    {XK_d, 2},
    {XK_f, 3},
    {XK_h, 4},
    {XK_g, 5},
    {XK_z, 6},
    {XK_x, 7},
    {XK_c, 8},
    {XK_v, 9},
    {XK_b, 11},
    {XK_q, 12},
    {XK_w, 13},
    {XK_e, 14},
    {XK_r, 15},
    {XK_y, 16},
    {XK_t, 17},
    {XK_o, 31},
    {XK_u, 32},
    {XK_i, 34},
    {XK_p, 35},
    {XK_l, 37},
    {XK_j, 38},
    {XK_k, 40},
    {XK_n, 45},
    {XK_m, 46},
    {XK_1, 18},
    {XK_2, 19},
    {XK_3, 20},
    {XK_4, 21},
    {XK_6, 22},
    {XK_5, 23},
    {XK_9, 25},
    {XK_7, 26},
    {XK_8, 28},
    {XK_0, 29},
    {XK_equal, 24},
    {XK_minus, 27},
    {XK_bracketright, 30},
    {XK_bracketleft, 33},
    {XK_apostrophe, 39},
    {XK_semicolon, 41},
    {XK_backslash, 42},
    {XK_comma, 43},
    {XK_slash, 44},
    {XK_period, 47},
    {XK_grave, 50},
    {XK_Return, 36},
    {XK_Tab, 48},
    {XK_ISO_Left_Tab, 48},
    {XK_space, 49},
    {XK_BackSpace, 51},
    {XK_Escape, 53},
    {XK_Delete, 117},
    {XK_Super_R, 54},
    {XK_Super_L, 55},
    {XK_Shift_L, 56},
    {XK_Caps_Lock, 57},
    {XK_Alt_L, 58},
    {XK_Meta_L, 58},
    {XK_Control_L, 59},
    {XK_Shift_R, 60},
    {XK_Alt_R, 61},
    {XK_ISO_Level3_Shift, 61},
    {XK_Meta_R, 61},
    {XK_Control_R, 62},
    {XK_F1, 122},
    {XK_F2, 120},
    {XK_F3, 99},
    {XK_F4, 118},
    {XK_F5, 96},
    {XK_F6, 97},
    {XK_F7, 98},
    {XK_F8, 100},
    {XK_F9, 101},
    {XK_F10, 109},
    {XK_F11, 103},
    {XK_F12, 111},
    {XK_F13, 105},
    {XK_F14, 107},
    {XK_F15, 113},
    {XK_F16, 106},
    {XK_F17, 64},
    {XK_F18, 79},
    {XK_F19, 80},
    {XK_F20, 90},
    {XK_Left, 123},
    {XK_Right, 124},
    {XK_Down, 125},
    {XK_Up, 126},
    {XK_Help, 114},
    {XK_Insert, 114},
    {XK_Home, 115},
    {XK_Prior, 116},
    {XK_End, 119},
    {XK_Next, 121},
    {XK_KP_Decimal, 65},
    {XK_KP_Delete, 65},
    {XK_KP_Multiply, 67},
    {XK_KP_Add, 69},
    {XK_Num_Lock, 71},
    {XK_Clear, 71},
    {XK_KP_Divide, 75},
    {XK_KP_Enter, 76},
    {XK_KP_Subtract, 78},
    {XK_KP_Equal, 81},
    {XK_KP_0, 82},
    {XK_KP_Insert, 82},
    {XK_KP_1, 83},
    {XK_KP_End, 83},
    {XK_KP_2, 84},
    {XK_KP_Down, 84},
    {XK_KP_3, 85},
    {XK_KP_Next, 85},
    {XK_KP_4, 86},
    {XK_KP_Left, 86},
    {XK_KP_5, 87},
    {XK_KP_Begin, 87},
    {XK_KP_6, 88},
    {XK_KP_Right, 88},
    {XK_KP_7, 89},
    {XK_KP_Home, 89},
    {XK_KP_8, 91},
    {XK_KP_Up, 91},
    {XK_KP_9, 92},
    {XK_KP_Prior, 92},
    {XF86XK_AudioRaiseVolume, 72},
    {XF86XK_AudioLowerVolume, 73},
    {XF86XK_AudioMute, 74},
};

struct ModifierBit {
  unsigned int xMask;
  uint64_t flag;
};

constexpr std::array<ModifierBit, 5> kModifierBits = {{
    {ShiftMask, ModifierFlags::shift},
    {LockMask, ModifierFlags::capsLock},
    {ControlMask, ModifierFlags::control},
    {Mod1Mask, ModifierFlags::option},
    {Mod4Mask, ModifierFlags::command},
}};

constexpr uint32_t kCarbonCommand = 0x100;
constexpr uint32_t kCarbonShift = 0x200;
constexpr uint32_t kCarbonOption = 0x800;
constexpr uint32_t kCarbonControl = 0x1000;

}  // namespace

std::optional<uint16_t> X11KeyTranslation::virtualKeyCode(unsigned long keysym) {
  if (keysym >= XK_A && keysym <= XK_Z) keysym += XK_a - XK_A;
  for (const KeyEntry& entry : kKeys) {
    if (entry.keysym == keysym) return entry.code;
  }
  return std::nullopt;
}

std::optional<unsigned long> X11KeyTranslation::keysym(uint16_t virtualKeyCode) {
  for (const KeyEntry& entry : kKeys) {
    if (entry.code == virtualKeyCode) return entry.keysym;
  }
  return std::nullopt;
}

std::optional<uint64_t> X11KeyTranslation::modifierFlag(uint16_t virtualKeyCode) {
  switch (virtualKeyCode) {
    case KeyCodes::leftShift:
    case KeyCodes::rightShift:
      return ModifierFlags::shift;
    case KeyCodes::leftControl:
    case KeyCodes::rightControl:
      return ModifierFlags::control;
    case KeyCodes::leftOption:
    case KeyCodes::rightOption:
      return ModifierFlags::option;
    case KeyCodes::leftCommand:
    case KeyCodes::rightCommand:
      return ModifierFlags::command;
    case KeyCodes::capsLock:
      return ModifierFlags::capsLock;
    default:
      return std::nullopt;
  }
}

uint64_t X11KeyTranslation::modifierFlags(unsigned int xState) {
  uint64_t flags = 0;
  for (const ModifierBit& bit : kModifierBits) {
    if (xState & bit.xMask) flags |= bit.flag;
  }
  return flags;
}

uint64_t X11KeyTranslation::shortcutModifierFlags(unsigned int xState) {
  uint64_t flags = modifierFlags(xState & ~static_cast<unsigned int>(ControlMask | Mod4Mask));
  if (xState & ControlMask) flags |= ModifierFlags::command;
  if (xState & Mod4Mask) flags |= ModifierFlags::control;
  return flags;
}

unsigned int X11KeyTranslation::xModifierMask(uint32_t carbonModifiers) {
  unsigned int mask = 0;
  if (carbonModifiers & kCarbonCommand) mask |= Mod4Mask;
  if (carbonModifiers & kCarbonShift) mask |= ShiftMask;
  if (carbonModifiers & kCarbonOption) mask |= Mod1Mask;
  if (carbonModifiers & kCarbonControl) mask |= ControlMask;
  return mask;
}

}  // namespace trelvis
