#pragma once

// Fakes of what the lookup coordinator calls: the screen capture, the lookup
// and pronunciation service, the floating panel, the playback session, the
// membership store, the enrollment coordinator and the recent-lookup history.
// Each writes what it was asked into a shared CallLog. Captures, streams and
// pronunciation replies can be held open and completed by the test. For tests
// on a TestScheduler.

#include <cstdio>
#include <deque>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/async/async_stream.h"
#include "base/async/continuation.h"
#include "core/capture/screen_capture_error.h"
#include "core/capture/screen_capturing.h"
#include "core/learning/home_activity_recording.h"
#include "core/learning/learning_enrollment.h"
#include "core/learning/pronunciation_playing.h"
#include "core/lookup/lookup_api_client.h"
#include "core/membership/membership_status_refreshing.h"
#include "core/overlay/overlay_panel_presenting.h"
#include "support/call_log.h"

namespace trelvis {

inline std::string describePoint(Point p) {
  char text[64];
  std::snprintf(text, sizeof text, "%g,%g", p.x, p.y);
  return text;
}

// Answers at once unless `hold` is set; then each capture waits for release().
class FakeScreenCapture final : public ScreenCapturing, LogsCalls {
 public:
  using LogsCalls::LogsCalls;

  Async<NativeCapture> captureImageAtPointer(Point pointer) override {
    log_.add("capture " + describePoint(pointer));
    co_await answer();
    NativeCapture capture;
    capture.imageData = {0xFF, 0xD8, 0xFF, 0xD9};
    capture.mouseX = pointer.x;
    capture.mouseY = pointer.y;
    capture.targetLanguage = "zh-Hans";
    co_return capture;
  }
  Async<RegionCapture> captureRegion(Rect rect) override {
    log_.add("capture region " + describePoint(rect.origin) + " " +
             describePoint({rect.size.width, rect.size.height}));
    co_await answer();
    co_return RegionCapture{.imageData = {0xFF, 0xD8, 0xFF, 0xD9},
                            .selectionRect = rect,
                            .imageWidth = rect.size.width,
                            .imageHeight = rect.size.height,
                            .targetLanguage = "zh-Hans"};
  }

  // The next capture raises `error`.
  void failNext(ScreenCaptureError error) { failures_.push_back(std::make_exception_ptr(error)); }
  // Lets the oldest held capture go on.
  void release() {
    auto next = std::move(held_.front());
    held_.pop_front();
    next.resume();
  }

  bool hold = false;

 private:
  Async<void> answer() {
    if (hold) co_await withContinuation<void>([this](Continuation<void> c) { held_.push_back(c); });
    if (!failures_.empty()) {
      auto failure = failures_.front();
      failures_.pop_front();
      std::rethrow_exception(failure);
    }
  }

  std::deque<std::exception_ptr> failures_;
  std::deque<Continuation<void>> held_;
};

// Every stream stays open until the test sends, finishes or fails it.
class FakeLookupService final : public LookupServing, public PronunciationServing, LogsCalls {
 public:
  struct Stream {
    AsyncStream<LookupStreamEvent>::Continuation continuation;
    bool cancelled = false;
    void send(LookupStreamEvent event) const { continuation.yield(std::move(event)); }
    void finish() const { continuation.finish(); }
    template <class E>
    void fail(E error) const {
      continuation.finishThrowing(std::move(error));
    }
  };

  using LogsCalls::LogsCalls;

  AsyncStream<LookupStreamEvent> lookupStream(NativeCapture capture) override {
    log_.add("request lookup " + describePoint({capture.mouseX, capture.mouseY}));
    return open();
  }
  AsyncStream<LookupStreamEvent> paragraphTranslationStream(RegionCapture capture) override {
    log_.add("request paragraph " + describePoint(capture.selectionRect.origin));
    return open();
  }
  // Answers a normal-speed URL for the text.
  Async<PronunciationResult> pronunciationAttempt(std::string lookupText,
                                                  std::optional<std::string> language,
                                                  PronunciationSpeed, bool, bool) override {
    log_.add("pronounce " + lookupText + " " + language.value_or("-"));
    co_return PronunciationResult{lookupText, std::nullopt, "https://audio/" + lookupText + ".mp3",
                                  PronunciationSpeed::normal};
  }

