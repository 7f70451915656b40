#include "core/triggers/shortcut_controller.h"

#include <utility>

#include "base/async/cancellation.h"
#include "base/async/sleep.h"
#include "core/triggers/shortcut_key_combo_plan.h"
#include "core/triggers/shortcut_validator.h"

namespace trelvis {
namespace {

std::optional<ShortcutBinding> unlessKeyCombo(const ShortcutBinding& binding) {
  if (binding.kind == ShortcutBindingKind::keyCombo) return std::nullopt;
  return binding;
}

// Waits until `duration` has passed on `clock`. The executor's timers run on its
// own clock; should they end early against `clock` (as a virtual clock in tests
// may), the wait goes on for what is left. A timer that the machine's sleep
// stretched still ends late: executors have no continuous timers.
Async<void> sleepOn(const Clock& clock, Duration duration) {
  const Instant deadline = clock.now() + duration;
  for (Duration left = duration; left > Duration(0); left = deadline - clock.now()) {
    co_await sleepFor(left);
  }
}

}  // namespace

std::string_view ShortcutControllerError::localizedKey() const {
  switch (kind_) {
    case Kind::invalid:
      return failure_ ? trelvis::localizedKey(*failure_) : "error.shortcut.invalid";
    case Kind::recordingInProgress:
      return "error.shortcut.recordingInProgress";
    case Kind::recordingUnavailable:
      return "error.shortcut.recordingUnavailable";
    case Kind::cancelled:
      return "error.shortcut.cancelled";
    case Kind::hotKeyUnavailable:
      return "error.shortcut.unavailable";
  }
  return "error.shortcut.invalid";
}

const char* ShortcutControllerError::what() const noexcept {
  return localizedKey().data();
}

ShortcutController::ShortcutController(std::shared_ptr<Executor> mainExecutor,
                                       ShortcutBindingStore& store,
                                       MakeCommandTapMonitor makeCommandTapMonitor,
                                       Platform platform)
    : mainExecutor_(std::move(mainExecutor)),
      store_(store),
      makeCommandTapMonitor_(std::move(makeCommandTapMonitor)),
      platform_(std::move(platform)),
      binding_(store.binding(ShortcutActionId::lookup)),
      regionBinding_(store.binding(ShortcutActionId::regionSelection)),
      selectBinding_(store.binding(ShortcutActionId::selectTranslate)),
      inputBinding_(store.binding(ShortcutActionId::inputTranslate)) {}

ShortcutController::~ShortcutController() {
  retryTask_.cancel();
  if (hotKeyHandlerInstalled_) platform_.hotKeys.setPressHandler({});
}

void ShortcutController::start() {
  if (started_) return;
  started_ = true;
  apply(binding_);
}

void ShortcutController::stop() {
  started_ = false;
  cancelRecording(false);
  stopActiveRegistrations();
  unregister(recordCaseHotKeyRef_);
  if (hotKeyHandlerInstalled_) {
    platform_.hotKeys.setPressHandler({});
    hotKeyHandlerInstalled_ = false;
  }
}

void ShortcutController::setTextInputFocused(bool focused) {
  if (textInputFocused_ == focused) return;
  textInputFocused_ = focused;
  refreshMonitor();
}

bool ShortcutController::startCommandTap() {
  return commandTapMonitor_ && platform_.permission.isProcessTrusted() &&
         commandTapMonitor_->start();
}

void ShortcutController::refreshMonitor() {
  if (!started_) return;
  if (shortcutRecorder_) {
    // While recording nothing may fire.
    stopActiveRegistrations();
    return;
  }
  const bool hasMonitors = commandTapMonitor_ || localOptionTapMonitor_;
  if (platform_.isApplicationActive()) {
    if (textInputFocused_) {
      stopActiveRegistrations();
      return;
    }
    if (!hasMonitors) installMonitors();
    refreshHotKeyRegistrations();
    if (!commandTapMonitor_ || (!commandTapMonitor_->isRunning() && !startCommandTap())) {
      if (localOptionTapMonitor_) localOptionTapMonitor_->start();
      scheduleRetry();
      return;
    }
    if (localOptionTapMonitor_) localOptionTapMonitor_->stop();
    std::exchange(retryTask_, {}).cancel();
    return;
  }
  if (!hasMonitors) installMonitors();
  if (localOptionTapMonitor_) localOptionTapMonitor_->stop();
  refreshHotKeyRegistrations();
  if (!commandTapMonitor_ || (!commandTapMonitor_->isRunning() && !startCommandTap())) {
    scheduleRetry();
    return;
  }
  std::exchange(retryTask_, {}).cancel();
}

void ShortcutController::scheduleRetry() {
  if (retryTask_) return;
  retryTask_ = spawn(mainExecutor_, [weak = weak_from_this()]() -> Async<void> {
    for (;;) {
      auto self = weak.lock();
      if (!self || isCancelled()) co_return;
      // The activation path owns the active and recording cases.
      if (self->platform_.isApplicationActive() || self->shortcutRecorder_) break;
      if (self->commandTapMonitor_ && self->commandTapMonitor_->isRunning()) break;
      if (self->startCommandTap()) break;
      if (isCancelled()) co_return;
      const Clock& clock = self->platform_.continuousClock;
      self.reset();
      co_await sleepOn(clock, kRetryInterval);
    }
    if (auto self = weak.lock()) self->retryTask_ = {};
  });
}

void ShortcutController::stopActiveRegistrations() {
  ++monitorGeneration_;  // first of all: whatever is in flight is stale now
  std::exchange(retryTask_, {}).cancel();
  auto commandTap = std::exchange(commandTapMonitor_, nullptr);
  auto local = std::exchange(localOptionTapMonitor_, nullptr);
  if (commandTap) commandTap->stop();
  if (local) local->stop();
  unregister(lookupHotKeyRef_);
  unregister(selectHotKeyRef_);
  unregister(inputHotKeyRef_);
  if (isRegionSelectionActive_) {
    isRegionSelectionActive_ = false;
    if (onRegionSelection) onRegionSelection(RegionSelectionGestureUpdate::cancelled());
  }
}

void ShortcutController::apply(const ShortcutBinding& binding) {
  if (binding.actionId == ShortcutActionId::regionSelection) {
    regionBinding_ = binding;
  } else if (binding.actionId == ShortcutActionId::selectTranslate) {
    selectBinding_ = binding;
  } else if (binding.actionId == ShortcutActionId::inputTranslate) {
    inputBinding_ = binding;
  } else {
    binding_ = binding;
  }
  stopActiveRegistrations();
  installMonitors();
  refreshMonitor();
}

void ShortcutController::installMonitors() {
  const uint64_t generation = monitorGeneration_;
  std::weak_ptr<ShortcutController> weak = weak_from_this();
  auto main = mainExecutor_;
  const Clock& clock = platform_.continuousClock;
  FrontmostApplicationProviding& frontmost = platform_.frontmost;

  // These run on the tap's thread: take the moment (and for select, the front
  // process) there, then hop to the main executor.
  auto onTapLookup = [weak, main, &clock, generation] {
    const Instant at = clock.now();
    main->post([weak, at, generation] {
      if (auto self = weak.lock()) self->deliverLookup(generation, at);
    });
  };
  auto onTapRegion = [weak, main, generation](const RegionSelectionGestureUpdate& update) {
    main->post([weak, update, generation] {
      if (auto self = weak.lock()) self->deliverRegionSelection(update, generation);
    });
  };
  auto onTapSelect = [weak, main, &clock, &frontmost, generation](bool shared, Point location) {
    HotKeyEvent event{location.x, location.y, "modifier_tap", clock.now(),
                      frontmost.frontmostProcessIdentifier()};
    main->post([weak, event, shared, generation] {
      if (auto self = weak.lock()) self->deliverSelect(generation, event, shared);
    });
  };
  commandTapMonitor_ = makeCommandTapMonitor_(unlessKeyCombo(binding_), regionBinding_,
                                              std::move(onTapLookup), std::move(onTapRegion));
  if (commandTapMonitor_) {
    commandTapMonitor_->configureSelect(unlessKeyCombo(selectBinding_), std::move(onTapSelect));
  }

  // The local monitor runs on the main thread: deliver in place.
  localOptionTapMonitor_ = std::make_shared<LocalOptionTapMonitor>(
      platform_.localEvents, platform_.pointer, clock, unlessKeyCombo(binding_), regionBinding_,
      unlessKeyCombo(selectBinding_),
      [weak, &clock, generation] {
        if (auto self = weak.lock()) self->deliverLookup(generation, clock.now());
      },
      [weak, &clock, &frontmost, generation](bool shared, Point location) {
        if (auto self = weak.lock()) {
          self->deliverSelect(generation,
                              HotKeyEvent{location.x, location.y, "modifier_tap", clock.now(),
                                          frontmost.frontmostProcessIdentifier()},
                              shared);
        }
      },
      [weak, generation](const RegionSelectionGestureUpdate& update) {
        if (auto self = weak.lock()) self->deliverRegionSelection(update, generation);
      });
}

void ShortcutController::deliverLookup(uint64_t generation, Instant triggeredAt) {
  if (generation != monitorGeneration_) return;
  const Point at = platform_.pointer.mouseLocation();
  if (onLookupTriggered)
    onLookupTriggered(HotKeyEvent{at.x, at.y, "modifier_tap", triggeredAt, {}});
}

void ShortcutController::deliverSelect(uint64_t generation, const HotKeyEvent& event, bool shared) {
  if (generation != monitorGeneration_) return;
  if (onSelectTranslateTriggered) onSelectTranslateTriggered(event, shared);
}

void ShortcutController::deliverRegionSelection(const RegionSelectionGestureUpdate& update,
                                                uint64_t generation) {
  if (generation != monitorGeneration_ || update.isNone()) return;
  switch (update.kind()) {
    case RegionSelectionGestureUpdate::Kind::armed:
    case RegionSelectionGestureUpdate::Kind::began:
    case RegionSelectionGestureUpdate::Kind::changed:
      isRegionSelectionActive_ = true;
      break;
    case RegionSelectionGestureUpdate::Kind::completed:
    case RegionSelectionGestureUpdate::Kind::cancelled:
      isRegionSelectionActive_ = false;
      break;
    case RegionSelectionGestureUpdate::Kind::none:
      break;
  }
  if (onRegionSelection) onRegionSelection(update);
}

void ShortcutController::cancelRegionSelection() {
  if (commandTapMonitor_) commandTapMonitor_->cancelRegionSelection();
  if (localOptionTapMonitor_) localOptionTapMonitor_->cancelRegionSelection();
  if (isRegionSelectionActive_) {
    isRegionSelectionActive_ = false;
    if (onRegionSelection) onRegionSelection(RegionSelectionGestureUpdate::cancelled());
  }
}

void ShortcutController::consumeLookupTapForRegionSelection() {
  if (commandTapMonitor_) commandTapMonitor_->consumeLookupTapForRegionSelection();
  if (localOptionTapMonitor_) localOptionTapMonitor_->consumeLookupTapForRegionSelection();
}

bool ShortcutController::duplicatesAnotherTranslationShortcut(
    const ShortcutBinding& binding) const {
  return trelvis::duplicatesAnotherTranslationShortcut(binding, binding_, selectBinding_,
                                                       inputBinding_);
}

// ---- Hot keys ------------------------------------------------------------------

void ShortcutController::refreshHotKeyRegistrations() {
  const ShortcutKeyComboPlan plan(binding_, selectBinding_);
  if (plan.registersLookupHotKey) {
    registerHotKeyIfNeeded(binding_, kLookupHotKeyID, lookupHotKeyRef_);
  } else {
    unregister(lookupHotKeyRef_);
  }
  if (plan.registersSelectHotKey) {
    registerHotKeyIfNeeded(selectBinding_, kSelectHotKeyID, selectHotKeyRef_);
  } else {
    unregister(selectHotKeyRef_);
  }
  registerInputHotKeyIfNeeded();
}

bool ShortcutController::registerHotKeyIfNeeded(const ShortcutBinding& binding, uint32_t id,
                                                std::optional<HotKeyRegistering::Ref>& ref) {
  if (binding.kind != ShortcutBindingKind::keyCombo) return false;
  if (!ShortcutValidator::isValid(binding)) {
    auto repaired = ShortcutBindingStore::defaultBinding(binding.actionId);
    store_.save(repaired);
    apply(repaired);
    return false;
  }
  if (ref) return true;
  installHotKeyHandlerIfNeeded();
  ref = platform_.hotKeys.registerHotKey(binding.keyCode, binding.modifiers, {kSignature, id});
  return ref.has_value();
}

void ShortcutController::registerInputHotKeyIfNeeded() {
  if (!ShortcutValidator::isValid(inputBinding_)) {
    auto repaired = ShortcutBindingStore::defaultBinding(ShortcutActionId::inputTranslate);
    store_.save(repaired);
    apply(repaired);
    return;
  }
  if (duplicatesAnotherTranslationShortcut(inputBinding_)) {
    unregister(inputHotKeyRef_);
    return;
  }
  registerHotKeyIfNeeded(inputBinding_, kInputHotKeyID, inputHotKeyRef_);
}

void ShortcutController::unregister(std::optional<HotKeyRegistering::Ref>& ref) {
  if (auto taken = std::exchange(ref, std::nullopt)) platform_.hotKeys.unregisterHotKey(*taken);
}

void ShortcutController::installHotKeyHandlerIfNeeded() {
  if (hotKeyHandlerInstalled_) return;
  hotKeyHandlerInstalled_ = true;
  platform_.hotKeys.setPressHandler([weak = weak_from_this()](HotKeyRegistering::HotKeyID id) {
    if (auto self = weak.lock()) self->handleHotKey(id);
  });
}

void ShortcutController::handleHotKey(HotKeyRegistering::HotKeyID id) {
  const Instant now = platform_.continuousClock.now();
  auto eventAtPointer = [&](const char* source, std::optional<int32_t> pid) {
    const Point at = platform_.pointer.mouseLocation();
    return HotKeyEvent{at.x, at.y, source, now, pid};
  };
  switch (id.id) {
    case kLookupHotKeyID:
      if (ShortcutKeyComboPlan(binding_, selectBinding_).selectSharesLookupHotKey) {
        if (onSelectTranslateTriggered) {
          onSelectTranslateTriggered(
              eventAtPointer("hotkey", platform_.frontmost.frontmostProcessIdentifier()), true);
        }
      } else if (onLookupTriggered) {
        onLookupTriggered(eventAtPointer("hotkey", std::nullopt));
      }
      break;
    case kRecordCaseHotKeyID:
      if (onLookupTriggered) onLookupTriggered(eventAtPointer("record_case", std::nullopt));
      break;
    case kSelectHotKeyID:
      if (onSelectTranslateTriggered) {
        onSelectTranslateTriggered(
            eventAtPointer("hotkey", platform_.frontmost.frontmostProcessIdentifier()), false);
      }
      break;
    case kInputHotKeyID:
      if (onInputTranslateTriggered) onInputTranslateTriggered();
      break;
    default:
      break;  // not ours
  }
}

bool ShortcutController::canRegister(const ShortcutBinding& binding) {
  if (binding.kind != ShortcutBindingKind::keyCombo) return true;
  if (!ShortcutValidator::isValid(binding)) return false;
  auto trial = platform_.hotKeys.registerHotKey(binding.keyCode, binding.modifiers,
                                                {kSignature, kTrialHotKeyID});
  if (!trial) return false;
  platform_.hotKeys.unregisterHotKey(*trial);
  return true;
}

// ---- Recording -----------------------------------------------------------------

Async<ShortcutBinding> ShortcutController::record(std::string actionId) {
  if (shortcutRecorder_ || recordingContinuation_) {
    throw ShortcutControllerError(ShortcutControllerError::Kind::recordingInProgress);
  }
  std::weak_ptr<ShortcutController> weak = weak_from_this();
  auto recording = [weak, actionId]() -> Async<ShortcutBinding> {
    co_return co_await withContinuation<ShortcutBinding>([&](Continuation<ShortcutBinding> c) {
      if (auto self = weak.lock()) {
        self->beginRecording(actionId, std::move(c));
      } else {
        c.resumeThrowing(ShortcutControllerError(ShortcutControllerError::Kind::cancelled));
      }
    });
  };
  auto onCancel = [weak, main = mainExecutor_]() noexcept {
    main->post([weak] {
      if (auto self = weak.lock()) self->cancelRecording(true);
    });
  };
  co_return co_await withCancellationHandler(std::move(recording), std::move(onCancel));
}

void ShortcutController::beginRecording(std::string actionId,
                                        Continuation<ShortcutBinding> continuation) {
  recordingContinuation_ = std::move(continuation);
  recordingActionId_ = actionId;
  shortcutRecorder_ = std::make_unique<ShortcutRecorder>(
      platform_.localEvents, ShortcutRecordingSession(std::move(actionId)),
      [weak = weak_from_this()](const ShortcutRecordingResult& result) {
        if (auto self = weak.lock()) self->finishRecording(result);
      });
  refreshMonitor();  // suspends every trigger
  if (!shortcutRecorder_->start()) {
    shortcutRecorder_.reset();
    recordingActionId_.reset();
    auto pending = std::exchange(recordingContinuation_, std::nullopt);
    refreshMonitor();
    pending->resumeThrowing(
        ShortcutControllerError(ShortcutControllerError::Kind::recordingUnavailable));
  }
}

void ShortcutController::finishRecording(const ShortcutRecordingResult& result) {
  if (result.isPending()) return;
  if (auto recorder = std::move(shortcutRecorder_)) {
    recorder->stop();
    // This runs inside the recorder's own monitor handler: let it unwind first.
    mainExecutor_->post([done = std::shared_ptr<ShortcutRecorder>(std::move(recorder))] {});
  }
  const std::string actionId = recordingActionId_.value_or(std::string(ShortcutActionId::lookup));
  recordingActionId_.reset();
  auto continuation = std::exchange(recordingContinuation_, std::nullopt);
  auto fail = [&](ShortcutControllerError error) {
    refreshMonitor();
    if (continuation) continuation->resumeThrowing(std::move(error));
  };
  auto succeed = [&](const ShortcutBinding& binding) {
    store_.save(binding);
    apply(binding);
    if (continuation) continuation->resume(binding);
  };

  if (auto* invalid = std::get_if<ShortcutRecordingResult::Invalid>(&result.value)) {
    fail(ShortcutControllerError(invalid->failure));
  } else if (std::holds_alternative<ShortcutRecordingResult::Cancelled>(result.value)) {
    fail(ShortcutControllerError(ShortcutControllerError::Kind::cancelled));
  } else if (std::holds_alternative<ShortcutRecordingResult::ResetDefault>(result.value)) {
    succeed(ShortcutBindingStore::defaultBinding(actionId));
  } else if (auto* completed = std::get_if<ShortcutRecordingResult::Completed>(&result.value)) {
    const ShortcutBinding& binding = completed->binding;
    if (!ShortcutValidator::isValid(binding)) {
      fail(ShortcutControllerError(ShortcutRecordingFailure::conflictsWithSystemShortcut));
    } else if (duplicatesAnotherTranslationShortcut(binding)) {
      fail(ShortcutControllerError(ShortcutRecordingFailure::duplicatesTranslationShortcut));
    } else if (binding.kind == ShortcutBindingKind::keyCombo && !canRegister(binding)) {
      fail(ShortcutControllerError(ShortcutControllerError::Kind::hotKeyUnavailable));
    } else {
      succeed(binding);
    }
  }
}

void ShortcutController::cancelRecording(bool refreshAfterCancellation) {
  const bool wasRecording = shortcutRecorder_ != nullptr || recordingContinuation_.has_value();
  if (auto recorder = std::move(shortcutRecorder_)) recorder->stop();
  recordingActionId_.reset();
  auto continuation = std::exchange(recordingContinuation_, std::nullopt);
  if (refreshAfterCancellation && wasRecording) refreshMonitor();
  if (continuation) {
    continuation->resumeThrowing(ShortcutControllerError(ShortcutControllerError::Kind::cancelled));
  }
}

}  // namespace trelvis
