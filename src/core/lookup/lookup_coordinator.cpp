#include "core/lookup/lookup_coordinator.h"

#include <utility>
#include <variant>

#include "base/async/sleep.h"
#include "base/log.h"
#include "base/text.h"
#include "core/analytics/analytics_service.h"
#include "core/capture/screen_capture_error.h"
#include "core/capture/screen_capturing.h"
#include "core/learning/home_activity_recording.h"
#include "core/learning/pronunciation_playing.h"
#include "core/lookup/lookup_api_client.h"
#include "core/lookup/lookup_case_recorder.h"
#include "core/lookup/lookup_error.h"
#include "core/overlay/lookup_overlay_model.h"
#include "core/overlay/overlay_panel_presenting.h"
#include "core/prefs/english_pronunciation_store.h"

namespace trelvis {
namespace {

const LogCategory kLog("lookup");
const LogCategory kLatencyLog("lookup-latency");

// Whole milliseconds, truncated toward zero.
int64_t millisecondsOf(Duration duration) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
}

bool isEnglish(const std::optional<std::string>& language) {
  return language && EnglishPronunciationStore::isEnglish(*language);
}

std::optional<std::string> nonEmptyTrimmed(const std::optional<std::string>& text) {
  std::string value = trimmed(text.value_or(""));
  if (value.empty()) return std::nullopt;
  return value;
}

bool hasPronunciationURL(const TranslationEntry& entry) {
  return nonEmptyTrimmed(entry.pronunciationUrl).has_value();
}

template <class E, class Predicate>
bool failureIs(const std::exception_ptr& failure, Predicate predicate) {
  try {
    std::rethrow_exception(failure);
  } catch (const E& e) {
    return predicate(e);
  } catch (...) {
    return false;
  }
}

bool isCancellation(const std::exception_ptr& failure) {
  return failureIs<CancellationError>(failure, [](const auto&) { return true; });
}

// Runs `body`, giving back what it raised instead of raising it.
Async<std::exception_ptr> failureOf(Async<void> body) {
  try {
    co_await std::move(body);
  } catch (...) {
    co_return std::current_exception();
  }
  co_return nullptr;
}

bool isPermissionDenied(const std::exception_ptr& failure) {
  return failureIs<ScreenCaptureError>(failure, [](const ScreenCaptureError& e) {
    return e.kind() == ScreenCaptureError::Kind::permissionDenied;
  });
}

LookupViewState stateWithStatus(LookupStatus status) {
  LookupViewState state;
  state.status = status;
  return state;
}

LookupViewState errorState(const LookupError& error) {
  LookupViewState state = stateWithStatus(LookupStatus::error);
  state.error = error;
  return state;
}

// The card of a region: no word, no pronunciation, only the entry's texts.
LookupViewState regionState(LookupStatus status, const TranslationEntry& entry) {
  LookupViewState state = stateWithStatus(status);
  state.entry = entry;
  return state;
}

// Appends a streamed piece of the entry to its field; unknown fields are skipped.
void apply(const std::string& delta, const std::string& field, TranslationEntry& entry) {
  if (field == "entry.headword") {
    entry.headword += delta;
  } else if (field == "entry.phonetic") {
    entry.phonetic = entry.phonetic.value_or("") + delta;
  } else if (field == "entry.partOfSpeech") {
    entry.partOfSpeech += delta;
  } else if (field == "entry.meaning") {
    entry.meaning += delta;
  } else if (field == "entry.sentence") {
    entry.sentence += delta;
  } else if (field == "entry.sentenceTranslation") {
    entry.sentenceTranslation += delta;
  }
}

}  // namespace

// What one word lookup has learnt so far.
struct LookupCoordinator::LookupRun {
  Instant start;
  Instant triggeredAt;
  Point mouse;  // the event's, then the capture's
  std::optional<std::string> targetLanguage;
  bool streamStarted = false;
  std::optional<MembershipStatusContext> membershipContext;
  TranslationEntry entry;
  std::optional<std::string> queryLanguage;
  std::optional<OcrResult> final;
  std::optional<int64_t> requestToFirstSSE;
  std::optional<int64_t> firstToken;
  std::optional<int64_t> complete;
  std::optional<std::string> detectedLanguage;
};

