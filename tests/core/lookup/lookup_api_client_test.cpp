#include "core/lookup/lookup_api_client.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/async/task.h"
#include "base/async/test_scheduler.h"
#include "core/lookup/lookup_error.h"
#include "support/fake_access_token_provider.h"
#include "support/fake_http_transport.h"
#include "support/thrown.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using Event = LookupStreamEvent;

NativeCapture smallCapture() {
  NativeCapture capture;
  capture.imageData = {0xFF, 0xD8, 0x00, 0x0D, 0x0A, 0xFF, 0xD9};
  capture.hotspotX = 120;
  capture.hotspotY = 33.25;
  capture.targetLanguage = "zh-Hans";
  capture.englishPronunciation = EnglishPronunciationAccent::british;
  return capture;
}

class LookupAPIClientTest : public ::testing::Test {
 protected:
  struct Collected {
    std::vector<Event> events;
    std::exception_ptr error;
    bool ended = false;
  };

  // Consumes a lookup stream on the main executor.
  Task<void> collect(AsyncStream<Event> stream) {
    return spawn(main_, [this, stream = std::move(stream)]() mutable -> Async<void> {
      try {
        while (auto event = co_await stream.next()) collected_.events.push_back(*event);
        collected_.ended = true;
      } catch (...) {
        collected_.error = std::current_exception();
      }
    });
  }

  // A fresh lookup, run until it waits for something.
  Task<void> startLookup() {
    auto task = collect(client_->lookupStream(smallCapture()));
    scheduler_.runUntilIdle();
    return task;
  }

  // What the stream failed with, as it was raised.
  template <class E>
  std::optional<E> failure() const {
    if (!collected_.error) return std::nullopt;
    return testing::thrownBy<E>([this] { std::rethrow_exception(collected_.error); });
  }
  LookupTransportError::Case transportError() const {
    return failure<LookupTransportError>().value().value();
  }

  std::string errorDetail() const {
    return LookupError::from(collected_.error).detail().value_or("");
  }

  // Answers the last exchange with a 200 and an open event stream.
  FakeHttpTransport::Exchange& respondOK() {
    auto& exchange = transport_->last();
    exchange.respond(200, {});
    return exchange;
  }

  TestScheduler scheduler_;
  std::shared_ptr<Executor> main_ = scheduler_.makeExecutor();
  std::shared_ptr<Executor> clientExecutor_ = scheduler_.makeExecutor();
  std::shared_ptr<FakeAccessTokenProvider> tokens_ = std::make_shared<FakeAccessTokenProvider>();
  std::shared_ptr<FakeHttpTransport> transport_ = std::make_shared<FakeHttpTransport>();
  std::shared_ptr<LookupAPIClient> client_ =
      std::make_shared<LookupAPIClient>(clientExecutor_, tokens_, transport_,
                                        *Url::parse("https://api.test/trelvis//"), std::nullopt);
  Collected collected_;
};

TEST_F(LookupAPIClientTest, StreamsEventsWithTimingFirstAndSendsTheRequest) {
  auto task = startLookup();
  ASSERT_EQ(transport_->exchanges().size(), 1u);
  const HttpRequest& request = transport_->last().request();
  // The method, the token and the body's framing are the wire test's: the server refuses others.
  EXPECT_EQ(request.url.absoluteString(), "https://api.test/trelvis/v1/lookup/stream");
  EXPECT_EQ(request.headers.get("Accept"), "text/event-stream");
  EXPECT_EQ(request.headers.get("X-Trelvis-Platform"), "linux");
  EXPECT_EQ(request.timeout, 60s);  // above every phase, which decide first
  EXPECT_EQ(request.resourceTimeout, std::optional<Duration>(1h));

  scheduler_.advanceBy(250ms);
  auto& exchange = respondOK();
  scheduler_.advanceBy(50ms);
  // A block split across reads, an unknown block, then a real one.
  exchange.sendBody("event: lookup.field.delta\r");
  exchange.sendBody("\ndata: {\"seq\":1,\"field\":\"headword\",\"delta\":\"cat\"}\r\n\r\n");
  scheduler_.runUntilIdle();
  ASSERT_EQ(collected_.events.size(), 2u);
  EXPECT_EQ(collected_.events[0], (Event{Event::Timing{300}}));
  EXPECT_EQ(collected_.events[1], (Event{Event::FieldDelta{1, "headword", "cat"}}));

  exchange.sendBody("event: ping\ndata: {}\n\nevent: lookup.completed\ndata: {}\n\n");
  exchange.finishBody();
  scheduler_.runUntilIdle();
  ASSERT_EQ(collected_.events.size(), 3u);
  EXPECT_TRUE(std::holds_alternative<Event::Completed>(collected_.events[2].value));
  EXPECT_TRUE(collected_.ended);
  EXPECT_EQ(scheduler_.pendingCount(), 0u);  // no deadline left behind
}

