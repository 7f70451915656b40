#pragma once

// ShortcutController: the one owner of the four live shortcut bindings and of
// everything that turns them into triggers: global hot keys for key combinations,
// the global command tap for modifier gestures, the in-process fallback while the
// tap cannot run, and the retry loop while input access is missing. It also runs
// the recording of new shortcuts for the settings page. It lives on the main
// executor; the rest of the system sees its four closures.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/async/async.h"
#include "base/async/continuation.h"
#include "base/async/task.h"
#include "core/lookup/lookup_model.h"
#include "core/mainwindow/main_window_services.h"
#include "core/triggers/command_tap_monitor.h"
#include "core/triggers/input_events.h"
#include "core/triggers/local_option_tap_monitor.h"
#include "core/triggers/region_selection_gesture_update.h"
#include "core/triggers/shortcut_binding.h"
#include "core/triggers/shortcut_binding_store.h"
#include "core/triggers/shortcut_recording.h"

namespace trelvis {

class ShortcutControllerError : public std::exception {
 public:
  enum class Kind {
    invalid,
    recordingInProgress,
    recordingUnavailable,
    cancelled,
    hotKeyUnavailable
  };

  explicit ShortcutControllerError(Kind kind) : kind_(kind) {}
  explicit ShortcutControllerError(ShortcutRecordingFailure failure)
      : kind_(Kind::invalid), failure_(failure) {}

  Kind kind() const { return kind_; }
  const std::optional<ShortcutRecordingFailure>& failure() const { return failure_; }
  // "error.shortcut.recordingInProgress", ...; the failure's key for `invalid`.
  std::string_view localizedKey() const;
  const char* what() const noexcept override;

  friend bool operator==(const ShortcutControllerError& a, const ShortcutControllerError& b) {
    return a.kind_ == b.kind_ && a.failure_ == b.failure_;
  }