// What one area translation has learnt so far.
struct LookupCoordinator::RegionRun {
  Rect selectionRect;
  bool streamStarted = false;
  std::optional<MembershipStatusContext> membershipContext;
  TranslationEntry entry;
  std::optional<ParagraphTranslationResult> final;
};

LookupCoordinator::LookupCoordinator(Dependencies dependencies) : d_(std::move(dependencies)) {}

LookupCoordinator::~LookupCoordinator() {
  lookupTask_.cancel();
  pronunciationTask_.cancel();
}

// ---- Entry points ------------------------------------------------------------

void LookupCoordinator::sharedReset(bool resetAllPlayback) {
  ++generation_;
  lookupTask_.cancel();
  resetPronunciationState(resetAllPlayback);
  d_.model.resetEnrollment();
}

void LookupCoordinator::resetPronunciationState(bool resetAllPlayback) {
  // Playback that another feature owns goes on unless everything is reset.
  const std::optional<std::string> key = d_.pronunciation.activeKey();
  if (resetAllPlayback || (key && key->starts_with(kContextKeyPrefix))) d_.pronunciation.reset();
  std::exchange(pronunciationTask_, {}).cancel();
  prefetchedPronunciationGeneration_.reset();
  pronunciationURL_.reset();
  pronunciationLanguage_.reset();
  pronunciationLoading_ = false;
}

void LookupCoordinator::cancelCurrent() {
  lookupAccentRevision_.reset();
  sharedReset(false);
  lookupTask_ = {};
  d_.model.cancelPendingLayoutRequest();
  d_.model.setState(LookupViewState::idle());
  lastRegionGesture_.reset();
  lastRegionCapture_.reset();
}

void LookupCoordinator::trigger(const HotKeyEvent& event) {
  sharedReset(true);
  lastRegionGesture_.reset();
  lastRegionCapture_.reset();
  if (event.source == "record_case") {
    lookupTask_ = spawn(d_.mainExecutor, recordCase(weak_from_this(), event, generation_));
    return;
  }
  d_.model.preparePronunciationAutoplay(contextKey(generation_));
  const EnglishPronunciationAccent accent = d_.englishPronunciation.accent();
  const int64_t revision = d_.englishPronunciation.revision();
  lookupAccentRevision_ = revision;
  lookupQueryLanguage_.reset();
  lookupTask_ =
      spawn(d_.mainExecutor, lookup(weak_from_this(), event, generation_, accent, revision));
}

void LookupCoordinator::triggerRegion(const RegionSelectionGesture& gesture) {
  lookupAccentRevision_.reset();
  sharedReset(true);
  lastRegionGesture_ = gesture;
  lastRegionCapture_.reset();
  lookupTask_ =
      spawn(d_.mainExecutor, translateRegion(weak_from_this(), gesture, generation_, std::nullopt));
}

void LookupCoordinator::retryParagraphTranslation() {
  if (!lastRegionGesture_) return;
  sharedReset(true);
  // The same image again: no new capture, and the card stays where it is.
  lookupTask_ = spawn(d_.mainExecutor, translateRegion(weak_from_this(), *lastRegionGesture_,
                                                       generation_, lastRegionCapture_));
}

void LookupCoordinator::englishPronunciationChanged() {
  // A running English lookup is abandoned rather than finished with the old accent's sound.
  if (lookupAccentRevision_ && isEnglish(lookupQueryLanguage_)) {
    abandonForAccentChange();
    return;
  }
  std::optional<std::string> language = pronunciationLanguage_;
  if (!isEnglish(language)) {
    const std::optional<TranslationEntry>& entry = d_.model.state().entry;
    if (!entry) return;
    language = entry->pronunciationLang ? entry->pronunciationLang : entry->lookupLang;
    if (!isEnglish(language)) return;
  }
  resetPronunciationState(false);
  LookupViewState state = d_.model.state();
  if (state.entry) state.entry->pronunciationUrl.reset();
  state.pronunciationStatus = PronunciationStatus::ready;
  d_.model.setState(std::move(state));
}

// ---- Currency ----------------------------------------------------------------

bool LookupCoordinator::isCurrent(int64_t generation) const {
  return generation == generation_ && !isCancelled();
}

std::shared_ptr<LookupCoordinator> LookupCoordinator::current(const Weak& weak,
                                                              int64_t generation) {
  auto self = weak.lock();
  if (!self || !self->isCurrent(generation)) throw CancellationError();
  return self;
}