  Stream& stream(std::size_t index) { return *streams_.at(index); }
  Stream& last() { return *streams_.back(); }

 private:
  AsyncStream<LookupStreamEvent> open() {
    auto [stream, continuation] = AsyncStream<LookupStreamEvent>::make();
    auto entry = std::make_shared<Stream>(Stream{continuation});
    continuation.setOnTermination([weak = std::weak_ptr(entry)](StreamTermination reason) {
      auto entry = weak.lock();
      if (entry && reason == StreamTermination::cancelled) entry->cancelled = true;
    });
    streams_.push_back(std::move(entry));
    return std::move(stream);
  }

  std::vector<std::shared_ptr<Stream>> streams_;
};

class FakeOverlayPanel final : public OverlayPanelPresenting, LogsCalls {
 public:
  using LogsCalls::LogsCalls;

  void activateLookupContent() override { log_.add("panel activate"); }
  OverlayPlacement show(const OverlayPresentationTarget& target,
                        const OverlayLayoutMetrics& layout) override {
    if (const auto* point = std::get_if<Point>(&target.value)) {
      log_.add("panel show at " + describePoint(*point));
    } else {
      log_.add("panel show region " + describePoint(std::get<Rect>(target.value).origin));
    }
    visible = true;
    return {OverlayAnchor::top, layout.maxHeight};
  }
  void hideWindow() override {
    log_.add("panel hide");
    visible = false;
  }
  // The user sends a visible card away.
  void dismiss(const std::string& reason) {
    hideWindow();
    if (onDismiss) onDismiss(reason);
  }

  bool visible = false;
};

class FakePronunciationPlayer final : public PronunciationPlaying, LogsCalls {
 public:
  using LogsCalls::LogsCalls;

  std::optional<std::string> activeKey() const override { return key; }
  AutoplayIntent autoplayIntent() const override { return {intentGeneration, 0}; }
  void play(const std::string& playKey, const std::string& headword,
            const std::optional<std::string>& language, const std::optional<Url>& normalURL,
            const std::optional<AutoplayIntent>& intent) override {
    log_.add("play " + playKey + " " + headword + " " + language.value_or("-") + " " +
             (normalURL ? normalURL->absoluteString() : "-") + (intent ? " auto" : ""));
    key = playKey;
  }
  void reset() override {
    log_.add("playback reset");
    key.reset();
    ++intentGeneration;
  }

  std::optional<std::string> key;
  int64_t intentGeneration = 0;
};

class FakeMembershipStore final : public MembershipStatusRefreshing, LogsCalls {
 public:
  using LogsCalls::LogsCalls;

  std::optional<MembershipStatusContext> activeContext() const override {
    return MembershipStatusContext{"user-1", 1};
  }
  void requestRefreshAfterTranslation(const std::optional<MembershipStatusContext>& at) override {
    log_.add("membership refresh after translation" + std::string(at ? "" : " without user"));
  }
  void requestRefresh() override { log_.add("membership refresh"); }
  std::optional<MembershipPlanCode> currentPlan() const override {
    return MembershipPlanCode::free;
  }
};

// The enrollment coordinator and the recent-lookup history in one: records get
// fresh ids, and each enrollment waits for complete().
class FakeLearning final : public LearningEnrolling, public HomeActivityRecording, LogsCalls {
 public:
  using LogsCalls::LogsCalls;

  std::optional<Uuid> record(const TranslationEntry& entry) override {
    log_.add("history record " + entry.headword);
    return Uuid::random();
  }
  Uuid enroll(const LearningEnrollmentRequest& request, std::optional<Uuid> historyLookupID,
              Completion completion) override {
    log_.add("enroll " + request.headword + (historyLookupID ? " from history" : ""));
    const Uuid id = Uuid::random();
    pending_.push_back({id, std::move(completion)});
    return id;
  }
  std::optional<LookupEnrollmentState> historyEnrollmentState(Uuid) const override {
    return historyState;
  }
  // Answers the oldest running enrollment.
  void complete(const LearningEnrollmentOutcome& outcome) {
    if (pending_.empty()) throw std::logic_error("no enrollment is running");
    auto [id, completion] = std::move(pending_.front());
    pending_.pop_front();
    completion(id, outcome);
  }

  std::optional<LookupEnrollmentState> historyState;
  std::deque<std::pair<Uuid, Completion>> pending_;
};

}  // namespace trelvis