 private:
  Kind kind_;
  std::optional<ShortcutRecordingFailure> failure_;
};

class ShortcutController : public MainWindowShortcuts,
                           public std::enable_shared_from_this<ShortcutController> {
 public:
  // The platform services it uses; all outlive the controller.
  struct Platform {
    AccessibilityPermissionProviding& permission;
    HotKeyRegistering& hotKeys;
    LocalEventMonitoring& localEvents;
    PointerLocating& pointer;
    FrontmostApplicationProviding& frontmost;
    // Stamps triggers and paces the retries; keeps counting while the machine sleeps.
    const Clock& continuousClock;
    std::function<bool()> isApplicationActive;
  };

  using MakeCommandTapMonitor = std::function<std::shared_ptr<CommandTapMonitor>(
      std::optional<ShortcutBinding> lookupBinding, std::optional<ShortcutBinding> regionBinding,
      CommandTapMonitor::OnTrigger onTrigger, CommandTapMonitor::OnRegionSelection onRegion)>;

  static constexpr uint32_t kSignature = 0x54524B59;  // "TRKY"
  static constexpr uint32_t kLookupHotKeyID = 1;
  static constexpr uint32_t kRecordCaseHotKeyID = 2;
  static constexpr uint32_t kSelectHotKeyID = 3;
  static constexpr uint32_t kInputHotKeyID = 4;
  static constexpr uint32_t kTrialHotKeyID = 900;
  static constexpr Duration kRetryInterval = std::chrono::seconds(2);

  // Loads the four bindings, in the order lookup, region, select, input.
  ShortcutController(std::shared_ptr<Executor> mainExecutor, ShortcutBindingStore& store,
                     MakeCommandTapMonitor makeCommandTapMonitor, Platform platform);
  ~ShortcutController() override;

  std::function<void(const HotKeyEvent& event)> onLookupTriggered;
  std::function<void(const HotKeyEvent& event, bool sharesLookupBinding)>
      onSelectTranslateTriggered;
  std::function<void(const RegionSelectionGestureUpdate& update)> onRegionSelection;
  std::function<void()> onInputTranslateTriggered;

  void start();
  void stop();
  // Brings taps, monitors and hot keys in line with the bindings and the state of
  // the application (active, recording, typing into a text field).
  void refreshMonitor();

  // Records a new binding for `actionId` from the user's next gesture. Raises
  // ShortcutControllerError; cancelling the awaiting task cancels the recording.
  Async<ShortcutBinding> record(std::string actionId);

  void cancelRegionSelection();
  void consumeLookupTapForRegionSelection();
  bool duplicatesAnotherTranslationShortcut(const ShortcutBinding& binding) const;

  const ShortcutBinding& lookupBinding() const { return binding_; }
  const ShortcutBinding& regionBinding() const { return regionBinding_; }
  const ShortcutBinding& selectBinding() const { return selectBinding_; }
  const ShortcutBinding& inputBinding() const { return inputBinding_; }

  bool textInputFocused() const override { return textInputFocused_; }
  void setTextInputFocused(bool focused) override;
  // Ends a recording in progress; its task fails as cancelled.
  void cancelRecording() override { cancelRecording(true); }

  // For tests and diagnostics.
  bool isStarted() const { return started_; }
  bool isRetrying() const { return static_cast<bool>(retryTask_); }
  uint64_t monitorGeneration() const { return monitorGeneration_; }
  bool isRecording() const { return shortcutRecorder_ != nullptr; }
  bool hasCommandTapMonitor() const { return commandTapMonitor_ != nullptr; }
  bool isLocalMonitorRunning() const {
    return localOptionTapMonitor_ && localOptionTapMonitor_->isRunning();
  }

 private:
  void apply(const ShortcutBinding& binding);
  void installMonitors();
  void stopActiveRegistrations();
  void scheduleRetry();
  bool startCommandTap();

  void refreshHotKeyRegistrations();
  bool registerHotKeyIfNeeded(const ShortcutBinding& binding, uint32_t id,
                              std::optional<HotKeyRegistering::Ref>& ref);
  void registerInputHotKeyIfNeeded();
  void unregister(std::optional<HotKeyRegistering::Ref>& ref);
  void installHotKeyHandlerIfNeeded();
  void handleHotKey(HotKeyRegistering::HotKeyID id);
  bool canRegister(const ShortcutBinding& binding);

  void deliverLookup(uint64_t generation, Instant triggeredAt);
  void deliverSelect(uint64_t generation, const HotKeyEvent& event, bool shared);
  void deliverRegionSelection(const RegionSelectionGestureUpdate& update, uint64_t generation);

  void beginRecording(std::string actionId, Continuation<ShortcutBinding> continuation);
  void finishRecording(const ShortcutRecordingResult& result);
  void cancelRecording(bool refreshAfterCancellation);

  std::shared_ptr<Executor> mainExecutor_;
  ShortcutBindingStore& store_;
  MakeCommandTapMonitor makeCommandTapMonitor_;
  Platform platform_;

  ShortcutBinding binding_;
  ShortcutBinding regionBinding_;
  ShortcutBinding selectBinding_;
  ShortcutBinding inputBinding_;

  std::optional<HotKeyRegistering::Ref> lookupHotKeyRef_;
  std::optional<HotKeyRegistering::Ref> selectHotKeyRef_;
  std::optional<HotKeyRegistering::Ref> inputHotKeyRef_;
  std::optional<HotKeyRegistering::Ref> recordCaseHotKeyRef_;
  bool hotKeyHandlerInstalled_ = false;

  std::shared_ptr<CommandTapMonitor> commandTapMonitor_;
  std::shared_ptr<LocalOptionTapMonitor> localOptionTapMonitor_;
  std::unique_ptr<ShortcutRecorder> shortcutRecorder_;
  Task<void> retryTask_;
  bool textInputFocused_ = false;
  std::optional<Continuation<ShortcutBinding>> recordingContinuation_;
  std::optional<std::string> recordingActionId_;
  bool started_ = false;
  uint64_t monitorGeneration_ = 0;
  bool isRegionSelectionActive_ = false;
};

}  // namespace trelvis
