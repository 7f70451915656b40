#include "core/triggers/trigger_recognizers.h"

#include <utility>

namespace trelvis {
namespace {

using Update = RegionSelectionGestureUpdate;
using Phase = RegionSelectionShortcutRecognizer::Phase;

bool handleTap(std::optional<ModifierTapRecognizer>& recognizer, uint16_t keyCode,
               uint64_t modifierFlags) {
  if (!recognizer) return false;
  switch (recognizer->binding.kind) {
    case ShortcutBindingKind::modifierTap:
      return recognizer->handle(keyCode, modifierFlags);
    case ShortcutBindingKind::modifierChord:
      return recognizer->handleChord(keyCode, modifierFlags);
    case ShortcutBindingKind::keyCombo:
      return false;
  }
  return false;
}

void cancelTapIfTracking(std::optional<ModifierTapRecognizer>& recognizer) {
  if (recognizer) recognizer->cancelIfTracking();
}

std::optional<ModifierTapRecognizer> makeRecognizer(const std::optional<ShortcutBinding>& binding) {
  if (!binding) return std::nullopt;
  return ModifierTapRecognizer(*binding);
}

}  // namespace

TriggerRecognizers::TriggerRecognizers(std::optional<ShortcutBinding> lookupBinding,
                                       std::optional<ShortcutBinding> regionBinding)
    : lookupBinding_(std::move(lookupBinding)), lookupRecognizer_(makeRecognizer(lookupBinding_)) {
  if (regionBinding) regionRecognizer_.emplace(*std::move(regionBinding));
}

void TriggerRecognizers::configureSelect(const std::optional<ShortcutBinding>& selectBinding) {
  selectSharesLookupBinding_ =
      selectBinding && lookupBinding_ && selectBinding->sameGesture(*lookupBinding_);
  selectRecognizer_ = makeRecognizer(selectBinding);
  // With one gesture for both, the select side alone decides.
  lookupRecognizer_ = selectSharesLookupBinding_ ? std::nullopt : makeRecognizer(lookupBinding_);
}

TriggerDecision TriggerRecognizers::handleEvent(InputEventType type, uint16_t keyCode,
                                                uint64_t modifierFlags, Point location,
                                                Instant now) {
  TriggerDecision decision;
  switch (type) {
    case InputEventType::keyDown:
    case InputEventType::rightMouseDown:
    case InputEventType::otherMouseDown:
      cancelTapIfTracking(lookupRecognizer_);
      cancelTapIfTracking(selectRecognizer_);
      if (regionRecognizer_) decision.update = regionRecognizer_->cancel();
      regionDragRecognizer_.reset();
      break;
    case InputEventType::leftMouseDown:
      if (regionRecognizer_ && regionRecognizer_->phase == Phase::armed) {
        decision.update = regionDragRecognizer_.begin(location, now);
        if (decision.update.kind() == Update::Kind::began) {
          regionRecognizer_->phase = Phase::pointerOwned;
        }
      }
      // A click during the hold makes the press a click with a modifier, not a tap.
      cancelTapIfTracking(lookupRecognizer_);
      cancelTapIfTracking(selectRecognizer_);
      break;
    case InputEventType::leftMouseDragged:
      decision.update = regionDragRecognizer_.update(location);
      break;
    case InputEventType::leftMouseUp:
      decision.update = regionDragRecognizer_.finish(location);
      if (decision.update.kind() == Update::Kind::completed && regionRecognizer_) {
        regionRecognizer_->phase = Phase::idle;
      }
      break;
    case InputEventType::flagsChanged:
      decision.update = handleRegionFlags(keyCode, modifierFlags);
      decision.fireLookup = handleTap(lookupRecognizer_, keyCode, modifierFlags);
      decision.fireSelect = handleTap(selectRecognizer_, keyCode, modifierFlags);
      break;
    default:
      break;
  }
  return decision;
}

RegionSelectionGestureUpdate TriggerRecognizers::handleRegionFlags(uint16_t keyCode,
                                                                   uint64_t modifierFlags) {
  if (!regionRecognizer_) return Update::none();
  Update update;
  switch (regionRecognizer_->binding.kind) {
    case ShortcutBindingKind::modifierTap:
      update = regionRecognizer_->handleModifierTap(keyCode, modifierFlags);
      break;
    case ShortcutBindingKind::modifierChord:
      update = regionRecognizer_->handleModifierChord(keyCode, modifierFlags);
      break;
    case ShortcutBindingKind::keyCombo:
      update = regionRecognizer_->cancel();
      break;
  }
  if (update.kind() == Update::Kind::cancelled) regionDragRecognizer_.reset();
  return update;
}

RegionSelectionGestureUpdate TriggerRecognizers::recoverFromInputInterruption() {
  if (lookupRecognizer_) lookupRecognizer_->resetAll();
  if (selectRecognizer_) selectRecognizer_->resetAll();
  if (!regionRecognizer_) return Update::none();
  regionRecognizer_->isPairedModifierDown = false;
  if (regionRecognizer_->phase != Phase::armed) return Update::none();
  regionRecognizer_->phase = Phase::idle;
  regionDragRecognizer_.reset();
  return Update::cancelled();
}

RegionSelectionGestureUpdate TriggerRecognizers::endGestures() {
  if (lookupRecognizer_) lookupRecognizer_->resetPress();
  if (selectRecognizer_) selectRecognizer_->resetPress();
  const Update update = regionRecognizer_ ? regionRecognizer_->cancel() : Update::none();
  regionDragRecognizer_.reset();
  return update;
}

void TriggerRecognizers::cancelRegionSelection() {
  if (regionRecognizer_) {
    regionRecognizer_->phase = Phase::idle;
    regionRecognizer_->isPairedModifierDown = false;
  }
  regionDragRecognizer_.reset();
}

void TriggerRecognizers::consumeLookupTap() {
  cancelTapIfTracking(lookupRecognizer_);
  cancelTapIfTracking(selectRecognizer_);
}

}  // namespace trelvis