void LookupCoordinator::ensureEnglishAccent(int64_t revision,
                                            const std::optional<std::string>& language) {
  if (d_.englishPronunciation.revision() != revision && isEnglish(language)) {
    abandonForAccentChange();
    throw CancellationError();
  }
}

void LookupCoordinator::abandonForAccentChange() {
  cancelCurrent();
  d_.panel.hideWindow();
}

std::string LookupCoordinator::contextKey(int64_t generation) const {
  return std::string(kContextKeyPrefix) + std::to_string(generation);
}

std::string LookupCoordinator::accentLanguage(std::string language) const {
  if (!EnglishPronunciationStore::isEnglish(language)) return language;
  return std::string(languageTag(d_.englishPronunciation.accent()));
}

// ---- Word lookup -------------------------------------------------------------

Async<void> LookupCoordinator::lookup(Weak weak, HotKeyEvent event, int64_t generation,
                                      EnglishPronunciationAccent accent, int64_t revision) {
  LookupRun run;
  run.triggeredAt = event.triggeredAt;
  run.mouse = {event.mouseX, event.mouseY};
  const std::exception_ptr failure =
      co_await failureOf(streamLookup(weak, generation, accent, revision, run));
  auto self = weak.lock();
  if (!self) co_return;
  // Once a request has gone out, its quota use is fetched on every way out:
  // after the card has its final state, or before a raised error is handled.
  if (run.streamStarted) self->requestRefreshAfterTranslation(run.membershipContext);
  if (failure) self->handleLookupFailure(failure, generation, run);
  // A stale task must not clear the revision of the lookup that replaced it.
  if (self->generation_ == generation) self->lookupAccentRevision_.reset();
}

Async<void> LookupCoordinator::streamLookup(Weak weak, int64_t generation,
                                            EnglishPronunciationAccent accent, int64_t revision,
                                            LookupRun& run) {
  auto self = current(weak, generation);
  run.start = self->d_.clock.now();
  if (self->d_.analytics.isEnabled()) self->d_.analytics.logEvent("translate_triggered");
  ScreenCapturing& captureService = self->d_.captureService;
  self.reset();

  NativeCapture capture = co_await captureService.captureImageAtPointer(run.mouse);
  capture.englishPronunciation = accent;
  run.mouse = {capture.mouseX, capture.mouseY};
  run.targetLanguage = capture.targetLanguage;
  self = current(weak, generation);

  // The old card, pinned or not, leaves only now that the new capture is in hand.
  self->d_.panel.hideWindow();
  LookupOverlayModel& model = self->d_.model;
  model.setContentKind(OverlayContentKind::lookup);
  model.setState(LookupViewState::loading());
  model.setNaturalContentHeight(LookupOverlayModel::kInitialContentHeight);
  self->showCard(OverlayPresentationTarget::mouse(run.mouse), false);
  self = current(weak, generation);

  if (self->d_.membershipStatusStore) {
    run.membershipContext = self->d_.membershipStatusStore->activeContext();
  }
  AsyncStream<LookupStreamEvent> stream = self->d_.lookupService.lookupStream(std::move(capture));
  run.streamStarted = true;
  self.reset();
  while (auto streamEvent = co_await stream.next()) {
    self = current(weak, generation);
    self->ensureEnglishAccent(revision, run.queryLanguage);
    if (!self->applyLookupEvent(*streamEvent, generation, revision, run)) co_return;
    self.reset();
  }
  self = current(weak, generation);
  self->finishLookup(generation, run);
}

