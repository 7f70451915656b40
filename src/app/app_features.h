#pragma once

// The parts of the application that stand in while a feature is not part of
// this build: they keep the state the card and the gates read, and do nothing
// the user could mistake for the feature. Main thread.

#include <optional>
#include <string>

#include "core/learning/pronunciation_playing.h"
#include "core/mainwindow/translation_availability_gating.h"
#include "core/overlay/select_overlay_card_model.h"
#include "core/triggers/input_events.h"

namespace trelvis {

// Translation needs what the command tap and the capture need of the X server
// (XInput 2.1 and XTEST); a server has them or not for good, so a missing one
// is reported once and stays missing until it is asked again.
class X11TranslationAvailability final : public TranslationAvailabilityGating {
 public:
  explicit X11TranslationAvailability(AccessibilityPermissionProviding& accessibility)
      : accessibility_(accessibility) {}

  void refreshSystemPermissions() override;
  bool translationAvailable() const override { return available_; }
  void requestPermissionRecoveryForUserAction() override;

 private:
  AccessibilityPermissionProviding& accessibility_;
  bool available_ = false;
};

// The card keeps its pronunciation state for the lookup it shows; nothing is
// played until audio playback is built.
class SilentPronunciationPlayback final : public PronunciationPlaying {
 public:
  std::optional<std::string> activeKey() const override { return activeKey_; }
  AutoplayIntent autoplayIntent() const override { return {generation_, 0}; }
  void play(const std::string& key, const std::string& headword,
            const std::optional<std::string>& language, const std::optional<Url>& normalURL,
            const std::optional<AutoplayIntent>& autoplayIntent) override;
  void reset() override;

 private:
  std::optional<std::string> activeKey_;
  int64_t generation_ = 0;
};

// The Select card's side of the shared panel while there is no Select card:
// the pin it mirrors from the lookup card, and no height of its own.
class AbsentSelectCardModel final : public SelectOverlayCardModel {
 public:
  bool isPinned() const override { return pinned_; }
  void setPinned(bool pinned, bool notify) override;
  double cardHeight() const override { return 0; }
  void setAnchor(OverlayAnchor) override {}
  void setMaxCardHeight(double) override {}

 private:
  bool pinned_ = false;
};

}  // namespace trelvis