TEST_F(LookupAPIClientTest, EachPhaseHasItsOwnDeadline) {
  struct Case {
    const char* name;
    LookupTimeoutPhase phase;
    const char* detail;
    Duration elapsed;  // when the stream fails, from the start
  };
  const Case cases[] = {
      {"token", LookupTimeoutPhase::token, "timeout_token", 12s},
      {"response", LookupTimeoutPhase::response, "timeout_response", 30s},
      {"first event", LookupTimeoutPhase::firstEvent, "timeout_first_event", 30s},
      {"stream idle", LookupTimeoutPhase::streamIdle, "timeout_stream_idle", 35s},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    if (c.phase == LookupTimeoutPhase::token) tokens_->enqueue({"late", std::nullopt, 13s});
    auto task = startLookup();
    Instant start = scheduler_.now();
    if (c.phase == LookupTimeoutPhase::firstEvent || c.phase == LookupTimeoutPhase::streamIdle) {
      auto& exchange = respondOK();
      // Comments and [DONE] are no sign of life.
      scheduler_.advanceBy(5s);
      exchange.sendBody(": keep-alive\n\ndata: [DONE]\n\n");
      if (c.phase == LookupTimeoutPhase::streamIdle) {
        // A block of an unknown name is life, and the first block brings the timing;
        // from then on the 10-second idle phase applies.
        scheduler_.advanceBy(20s);
        exchange.sendBody("event: unknown\ndata: x\n\n");
        scheduler_.runUntilIdle();
        ASSERT_EQ(collected_.events.size(), 1u);
        EXPECT_EQ(collected_.events[0], (Event{Event::Timing{25000}}));
      }
    }
    while (!task.isDone()) scheduler_.advanceBy(1s);
    EXPECT_EQ(scheduler_.now() - start, c.elapsed);
    ASSERT_TRUE(collected_.error);
    EXPECT_EQ(transportError(), LookupTransportError::Case{LookupTransportError::Timeout{c.phase}});
    EXPECT_EQ(errorDetail(), c.detail);
    if (c.phase != LookupTimeoutPhase::token) {
      EXPECT_TRUE(transport_->last().isCancelled());
    }
    scheduler_.advanceUntilIdle();
    EXPECT_EQ(scheduler_.pendingCount(), 0u);
  }
}

TEST_F(LookupAPIClientTest, UnauthorizedIsRetriedOnceWithAForcedRefresh) {
  auto task = startLookup();
  auto& first = transport_->last();
  first.respond(401);
  first.sendBody("{\"message\":\"expired\"}");
  first.finishBody();
  scheduler_.runUntilIdle();
  ASSERT_EQ(transport_->exchanges().size(), 2u);
  EXPECT_EQ(tokens_->forceRefreshFlags(), (std::vector<bool>{false, true}));
  EXPECT_EQ(transport_->last().request().headers.get("Authorization"), "Bearer token-2");
  EXPECT_EQ(transport_->last().body(), first.body());  // the same bytes again

  auto& second = transport_->last();
  second.respond(401);
  second.sendBody("still\nno");
  second.finishBody();
  scheduler_.runUntilIdle();
  EXPECT_EQ(transport_->exchanges().size(), 2u);
  EXPECT_EQ(transportError(),
            (LookupTransportError::Case{LookupTransportError::Http{401, "stillno"}}));
  EXPECT_EQ(LookupError::from(collected_.error).code(), LookupErrorCode::unauthenticated);
}