bool LookupCoordinator::applyLookupEvent(const LookupStreamEvent& streamEvent, int64_t generation,
                                         int64_t revision, LookupRun& run) {
  const Instant now = d_.clock.now();
  const bool accentChanged = d_.englishPronunciation.revision() != revision;
  if (const auto* timing = std::get_if<LookupStreamEvent::Timing>(&streamEvent.value)) {
    run.requestToFirstSSE = timing->requestToFirstSSEMilliseconds;
    kLatencyLog.notice(
        "first-sse generation={} trigger_to_first_sse_ms={} request_to_first_sse_ms={}", generation,
        millisecondsOf(now - run.triggeredAt), timing->requestToFirstSSEMilliseconds);
  } else if (const auto* delta = std::get_if<LookupStreamEvent::FieldDelta>(&streamEvent.value)) {
    if (!delta->delta.empty() && !run.firstToken) run.firstToken = millisecondsOf(now - run.start);
    apply(delta->delta, delta->field, run.entry);
    TranslationEntry shown = run.entry;
    // A phonetic of the wrong accent must not flash while the language is unknown.
    if (accentChanged && !shown.lookupLang) shown.phonetic.reset();
    d_.model.setState(streamingState(std::move(shown), generation));
  } else if (const auto* language = std::get_if<LookupStreamEvent::Language>(&streamEvent.value)) {
    ensureEnglishAccent(revision, language->code);
    lookupQueryLanguage_ = language->code;
    run.queryLanguage = language->code;
    run.entry.lookupLang = language->code;
    run.detectedLanguage = language->code;
    if (auto name = nonEmptyTrimmed(language->name)) run.entry.detectedLanguageName = name;
    maybePrefetchPronunciation(run.entry.headword, language->code, run.mouse, generation);
    d_.model.setState(streamingState(run.entry, generation));
  } else if (const auto* completed =
                 std::get_if<LookupStreamEvent::Completed>(&streamEvent.value)) {
    const std::optional<TranslationEntry>& entry = completed->result.entry;
    const std::optional<std::string> language = !entry              ? std::nullopt
                                                : entry->lookupLang ? entry->lookupLang
                                                                    : entry->pronunciationLang;
    if (accentChanged && isEnglish(language)) {
      abandonForAccentChange();
      throw CancellationError();
    }
    run.final = completed->result;
    run.complete = millisecondsOf(now - run.start);
  } else if (const auto* failure = std::get_if<LookupStreamEvent::Failure>(&streamEvent.value)) {
    reportLookupFailure(LookupError::fromStreamFailure(failure->failure), generation, run);
    return false;
  }
  return true;
}

void LookupCoordinator::finishLookup(int64_t generation, LookupRun& run) {
  if (!run.final) {
    // The deltas alone are no result: they leave the card with the error.
    reportLookupFailure(LookupError(LookupErrorCode::streamInterrupted), generation, run);
    return;
  }
  LookupOutcome outcome{LookupOutcomeStatus::success,
                        std::nullopt,
                        run.requestToFirstSSE,
                        run.firstToken,
                        run.complete,
                        run.targetLanguage,
                        run.detectedLanguage};
  presentFinal(*run.final, run.mouse, generation, std::move(outcome));
}

bool LookupCoordinator::handledWithoutCard(const std::exception_ptr& failure, int64_t generation) {
  if (isCancellation(failure) || !isCurrent(generation)) return true;
  // The permission is recovered elsewhere; no card and no outcome here.
  if (!isPermissionDenied(failure)) return false;
  if (onPermissionDenied) onPermissionDenied();
  return true;
}

void LookupCoordinator::noteQuotaExhaustion(const LookupError& error) {
  // The card shows the error; the membership status shows the quota.
  if (error.code() == LookupErrorCode::translationQuotaExhausted && onQuotaExhausted) {
    onQuotaExhausted();
  }
}

void LookupCoordinator::handleLookupFailure(std::exception_ptr failure, int64_t generation,
                                            const LookupRun& run) {
  if (!handledWithoutCard(failure, generation)) {
    reportLookupFailure(LookupError::from(failure), generation, run);
  }
}

void LookupCoordinator::reportLookupFailure(const LookupError& error, int64_t generation,
                                            const LookupRun& run) {
  noteQuotaExhaustion(error);
  d_.analytics.lookupOutcome(LookupOutcome{LookupOutcomeStatus::error, error, run.requestToFirstSSE,
                                           run.firstToken, std::nullopt, run.targetLanguage,
                                           run.detectedLanguage});
  presentError(error, run.mouse, generation);
}

LookupViewState LookupCoordinator::streamingState(TranslationEntry entry,
                                                  int64_t generation) const {
  LookupViewState state = stateWithStatus(LookupStatus::streaming);
  state.pronunciationContextKey = contextKey(generation);
  if (pronunciationURL_) entry.pronunciationUrl = pronunciationURL_;
  state.entry = std::move(entry);
  state.pronunciationStatus = (pronunciationURL_ || !pronunciationLoading_)
                                  ? PronunciationStatus::ready
                                  : PronunciationStatus::loading;
  return state;
}

