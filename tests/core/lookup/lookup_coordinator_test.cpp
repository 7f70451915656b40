#include "core/lookup/lookup_coordinator.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "base/async/test_scheduler.h"
#include "base/log.h"
#include "core/analytics/analytics_service.h"
#include "core/lookup/lookup_case_recorder.h"
#include "core/net/url_error.h"
#include "core/overlay/lookup_overlay_model.h"
#include "core/prefs/english_pronunciation_store.h"
#include "core/prefs/in_memory_preference_store.h"
#include "core/prefs/pronunciation_settings_store.h"
#include "support/fake_environment.h"
#include "support/fake_lookup_pipeline.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

LookupStreamEvent delta(std::string field, std::string text) {
  return {LookupStreamEvent::FieldDelta{1, std::move(field), std::move(text)}};
}
LookupStreamEvent language(std::string code) {
  return {LookupStreamEvent::Language{" English ", std::move(code)}};
}
LookupStreamEvent completed(OcrResult result) {
  return {LookupStreamEvent::Completed{std::move(result)}};
}
LookupStreamEvent paragraphCompleted(std::string translation) {
  return {LookupStreamEvent::ParagraphTranslationCompleted{
      {std::nullopt, "en", "English", std::move(translation), std::nullopt, std::nullopt}}};
}
LookupStreamEvent failureEvent(std::string code) {
  return {LookupStreamEvent::Failure{{"server says no", std::move(code), false, std::nullopt}}};
}
// A final result that selected `word`.
OcrResult wordResult(std::string word, std::string lang = "en") {
  OcrResult result;
  result.selectedUnit.emplace().text = word;
  result.entry = TranslationEntry{word,         "noun",       "a fruit", "",           "",
                                  std::nullopt, std::nullopt, lang,      std::nullopt, lang};
  return result;
}

long countIn(const Lines& lines, const std::string& line) {
  return std::count(lines.begin(), lines.end(), line);
}

std::string describe(const LookupViewState& state) {
  static const char* const kNames[] = {"idle",    "loading", "streaming",
                                       "success", "noWord",  "error"};
  std::string text = std::string("state ") + kNames[static_cast<int>(state.status)];
  if (state.error) text += " " + std::string(toString(state.error->code()));
  if (state.entry) {
    text += " [" + state.entry->headword + state.entry->sentenceTranslation + "]";
    if (state.entry->pronunciationUrl) text += " url";
  }
  if (state.pronunciationStatus == PronunciationStatus::loading) text += " sound-loading";
  return text;
}

class LookupCoordinatorTest : public ::testing::Test {
 protected:
  LookupCoordinatorTest() {
    analytics.configure();
    connections.push_back(model->changed().connect([this](LookupOverlayModel::Field field) {
      if (field == LookupOverlayModel::Field::state) log.add(describe(model->state()));
    }));
    // The coordinator's own connections, as the composition root makes them.
    panel.onDismiss = [this](const std::string&) {
      coordinator->cancelCurrent();
    };
    model->onRetryParagraphTranslation = [this] {
      coordinator->retryParagraphTranslation();
    };
    connections.push_back(accent.observers().connect(
        [this](EnglishPronunciationAccent) { coordinator->englishPronunciationChanged(); }));
    coordinator->onQuotaExhausted = log.note("quota exhausted");
    coordinator->onPermissionDenied = log.note("permission denied");
    coordinator->onLookupRecorded = log.note("lookup recorded");
    coordinator->onTranslationSucceeded = [this](TranslationMethod method) {
      log.add("succeeded " + std::string(toString(method)));
    };
  }

