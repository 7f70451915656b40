#pragma once

// LookupCoordinator: the heart of the hover and area translations. It turns a
// recognised trigger into a capture, a streaming request, a sequence of card
// states and a recorded outcome, and it guarantees that only the newest
// trigger ever touches the card: every trigger and cancellation raises
// `generation`, and work that finds its generation stale after a suspension
// leaves without writing anything. It writes the LookupOverlayModel and
// commands the panel; it owns its running lookup and pronunciation tasks. Main
// executor only; the tasks hold the coordinator weakly. Gating by permission
// and sign-in happens before it is called.

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/async/async.h"
#include "base/async/task.h"
#include "base/clock.h"
#include "core/lookup/lookup_model.h"
#include "core/membership/membership_status_refreshing.h"
#include "core/prefs/english_pronunciation_accent.h"

namespace trelvis {

class AnalyticsService;
class EnglishPronunciationStore;
class HomeActivityRecording;
class LookupCaseRecorder;
class LookupError;
class LookupOverlayModel;
class LookupServing;
class OverlayPanelPresenting;
class PronunciationPlaying;
class PronunciationServing;
class ScreenCapturing;
struct LookupOutcome;
struct LookupViewState;
struct OverlayPresentationTarget;

class LookupCoordinator : public std::enable_shared_from_this<LookupCoordinator> {
 public:
  static constexpr std::string_view kContextKeyPrefix = "lookup-";
  // How long the region surface takes to leave the screen before its capture.
  static constexpr Duration kRegionCaptureDelay = std::chrono::milliseconds(40);

  // Everything it borrows; all outlive the coordinator. The home activity and
  // membership stores are optional.
  struct Dependencies {
    std::shared_ptr<Executor> mainExecutor;
    // Keeps counting while the machine sleeps; the clock of HotKeyEvent::triggeredAt.
    const Clock& clock;
    LookupOverlayModel& model;
    ScreenCapturing& captureService;
    LookupServing& lookupService;
    PronunciationServing& pronunciationService;
    OverlayPanelPresenting& panel;
    AnalyticsService& analytics;
    EnglishPronunciationStore& englishPronunciation;
    PronunciationPlaying& pronunciation;
    HomeActivityRecording* homeActivity;
    MembershipStatusRefreshing* membershipStatusStore;
    LookupCaseRecorder& caseRecorder;
  };

  explicit LookupCoordinator(Dependencies dependencies);
  ~LookupCoordinator();

  // Starts a word lookup, or a case recording for a "record_case" trigger.
  void trigger(const HotKeyEvent& event);
  // Starts an area translation of the gesture's rectangle.
  void triggerRegion(const RegionSelectionGesture& gesture);
  // Stops whatever runs and returns the card's state to idle. The window stays;
  // callers that want it gone hide it themselves.
  void cancelCurrent();

  // Connected by the composition root: the card's retry button, and a change
  // of the English accent.
  void retryParagraphTranslation();
  void englishPronunciationChanged();

  std::function<void(TranslationMethod method)> onTranslationSucceeded;
  std::function<void()> onLookupRecorded;
  std::function<void()> onQuotaExhausted;
  std::function<void()> onPermissionDenied;

  int64_t generation() const { return generation_; }

 private:
  struct LookupRun;
  struct RegionRun;
  using Weak = std::weak_ptr<LookupCoordinator>;

  void sharedReset(bool resetAllPlayback);
  void resetPronunciationState(bool resetAllPlayback);
  // The coordinator, when the work of `generation` may still write; otherwise
  // raises CancellationError.
  static std::shared_ptr<LookupCoordinator> current(const Weak& weak, int64_t generation);
  bool isCurrent(int64_t generation) const;

  static Async<void> lookup(Weak weak, HotKeyEvent event, int64_t generation,
                            EnglishPronunciationAccent accent, int64_t revision);
  static Async<void> streamLookup(Weak weak, int64_t generation, EnglishPronunciationAccent accent,
                                  int64_t revision, LookupRun& run);
  // Applies one event; false when the loop is to be left.
  bool applyLookupEvent(const LookupStreamEvent& event, int64_t generation, int64_t revision,
                        LookupRun& run);
  void finishLookup(int64_t generation, LookupRun& run);
  // A cancellation, stale work, or a denied permission (recovered elsewhere):
  // failures that show no card. True when `failure` was one of them.
  bool handledWithoutCard(const std::exception_ptr& failure, int64_t generation);
  void noteQuotaExhaustion(const LookupError& error);
  void handleLookupFailure(std::exception_ptr failure, int64_t generation, const LookupRun& run);
  void reportLookupFailure(const LookupError& error, int64_t generation, const LookupRun& run);

  static Async<void> translateRegion(Weak weak, RegionSelectionGesture gesture, int64_t generation,
                                     std::optional<RegionCapture> captureOverride);
  static Async<void> streamRegion(Weak weak, const RegionSelectionGesture& gesture,
                                  int64_t generation, std::optional<RegionCapture> captureOverride,
                                  RegionRun& run);
  bool applyRegionEvent(const LookupStreamEvent& event, int64_t generation, RegionRun& run);
  void finishRegion(int64_t generation, RegionRun& run);
  void handleRegionFailure(std::exception_ptr failure, const RegionSelectionGesture& gesture,
                           int64_t generation);

  static Async<void> recordCase(Weak weak, HotKeyEvent event, int64_t generation);

  // A running English lookup is given up when the accent changed under it.
  void ensureEnglishAccent(int64_t revision, const std::optional<std::string>& language);
  void abandonForAccentChange();
  LookupViewState streamingState(TranslationEntry entry, int64_t generation) const;
  std::string contextKey(int64_t generation) const;
  std::string accentLanguage(std::string language) const;

  void maybePrefetchPronunciation(const std::string& headword, const std::string& language,
                                  Point mouse, int64_t generation);
  void startPronunciationRequest(std::string text, std::optional<std::string> language, Point mouse,
                                 int64_t generation);
  void finishPronunciationLoad(const std::optional<PronunciationResult>& result, Point mouse,
                               int64_t generation);

  void presentFinal(const OcrResult& result, Point mouse, int64_t generation,
                    LookupOutcome outcome);
  void presentError(const LookupError& error, Point mouse, int64_t generation);
  void presentRegionError(const LookupError& error, Rect selectionRect, int64_t generation);
  // Fits the card to its content, when asked, and shows it at `target`.
  void showCard(const OverlayPresentationTarget& target, bool fit);
  void requestRefreshAfterTranslation(const std::optional<MembershipStatusContext>& context);

  Dependencies d_;
  std::optional<int64_t> lookupAccentRevision_;
  std::optional<std::string> lookupQueryLanguage_;
  int64_t generation_ = 0;
  Task<void> lookupTask_;
  Task<void> pronunciationTask_;
  std::optional<int64_t> prefetchedPronunciationGeneration_;
  bool pronunciationLoading_ = false;
  std::optional<std::string> pronunciationURL_;
  std::optional<std::string> pronunciationLanguage_;
  std::optional<RegionSelectionGesture> lastRegionGesture_;
  std::optional<RegionCapture> lastRegionCapture_;
};

}  // namespace trelvis