TEST_F(LookupAPIClientTest, UnauthorizedBodyThatNeverEndsTimesOutWithoutRetry) {
  auto task = startLookup();
  transport_->last().respond(401);
  transport_->last().sendBody("{\"mess");
  scheduler_.advanceBy(29s);
  EXPECT_FALSE(task.isDone());
  scheduler_.advanceBy(1s);
  ASSERT_TRUE(task.isDone());
  EXPECT_EQ(transportError(), LookupTransportError::Case{
                                  LookupTransportError::Timeout{LookupTimeoutPhase::response}});
  EXPECT_EQ(transport_->exchanges().size(), 1u);
  EXPECT_EQ(tokens_->forceRefreshFlags().size(), 1u);
}

TEST_F(LookupAPIClientTest, FailureStatusesAreClassifiedFromTheirBodies) {
  const std::string quotaBody =
      "{\"message\":\"out of lookups\",\n\"code\":\"translation_quota_exhausted\",\"quota\":"
      "{\"used\":5,\"limit\":5,\"remaining\":0,\"resetAt\":\"2026-01-02T03:04:05.678Z\"}}";
  struct Case {
    const char* name;
    int status;
    std::string body;
    LookupErrorCode code;
  };
  const Case cases[] = {
      {"429 with the quota code", 429, quotaBody, LookupErrorCode::translationQuotaExhausted},
      {"429 with another code", 429, "{\"message\":\"slow down\",\"code\":\"too_fast\"}",
       LookupErrorCode::rateLimited},
      {"429 that is no JSON", 429, "<html>busy</html>", LookupErrorCode::rateLimited},
      {"403", 403, "forbidden", LookupErrorCode::unauthenticated},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    transport_->enqueueReply(c.status, c.body);
    auto task = startLookup();
    ASSERT_TRUE(task.isDone());
    auto error = LookupError::from(collected_.error);
    EXPECT_EQ(error.code(), c.code);
    if (c.code == LookupErrorCode::translationQuotaExhausted) {
      ASSERT_TRUE(error.quota().has_value());
      EXPECT_EQ(error.quota()->used, 5);
      EXPECT_EQ(error.detail(), "out of lookups");
    }
  }
}

TEST_F(LookupAPIClientTest, StreamEndingRightAfterTheHeadersYieldsNothing) {
  transport_->enqueueReply(200, "");
  auto task = startLookup();
  EXPECT_TRUE(collected_.ended);
  EXPECT_TRUE(collected_.events.empty());
  EXPECT_FALSE(collected_.error);
}

TEST_F(LookupAPIClientTest, ConnectionFailuresPassThroughUnchanged) {
  auto task = startLookup();
  transport_->last().fail(URLError(URLErrorCode::cannotConnectToHost, "refused"));
  scheduler_.runUntilIdle();
  EXPECT_EQ(LookupError::from(collected_.error).code(), LookupErrorCode::networkUnavailable);

  auto second = startLookup();
  auto& exchange = respondOK();
  exchange.sendBody("event: lookup.field.delta\ndata: {\"seq\":1}\n\n");
  exchange.failBody(URLError(URLErrorCode::networkConnectionLost, "reset"));
  scheduler_.runUntilIdle();
  EXPECT_EQ(collected_.events.size(), 2u);
  EXPECT_EQ(failure<URLError>().value().code(), URLErrorCode::networkConnectionLost);
}