  void tap(double x = 10, double y = 20, std::string source = "modifier_tap") {
    coordinator->trigger(HotKeyEvent{x, y, std::move(source), scheduler.now(), std::nullopt});
    scheduler.runUntilIdle();
  }
  // A drag from (100, 100) to (300, 200), captured once the surface is gone.
  void drag() {
    coordinator->triggerRegion({{100, 100}, {300, 200}, scheduler.now()});
    scheduler.advanceBy(LookupCoordinator::kRegionCaptureDelay);
  }
  void send(const std::vector<LookupStreamEvent>& events, bool finish = true) {
    for (const auto& event : events) service.last().send(event);
    if (finish) service.last().finish();
    scheduler.runUntilIdle();
  }
  Lines outcomes() const {
    Lines lines;
    for (const auto& record : logs.records("analytics")) {
      if (record.message.starts_with("event translate_result")) lines.push_back(record.message);
    }
    return lines;
  }
  void flipAccent() {
    accent.setAccent(accent.accent() == EnglishPronunciationAccent::american
                         ? EnglishPronunciationAccent::british
                         : EnglishPronunciationAccent::american);
  }

  LogCapture logs;
  TestScheduler scheduler;
  std::shared_ptr<Executor> main = scheduler.makeExecutor();
  CallLog log;
  InMemoryPreferenceStore preferences;
  EnglishPronunciationStore accent{preferences};
  PronunciationSettingsStore settings{preferences};
  AnalyticsService analytics;
  FakeScreenCapture capture{log};
  FakeLookupService service{log};
  FakeOverlayPanel panel{log};
  FakePronunciationPlayer playback{log};
  FakeMembershipStore membership{log};
  FakeLearning learning{log};
  LookupCaseRecorder recorder{{}, service};
  std::shared_ptr<LookupOverlayModel> model =
      std::make_shared<LookupOverlayModel>(playback, &learning, &settings);
  std::shared_ptr<LookupCoordinator> coordinator =
      std::make_shared<LookupCoordinator>(LookupCoordinator::Dependencies{
          main, scheduler, *model, capture, service, service, panel, analytics, accent, playback,
          &learning, &membership, recorder});
  std::vector<Connection> connections;
};

TEST_F(LookupCoordinatorTest, AWordLookupRunsFromCaptureToARecordedResult) {
  tap();
  EXPECT_EQ(log.take(), (Lines{"playback reset", "capture 10,20", "panel hide", "state loading",
                               "panel activate", "panel show at 10,20", "request lookup 10,20"}));
  send({delta("entry.headword", "apple"), language("en")}, false);
  send({completed(wordResult("apple"))});
  EXPECT_EQ(log.take(), (Lines{"state streaming [apple]", "state streaming [apple] sound-loading",
                               "pronounce apple en-US", "state streaming [apple] url",
                               "succeeded hover", "history record apple",
                               "state success [apple] url", "lookup recorded", "panel activate",
                               "panel show at 10,20", "membership refresh after translation"}));
  EXPECT_EQ(model->state().word, "apple");
  EXPECT_EQ(model->state().pronunciationContextKey, "lookup-1");
  EXPECT_TRUE(model->historyLookupID().has_value());
  EXPECT_EQ(model->preparedEnrollmentRequest()->headword, "apple");
  EXPECT_EQ(outcomes(), (Lines{"event translate_result status=success first_token_ms=0 "
                               "complete_ms=0 target_language=zh-Hans detected_language=en"}));

  // The result arrives while the prefetch is still out: the prefetch finishes the card alone.
  tap();
  send({delta("entry.headword", "pear"), language("en"), completed(wordResult("pear"))});
  const Lines entries = log.take();
  EXPECT_EQ(countIn(entries, "pronounce pear en-US"), 1);
  EXPECT_EQ(describe(model->state()), "state success [pear] url");
}

