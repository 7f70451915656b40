#pragma once

// Fakes of what the composition root's gates call besides the lookup pipeline:
// the account session's sign-in check, the main window model, the Select
// translation, the region selection overlay and the input translation. Each
// writes what it was asked into a shared CallLog. For tests on a TestScheduler.

#include <optional>
#include <string>

#include "core/account/auth_session_error.h"
#include "core/account/authenticated_request_checking.h"
#include "core/capture/region_selection_overlay_controlling.h"
#include "core/input/input_translate_controlling.h"
#include "core/mainwindow/main_window_controlling.h"
#include "core/mainwindow/translation_availability_gating.h"
#include "core/select/select_translate_triggering.h"
#include "support/call_log.h"

namespace trelvis {

class FakeSignInCheck final : public AuthenticatedRequestChecking, LogsCalls {
 public:
  using LogsCalls::LogsCalls;

  Async<AuthResult<bool>> canAttemptAuthenticatedRequest() override {
    log_.add("session check");
    if (failure) co_return tl::unexpected(*failure);
    co_return signedIn;
  }

  bool signedIn = true;
  std::optional<AuthSessionError> failure;
};

// Translation is available while `available` holds; a recovery request makes
// it `availableAfterRecovery`.
class FakeMainWindowModel final : public TranslationAvailabilityGating,
                                  public MainWindowControlling,
                                  LogsCalls {
 public:
  using LogsCalls::LogsCalls;

  void refreshSystemPermissions() override { log_.add("refresh permissions"); }
  bool translationAvailable() const override { return available; }
  void requestPermissionRecoveryForUserAction() override {
    log_.add("recover permissions");
    available = availableAfterRecovery;
  }
  void selectTab(MainTab tab) override { log_.add("select tab " + std::to_string(int(tab))); }
  void requestHomeSummaryRefresh() override { log_.add("home summary refresh"); }
  void requestMembershipStatusRefresh() override { log_.add("membership status refresh"); }
  void openMembershipPurchase() override { log_.add("open membership purchase"); }
  void stop() override { log_.add("main window stop"); }

  // Publishes a change, as the model does when a permission or the session changes.
  void setAvailable(bool value) {
    available = value;
    if (onTranslationAvailabilityChanged) onTranslationAvailabilityChanged(value);
  }

  bool available = true;
  bool availableAfterRecovery = false;
};

class FakeSelectTranslate final : public SelectTranslateTriggering, LogsCalls {
 public:
  using LogsCalls::LogsCalls;
  void trigger(const HotKeyEvent&, bool sharedWithLookup) override {
    log_.add(sharedWithLookup ? "select trigger shared" : "select trigger");
  }
  void cancelCurrentTranslation() override { log_.add("select cancel"); }
};

// `finish` gives the gesture back unless `tooSmall` is set.
class FakeRegionOverlay final : public RegionSelectionOverlayControlling, LogsCalls {
 public:
  using LogsCalls::LogsCalls;
  void arm() override { log_.add("overlay arm"); }
  void begin(const RegionSelectionGesture&) override { log_.add("overlay begin"); }
  void update(const RegionSelectionGesture&) override { log_.add("overlay update"); }
  std::optional<RegionSelectionGesture> finish(const RegionSelectionGesture& gesture) override {
    log_.add("overlay finish");
    if (tooSmall) return std::nullopt;
    return gesture;
  }
  void resetDrag() override { log_.add("overlay reset"); }
  void dismissCaptureSurfaces() override { log_.add("overlay dismiss"); }
  int cleanupOrphanCaptureWindows() override {
    log_.add("overlay cleanup");
    return 0;
  }

  bool tooSmall = false;
};

// The input panel, coordinator and model in one.
class FakeInputTranslation final : public InputTranslatePanelControlling,
                                   public InputTranslateCancelling,
                                   public InputTranslateDraftResetting,
                                   LogsCalls {
 public:
  using LogsCalls::LogsCalls;
  void toggleFromShortcut() override { log_.add("input toggle"); }
  void hide() override { log_.add("input hide"); }
  void cancelCurrentTranslation() override { log_.add("input cancel"); }
  void clearDraft() override { log_.add("input clear draft"); }
  void forgetLastSubmittedDraft() override { log_.add("input forget submitted"); }
  void resetResult() override { log_.add("input reset result"); }

  // The panel is about to appear.
  void show() {
    if (onWillShow) onWillShow();
  }
};

}  // namespace trelvis