void LookupCoordinator::presentFinal(const OcrResult& result, Point mouse, int64_t generation,
                                     LookupOutcome outcome) {
  if (!isCurrent(generation)) return;
  if (result.error) {
    const LookupError error = LookupError::fromAPIErrorCode(*result.error);
    outcome.status = LookupOutcomeStatus::error;
    outcome.error = error;
    d_.analytics.lookupOutcome(outcome);
    presentError(error, mouse, generation);
    return;
  }
  if (!result.hasSelection()) {
    outcome.status = LookupOutcomeStatus::noWord;
    d_.analytics.lookupOutcome(outcome);
    LookupViewState state = stateWithStatus(LookupStatus::noWord);
    state.result = result;
    d_.model.setState(std::move(state));
    showCard(OverlayPresentationTarget::mouse(mouse), true);
    return;
  }
  d_.analytics.lookupOutcome(outcome);
  if (onTranslationSucceeded) onTranslationSucceeded(TranslationMethod::hover);

  TranslationEntry entry = *result.entry;
  if (auto language = nonEmptyTrimmed(entry.lookupLang)) {
    entry.lookupLang = language;
  } else if (auto detected = nonEmptyTrimmed(outcome.detectedLanguage)) {
    entry.lookupLang = detected;
  }
  if (!hasPronunciationURL(entry) && pronunciationURL_) entry.pronunciationUrl = pronunciationURL_;
  const bool hasURL = hasPronunciationURL(entry);
  // A prefetch still on its way will finish the card; otherwise ask now.
  const bool start =
      !hasURL && !(prefetchedPronunciationGeneration_ == generation && pronunciationLoading_);
  if (start) pronunciationLoading_ = true;

  LookupOverlayModel& model = d_.model;
  model.invalidateTextSelection();
  model.resetResultScroll();
  const std::optional<Uuid> historyID =
      d_.homeActivity ? d_.homeActivity->record(entry) : std::nullopt;
  model.resetEnrollment(historyID, LearningEnrollmentRequest::from(entry));
  LookupViewState state = stateWithStatus(LookupStatus::success);
  state.pronunciationStatus = hasURL ? PronunciationStatus::ready : PronunciationStatus::loading;
  state.pronunciationContextKey = contextKey(generation);
  state.word = result.selectedUnit->text;
  state.entry = entry;
  state.result = result;
  model.setState(std::move(state));
  if (onLookupRecorded) onLookupRecorded();
  showCard(OverlayPresentationTarget::mouse(mouse), true);

  if (!start) return;
  std::string text = trimmed(entry.headword);
  if (text.empty()) text = trimmed(result.selectedUnit->text);
  std::optional<std::string> language = entry.pronunciationLang;
  if (language) language = accentLanguage(*language);
  pronunciationLanguage_ = language;
  pronunciationLoading_ = true;
  startPronunciationRequest(std::move(text), std::move(language), mouse, generation);
}

void LookupCoordinator::presentError(const LookupError& error, Point mouse, int64_t generation) {
  if (!isCurrent(generation)) return;
  kLog.error("Trelvis lookup failure: {}", error.description());
  d_.model.setState(errorState(error));
  showCard(OverlayPresentationTarget::mouse(mouse), true);
}

void LookupCoordinator::showCard(const OverlayPresentationTarget& target, bool fit) {
  if (fit) d_.model.requestPanelFit();
  d_.panel.activateLookupContent();
  d_.panel.show(target, d_.model.layout());
}

void LookupCoordinator::requestRefreshAfterTranslation(
    const std::optional<MembershipStatusContext>& context) {
  if (d_.membershipStatusStore) d_.membershipStatusStore->requestRefreshAfterTranslation(context);
}

// ---- Pronunciation -----------------------------------------------------------

void LookupCoordinator::maybePrefetchPronunciation(const std::string& headword,
                                                   const std::string& language, Point mouse,
                                                   int64_t generation) {
  std::string text = trimmed(headword);
  std::string code = trimmed(language);
  if (text.empty() || code.empty() || prefetchedPronunciationGeneration_ == generation) return;
  prefetchedPronunciationGeneration_ = generation;
  code = accentLanguage(std::move(code));
  pronunciationLanguage_ = code;
  pronunciationLoading_ = true;
  startPronunciationRequest(std::move(text), std::move(code), mouse, generation);
}