TEST_F(LookupCoordinatorTest, OnlyTheNewestTriggerWritesTheCard) {
  capture.hold = true;
  tap(10, 20);
  tap(30, 40);
  capture.release();  // the first tap's capture comes back stale
  scheduler.runUntilIdle();
  EXPECT_EQ(log.take(),
            (Lines{"playback reset", "capture 10,20", "playback reset", "capture 30,40"}));

  capture.release();
  scheduler.runUntilIdle();
  send({delta("entry.headword", "second")}, false);
  tap(50, 60);  // while the second lookup streams
  EXPECT_TRUE(service.stream(0).cancelled);
  service.stream(0).send(completed(wordResult("second")));
  service.stream(0).finish();
  capture.release();
  scheduler.runUntilIdle();
  send({completed(wordResult("third"))});
  for (const auto& entry : log.entries())
    EXPECT_EQ(entry.find("state success [second]"), std::string::npos);
  EXPECT_EQ(model->state().word, "third");
  EXPECT_EQ(outcomes().size(), 1u);
}

TEST_F(LookupCoordinatorTest, ATapOverAPinnedCardHidesItOnlyOnceTheCaptureIsDone) {
  model->setPinned(true, false);
  panel.visible = true;
  capture.hold = true;
  tap(70, 80);
  EXPECT_TRUE(panel.visible);  // the pinned card stays up while the capture runs
  capture.release();
  scheduler.runUntilIdle();
  EXPECT_EQ(log.take(), (Lines{"playback reset", "capture 70,80", "panel hide", "state loading",
                               "panel activate", "panel show at 70,80", "request lookup 70,80"}));
  EXPECT_TRUE(model->isPinned());
}

