#include "core/lookup/lookup_api_client.h"

#include <utility>

#include "base/async/run_on.h"
#include "base/async/task.h"
#include "base/text.h"
#include "base/uuid.h"
#include "core/lookup/lookup_decoding.h"
#include "core/lookup/lookup_error.h"
#include "core/lookup/lookup_sse_parser.h"
#include "core/lookup/lookup_stream_deadline.h"
#include "core/lookup/lookup_timeout_race.h"
#include "core/net/access_token_provider.h"
#include "core/net/http_transport.h"
#include "core/net/multipart_form.h"
#include "core/prefs/target_language.h"

namespace trelvis {
namespace {

std::string freshBoundary() {
  return "----trelvis-" + Uuid::random().toString();
}

// "secondaryTargetLang" is sent only for a supported code, trimmed.
std::optional<std::string> secondaryLanguageField(const std::optional<std::string>& language) {
  if (!language) return std::nullopt;
  std::string code = trimmed(*language);
  if (!isSupportedTargetLanguage(code)) return std::nullopt;
  return code;
}

// A failure body read "line by line, without the line ends": the lines run together.
std::string withoutLineEnds(std::string_view body) {
  std::string text;
  text.reserve(body.size());
  for (char c : body) {
    if (c != '\n' && c != '\r') text.push_back(c);
  }
  return text;
}

// A 429 with the quota code is the quota failure; everything else is plain HTTP.
LookupTransportError transportError(int status, std::string body) {
  if (status == 429) {
    try {
      auto failure = json::decodeText<LookupStreamFailure>(body);
      if (failure.code == "translation_quota_exhausted") {
        return LookupTransportError(LookupTransportError::QuotaExhausted{std::move(failure)});
      }
    } catch (const std::exception&) {
      // Not a failure record: an ordinary 429.
    }
  }
  return LookupTransportError::http(status, std::move(body));
}

int64_t millisecondsBetween(Instant from, Instant to) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(to - from).count();
}

// Shares a reply body between the task that reads it and the race around the read.
using SharedBody = std::shared_ptr<AsyncStream<std::string>>;

Async<std::string> readWholeBody(SharedBody body) {
  co_return co_await readAll(*body);
}

}  // namespace

LookupAPIClient::LookupAPIClient(std::shared_ptr<Executor> executor,
                                 std::shared_ptr<AccessTokenProviding> auth,
                                 std::shared_ptr<HttpTransport> transport, const Url& baseURL,
                                 std::optional<Url> pronunciationURLOverride, Limits limits)
    : executor_(std::move(executor)),
      auth_(std::move(auth)),
      transport_(std::move(transport)),
      pronunciationURLOverride_(std::move(pronunciationURLOverride)),
      limits_(limits),
      baseURL_(stripTrailingSlash(baseURL)) {}

std::optional<Url> LookupAPIClient::pronunciationURLOverrideFrom(
    const EnvironmentLookup& environment) {
  auto value = environment("TRELVIS_PRONUNCIATION_URL");
  if (!value) return std::nullopt;
  std::string text = trimmed(*value);
  if (text.empty()) return std::nullopt;
  return Url::parse(text);
}

void LookupAPIClient::setBaseURL(const Url& baseURL) {
  executor_->post([weak = weak_from_this(), url = stripTrailingSlash(baseURL)] {
    if (auto self = weak.lock()) self->baseURL_ = url;
  });
}

LookupAPIClient::Payload LookupAPIClient::lookupPayload(const Url& baseURL,
                                                        const NativeCapture& capture,
                                                        std::string_view boundary) {
  MultipartFormBuilder form{std::string(boundary), capture.imageData.size()};
  form.addText("hotspotX", decimalText(capture.hotspotX));
  form.addText("hotspotY", decimalText(capture.hotspotY));
  form.addText("targetLang", capture.targetLanguage);
  form.addText("englishPronunciation", languageTag(capture.englishPronunciation));
  if (auto secondary = secondaryLanguageField(capture.secondaryTargetLanguage)) {
    form.addText("secondaryTargetLang", *secondary);
  }
  std::string contentType = form.contentType();
  auto body =
      std::move(form).finishWithFile("image", "capture.jpg", "image/jpeg", capture.imageData);
  return Payload{
      baseURL.appendingPathComponent("v1").appendingPathComponent("lookup").appendingPathComponent(
          "stream"),
      std::move(contentType), std::make_shared<const std::string>(std::move(body))};
}

