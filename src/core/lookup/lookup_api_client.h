#pragma once

// LookupAPIClient: speaks to the lookup, paragraph translation and pronunciation
// endpoints. A capture goes in; a stream of LookupStreamEvent comes out, every
// phase of the request guarded by a deadline of its own (token 12 s, response
// 30 s, first event 30 s, 10 s between events). It lives on a serial executor
// of its own; callers on other executors only await its streams and results.
// The lookup coordinator sees it through LookupServing and PronunciationServing.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/async/async.h"
#include "base/async/async_stream.h"
#include "base/url.h"
#include "core/lookup/lookup_model.h"
#include "core/net/server_api.h"

namespace trelvis {

class AccessTokenProviding;
class HttpTransport;
class LookupStreamDeadline;
struct HttpRequest;

class LookupServing {
 public:
  virtual ~LookupServing() = default;
  // Events in order, none dropped; the consumer's cancellation ends the work.
  // The stream ends with the request's failure, raised from next().
  virtual AsyncStream<LookupStreamEvent> lookupStream(NativeCapture capture) = 0;
  virtual AsyncStream<LookupStreamEvent> paragraphTranslationStream(RegionCapture capture) = 0;
};

class PronunciationServing {
 public:
  virtual ~PronunciationServing() = default;
  virtual Async<PronunciationResult> pronunciationAttempt(std::string lookupText,
                                                          std::optional<std::string> language,
                                                          PronunciationSpeed speed,
                                                          bool forceRefresh,
                                                          bool retryOnUnauthorized) = 0;
};

// How long each phase of a lookup request may take. Tests shorten them to run
// against a real server in moments.
struct LookupPhaseLimits {
  Duration token = std::chrono::seconds(12);
  Duration response = std::chrono::seconds(30);
  Duration firstEvent = std::chrono::seconds(30);
  Duration streamIdle = std::chrono::seconds(10);

  // The transport's own limit on a silent server, twice the longest phase: a
  // silence inside a phase always ends at that phase's deadline, with its name,
  // and never as the transport's anonymous time-out, which would start its clock a
  // moment earlier. It only stops a transfer that nothing else watches.
  Duration transportSilence() const { return 2 * std::max({response, firstEvent, streamIdle}); }
};

class LookupAPIClient final : public LookupServing,
                              public PronunciationServing,
                              public std::enable_shared_from_this<LookupAPIClient> {
 public:
  using Limits = LookupPhaseLimits;
  // The whole request, however lively the stream, ends after an hour.
  static constexpr Duration kResourceLimit = std::chrono::hours(1);

  // The parts of a POST that stay the same when it is sent again after a refresh.
  struct Payload {
    Url url;
    std::string contentType;
    std::shared_ptr<const std::string> body;
  };

  LookupAPIClient(std::shared_ptr<Executor> executor, std::shared_ptr<AccessTokenProviding> auth,
                  std::shared_ptr<HttpTransport> transport, const Url& baseURL,
                  std::optional<Url> pronunciationURLOverride, Limits limits = {});

  // "TRELVIS_PRONUNCIATION_URL", trimmed, when it is not empty and parses.
  static std::optional<Url> pronunciationURLOverrideFrom(const EnvironmentLookup& environment);

  AsyncStream<LookupStreamEvent> lookupStream(NativeCapture capture) override;
  AsyncStream<LookupStreamEvent> paragraphTranslationStream(RegionCapture capture) override;
  Async<PronunciationResult> pronunciationAttempt(std::string lookupText,
                                                  std::optional<std::string> language,
                                                  PronunciationSpeed speed, bool forceRefresh,
                                                  bool retryOnUnauthorized) override;

  // The multipart bodies, exposed for their exact bytes.
  static Payload lookupPayload(const Url& baseURL, const NativeCapture& capture,
                               std::string_view boundary);
  static Payload paragraphPayload(const Url& baseURL, const RegionCapture& capture,
                                  std::string_view boundary);
  // The pronunciation request's URL.
  Url pronunciationURL(std::string_view lookupText, const std::optional<std::string>& language,
                       PronunciationSpeed speed) const;

  void setBaseURL(const Url& baseURL);

 private:
  using EventContinuation = AsyncStream<LookupStreamEvent>::Continuation;

  AsyncStream<LookupStreamEvent> startStream(std::function<Payload()> makePayload);
  Async<void> consumeStream(std::shared_ptr<const Payload> payload, bool forceRefresh,
                            bool retryOnUnauthorized,
                            std::shared_ptr<LookupStreamDeadline> deadline,
                            EventContinuation continuation);
  Async<std::string> accessToken(bool forceRefresh);
  Async<PronunciationResult> attemptPronunciation(std::string lookupText,
                                                  std::optional<std::string> language,
                                                  PronunciationSpeed speed, bool forceRefresh,
                                                  bool retryOnUnauthorized);
  HttpRequest authorizedRequest(Url url, const std::string& token) const;

  std::shared_ptr<Executor> executor_;
  std::shared_ptr<AccessTokenProviding> auth_;
  std::shared_ptr<HttpTransport> transport_;
  std::optional<Url> pronunciationURLOverride_;
  const Limits limits_;
  Url baseURL_;  // only touched on executor_, after construction
};

}  // namespace trelvis