TEST_F(LookupCoordinatorTest, EveryEndOfAWordStreamLeavesOneStateAndOneOutcome) {
  OcrResult noSelection = wordResult("apple");
  noSelection.selectedUnit->text = "  ";
  OcrResult ocrFailed = wordResult("apple");
  ocrFailed.error = "ocr_failed";
  struct Case {
    const char* name;
    std::vector<LookupStreamEvent> events;
    std::string finalState;
    std::string outcome;  // only a success is recorded in the history
  };
  const Case cases[] = {
      {"deltas only",
       {delta("entry.headword", "app")},
       "error stream_interrupted",
       "error error_code=stream_interrupted"},
      {"no word", {completed(noSelection)}, "noWord", "no_word"},
      {"result error", {completed(ocrFailed)}, "error ocr_failed", "error error_code=ocr_failed"},
      {"failure event",
       {failureEvent("llm_failed"), completed(wordResult("late"))},
       "error llm_failed",
       "error error_code=llm_failed"},
      {"success", {completed(wordResult("apple"))}, "success [apple] url", "success"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    logs.clear();
    tap();
    send(c.events);
    const Lines entries = log.take();
    const auto lastState = std::find_if(entries.rbegin(), entries.rend(),
                                        [](const auto& e) { return e.starts_with("state "); });
    EXPECT_EQ(*lastState, "state " + c.finalState);
    EXPECT_EQ(countIn(entries, "membership refresh after translation"), 1);
    EXPECT_EQ(countIn(entries, "history record apple"), c.outcome == "success" ? 1 : 0);
    ASSERT_EQ(outcomes().size(), 1u);
    EXPECT_TRUE(outcomes()[0].starts_with("event translate_result status=" + c.outcome))
        << outcomes()[0];
    // The stream's deltas never outlive a failed end.
    if (model->state().status != LookupStatus::success) EXPECT_FALSE(model->state().entry);
  }
}

TEST_F(LookupCoordinatorTest, QuotaExhaustionAsksForTheMembershipStatusExactlyOnce) {
  LookupStreamFailure quota{"no quota left", "translation_quota_exhausted", false,
                            LookupQuotaSnapshot{5, 5, 0, {}}};
  struct Case {
    const char* name;
    bool region;
    bool byEvent;
  } cases[] = {{"hover, HTTP body", false, false},
               {"hover, stream event", false, true},
               {"area, stream event", true, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    c.region ? drag() : tap();
    if (c.byEvent) {
      service.last().send({LookupStreamEvent::Failure{quota}});
    } else {
      service.last().fail(LookupTransportError::quotaExhausted(quota));
    }
    scheduler.runUntilIdle();
    const Lines entries = log.take();
    EXPECT_EQ(countIn(entries, "quota exhausted"), 1);
    EXPECT_EQ(countIn(entries, "membership refresh after translation"), 1);
    EXPECT_EQ(model->state().error->code(), LookupErrorCode::translationQuotaExhausted);
    EXPECT_EQ(model->state().error->quota(), quota.quota);
  }
}

TEST_F(LookupCoordinatorTest, TheMembershipRefreshFollowsEveryWayOutOfAStartedStream) {
  for (const std::string way : {"cancelled", "replaced", "dismissed", "accent change"}) {
    SCOPED_TRACE(way);
    tap();
    log.take();
    if (way == "cancelled") coordinator->cancelCurrent();
    if (way == "replaced") tap();
    if (way == "dismissed") panel.dismiss("escape");
    if (way == "accent change") {
      send({language("en")}, false);
      flipAccent();
    }
    scheduler.runUntilIdle();
    EXPECT_EQ(countIn(log.take(), "membership refresh after translation"), 1);
  }
  // A raised error asks for the refresh before the error card is written.
  tap();
  log.take();
  service.last().fail(URLError(URLErrorCode::notConnectedToInternet, "offline"));
  scheduler.runUntilIdle();
  EXPECT_EQ(log.take(),
            (Lines{"membership refresh after translation", "state error network_unavailable",
                   "panel activate", "panel show at 10,20"}));
  // No request, no refresh: the capture failed.
  capture.failNext(ScreenCaptureError::captureFailed("no display"));
  tap(5, 6);
  EXPECT_EQ(log.take(), (Lines{"playback reset", "capture 5,6", "state error capture_failed",
                               "panel activate", "panel show at 5,6"}));
  // A denied capture asks for the permission instead, and is no outcome.
  logs.clear();
  capture.failNext(ScreenCaptureError(ScreenCaptureError::Kind::permissionDenied));
  tap();
  EXPECT_EQ(log.take(), (Lines{"playback reset", "capture 10,20", "permission denied"}));
  EXPECT_TRUE(outcomes().empty());
}

TEST_F(LookupCoordinatorTest, AnAccentChangeAbandonsOnlyAnEnglishLookup) {
  tap();
  accent.setAccent(EnglishPronunciationAccent::british);
  // Until the language is known, a phonetic may be of the old accent: it stays off the card.
  send({delta("entry.headword", "Apfel"), delta("entry.phonetic", "/x/")}, false);
  EXPECT_FALSE(model->state().entry->phonetic);
  send({language("de"), delta("entry.phonetic", "/y/")}, false);
  EXPECT_EQ(model->state().entry->phonetic, "/x//y/");
  send({completed(wordResult("Apfel", "de"))});
  EXPECT_EQ(model->state().status, LookupStatus::success);  // German goes on

  tap();
  send({delta("entry.headword", "apple"), language("en")}, false);
  log.take();
  logs.clear();
  accent.setAccent(EnglishPronunciationAccent::american);
  send({completed(wordResult("apple"))});
  EXPECT_EQ(log.take(),
            (Lines{"state idle", "panel hide", "membership refresh after translation"}));
  EXPECT_TRUE(outcomes().empty());

  // An English card on screen with no lookup running drops its URL; the next
  // press asks for the new accent's recording.
  tap();
  send({language("en"), delta("entry.headword", "pear"), completed(wordResult("pear"))});
  ASSERT_TRUE(model->state().entry->pronunciationUrl);
  playback.key = "lookup-9";
  log.take();
  accent.setAccent(EnglishPronunciationAccent::british);
  EXPECT_EQ(log.take(), (Lines{"playback reset", "state success [pear]"}));
  EXPECT_EQ(model->state().pronunciationStatus, PronunciationStatus::ready);
}

TEST_F(LookupCoordinatorTest, AnAreaRetryReusesTheImageAndKeepsTheCard) {
  drag();
  service.last().fail(URLError(URLErrorCode::networkConnectionLost, "lost"));
  scheduler.runUntilIdle();
  EXPECT_EQ(log.take(), (Lines{"playback reset", "capture region 100,100 200,100", "panel hide",
                               "state loading", "panel activate", "panel show region 100,100",
                               "request paragraph 100,100", "membership refresh after translation",
                               "state error network_unavailable", "panel activate",
                               "panel show region 100,100"}));
  model->retryParagraphTranslation();
  scheduler.runUntilIdle();  // no time passes: there is no wait before a retry
  send({delta("translation", "Bonjour"), delta("title", "x"), paragraphCompleted(" Hello ")});
  EXPECT_EQ(log.take(),
            (Lines{"playback reset", "state loading", "panel activate", "panel show region 100,100",
                   "request paragraph 100,100", "state streaming [Bonjour]",
                   "state success [ Hello ]", "succeeded area", "panel activate",
                   "panel show region 100,100", "membership refresh after translation"}));
  EXPECT_EQ(model->state().entry->lookupLang, "en");
  EXPECT_EQ(model->contentKind(), OverlayContentKind::paragraphTranslation);
  EXPECT_TRUE(outcomes().empty());  // an area translation reports no outcome

  // An empty translation after deltas: no word, and the partial text goes.
  drag();
  send({delta("translation", "partial"), paragraphCompleted("  ")});
  EXPECT_EQ(describe(model->state()), "state noWord");
}

TEST_F(LookupCoordinatorTest, TheFirstEventIsLoggedWithBothLatencies) {
  tap();
  scheduler.advanceBy(250ms);
  send({{LookupStreamEvent::Timing{120}}}, false);
  const auto lines = logs.records("lookup-latency");
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].message,
            "first-sse generation=1 trigger_to_first_sse_ms=250 request_to_first_sse_ms=120");
  EXPECT_EQ(lines[0].level, LogLevel::notice);
}

