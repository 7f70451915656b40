#include "server/http/translation_routes.h"

#include "base/log.h"
#include "base/uuid.h"
#include "server/auth/account_service.h"
#include "server/http/event_streams.h"
#include "server/http/http_server.h"
#include "server/http/pronunciation_links.h"
#include "server/http/replies.h"
#include "server/http/route_replies.h"
#include "server/http/translation_requests.h"
#include "server/lookup/lookup_engine.h"
#include "server/lookup/lookup_json.h"
#include "server/membership/membership_service.h"

#include <fstream>
#include <memory>
#include <sstream>

namespace trelvis::server {
namespace {

const LogCategory kLog("translation");

Reply refused(const RequestRefusal& refusal) {
  switch (refusal.kind) {
    case RequestRefusal::Kind::badRequest:
      return Reply{400, errorBody(refusal.detail), {}};
    case RequestRefusal::Kind::saturated:
      return Reply{
          503, retryLaterBody(refusal.detail, std::chrono::seconds(1)), {{"Retry-After", "1"}}};
    case RequestRefusal::Kind::engineFailed:
      break;
  }
  return Reply{500, errorBody(refusal.detail), {}};
}

Reply withoutEngines() {
  return Reply{503, errorBody("this server runs without its language engines"), {}};
}

// A refused charge is always of a metered plan, which has a quota to show.
Reply quotaExhausted(const TranslationChargeResult& charge) {
  return Reply{429, quotaExhaustedBody(charge.quota.value_or(QuotaSnapshot{})), {}};
}

// The reply that runs the job and streams its events; the charge goes back when
// the engine fails before its first event.
template <class Stream>
Reply eventStream(TranslationServices services, LookupEngine::Job job, const UserRecord& user,
                  const TranslationChargeResult& charge, std::string prefix) {
  std::string requestId = Uuid::random().toString();
  Reply reply{200, {}, {{"X-Request-Id", requestId}}, "text/event-stream"};
  reply.stream = [services, job = std::make_shared<LookupEngine::Job>(std::move(job)), user, charge,
                  prefix = std::move(prefix), requestId](const BodyWriter& write) {
    Stream stream(write, prefix, requestId);
    try {
      services.engine->run(std::move(*job), stream);
    } catch (const std::exception& error) {
      kLog.error("a {} stream failed: {}", prefix, error.what());
      stream.failInternally();
    }
    if (stream.failedBeforeAnyEvent()) services.membership.refundTranslation(user, charge);
  };
  return reply;
}

// The steps of every translation stream: parse, authorise, prepare, charge, stream.
template <class Stream, class Parse, class Prepare>
RouteHandler translationStream(TranslationServices services, std::string prefix, Parse parse,
                               Prepare prepare) {
  return [=](const IncomingRequest& request, RequestLogContext& log) -> Reply {
    auto parsed = parse(request);
    if (!parsed) return rejected(parsed.error());
    const std::optional<UserRecord> user = authorizedUser(services.accounts, request, log);
    if (!user) return unauthorized();
    if (!services.engine) return withoutEngines();
    auto job = prepare(*services.engine, std::move(*parsed));
    if (!job) return refused(job.error());
    const TranslationChargeResult charge = services.membership.chargeTranslation(*user);
    if (!charge.charged) return quotaExhausted(charge);
    return eventStream<Stream>(services, std::move(*job), *user, charge, prefix);
  };
}

Reply pronunciationReply(LookupEngine& engine, const PronunciationRequest& request,
                         std::string_view link) {
  const auto audio = engine.pronounce(request);
  if (!audio) return refused(audio.error());
  return Reply{200, pronunciationJson(*audio, link), {}};
}

Reply audioReply(LookupEngine& engine, const PronunciationRequest& request) {
  const auto audio = engine.pronounce(request);
  if (!audio) return refused(audio.error());
  const std::optional<std::filesystem::path> file = engine.pronunciationFile(audio->fileName);
  std::ifstream in(file.value_or(std::filesystem::path()), std::ios::binary);
  std::ostringstream bytes;
  if (!file || !(bytes << in.rdbuf())) {
    return Reply{500, errorBody("the audio cannot be read"), {}};
  }
  return Reply{
      200, std::move(bytes).str(), {{"Cache-Control", "private, max-age=86400"}}, "audio/wav"};
}

}  // namespace

void addTranslationRoutes(HttpServer& server, TranslationServices services) {
  server.route("POST", "/v1/lookup/stream", BodyKind::multipart,
               translationStream<LookupEventStream>(
                   services, "lookup",
                   [](const IncomingRequest& request) {
                     return parseWordLookupRequest(request.contentType, request.body);
                   },
                   [](LookupEngine& engine, WordLookupRequest request) {
                     return engine.prepareWordLookup(std::move(request));
                   }));

  server.route("POST", "/v1/paragraph-translation/stream", BodyKind::multipart,
               translationStream<LookupEventStream>(
                   services, "paragraph_translation",
                   [](const IncomingRequest& request) {
                     return parseRegionTranslationRequest(request.contentType, request.body);
                   },
                   [](LookupEngine& engine, RegionTranslationRequest request) {
                     return engine.prepareRegionTranslation(std::move(request));
                   }));

  for (const auto& [path, prefix, textKey] : {
           std::tuple{"/v1/select-translation/stream", "select_translation", "selectedText"},
           std::tuple{"/v1/input-translation/stream", "input_translation", "inputText"},
       }) {
    server.route("POST", path, BodyKind::json,
                 translationStream<TextTranslationEventStream>(
                     services, prefix,
                     [textKey = std::string(textKey)](const IncomingRequest& request) {
                       return parseTextTranslationRequest(request.body, textKey);
                     },
                     [](LookupEngine& engine, TextTranslationRequest request) {
                       return engine.prepareTextTranslation(std::move(request));
                     }));
  }

  server.route("GET", "/v1/pronunciation", BodyKind::json,
               [services](const IncomingRequest& request, RequestLogContext& log) -> Reply {
                 const auto parsed = parsePronunciationQuery(request.query);
                 if (!parsed) return rejected(parsed.error());
                 if (!authorizedUser(services.accounts, request, log)) return unauthorized();
                 if (!services.engine) return withoutEngines();
                 return pronunciationReply(*services.engine, *parsed,
                                           services.links.link(request.publicBaseUrl, *parsed));
               });

  // Fetched by audio players, which send no bearer token: the signed link is the
  // permission.
  server.route("GET", std::string(PronunciationLinks::kPath), BodyKind::json,
               [services](const IncomingRequest& request, RequestLogContext&) -> Reply {
                 const auto opened = services.links.open(request.query);
                 if (!opened) return rejected(opened.error());
                 if (!services.engine) return withoutEngines();
                 return audioReply(*services.engine, *opened);
               });
}

}  // namespace trelvis::server