void LookupCoordinator::startPronunciationRequest(std::string text,
                                                  std::optional<std::string> language, Point mouse,
                                                  int64_t generation) {
  pronunciationTask_.cancel();
  const int64_t revision = d_.englishPronunciation.revision();
  pronunciationTask_ =
      spawn(d_.mainExecutor,
            [weak = weak_from_this(), &service = d_.pronunciationService, text = std::move(text),
             language = std::move(language), mouse, generation, revision]() -> Async<void> {
              std::optional<PronunciationResult> result;
              try {
                result = co_await service.pronunciationAttempt(
                    text, language, PronunciationSpeed::normal, false, true);
              } catch (...) {
                // Any failure leaves the card without sound; the speaker button can ask again.
              }
              auto self = weak.lock();
              if (!self || isCancelled()) co_return;
              // The answer speaks the old accent.
              if (isEnglish(language) && self->d_.englishPronunciation.revision() != revision)
                co_return;
              self->finishPronunciationLoad(result, mouse, generation);
            });
}

void LookupCoordinator::finishPronunciationLoad(const std::optional<PronunciationResult>& result,
                                                Point mouse, int64_t generation) {
  if (!isCurrent(generation)) return;
  pronunciationTask_ = {};
  pronunciationLoading_ = false;
  // A slow recording never stands in for the normal one.
  if (result && result->pronunciationSpeed == PronunciationSpeed::normal) {
    if (auto url = nonEmptyTrimmed(result->pronunciationUrl)) pronunciationURL_ = url;
  }
  LookupViewState state = d_.model.state();
  const bool shown =
      state.status == LookupStatus::streaming || state.status == LookupStatus::success;
  if (!shown || !state.entry) return;
  if (pronunciationURL_) state.entry->pronunciationUrl = pronunciationURL_;
  state.pronunciationStatus = PronunciationStatus::ready;
  const bool success = state.status == LookupStatus::success;
  d_.model.setState(std::move(state));
  if (success) showCard(OverlayPresentationTarget::mouse(mouse), true);
}

// ---- Area translation --------------------------------------------------------

Async<void> LookupCoordinator::translateRegion(Weak weak, RegionSelectionGesture gesture,
                                               int64_t generation,
                                               std::optional<RegionCapture> captureOverride) {
  RegionRun run;
  const std::exception_ptr failure =
      co_await failureOf(streamRegion(weak, gesture, generation, std::move(captureOverride), run));
  auto self = weak.lock();
  if (!self) co_return;
  if (run.streamStarted) self->requestRefreshAfterTranslation(run.membershipContext);
  if (failure) self->handleRegionFailure(failure, gesture, generation);
}

Async<void> LookupCoordinator::streamRegion(Weak weak, const RegionSelectionGesture& gesture,
                                            int64_t generation,
                                            std::optional<RegionCapture> captureOverride,
                                            RegionRun& run) {
  auto self = current(weak, generation);
  const bool retry = captureOverride.has_value();
  RegionCapture capture;
  if (retry) {
    capture = std::move(*captureOverride);
  } else {
    ScreenCapturing& captureService = self->d_.captureService;
    self.reset();
    // The selection surface must be gone from the screen before the capture.
    co_await sleepFor(kRegionCaptureDelay);
    capture = co_await captureService.captureRegion(gesture.selectedRect());
    self = current(weak, generation);
  }
  self->lastRegionCapture_ = capture;

  // A retry keeps its card and changes it in place.
  if (!retry) self->d_.panel.hideWindow();
  LookupOverlayModel& model = self->d_.model;
  model.setContentKind(OverlayContentKind::paragraphTranslation);
  model.prepareParagraphLayout(capture.selectionRect.size);
  model.setState(LookupViewState::loading());
  model.setNaturalContentHeight(LookupOverlayModel::kInitialContentHeight);
  self->showCard(OverlayPresentationTarget::region(capture.selectionRect), false);
  self = current(weak, generation);

  run.selectionRect = capture.selectionRect;
  if (self->d_.membershipStatusStore) {
    run.membershipContext = self->d_.membershipStatusStore->activeContext();
  }
  AsyncStream<LookupStreamEvent> stream =
      self->d_.lookupService.paragraphTranslationStream(std::move(capture));
  run.streamStarted = true;
  self.reset();
  while (auto streamEvent = co_await stream.next()) {
    self = current(weak, generation);
    if (!self->applyRegionEvent(*streamEvent, generation, run)) co_return;
    self.reset();
  }
  self = current(weak, generation);
  self->finishRegion(generation, run);
}