LookupAPIClient::Payload LookupAPIClient::paragraphPayload(const Url& baseURL,
                                                           const RegionCapture& capture,
                                                           std::string_view boundary) {
  MultipartFormBuilder form{std::string(boundary), capture.imageData.size()};
  form.addText("targetLang", capture.targetLanguage);
  if (auto secondary = secondaryLanguageField(capture.secondaryTargetLanguage)) {
    form.addText("secondaryTargetLang", *secondary);
  }
  std::string contentType = form.contentType();
  auto body =
      std::move(form).finishWithFile("image", "selection.jpg", "image/jpeg", capture.imageData);
  return Payload{baseURL.appendingPathComponent("v1")
                     .appendingPathComponent("paragraph-translation")
                     .appendingPathComponent("stream"),
                 std::move(contentType), std::make_shared<const std::string>(std::move(body))};
}

AsyncStream<LookupStreamEvent> LookupAPIClient::lookupStream(NativeCapture capture) {
  return startStream([self = shared_from_this(), capture = std::move(capture)] {
    return lookupPayload(self->baseURL_, capture, freshBoundary());
  });
}

AsyncStream<LookupStreamEvent> LookupAPIClient::paragraphTranslationStream(RegionCapture capture) {
  return startStream([self = shared_from_this(), capture = std::move(capture)] {
    return paragraphPayload(self->baseURL_, capture, freshBoundary());
  });
}

AsyncStream<LookupStreamEvent> LookupAPIClient::startStream(std::function<Payload()> makePayload) {
  auto [stream, events] = AsyncStream<LookupStreamEvent>::make();
  auto continuation = events;
  auto deadline = std::make_shared<LookupStreamDeadline>(executor_, continuation);
  auto worker =
      spawn(executor_,
            [self = shared_from_this(), makePayload = std::move(makePayload), deadline,
             continuation]() -> Async<void> {
              std::exception_ptr failure;
              try {
                // Built on the client's executor, once: a retry sends the same bytes.
                auto payload = std::make_shared<const Payload>(makePayload());
                co_await self->consumeStream(payload, false, true, deadline, continuation);
              } catch (const CancellationError&) {
              } catch (...) {
                failure = std::current_exception();
              }
              deadline->stop();
              continuation.finish(failure);
            });
  deadline->bind(std::move(worker));
  continuation.setOnTermination([deadline](StreamTermination) { deadline->cancel(); });
  return std::move(stream);
}

HttpRequest LookupAPIClient::authorizedRequest(Url url, const std::string& token) const {
  HttpRequest request = ServerAPIRequest::make(std::move(url));
  request.headers.set("Authorization", "Bearer " + token);
  request.timeout = limits_.transportSilence();
  request.resourceTimeout = kResourceLimit;
  return request;
}

Async<std::string> LookupAPIClient::accessToken(bool forceRefresh) {
  auto token = co_await auth_->getAccessToken(forceRefresh);
  if (!token) throw LookupTransportError(LookupTransportError::Auth{token.error()});
  if (!*token || trimmed(**token).empty()) {
    throw LookupTransportError(LookupTransportError::Unauthenticated{});
  }
  co_return **token;
}

