#pragma once

// Recording a new shortcut on the settings page. ShortcutRecordingSession turns
// the keys the user presses into a binding or a failure; ShortcutRecorder feeds it
// from an in-process monitor that swallows every key while recording, and holds a
// key combination's result back until that key is released, so the release never
// reaches the next trigger. Both live on the main thread.

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <variant>

#include "core/triggers/input_events.h"
#include "core/triggers/shortcut_binding.h"
#include "core/triggers/shortcut_recording_failure.h"

namespace trelvis {

struct ShortcutRecordingResult {
  struct Completed {
    ShortcutBinding binding;
    friend bool operator==(const Completed&, const Completed&) = default;
  };
  struct Invalid {
    ShortcutRecordingFailure failure;
    friend bool operator==(const Invalid&, const Invalid&) = default;
  };
  struct Pending {
    friend bool operator==(const Pending&, const Pending&) = default;
  };
  struct Cancelled {
    friend bool operator==(const Cancelled&, const Cancelled&) = default;
  };
  struct ResetDefault {
    friend bool operator==(const ResetDefault&, const ResetDefault&) = default;
  };

  std::variant<Completed, Invalid, Pending, Cancelled, ResetDefault> value;

  static ShortcutRecordingResult pending() { return {Pending{}}; }
  static ShortcutRecordingResult invalid(ShortcutRecordingFailure f) { return {Invalid{f}}; }
  bool isPending() const { return std::holds_alternative<Pending>(value); }

  friend bool operator==(const ShortcutRecordingResult&, const ShortcutRecordingResult&) = default;
};

class ShortcutRecordingSession {
 public:
  explicit ShortcutRecordingSession(std::string actionId) : actionId_(std::move(actionId)) {}

  const std::string& actionId() const { return actionId_; }

  ShortcutRecordingResult handleKeyDown(uint16_t keyCode, uint64_t modifierFlags);
  ShortcutRecordingResult handleFlagsChanged(uint16_t keyCode, uint64_t modifierFlags);

 private:
  void clearPending();
  void rememberModifierKey(uint16_t keyCode, uint32_t carbonFlag);
  ShortcutRecordingResult finishPendingModifier();

  std::string actionId_;
  std::optional<uint16_t> pendingModifierKeyCode_;
  std::map<uint32_t, uint16_t> pendingModifierKeyCodes_;  // Carbon flag -> key code
  uint32_t pendingModifierCarbonFlags_ = 0;
  bool pendingModifierCancelled_ = false;
};

class ShortcutRecorder {
 public:
  using OnResult = std::function<void(const ShortcutRecordingResult& result)>;

  ShortcutRecorder(LocalEventMonitoring& events, ShortcutRecordingSession session,
                   OnResult onResult);
  ~ShortcutRecorder();
  ShortcutRecorder(const ShortcutRecorder&) = delete;
  ShortcutRecorder& operator=(const ShortcutRecorder&) = delete;

  // Installs the monitor, which swallows every key event; false when none could be had.
  bool start();
  void stop();

  // Nothing until the session decides; a key combination's result waits for the
  // release of its key.
  std::optional<ShortcutRecordingResult> handleEvent(InputEventType type, uint16_t keyCode,
                                                     uint64_t modifierFlags);

 private:
  struct PendingKeyUp {
    uint16_t keyCode;
    ShortcutRecordingResult result;
  };

  LocalEventMonitoring& events_;
  ShortcutRecordingSession session_;
  OnResult onResult_;
  std::optional<LocalEventMonitoring::Token> monitor_;
  std::optional<PendingKeyUp> pendingKeyUpResult_;
};

}  // namespace trelvis