TEST_F(LookupAPIClientTest, TokenFailuresBecomeTransportErrors) {
  tokens_->enqueue({std::nullopt, AuthSessionError::network("offline"), 0s});
  auto first = startLookup();
  EXPECT_EQ(
      transportError(),
      LookupTransportError::Case{LookupTransportError::Auth{AuthSessionError::network("offline")}});

  // A blank token, or none at all (signed out).
  for (std::optional<std::string> token : {std::optional<std::string>(" \n"), {}}) {
    tokens_->enqueue({token, std::nullopt, 0s});
    auto task = startLookup();
    EXPECT_EQ(transportError(),
              LookupTransportError::Case{LookupTransportError::Unauthenticated{}});
  }
  EXPECT_TRUE(transport_->exchanges().empty());
}

TEST_F(LookupAPIClientTest, ConsumerCancellationEndsTheWorkWithNoFurtherEvents) {
  struct Case {
    const char* name;
    bool headersArrived;
  };
  for (const Case& c : {Case{"request in flight", false}, Case{"while streaming", true}}) {
    SCOPED_TRACE(c.name);
    auto task = startLookup();
    auto& exchange = transport_->last();
    if (c.headersArrived) {
      exchange.respond(200);
      exchange.sendBody("event: lookup.field.delta\ndata: {\"seq\":1}\n\n");
      scheduler_.runUntilIdle();
    }
    const auto eventsBefore = collected_.events.size();
    task.cancel();
    scheduler_.runUntilIdle();
    EXPECT_TRUE(exchange.isCancelled());
    if (c.headersArrived) exchange.sendBody("event: lookup.field.delta\ndata: {\"seq\":2}\n\n");
    scheduler_.advanceUntilIdle();
    EXPECT_EQ(collected_.events.size(), eventsBefore);
    EXPECT_FALSE(collected_.error);
    EXPECT_EQ(scheduler_.pendingCount(), 0u);
  }
}

TEST(LookupMultipartTest, LookupBodyHasTheExactBytes) {
  NativeCapture capture = smallCapture();
  capture.secondaryTargetLanguage = "en ";
  auto payload = LookupAPIClient::lookupPayload(*Url::parse("http://h/trelvis"), capture, "B");
  EXPECT_EQ(payload.url.absoluteString(), "http://h/trelvis/v1/lookup/stream");
  EXPECT_EQ(payload.contentType, "multipart/form-data; boundary=B");
  const std::string expected =
      "--B\r\nContent-Disposition: form-data; name=\"hotspotX\"\r\n\r\n120.0\r\n"
      "--B\r\nContent-Disposition: form-data; name=\"hotspotY\"\r\n\r\n33.25\r\n"
      "--B\r\nContent-Disposition: form-data; name=\"targetLang\"\r\n\r\nzh-Hans\r\n"
      "--B\r\nContent-Disposition: form-data; name=\"englishPronunciation\"\r\n\r\nen-GB\r\n"
      "--B\r\nContent-Disposition: form-data; name=\"secondaryTargetLang\"\r\n\r\nen\r\n"
      "--B\r\nContent-Disposition: form-data; name=\"image\"; filename=\"capture.jpg\"\r\n"
      "Content-Type: image/jpeg\r\n\r\n\xFF\xD8\x00\x0D\x0A\xFF\xD9\r\n--B--\r\n"s;
  EXPECT_EQ(*payload.body, expected);
}

// The area body shares the framing above; what differs is which secondary
// language it sends.
TEST(LookupMultipartTest, ParagraphBodySendsOnlyAUsableSecondaryLanguage) {
  const std::pair<std::optional<std::string>, const char*> cases[] = {
      {std::nullopt, nullptr}, {"it", nullptr}, {"\tzh-Hans\n", "zh-Hans"}, {"EN", nullptr}};
  for (const auto& [secondary, sent] : cases) {
    RegionCapture capture;
    capture.targetLanguage = "ja";
    capture.secondaryTargetLanguage = secondary;
    auto payload = LookupAPIClient::paragraphPayload(*Url::parse("http://h/t"), capture, "X");
    EXPECT_EQ(payload.url.absoluteString(), "http://h/t/v1/paragraph-translation/stream");
    const std::string field = "name=\"secondaryTargetLang\"\r\n\r\n";
    EXPECT_EQ(payload.body->find(field) != std::string::npos, sent != nullptr)
        << secondary.value_or("(none)");
    if (sent) EXPECT_NE(payload.body->find(field + sent + "\r\n"), std::string::npos);
  }
}

