#include "platform/x11/x11_raw_event_translator.h"

#include <X11/X.h>
#include <X11/keysym.h>

#include "platform/x11/x11_key_translation.h"

namespace trelvis {
namespace {

constexpr uint16_t kNoCode = 0xFFFF;

// The slot of heldModifierKeys_ for each flag a modifier key holds down.
constexpr std::array<uint64_t, 4> kHeldFlags = {ModifierFlags::shift, ModifierFlags::control,
                                                ModifierFlags::option, ModifierFlags::command};

std::optional<size_t> heldSlot(uint64_t flag) {
  for (size_t slot = 0; slot < kHeldFlags.size(); ++slot) {
    if (kHeldFlags[slot] == flag) return slot;
  }
  return std::nullopt;
}

}  // namespace

X11RawEventTranslator::KeycodeMap X11RawEventTranslator::keycodeMap(
    std::span<const unsigned long> keysyms, int minKeycode, int keysymsPerKeycode) {
  KeycodeMap map;
  map.fill(kNoCode);
  if (keysymsPerKeycode <= 0 || minKeycode < 0) return map;
  const size_t perKeycode = static_cast<size_t>(keysymsPerKeycode);
  for (size_t index = 0; index + perKeycode <= keysyms.size(); index += perKeycode) {
    const size_t keycode = static_cast<size_t>(minKeycode) + index / perKeycode;
    if (keycode >= map.size()) break;
    unsigned long keysym = keysyms[index];
    if (keysym == NoSymbol && perKeycode > 1) keysym = keysyms[index + 1];
    if (auto code = X11KeyTranslation::virtualKeyCode(keysym)) map[keycode] = *code;
  }
  return map;
}

X11RawEventTranslator::X11RawEventTranslator() {
  keycodeMap_.fill(kNoCode);
  for (size_t i = 0; i < buttonMap_.size(); ++i) {
    buttonMap_[i] = static_cast<unsigned char>(i + 1);
  }
}

void X11RawEventTranslator::setButtonMap(std::span<const unsigned char> map) {
  for (size_t i = 0; i < buttonMap_.size(); ++i) {
    buttonMap_[i] = i < map.size() ? map[i] : static_cast<unsigned char>(i + 1);
  }
}

void X11RawEventTranslator::setInitialState(std::span<const char, 32> keymap, bool leftButtonDown) {
  keyDown_.fill(false);
  heldModifierKeys_.fill(0);
  for (uint32_t keycode = 0; keycode < keyDown_.size(); ++keycode) {
    const auto bits = static_cast<unsigned char>(keymap[keycode / 8]);
    if (bits & (1u << (keycode % 8))) setKeyDown(keycode, true);
  }
  leftButtonDown_ = leftButtonDown;
}

uint16_t X11RawEventTranslator::virtualCode(uint32_t keycode) const {
  if (keycode < keycodeMap_.size() && keycodeMap_[keycode] != kNoCode) return keycodeMap_[keycode];
  return static_cast<uint16_t>(kUnmappedKeyBase + (keycode & 0xFF));
}

uint32_t X11RawEventTranslator::logicalButton(uint32_t physicalButton) const {
  if (physicalButton == 0 || physicalButton > buttonMap_.size()) return physicalButton;
  return buttonMap_[physicalButton - 1];
}

void X11RawEventTranslator::setKeyDown(uint32_t keycode, bool down) {
  if (keycode >= keyDown_.size() || keyDown_[keycode] == down) return;
  keyDown_[keycode] = down;
  auto flag = X11KeyTranslation::modifierFlag(virtualCode(keycode));
  if (!flag) return;
  if (auto slot = heldSlot(*flag)) {
    if (down) {
      ++heldModifierKeys_[*slot];
    } else if (heldModifierKeys_[*slot] > 0) {
      --heldModifierKeys_[*slot];
    }
  }
}

uint64_t X11RawEventTranslator::modifierFlags() const {
  uint64_t flags = X11KeyTranslation::modifierFlags(lockedModifiers_);
  for (size_t slot = 0; slot < kHeldFlags.size(); ++slot) {
    if (heldModifierKeys_[slot] > 0) flags |= kHeldFlags[slot];
  }
  return flags;
}

std::optional<X11RawEventTranslator::Event> X11RawEventTranslator::keyPress(uint32_t keycode) {
  const uint16_t code = virtualCode(keycode);
  const auto flag = X11KeyTranslation::modifierFlag(code);
  const bool wasDown = keycode < keyDown_.size() && keyDown_[keycode];
  setKeyDown(keycode, true);
  if (!flag) return Event{InputEventType::keyDown, code, modifierFlags()};
  // A modifier pressed again without a release changes nothing.
  if (wasDown) return std::nullopt;
  // Caps Lock toggles at the press; XKB's own report of the lock follows and
  // confirms it.
  if (code == KeyCodes::capsLock) lockedModifiers_ ^= LockMask;
  return Event{InputEventType::flagsChanged, code, modifierFlags()};
}

std::optional<X11RawEventTranslator::Event> X11RawEventTranslator::keyRelease(uint32_t keycode) {
  const uint16_t code = virtualCode(keycode);
  const bool wasDown = keycode < keyDown_.size() && keyDown_[keycode];
  setKeyDown(keycode, false);
  if (!wasDown || code == KeyCodes::capsLock || !X11KeyTranslation::modifierFlag(code)) {
    return std::nullopt;
  }
  return Event{InputEventType::flagsChanged, code, modifierFlags()};
}

std::optional<X11RawEventTranslator::Event> X11RawEventTranslator::buttonPress(
    uint32_t physicalButton) {
  const uint32_t button = logicalButton(physicalButton);
  switch (button) {
    case 0:  // disabled in the button map
    case 4:  // 4 to 7 are the scroll wheel's steps, not presses
    case 5:
    case 6:
    case 7:
      return std::nullopt;
    case 1:
      leftButtonDown_ = true;
      return Event{InputEventType::leftMouseDown, 0, modifierFlags()};
    case 3:
      return Event{InputEventType::rightMouseDown, 0, modifierFlags()};
    default:
      return Event{InputEventType::otherMouseDown, 0, modifierFlags()};
  }
}

std::optional<X11RawEventTranslator::Event> X11RawEventTranslator::buttonRelease(
    uint32_t physicalButton) {
  if (logicalButton(physicalButton) != 1) return std::nullopt;
  leftButtonDown_ = false;
  return Event{InputEventType::leftMouseUp, 0, modifierFlags()};
}

std::optional<X11RawEventTranslator::Event> X11RawEventTranslator::motion() {
  if (!leftButtonDown_) return std::nullopt;
  return Event{InputEventType::leftMouseDragged, 0, modifierFlags()};
}

}  // namespace trelvis
