#pragma once

// The parts of the application that stand in while a feature is not part of
// this build: they keep the state the card and the gates read, and do nothing
// the user could mistake for the feature. Main thread.

#include <optional>
#include <string>

#include "core/learning/pronunciation_playing.h"
#include "core/mainwindow/main_window_services.h"
#include "core/overlay/select_overlay_card_model.h"

namespace trelvis {

// The system permissions as the main window sees them, read by the coordinator.
class CoordinatedSystemPermissions final : public SystemPermissionProviding {
 public:
  explicit CoordinatedSystemPermissions(SystemPermissionCoordinator& coordinator)
      : coordinator_(coordinator) {}

  SystemPermissionSnapshot snapshot() override { return coordinator_.snapshot(); }
  bool openSettings(SystemPermissionKind kind) override { return coordinator_.openSettings(kind); }
  void restartApplication() override { coordinator_.restartApplication(); }

 private:
  SystemPermissionCoordinator& coordinator_;
};

// The learning pages and the home activity while they are not part of this
// build: nothing to load, reset or count; their pages say they are coming.
class AbsentLearningPages final : public HomeActivityStoring,
                                  public ReviewPageModeling,
                                  public VocabularyPageModeling,
                                  public TutorialProgressReloading {
 public:
  void activate(const std::optional<std::string>&) override {}
  void reset() override {}
  void prepareForEntry() override {}
  bool isComplete() const override { return false; }
  void endCompletedSession() override {}
  bool hasLoaded() const override { return false; }
  std::optional<int64_t> confirmedRemainingCount() const override { return std::nullopt; }
  void reloadRegistrationProgress() override {}
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