bool LookupCoordinator::applyRegionEvent(const LookupStreamEvent& streamEvent, int64_t generation,
                                         RegionRun& run) {
  if (const auto* delta = std::get_if<LookupStreamEvent::FieldDelta>(&streamEvent.value)) {
    if (delta->field == "translation") run.entry.sentenceTranslation += delta->delta;
    d_.model.setState(regionState(LookupStatus::streaming, run.entry));
  } else if (const auto* language = std::get_if<LookupStreamEvent::Language>(&streamEvent.value)) {
    run.entry.lookupLang = language->code;
    run.entry.detectedLanguageName = nonEmptyTrimmed(language->name);
    d_.model.setState(regionState(LookupStatus::streaming, run.entry));
  } else if (const auto* completed = std::get_if<LookupStreamEvent::ParagraphTranslationCompleted>(
                 &streamEvent.value)) {
    run.final = completed->result;
  } else if (const auto* failure = std::get_if<LookupStreamEvent::Failure>(&streamEvent.value)) {
    const LookupError error = LookupError::fromStreamFailure(failure->failure);
    noteQuotaExhaustion(error);
    presentRegionError(error, run.selectionRect, generation);
    return false;
  }
  return true;
}

void LookupCoordinator::finishRegion(int64_t generation, RegionRun& run) {
  const auto target = OverlayPresentationTarget::region(run.selectionRect);
  if (!run.final) {
    presentRegionError(LookupError(LookupErrorCode::streamInterrupted), run.selectionRect,
                       generation);
    return;
  }
  if (!run.final->hasText()) {
    // The partial text of the deltas disappears with the state.
    d_.model.setState(stateWithStatus(LookupStatus::noWord));
    showCard(target, true);
    return;
  }
  TranslationEntry& entry = run.entry;
  if (!nonEmptyTrimmed(entry.lookupLang)) {
    if (auto code = nonEmptyTrimmed(run.final->detectedLanguageCode)) entry.lookupLang = code;
  }
  if (!nonEmptyTrimmed(entry.detectedLanguageName)) {
    entry.detectedLanguageName = nonEmptyTrimmed(run.final->detectedLanguageName);
  }
  entry.sentenceTranslation = run.final->translation;
  d_.model.invalidateTextSelection();
  d_.model.resetResultScroll();
  d_.model.setState(regionState(LookupStatus::success, entry));
  if (onTranslationSucceeded) onTranslationSucceeded(TranslationMethod::area);
  showCard(target, true);
}

void LookupCoordinator::handleRegionFailure(std::exception_ptr failure,
                                            const RegionSelectionGesture& gesture,
                                            int64_t generation) {
  if (handledWithoutCard(failure, generation)) return;
  const LookupError error = LookupError::from(failure);
  noteQuotaExhaustion(error);
  presentRegionError(error, gesture.selectedRect(), generation);
}

void LookupCoordinator::presentRegionError(const LookupError& error, Rect selectionRect,
                                           int64_t generation) {
  if (!isCurrent(generation)) return;
  kLog.error("Trelvis paragraph translation failure: {}", error.description());
  d_.model.setContentKind(OverlayContentKind::paragraphTranslation);
  d_.model.prepareParagraphLayout(selectionRect.size);
  d_.model.setState(errorState(error));
  showCard(OverlayPresentationTarget::region(selectionRect), true);
}

// ---- Case recording ----------------------------------------------------------

Async<void> LookupCoordinator::recordCase(Weak weak, HotKeyEvent event, int64_t generation) {
  auto self = current(weak, generation);
  if (!self->d_.caseRecorder.isEnabled()) co_return;
  ScreenCapturing& captureService = self->d_.captureService;
  LookupCaseRecorder& recorder = self->d_.caseRecorder;
  const EnglishPronunciationAccent accent = self->d_.englishPronunciation.accent();
  self.reset();
  try {
    NativeCapture capture =
        co_await captureService.captureImageAtPointer({event.mouseX, event.mouseY});
    capture.englishPronunciation = accent;
    current(weak, generation)->d_.panel.hideWindow();
    co_await recorder.record(std::move(capture));
  } catch (const CancellationError&) {
  } catch (const std::exception& e) {
    // A debugging aid: the user hears nothing of its failures.
    kLog.warning("lookup case not recorded: {}", e.what());
  }
}

}  // namespace trelvis
