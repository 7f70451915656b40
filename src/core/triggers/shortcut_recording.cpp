#include "core/triggers/shortcut_recording.h"

#include "core/triggers/shortcut_validator.h"

namespace trelvis {
namespace {

constexpr uint32_t kChordCarbonFlags = 0x1800;        // Control + Option
constexpr uint64_t kForeignModifierFlags = 0x930000;  // Caps Lock, Shift, Command, Function

bool isTapKey(uint16_t keyCode) {
  return keyCode == KeyCodes::leftOption || keyCode == KeyCodes::leftControl ||
         keyCode == KeyCodes::rightOption || keyCode == KeyCodes::rightControl;
}

bool isModifierKey(uint16_t keyCode) {
  return keyCode >= 54 && keyCode <= 63;
}

// The flag bit and Carbon bit of a tap key.
uint64_t tapKeyFlag(uint16_t keyCode) {
  return (keyCode == KeyCodes::leftOption || keyCode == KeyCodes::rightOption)
             ? ModifierFlags::option
             : ModifierFlags::control;
}
uint32_t tapKeyCarbonFlag(uint16_t keyCode) {
  return tapKeyFlag(keyCode) == ModifierFlags::option ? 0x800 : 0x1000;
}

}  // namespace

void ShortcutRecordingSession::clearPending() {
  pendingModifierKeyCode_.reset();
  pendingModifierKeyCodes_.clear();
  pendingModifierCarbonFlags_ = 0;
  pendingModifierCancelled_ = false;
}

ShortcutRecordingResult ShortcutRecordingSession::handleKeyDown(uint16_t keyCode,
                                                                uint64_t modifierFlags) {
  clearPending();
  const uint32_t carbon = ShortcutValidator::carbonModifiers(modifierFlags);
  if (carbon == 0 && (keyCode == 51 || keyCode == 117))
    return {ShortcutRecordingResult::ResetDefault{}};
  if (carbon == 0 && keyCode == KeyCodes::escape) return {ShortcutRecordingResult::Cancelled{}};
  if (actionId_ == ShortcutActionId::regionSelection) {
    return ShortcutRecordingResult::invalid(ShortcutRecordingFailure::regionRequiresSingleModifier);
  }
  if (ShortcutValidator::isReserved({keyCode, carbon})) {
    return ShortcutRecordingResult::invalid(ShortcutRecordingFailure::conflictsWithSystemShortcut);
  }
  ShortcutBinding binding{actionId_, ShortcutBindingKind::keyCombo, keyCode, carbon};
  if (ShortcutValidator::isValid(binding)) return {ShortcutRecordingResult::Completed{binding}};
  return ShortcutRecordingResult::invalid(ShortcutRecordingFailure::requiresModifierCombo);
}

ShortcutRecordingResult ShortcutRecordingSession::handleFlagsChanged(uint16_t keyCode,
                                                                     uint64_t modifierFlags) {
  const uint32_t carbon = ShortcutValidator::carbonModifiers(modifierFlags);
  const bool tapKey = isTapKey(keyCode);
  if (!pendingModifierKeyCode_) {
    if (tapKey) {
      if ((modifierFlags & tapKeyFlag(keyCode)) == 0) return ShortcutRecordingResult::pending();
      pendingModifierKeyCode_ = keyCode;
      rememberModifierKey(keyCode, tapKeyCarbonFlag(keyCode));
      pendingModifierCarbonFlags_ = carbon & kChordCarbonFlags;
      pendingModifierCancelled_ = (modifierFlags & kForeignModifierFlags) != 0;
      return ShortcutRecordingResult::pending();
    }
    if (isModifierKey(keyCode) && carbon == 0) {
      return ShortcutRecordingResult::invalid(ShortcutRecordingFailure::unsupportedModifier);
    }
    return ShortcutRecordingResult::pending();
  }
  if (tapKey) {
    rememberModifierKey(keyCode, tapKeyCarbonFlag(keyCode));
  } else if (isModifierKey(keyCode)) {
    pendingModifierCancelled_ = true;
  }
  pendingModifierCarbonFlags_ |= carbon & kChordCarbonFlags;
  if ((modifierFlags & kForeignModifierFlags) != 0) pendingModifierCancelled_ = true;
  if (carbon == 0) return finishPendingModifier();
  return ShortcutRecordingResult::pending();
}

void ShortcutRecordingSession::rememberModifierKey(uint16_t keyCode, uint32_t carbonFlag) {
  auto [it, inserted] = pendingModifierKeyCodes_.try_emplace(carbonFlag, keyCode);
  // Both sides of one modifier at once make no single key to bind.
  if (!inserted && it->second != keyCode) pendingModifierCancelled_ = true;
}

ShortcutRecordingResult ShortcutRecordingSession::finishPendingModifier() {
  const auto keyCode = pendingModifierKeyCode_;
  const uint32_t flags = pendingModifierCarbonFlags_;
  const bool cancelled = pendingModifierCancelled_;
  clearPending();

  if (cancelled)
    return ShortcutRecordingResult::invalid(ShortcutRecordingFailure::unsupportedShortcut);
  if (actionId_ == ShortcutActionId::inputTranslate) {
    return ShortcutRecordingResult::invalid(ShortcutRecordingFailure::inputRequiresKeyCombo);
  }
  ShortcutBinding candidate;
  if (flags == kChordCarbonFlags) {
    candidate = {actionId_, ShortcutBindingKind::modifierChord, 0xFFFF, kChordCarbonFlags};
  } else if (!keyCode || !isTapKey(*keyCode) || flags != tapKeyCarbonFlag(*keyCode)) {
    return ShortcutRecordingResult::invalid(ShortcutRecordingFailure::unsupportedShortcut);
  } else {
    candidate = {actionId_, ShortcutBindingKind::modifierTap, *keyCode, 0};
  }
  if (ShortcutValidator::isValid(candidate)) return {ShortcutRecordingResult::Completed{candidate}};
  return ShortcutRecordingResult::invalid(ShortcutRecordingFailure::unsupportedShortcut);
}

ShortcutRecorder::ShortcutRecorder(LocalEventMonitoring& events, ShortcutRecordingSession session,
                                   OnResult onResult)
    : events_(events), session_(std::move(session)), onResult_(std::move(onResult)) {}

ShortcutRecorder::~ShortcutRecorder() {
  stop();
}

bool ShortcutRecorder::start() {
  stop();
  monitor_ = events_.addLocalMonitor(kRecorderEventMask, [this](const LocalInputEvent& event) {
    if (auto result = handleEvent(event.type, event.keyCode, event.modifierFlags)) {
      // The result may end this recorder: call out last.
      auto onResult = onResult_;
      onResult(*result);
    }
    return false;  // every key goes to the recorder, none to the application
  });
  return monitor_.has_value();
}

void ShortcutRecorder::stop() {
  if (auto token = std::exchange(monitor_, std::nullopt)) events_.removeMonitor(*token);
}

std::optional<ShortcutRecordingResult> ShortcutRecorder::handleEvent(InputEventType type,
                                                                     uint16_t keyCode,
                                                                     uint64_t modifierFlags) {
  if (pendingKeyUpResult_) {
    if (type != InputEventType::keyUp || keyCode != pendingKeyUpResult_->keyCode) {
      return std::nullopt;
    }
    return std::exchange(pendingKeyUpResult_, std::nullopt)->result;
  }
  switch (type) {
    case InputEventType::flagsChanged: {
      auto result = session_.handleFlagsChanged(keyCode, modifierFlags);
      if (result.isPending()) return std::nullopt;
      return result;
    }
    case InputEventType::keyDown: {
      auto result = session_.handleKeyDown(keyCode, modifierFlags);
      if (!result.isPending()) pendingKeyUpResult_ = PendingKeyUp{keyCode, std::move(result)};
      return std::nullopt;
    }
    default:
      return std::nullopt;
  }
}

}  // namespace trelvis