class PronunciationTest : public LookupAPIClientTest {
 protected:
  Task<PronunciationResult> attempt(std::optional<std::string> language) {
    return spawn(main_, [this, language]() -> Async<PronunciationResult> {
      co_return co_await client_->pronunciationAttempt("cat", language, PronunciationSpeed::slow,
                                                       false, true);
    });
  }
};

TEST_F(PronunciationTest, RequestsTheQueryAndDecodesTheReply) {
  transport_->enqueueReply(401, "");
  transport_->enqueueReply(200,
                           "{\"lookupText\":\"cat\",\"pronunciationUrl\":\"https://a/"
                           "c.mp3\",\"pronunciationSpeed\":\"slow\"}");
  auto task = attempt("en-GB");
  scheduler_.runUntilIdle();
  ASSERT_TRUE(task.isDone());
  EXPECT_EQ(task.value().pronunciationUrl, "https://a/c.mp3");
  EXPECT_EQ(task.value().pronunciationSpeed, PronunciationSpeed::slow);
  EXPECT_EQ(transport_->last().request().headers.get("Accept"), "application/json");
  EXPECT_EQ(transport_->last().request().url.absoluteString(),
            "https://api.test/trelvis/v1/pronunciation?lookupText=cat&pronunciationSpeed=slow&"
            "pronunciationLang=en-GB");
  EXPECT_EQ(tokens_->forceRefreshFlags(), (std::vector<bool>{false, true}));
}

TEST_F(PronunciationTest, OverrideKeepsItsQueryButTheKeysSetHere) {
  auto overrideURL = LookupAPIClient::pronunciationURLOverrideFrom(
      [](std::string_view) { return std::string(" https://tts.test/say?voice=1&lookupText=x\n"); });
  ASSERT_TRUE(overrideURL);
  LookupAPIClient client(clientExecutor_, tokens_, transport_, *Url::parse("https://api.test/t"),
                         overrideURL);
  EXPECT_EQ(
      client.pronunciationURL("a b", std::nullopt, PronunciationSpeed::normal).absoluteString(),
      "https://tts.test/say?voice=1&lookupText=a%20b&pronunciationSpeed=normal");
  EXPECT_EQ(client.pronunciationURL("a", "", PronunciationSpeed::normal).absoluteString(),
            "https://tts.test/say?voice=1&lookupText=a&pronunciationSpeed=normal");
  for (const char* value : {"", "  ", "not a url"}) {
    EXPECT_FALSE(LookupAPIClient::pronunciationURLOverrideFrom(
        [value](std::string_view) { return std::string(value); }));
  }
}

TEST_F(PronunciationTest, FailuresCarryTheBodyTextAndBadRepliesAreProtocolErrors) {
  const std::pair<int, std::string> cases[] = {
      {500, "server \xFF broke"}, {404, "no such word"}, {200, "{\"lookupText\":"}};
  std::vector<std::string> descriptions;
  for (const auto& [status, body] : cases) {
    transport_->enqueueReply(status, body);
    auto task = attempt(std::nullopt);
    scheduler_.runUntilIdle();
    std::exception_ptr failure;
    try {
      task.value();
    } catch (...) {
      failure = std::current_exception();
    }
    descriptions.push_back(LookupError::from(failure).description());
  }
  EXPECT_EQ(descriptions, (std::vector<std::string>{
                              "LookupError(server_error, HTTP 500: Pronunciation request failed)",
                              "LookupError(server_error, HTTP 404: no such word)",
                              "LookupError(protocol_error, invalid JSON at byte 15)"}));
}

}  // namespace
}  // namespace trelvis