Async<void> LookupAPIClient::consumeStream(std::shared_ptr<const Payload> payload,
                                           bool forceRefresh, bool retryOnUnauthorized,
                                           std::shared_ptr<LookupStreamDeadline> deadline,
                                           EventContinuation continuation) {
  auto self = shared_from_this();
  std::string token = co_await LookupTimeoutRace<std::string>::run(
      limits_.token, LookupTimeoutPhase::token,
      [self, forceRefresh] { return self->accessToken(forceRefresh); });

  HttpRequest request = authorizedRequest(payload->url, token);
  request.method = "POST";
  request.headers.set("Content-Type", payload->contentType);
  request.headers.set("Accept", "text/event-stream");
  request.body = payload->body;

  Instant requestStart = executor_->now();
  HttpStreamingReply reply = co_await LookupTimeoutRace<HttpStreamingReply>::run(
      limits_.response, LookupTimeoutPhase::response,
      [transport = transport_, request] { return transport->send(request); });
  const int status = reply.head.status;
  if (status < 100) throw LookupTransportError(LookupTransportError::InvalidResponse{});

  if (status == 401 && retryOnUnauthorized) {
    auto body = std::make_shared<AsyncStream<std::string>>(std::move(reply.body));
    co_await LookupTimeoutRace<std::string>::run(limits_.response, LookupTimeoutPhase::response,
                                                 [body] { return readWholeBody(body); });
    checkCancellation();
    co_await consumeStream(std::move(payload), true, false, std::move(deadline),
                           std::move(continuation));
    co_return;
  }
  if (status < 200 || status > 299) {
    auto body = std::make_shared<AsyncStream<std::string>>(std::move(reply.body));
    std::string text = co_await LookupTimeoutRace<std::string>::run(
        limits_.response, LookupTimeoutPhase::response, [body] { return readWholeBody(body); });
    checkCancellation();
    throw transportError(status, withoutLineEnds(text));
  }

  LookupSSEParser parser;
  deadline->arm(limits_.firstEvent, LookupTimeoutPhase::firstEvent);
  bool seenOutput = false;
  auto handle = [&](LookupSSEParser::Output output) {
    if (!seenOutput) {
      continuation.yield(LookupStreamEvent{
          LookupStreamEvent::Timing{millisecondsBetween(requestStart, executor_->now())}});
    }
    deadline->arm(limits_.streamIdle, LookupTimeoutPhase::streamIdle);
    if (output.event) continuation.yield(std::move(*output.event));
    seenOutput = true;
  };
  while (auto chunk = co_await reply.body.next()) {
    for (char byte : *chunk) {
      checkCancellation();
      if (auto output = parser.consume(static_cast<uint8_t>(byte))) handle(std::move(*output));
    }
  }
  checkCancellation();
  if (auto output = parser.finish()) handle(std::move(*output));
}

Url LookupAPIClient::pronunciationURL(std::string_view lookupText,
                                      const std::optional<std::string>& language,
                                      PronunciationSpeed speed) const {
  Url url = pronunciationURLOverride_
                ? *pronunciationURLOverride_
                : baseURL_.appendingPathComponent("v1").appendingPathComponent("pronunciation");
  std::vector<QueryItem> items;
  for (auto& item : url.queryItems()) {
    if (item.name != "lookupText" && item.name != "pronunciationSpeed" &&
        item.name != "pronunciationLang") {
      items.push_back(std::move(item));
    }
  }
  items.push_back({"lookupText", std::string(lookupText)});
  items.push_back({"pronunciationSpeed", std::string(toString(speed))});
  if (language && !language->empty()) items.push_back({"pronunciationLang", *language});
  return url.settingQueryItems(items);
}

Async<PronunciationResult> LookupAPIClient::pronunciationAttempt(
    std::string lookupText, std::optional<std::string> language, PronunciationSpeed speed,
    bool forceRefresh, bool retryOnUnauthorized) {
  return runOn(executor_,
               [self = shared_from_this(), lookupText = std::move(lookupText),
                language = std::move(language), speed, forceRefresh,
                retryOnUnauthorized]() -> Async<PronunciationResult> {
                 co_return co_await self->attemptPronunciation(lookupText, language, speed,
                                                               forceRefresh, retryOnUnauthorized);
               });
}

Async<PronunciationResult> LookupAPIClient::attemptPronunciation(
    std::string lookupText, std::optional<std::string> language, PronunciationSpeed speed,
    bool forceRefresh, bool retryOnUnauthorized) {
  auto self = shared_from_this();
  std::string token = co_await LookupTimeoutRace<std::string>::run(
      limits_.token, LookupTimeoutPhase::token,
      [self, forceRefresh] { return self->accessToken(forceRefresh); });

  HttpRequest request = authorizedRequest(pronunciationURL(lookupText, language, speed), token);
  request.headers.set("Accept", "application/json");
  HttpDataReply reply = co_await LookupTimeoutRace<HttpDataReply>::run(
      limits_.response, LookupTimeoutPhase::response,
      [transport = transport_, request] { return load(*transport, request); });
  const int status = reply.head.status;
  if (status < 100) throw LookupTransportError(LookupTransportError::InvalidResponse{});
  if (status == 401 && retryOnUnauthorized) {
    co_return co_await attemptPronunciation(std::move(lookupText), std::move(language), speed, true,
                                            false);
  }
  if (status >= 200 && status <= 299) co_return json::decodeText<PronunciationResult>(reply.body);
  throw LookupTransportError::http(
      status, isValidUTF8(reply.body) ? reply.body : "Pronunciation request failed");
}

}  // namespace trelvis