TEST_F(LookupCoordinatorTest, TheCaseRecorderKeepsTheImageTheRequestAndTheEvents) {
  tap(1, 2, "record_case");  // off by default
  EXPECT_EQ(log.take(), (Lines{"playback reset"}));

  const auto directory =
      std::filesystem::temp_directory_path() / ("trelvis-cases-" + Uuid::random().toString());
  const auto configuration = LookupCaseRecorder::configurationFrom(
      environmentOf({{"TRELVIS_CASE_RECORDER", "1"}, {"TRELVIS_CASE_DIR", directory.string()}}),
      "/ignored");
  LookupCaseRecorder enabled{configuration, service};
  auto recording = std::make_shared<LookupCoordinator>(LookupCoordinator::Dependencies{
      main, scheduler, *model, capture, service, service, panel, analytics, accent, playback,
      &learning, &membership, enabled});
  recording->trigger({30, 40, "record_case", scheduler.now(), std::nullopt});
  scheduler.runUntilIdle();
  send({{LookupStreamEvent::Timing{7}},
        delta("entry.headword", "pear"),
        failureEvent("ocr_failed")});
  EXPECT_EQ(log.take(),
            (Lines{"playback reset", "capture 30,40", "panel hide", "request lookup 30,40"}));

  std::vector<std::filesystem::path> files(std::filesystem::directory_iterator(directory), {});
  std::sort(files.begin(), files.end());
  ASSERT_EQ(files.size(), 2u);
  std::ifstream image(files[0], std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(image), {}), "\xFF\xD8\xFF\xD9");
  const auto sidecar = nlohmann::json::parse(std::ifstream(files[1]));
  EXPECT_EQ(sidecar["image"], files[0].filename().string());
  EXPECT_EQ(sidecar["request"]["targetLang"], "zh-Hans");
  EXPECT_EQ(sidecar["requestToFirstSSEMilliseconds"], 7);
  EXPECT_EQ(sidecar["events"][0]["event"], "lookup.field.delta");
  EXPECT_EQ(sidecar["events"][1]["data"]["code"], "ocr_failed");
  EXPECT_EQ(sidecar["end"], "finished");
  std::filesystem::remove_all(directory);
}

}  // namespace
}  // namespace trelvis
